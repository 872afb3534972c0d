// SPDX-License-Identifier: Apache-2.0

#include "edit/collisions.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "document/meaning.h"

namespace tov_edit {
namespace {

using tov_document::BlockId;
using tov_document::Document;
using Blocks = std::vector<BlockId>;

// The servers of a text. A server with many names and many addresses answers to each of the names
// on each of the addresses: these pairs are never listed. Names that the same servers have are
// looked at once, for all of them.
class Servers {
 public:
  explicit Servers(const Document& document) {
    for (BlockId id = 1; id < document.blocks().size(); ++id) {
      const auto words = document.HeadWords(id);
      if (!tov_document::IsServer(document.dialect(), document.Value(words.front()))) continue;
      for (std::string& name : tov_document::ServerNames(document, id)) {
        Blocks& named = m_by_name[std::move(name)];
        if (named.empty() || named.back() != id) named.push_back(id);
      }
      auto addresses = tov_document::ServerAddresses(document, id);
      if (addresses.empty()) addresses.emplace_back("*:80");
      m_addresses[id].insert(addresses.begin(), addresses.end());
    }
  }

  const std::map<std::string, Blocks>& by_name() const { return m_by_name; }

  Blocks Named(const std::string& name) const {
    const auto known = m_by_name.find(name);
    return known == m_by_name.end() ? Blocks() : known->second;
  }

  // The addresses that several of `servers` have, and which have each. That one of them has very
  // many of its own costs nothing.
  std::map<std::string, Blocks> Shared(const Blocks& servers) const {
    std::map<std::string, Blocks> shared;
    if (servers.size() < 2) return shared;
    const BlockId largest = *std::max_element(
        servers.begin(), servers.end(),
        [this](BlockId a, BlockId b) { return AddressesOf(a).size() < AddressesOf(b).size(); });
    for (const BlockId id : servers) {
      if (id == largest) continue;
      for (const std::string& address : AddressesOf(id)) shared[address].push_back(id);
    }
    for (auto entry = shared.begin(); entry != shared.end();) {
      Blocks& answering = entry->second;
      if (AddressesOf(largest).count(entry->first) != 0) {
        answering.insert(std::lower_bound(answering.begin(), answering.end(), largest), largest);
      }
      entry = answering.size() < 2 ? shared.erase(entry) : std::next(entry);
    }
    return shared;
  }

 private:
  const std::set<std::string>& AddressesOf(BlockId server) const { return m_addresses.at(server); }

  std::map<std::string, Blocks> m_by_name;
  std::map<BlockId, std::set<std::string>> m_addresses;
};

std::size_t CountAt(const std::map<std::string, Blocks>& shared, const std::string& address) {
  const auto known = shared.find(address);
  return known == shared.end() ? 0 : known->second.size();
}

// By addresses, the servers that say to be the default one. Most texts do not hold the word.
std::map<std::string, Blocks> DefaultServers(const Document& document) {
  std::map<std::string, Blocks> defaults;
  if (document.text().find("default") == std::string_view::npos) return defaults;
  for (BlockId id = 1; id < document.blocks().size(); ++id) {
    const auto words = document.HeadWords(id);
    if (!tov_document::IsServer(document.dialect(), document.Value(words.front()))) continue;
    for (const std::string& address : tov_document::DefaultAddresses(document, id)) {
      Blocks& servers = defaults[address];
      if (servers.empty() || servers.back() != id) servers.push_back(id);
    }
  }
  return defaults;
}

}  // namespace

std::optional<Collision> NewDefaultServers(const Document& before, const Document& after) {
  const auto were = DefaultServers(before);
  for (const auto& [address, servers] : DefaultServers(after)) {
    if (servers.size() > 1 && servers.size() > CountAt(were, address)) {
      return Collision{std::string(), address, servers};
    }
  }
  return std::nullopt;
}

std::optional<Collision> NewCollision(const Document& before, const Document& after) {
  const Servers old_servers(before);
  const Servers new_servers(after);
  std::set<std::pair<Blocks, Blocks>> known;  // servers of one name, before and after
  for (const auto& [name, servers] : new_servers.by_name()) {
    if (servers.size() < 2) continue;
    const Blocks were = old_servers.Named(name);
    if (!known.emplace(were, servers).second) continue;
    const auto shared = new_servers.Shared(servers);
    const auto old_shared = old_servers.Shared(were);
    for (const auto& [address, answering] : shared) {
      if (CountAt(old_shared, address) < answering.size()) return {{name, address, answering}};
    }
  }
  return std::nullopt;
}

}  // namespace tov_edit
