// SPDX-License-Identifier: Apache-2.0

#include "adopt/site.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "document/meaning.h"
#include "document/places.h"

namespace tov_adopt {
namespace {

using tov_document::BlockId;
using tov_document::Document;
using tov_document::Places;
using tov_edit::FilePlace;
using tov_edit::Finding;

struct Server {
  BlockId block = tov_document::kWholeText;
  std::vector<std::string> names;
  std::vector<std::string> addresses;

  bool HasName(const std::string& name) const {
    return std::find(names.begin(), names.end(), name) != names.end();
  }
};

std::vector<Server> ServersIn(const Document& document) {
  std::vector<Server> servers;
  const auto& blocks = document.blocks();
  for (BlockId id = 1; id < blocks.size();) {
    const auto words = document.HeadWords(id);
    const std::string name = words.empty() ? std::string() : document.Value(words.front());
    if (!tov_document::IsServer(document.dialect(), name)) {
      ++id;
      continue;
    }
    servers.push_back({id, ServerNames(document, id), ServerAddresses(document, id)});
    id = blocks[id].next;
  }
  return servers;
}

// "*.a.example" and ".a.example" without what stands before the name.
std::string WithoutWildcard(const std::string& name) {
  if (name.compare(0, 2, "*.") == 0) return name.substr(2);
  return name.compare(0, 1, ".") == 0 ? name.substr(1) : name;
}

class Finder {
 public:
  Finder(const Document& document, const std::string& file)
      : m_document(document), m_file(file), m_servers(ServersIn(document)) {}

  std::optional<Site> Find(const std::string& wanted, Finding& refusal) const {
    if (wanted.empty()) return FindOnly(refusal);
    std::vector<Server> found = Named(wanted);
    if (!found.empty()) {
      return SiteOf(found, tov_document::NormalName(m_document.dialect(), wanted));
    }
    found = AtLine(wanted);
    if (found.empty()) found = OnAddress(wanted);
    if (found.size() == 1) return SiteOf(found, NameOf(found));
    const bool none = found.empty();
    Refuse(none ? "there is no site " + Quoted(wanted) : "several sites are on " + Quoted(wanted),
           none ? m_servers : found, refusal);
    return std::nullopt;
  }

 private:
  static std::string Quoted(const std::string& text) { return tov_edit::Quoted(text); }

  std::optional<Site> FindOnly(Finding& refusal) const {
    if (m_servers.empty()) return Site{{tov_document::kWholeText}, std::string()};
    const std::string name = NameOf(m_servers);
    if (m_servers.size() == 1 || !name.empty()) return SiteOf(m_servers, name);
    Refuse("there are several sites", m_servers, refusal);
    return std::nullopt;
  }

  static Site SiteOf(const std::vector<Server>& servers, const std::string& name) {
    Site site;
    site.name = name;
    for (const Server& server : servers) site.blocks.push_back(server.block);
    return site;
  }

  // The first name that all of them have, a host's if there is one.
  static std::string NameOf(const std::vector<Server>& servers) {
    const auto all_have = [&](const std::string& name) {
      return std::all_of(servers.begin(), servers.end(),
                         [&](const Server& server) { return server.HasName(name); });
    };
    for (const std::string& name : servers.front().names) {
      if (IsHostName(name) && all_have(name)) return name;
    }
    for (const std::string& name : servers.front().names) {
      std::string host = WithoutWildcard(name);
      if (IsHostName(host) && all_have(name)) return host;
    }
    return std::string();
  }

  std::vector<Server> Where(const std::function<bool(const Server&)>& fits) const {
    std::vector<Server> found;
    std::copy_if(m_servers.begin(), m_servers.end(), std::back_inserter(found), fits);
    return found;
  }

  std::vector<Server> Named(const std::string& wanted) const {
    const std::string name = tov_document::NormalName(m_document.dialect(), wanted);
    return Where([&](const Server& server) { return server.HasName(name); });
  }

  std::vector<Server> OnAddress(const std::string& wanted) const {
    const std::string address = tov_document::NormalAddress(m_document.dialect(), wanted);
    return Where([&](const Server& server) {
      return std::find(server.addresses.begin(), server.addresses.end(), address) !=
             server.addresses.end();
    });
  }

  // "site.conf:12" or ":12".
  std::vector<Server> AtLine(const std::string& wanted) const {
    const std::size_t colon = wanted.rfind(':');
    if (colon == std::string::npos || colon + 1 == wanted.size() || wanted.size() - colon > 10 ||
        wanted.find_first_not_of("0123456789", colon + 1) != std::string::npos) {
      return {};
    }
    const std::string file = wanted.substr(0, colon);
    if (!file.empty() && file != m_file) return {};
    const std::size_t line = std::stoul(wanted.substr(colon + 1));
    const Places places(m_document.text());
    std::vector<Server> beginning = Where([&](const Server& server) {
      return places.Of(m_document.blocks()[server.block].head.begin).line == line;
    });
    if (beginning.size() == 1) return beginning;
    return Where([&](const Server& server) {
      const tov_document::Block& block = m_document.blocks()[server.block];
      return places.Of(block.head.begin).line <= line &&
             line <= places.Of(block.closing.end - 1).line;
    });
  }

  // With the sites that there are: each name once.
  void Refuse(const std::string& what, const std::vector<Server>& servers, Finding& refusal) const {
    constexpr std::size_t kMost = 10;
    refusal = Finding{"site", what};
    const Places places(m_document.text());
    std::size_t said = 0;
    for (const Server& server : servers) {
      const auto place = places.Of(m_document.blocks()[server.block].head.begin);
      const FilePlace shown{m_file, place.line, place.column};
      refusal.config_places.push_back(shown);
      if (said++ >= kMost) continue;
      refusal.message += said == 1 ? ": " : ", ";
      refusal.message += Shown(FilePlace{m_file, place.line}) + ' ';
      if (!server.names.empty()) {
        refusal.message += Quoted(server.names.front());
      } else if (!server.addresses.empty()) {
        refusal.message += "on " + Quoted(server.addresses.front());
      } else {
        refusal.message += "without a name";
      }
    }
    if (said > kMost) refusal.message += " and " + std::to_string(said - kMost) + " more";
    if (said == 0) refusal.message += ", nor any other";
    refusal.hint = said == 0 ? "" : "Name one of them, by its name, its address or its line";
  }

  const Document& m_document;
  const std::string& m_file;
  const std::vector<Server> m_servers;
};

}  // namespace

bool IsHostName(const std::string& name) {
  if (name.empty() || name == "_" || name.front() == '.' || name.front() == '-') return false;
  return std::all_of(name.begin(), name.end(), [](char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '.' || byte == '_' ||
           value >= 0x80;
  });
}

std::optional<Site> FindSite(const Document& document, const std::string& wanted,
                             const std::string& file, Finding& refusal) {
  return Finder(document, file).Find(wanted, refusal);
}

}  // namespace tov_adopt
