// SPDX-License-Identifier: Apache-2.0

#include "edit/collisions.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "document/ascii.h"
#include "document/meaning.h"

namespace tov_edit {
namespace {

using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::IsServerBlock;
using tov_document::Span;
using Blocks = std::vector<BlockId>;
using Kind = Collision::Kind;

void Insert(Blocks& blocks, BlockId block) {
  const auto at = std::lower_bound(blocks.begin(), blocks.end(), block);
  if (at == blocks.end() || *at != block) blocks.insert(at, block);
}

// --- Apache's aliases with wildcards ---

bool HasWildcard(std::string_view name) {
  return name.find_first_of("*?") != std::string_view::npos;
}

// Whether `name` is what `pattern` stands for: "*" for any characters, "?" for one.
bool Fits(std::string_view pattern, std::string_view name) {
  std::size_t at = 0;
  std::size_t in_name = 0;
  std::optional<std::pair<std::size_t, std::size_t>> star;  // the last one, and how far it went
  while (in_name < name.size()) {
    const bool same = at < pattern.size() && (pattern[at] == '?' || pattern[at] == name[in_name]);
    if (at < pattern.size() && pattern[at] == '*') {
      star = {at++, in_name};
    } else if (same) {
      ++at;
      ++in_name;
    } else if (star) {
      at = star->first + 1;
      in_name = ++star->second;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

// Which servers have patterns that fit a name. Most patterns are "*" and a text.
class Patterns {
 public:
  Patterns() = default;

  // By patterns, the servers that have each.
  explicit Patterns(const std::map<std::string, Blocks>& all) {
    for (const auto& [pattern, servers] : all) {
      const bool plain =
          pattern.front() == '*' && !HasWildcard(std::string_view(pattern).substr(1));
      if (plain) m_by_end[pattern.substr(1)] = servers;
      if (!plain) m_others.emplace_back(pattern, servers);
    }
  }

  bool empty() const { return m_by_end.empty() && m_others.empty(); }

  void AddFitting(const std::string& name, Blocks& servers) const {
    const auto add = [&servers](const Blocks& more) {
      for (const BlockId id : more) Insert(servers, id);
    };
    for (std::size_t at = 0; at <= name.size() && !m_by_end.empty(); ++at) {
      const auto known = m_by_end.find(std::string_view(name).substr(at));
      if (known != m_by_end.end()) add(known->second);
    }
    for (const auto& [pattern, more] : m_others) {
      if (Fits(pattern, name)) add(more);
    }
  }

 private:
  std::map<std::string, Blocks, std::less<>> m_by_end;
  std::vector<std::pair<std::string, Blocks>> m_others;
};

// --- Names on addresses ---

struct Named {
  Blocks own;        // the servers that state the name
  Blocks answering;  // these, and those whose patterns fit it
};

// The servers of a text. A server with many names and many addresses answers to each of the names
// on each of the addresses: these pairs are never listed. Names that the same servers have are
// looked at once, for all of them. Most servers share no name: names are kept of which several may
// state each, and addresses are read of servers that share one.
class Servers {
 public:
  explicit Servers(const Document& document) : m_document(document), m_identities(document) {
    std::map<std::string, Blocks> patterns;
    Blocks servers;
    for (BlockId id = 1; id < document.blocks().size(); ++id) {
      if (!IsServerBlock(document, id)) continue;
      servers.push_back(id);
      AddPatterns(id, patterns);
    }
    m_patterns = Patterns(patterns);
    const std::vector<std::uint32_t> repeated = RepeatedDigests(servers);
    if (m_patterns.empty() && repeated.empty()) return;
    for (const BlockId id : servers) {
      ForEachName(id, [&](std::string_view name) {
        const bool counts = !m_patterns.empty() ||
                            std::binary_search(repeated.begin(), repeated.end(), DigestOf(name));
        if (counts) Insert(m_by_name[std::string(name)], id);
      });
    }
  }

  // The names to which several servers answer, sorted.
  std::vector<std::string> SharedNames() const {
    std::vector<std::string> names;
    for (const auto& [name, own] : m_by_name) {
      if (own.size() > 1 || (!m_patterns.empty() && Answering(name, own).size() > 1)) {
        names.push_back(name);
      }
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  Named WithName(const std::string& name) const {
    const auto known = m_by_name.find(name);
    return known == m_by_name.end() ? Named()
                                    : Named{known->second, Answering(name, known->second)};
  }

  // The addresses that several of the servers have, and which have each. That one of them has very
  // many of its own costs nothing. A pattern counts only before a server that states the name.
  std::map<std::string, Blocks> Shared(const Named& named) {
    std::map<std::string, Blocks> shared;
    const Blocks& servers = named.answering;
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
      if (AddressesOf(largest).count(entry->first) != 0) Insert(answering, largest);
      while (!answering.empty() &&
             !std::binary_search(named.own.begin(), named.own.end(), answering.back())) {
        answering.pop_back();
      }
      entry = answering.size() < 2 ? shared.erase(entry) : std::next(entry);
    }
    return shared;
  }

 private:
  static std::uint32_t DigestOf(std::string_view name) {
    return static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
  }

  // Of the names that several of `servers` may state, sorted.
  std::vector<std::uint32_t> RepeatedDigests(const Blocks& servers) {
    constexpr int kHalf = 32;
    std::vector<std::uint64_t> all;  // a digest, then who states the name: one number sorts faster
    all.reserve(m_document.marks().size());
    for (const BlockId id : servers) {
      ForEachName(id, [&](std::string_view name) {
        all.push_back(std::uint64_t{DigestOf(name)} << kHalf | id);
      });
    }
    std::sort(all.begin(), all.end());
    std::vector<std::uint32_t> repeated;
    for (std::size_t i = 1; i < all.size(); ++i) {
      const bool of_others = all[i] >> kHalf == all[i - 1] >> kHalf && all[i] != all[i - 1];
      if (of_others) repeated.push_back(static_cast<std::uint32_t>(all[i] >> kHalf));
    }
    return repeated;
  }

  // nginx takes ".a" for "a" and "*.a", and a server that states no name for one whose name is "".
  template <class Use>
  void ForEachName(BlockId id, const Use& use) {
    const bool nginx = m_document.dialect() == Dialect::kNginx;
    bool is_named = false;
    m_identities.ForEachName(id, [&](std::string_view name) {
      is_named = true;
      if (nginx && name.size() > 1 && name.front() == '.') {
        use('*' + std::string(name));
        name.remove_prefix(1);
      }
      use(name);
    });
    if (nginx && !is_named && IsOfHttp(id)) use("");
  }

  void AddPatterns(BlockId id, std::map<std::string, Blocks>& patterns) {
    if (m_document.dialect() != Dialect::kApache) return;
    m_identities.ForEachAlias(id, [&](std::string_view alias) {
      if (HasWildcard(alias)) Insert(patterns[std::string(alias)], id);
    });
  }

  bool IsOfHttp(BlockId id) const {
    const BlockId parent = m_document.blocks()[id].parent;
    return parent == tov_document::kWholeText ||
           m_document.Value(m_document.HeadWords(parent).front()) == "http";
  }

  Blocks Answering(const std::string& name, const Blocks& own) const {
    Blocks answering = own;
    if (!m_patterns.empty() && !HasWildcard(name)) m_patterns.AddFitting(name, answering);
    return answering;
  }

  const std::set<std::string>& AddressesOf(BlockId server) {
    const auto [entry, is_new] = m_addresses.try_emplace(server);
    std::set<std::string>& addresses = entry->second;
    if (is_new) {
      m_identities.ForEachAddress(
          server, [&addresses](std::string_view address) { addresses.emplace(address); });
      if (addresses.empty()) addresses.emplace("*:80");
    }
    return addresses;
  }

  const Document& m_document;
  tov_document::Identities m_identities;
  std::unordered_map<std::string, Blocks> m_by_name;  // who state each name that is kept
  Patterns m_patterns;
  std::unordered_map<BlockId, std::set<std::string>> m_addresses;
};

std::size_t CountAt(const std::map<std::string, Blocks>& shared, const std::string& address) {
  const auto known = shared.find(address);
  return known == shared.end() ? 0 : known->second.size();
}

std::optional<Collision> NewNames(const Document& before, const Document& after) {
  Servers old_servers(before);
  Servers new_servers(after);
  std::set<std::tuple<Blocks, Blocks, Blocks, Blocks>> known;  // servers of one name
  for (const std::string& name : new_servers.SharedNames()) {
    const Named named = new_servers.WithName(name);
    const Named was = old_servers.WithName(name);
    if (!known.emplace(was.own, was.answering, named.own, named.answering).second) continue;
    const auto shared = new_servers.Shared(named);
    const auto old_shared = old_servers.Shared(was);
    for (const auto& [address, answering] : shared) {
      if (CountAt(old_shared, address) < answering.size()) {
        return Collision{Kind::kName, {name}, address, answering, {}};
      }
    }
  }
  return std::nullopt;
}

void AddNames(const Document& document, std::vector<Collision>& collisions) {
  constexpr std::size_t kMostNames = 100;
  Servers servers(document);
  std::map<std::pair<Blocks, std::string>, std::size_t> known;  // which of the collisions it is
  for (const std::string& name : servers.SharedNames()) {
    for (const auto& [address, answering] : servers.Shared(servers.WithName(name))) {
      const auto [at, is_new] = known.try_emplace({answering, address}, collisions.size());
      if (is_new) collisions.push_back({Kind::kName, {}, address, answering, {}});
      auto& names = collisions[at->second].names;
      if (names.size() < kMostNames) names.push_back(name);
    }
  }
}

// --- What nginx listens on ---

// By addresses, the servers that say to be the default one. Most texts do not hold the word.
std::map<std::string, Blocks> DefaultServers(const Document& document) {
  std::map<std::string, Blocks> defaults;
  if (document.text().find("default") == std::string_view::npos) return defaults;
  for (BlockId id = 1; id < document.blocks().size(); ++id) {
    if (!IsServerBlock(document, id)) continue;
    for (const std::string& address : tov_document::DefaultAddresses(document, id)) {
      Insert(defaults[address], id);
    }
  }
  return defaults;
}

struct Sockets {
  Blocks servers;
  std::vector<Span> listens;
};

// Whether a parameter of "listen" is about the socket, which is opened once.
bool IsOfSocket(std::string_view parameter) {
  static const std::set<std::string_view> kOptions = {
      "bind",   "deferred",      "reuseport", "backlog",  "rcvbuf",      "sndbuf",
      "setfib", "accept_filter", "fastopen",  "ipv6only", "so_keepalive"};
  return kOptions.count(parameter.substr(0, parameter.find('='))) != 0;
}

// Whether options may stand behind the address: each of its words follows a blank.
bool MayHaveOptions(std::string_view listen) {
  return std::count_if(listen.begin(), listen.end(), [](char byte) { return byte <= ' '; }) > 1;
}

// By addresses of nginx, the "listen" directives with options of the socket. What "http" listens on
// and what "stream" does has nothing in common; to nginx they cannot have one address.
std::map<std::string, Sockets> SocketOptions(const Document& document) {
  std::map<std::string, Sockets> sockets;
  if (document.dialect() != Dialect::kNginx) return sockets;
  std::vector<tov_document::Word> words;
  std::vector<std::string> values;
  for (const tov_document::Mark& mark : document.marks()) {
    if (mark.names || !MayHaveOptions(document.Bytes(mark.directive))) continue;
    document.ReadWords(mark.directive, words);
    if (words.size() < 3) continue;
    values.clear();
    for (const auto& word : words) values.push_back(document.Value(word));
    if (std::none_of(values.begin() + 2, values.end(), IsOfSocket)) continue;
    Sockets& at = sockets[tov_document::ListenAddress(values)];
    Insert(at.servers, mark.block);
    at.listens.push_back(mark.directive);
  }
  return sockets;
}

// --- What httpd listens on ---

struct ListenLines {
  std::set<std::string> addresses;  // "127.0.0.1:80"
  std::set<std::string> ports;      // of those for any address
  std::set<std::string> all_ports;  // of all
  std::vector<Span> directives;
  bool unknown = false;  // one of them holds a variable
};

std::string PortOf(const std::string& address) {
  return address.substr(address.rfind(':') + 1);
}

std::string HostOf(const std::string& address) {
  return address.substr(0, address.rfind(':'));
}

bool IsListen(const Document& document, const tov_document::Placed& placed) {
  constexpr std::string_view kName = "listen";
  if (placed.node.kind != tov_document::NodeKind::kDirective) return false;
  const std::string_view bytes = document.Bytes(placed.node.bytes);
  return bytes.size() > kName.size() && (bytes.front() == 'l' || bytes.front() == 'L') &&
         tov_document::SameName(Dialect::kApache,
                                document.Value(document.Words(placed.node).front()), kName);
}

ListenLines ListensOf(const Document& document) {
  ListenLines listens;
  document.Visit([&](const tov_document::Placed& placed) {
    if (!IsListen(document, placed)) return;
    const auto words = document.Words(placed.node);
    if (words.size() < 2) return;
    const std::string value = document.Value(words[1]);
    const bool number = value.find_first_not_of("0123456789") == std::string::npos;
    const std::string address =
        tov_document::NormalAddress(Dialect::kApache, number ? "*:" + value : value);
    listens.unknown = listens.unknown || value.find("${") != std::string::npos;
    listens.all_ports.insert(PortOf(address));
    if (HostOf(address) == "*") {
      listens.ports.insert(PortOf(address));
    } else {
      listens.addresses.insert(address);
    }
    listens.directives.push_back(placed.node.bytes);
  });
  return listens;
}

// Whether a name is asked of the resolver, which nobody asks here.
bool IsHostName(const std::string& host) {
  return host.front() != '[' && host.find_first_not_of("0123456789.") != std::string::npos;
}

bool IsServed(const ListenLines& listens, const std::string& address) {
  const std::string port = PortOf(address);
  const std::string host = HostOf(address);
  if (port == "*" || port == "0" || address.find("${") != std::string::npos) return true;
  if (listens.ports.count(port) != 0) return true;
  if (host == "*" || IsHostName(host)) return listens.all_ports.count(port) != 0;
  return listens.addresses.count(address) != 0;
}

// By addresses, the virtual hosts that nobody reaches there.
std::map<std::string, Blocks> Unserved(const Document& document, const ListenLines& listens) {
  std::map<std::string, Blocks> unserved;
  if (listens.unknown || listens.directives.empty() || document.dialect() != Dialect::kApache)
    return unserved;
  for (BlockId id = 1; id < document.blocks().size(); ++id) {
    for (const std::string& address : tov_document::ServerAddresses(document, id)) {
      if (!IsServed(listens, address)) Insert(unserved[address], id);
    }
  }
  return unserved;
}

Collision UnservedAt(const std::string& address, BlockId server, const ListenLines& listens) {
  return {Kind::kUnserved, {}, address, {server}, listens.directives};
}

std::optional<Collision> NewUnserved(const Document& before, const Document& after) {
  if (after.dialect() != Dialect::kApache) return std::nullopt;
  const ListenLines listens = ListensOf(after);
  const auto unserved = Unserved(after, listens);
  if (unserved.empty()) return std::nullopt;
  const auto were = Unserved(before, ListensOf(before));
  for (const auto& [address, servers] : unserved) {
    if (servers.size() > CountAt(were, address)) {
      return UnservedAt(address, servers.back(), listens);
    }
  }
  return std::nullopt;
}

}  // namespace

std::vector<Collision> NewCollisions(const Document& before, const Document& after, Extent extent) {
  std::vector<Collision> collisions;
  if (auto names = NewNames(before, after)) collisions.push_back(std::move(*names));
  const auto had_defaults = DefaultServers(before);
  for (const auto& [address, servers] : DefaultServers(after)) {
    if (servers.size() < 2 || servers.size() <= CountAt(had_defaults, address)) continue;
    collisions.push_back({Kind::kDefaultServer, {}, address, servers, {}});
    break;
  }
  auto had_options = SocketOptions(before);
  for (const auto& [address, sockets] : SocketOptions(after)) {
    const std::size_t count = sockets.listens.size();
    if (count < 2 || count <= had_options[address].listens.size()) continue;
    collisions.push_back({Kind::kListenOptions, {}, address, sockets.servers, sockets.listens});
    break;
  }
  if (extent == Extent::kWhole) {
    if (auto unserved = NewUnserved(before, after)) collisions.push_back(std::move(*unserved));
  }
  return collisions;
}

std::vector<Collision> AllCollisions(const Document& document, Extent extent) {
  std::vector<Collision> collisions;
  AddNames(document, collisions);
  for (const auto& [address, servers] : DefaultServers(document)) {
    if (servers.size() > 1) {
      collisions.push_back({Kind::kDefaultServer, {}, address, servers, {}});
    }
  }
  for (const auto& [address, sockets] : SocketOptions(document)) {
    if (sockets.listens.size() > 1) {
      collisions.push_back({Kind::kListenOptions, {}, address, sockets.servers, sockets.listens});
    }
  }
  if (extent == Extent::kPart || document.dialect() != Dialect::kApache) return collisions;
  const ListenLines listens = ListensOf(document);
  for (const auto& [address, servers] : Unserved(document, listens)) {
    for (const BlockId server : servers) {
      collisions.push_back(UnservedAt(address, server, listens));
    }
  }
  return collisions;
}

}  // namespace tov_edit
