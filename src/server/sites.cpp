// SPDX-License-Identifier: Apache-2.0

#include "server/sites.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "document/ascii.h"
#include "document/meaning.h"
#include "server/server_reader.h"

namespace tov_server {
namespace {

using Words = std::vector<std::string>;

constexpr std::size_t kNowhere = std::string_view::npos;

// What a site and what stands around it may say.
struct Said {
  std::string root;
  std::optional<bool> tls;  // nginx's "ssl", httpd's SSLEngine
  bool certificate = false;
};

// A site, while it is read.
struct Draft {
  Site site;
  Said said;
  std::string name;        // httpd's ServerName
  std::size_t around = 0;  // in Collector::m_around
  std::size_t file = 0;
  std::uint32_t begin = 0;
};

bool Contains(const Words& words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// "[::1]" of "[::1]:80".
std::string_view HostOf(std::string_view address) {
  const std::size_t bracket = address.find(']');
  return address.substr(0, address.find(':', bracket == kNowhere ? 0 : bracket));
}

// "80" of it.
std::string_view PortOf(std::string_view address) {
  const std::size_t host = HostOf(address).size();
  return host == address.size() ? std::string_view() : address.substr(host + 1);
}

// "*:443" of "*:443/udp".
std::string_view WithoutTransport(std::string_view address) {
  return EndsWith(address, "/udp") ? address.substr(0, address.size() - 4) : address;
}

// The lines of texts, asked for in their order.
class Cursors {
 public:
  tov_edit::FilePlace PlaceOf(const std::vector<ServerFile>& files, std::size_t file,
                              std::uint32_t offset) {
    Cursor& cursor = m_cursors[file];
    if (offset < cursor.offset) cursor = {};
    const std::string& text = files[file].text;
    for (std::size_t end; (end = text.find('\n', cursor.offset)) < offset;) {
      ++cursor.line;
      cursor.offset = end + 1;
    }
    return {files[file].name, cursor.line, offset - cursor.offset + 1};
  }

 private:
  struct Cursor {
    std::size_t offset = 0;  // where the line begins
    std::size_t line = 1;
  };
  std::unordered_map<std::size_t, Cursor> m_cursors;
};

// Collects the sites while the server's files are read.
class Collector : public Observer {
 public:
  explicit Collector(Dialect dialect) : m_dialect(dialect) { m_around.emplace_back(); }

  void Take(const Step& step, const Words& words, std::size_t file) override {
    switch (step.kind) {
      case Step::Kind::kOpen:
        Open(step, words, file);
        break;
      case Step::Kind::kClose:
        Close(step);
        break;
      case Step::Kind::kDirective:
        Hear(step.role, words);
        break;
    }
  }

  std::vector<Site> Sites(const ServerFiles& server) {
    FindOutTls();
    std::vector<Site> sites;
    sites.reserve(m_drafts.size());
    Cursors cursors;
    for (Draft& draft : m_drafts) {
      if (!draft.name.empty()) draft.site.names.insert(draft.site.names.begin(), draft.name);
      if (draft.site.root.empty()) draft.site.root = m_around[draft.around].root;
      draft.site.place = cursors.PlaceOf(server.files, draft.file, draft.begin);
      sites.push_back(std::move(draft.site));
    }
    return sites;
  }

 private:
  static bool IsTransparent(Role role) {
    return role == Role::kTransparent || role == Role::kIfModule || role == Role::kIfDefine ||
           role == Role::kIfVersion || role == Role::kIfFile;
  }

  void Open(const Step& step, const Words& words, std::size_t file) {
    if (IsTransparent(step.role)) return;
    const bool makes_site =
        step.role == Role::kServer && (m_open.empty() || m_open.back() == Role::kProtocol);
    if (makes_site) Begin(step, words, file);
    if (step.role == Role::kProtocol && m_open.empty()) {
      m_protocol = words.front();
      m_around.emplace_back();
    }
    m_open.push_back(step.role == Role::kServer && !makes_site ? Role::kOther : step.role);
  }

  void Close(const Step& step) {
    if (IsTransparent(step.role)) return;
    m_open.pop_back();
    if (m_open.empty()) m_protocol = "http";
  }

  void Begin(const Step& step, const Words& words, std::size_t file) {
    Draft draft;
    draft.site.protocol = m_protocol;
    draft.around = m_open.empty() ? 0 : m_around.size() - 1;
    draft.file = file;
    draft.begin = step.bytes.begin;
    if (m_dialect == Dialect::kApache) {
      for (auto word = words.begin() + 1; word != words.end(); ++word) {
        draft.site.addresses.push_back({NormalAddress(m_dialect, *word), false, false});
      }
    }
    m_drafts.push_back(std::move(draft));
  }

  void Hear(Role role, const Words& words) {
    const bool in_site = !m_open.empty() && m_open.back() == Role::kServer;
    const bool around = m_open.empty() || m_open.back() == Role::kProtocol;
    if (in_site) {
      HearOfSite(role, words, m_drafts.back());
    } else if (around) {
      HearOf(role, words, m_around[m_open.empty() ? 0 : m_around.size() - 1]);
      if (role == Role::kListen && m_dialect == Dialect::kApache) HearListen(words);
    }
  }

  void HearOfSite(Role role, const Words& words, Draft& draft) const {
    HearOf(role, words, draft.said);
    draft.site.root = draft.said.root;
    if (words.size() < 2) return;
    if (role == Role::kName) draft.name = NormalName(m_dialect, words[1]);
    if (role == Role::kNames) {
      for (auto word = words.begin() + 1; word != words.end(); ++word) {
        draft.site.names.push_back(NormalName(m_dialect, *word));
      }
    }
    if (role == Role::kListen && m_dialect == Dialect::kNginx) {
      const bool tls = Contains(words, "ssl") || Contains(words, "quic");
      const bool first = Contains(words, "default_server") || Contains(words, "default");
      draft.site.addresses.push_back({tov_document::ListenAddress(words), tls, first});
    }
  }

  static void HearOf(Role role, const Words& words, Said& said) {
    if (words.size() < 2) return;
    if (role == Role::kRoot) said.root = words[1];
    if (role == Role::kTls) said.tls = !tov_document::SameLetters(words[1], "off");
    if (role == Role::kCertificate) said.certificate = true;
  }

  // httpd's "Listen 443 https"; the protocol of this port needs no saying.
  void HearListen(const Words& words) {
    if (words.size() < 2) return;
    const std::size_t colon = words[1].rfind(':');
    const std::string port = words[1].substr(colon == kNowhere ? 0 : colon + 1);
    const bool tls =
        words.size() > 2 ? tov_document::SameLetters(words[2], "https") : port == "443";
    if (tls) m_tls_ports.insert(port);
  }

  void FindOutTls() {
    for (Draft& draft : m_drafts) {
      const Said& around = m_around[draft.around];
      const std::optional<bool> stated = draft.said.tls ? draft.said.tls : around.tls;
      if (m_dialect == Dialect::kApache) {
        const bool certificate = draft.said.certificate || around.certificate;
        for (SiteAddress& address : draft.site.addresses) {
          const std::string port(PortOf(address.address));
          address.tls = stated.value_or(certificate && m_tls_ports.count(port) != 0);
        }
        continue;
      }
      if (draft.site.addresses.empty() && draft.site.protocol == "http") {
        draft.site.addresses.push_back({"*:80", false, false});
      }
      for (SiteAddress& address : draft.site.addresses) {
        address.tls = address.tls || stated.value_or(false);
      }
    }
    if (m_dialect == Dialect::kNginx) ShareTls();
  }

  // One socket speaks TLS or does not.
  void ShareTls() {
    const auto key = [](const Draft& draft, const SiteAddress& address) {
      return draft.site.protocol + ' ' + address.address;
    };
    std::unordered_set<std::string> with_tls;
    for (const Draft& draft : m_drafts) {
      for (const SiteAddress& address : draft.site.addresses) {
        if (address.tls) with_tls.insert(key(draft, address));
      }
    }
    for (Draft& draft : m_drafts) {
      for (SiteAddress& address : draft.site.addresses) {
        address.tls = address.tls || with_tls.count(key(draft, address)) != 0;
      }
    }
  }

  const Dialect m_dialect;
  std::vector<Role> m_open;  // without the transparent ones
  std::string m_protocol = "http";
  std::vector<Said> m_around;  // the main context, then that of each protocol
  std::vector<Draft> m_drafts;
  std::set<std::string> m_tls_ports;  // of httpd, where nothing else is said
};

// Whether `pattern`, with "*" and "?", stands for the whole of `text`.
bool Fits(std::string_view pattern, std::string_view text) {
  std::size_t at = 0;
  std::size_t star = kNowhere;
  std::size_t behind = 0;  // what the last star stands for ends here
  std::size_t in_text = 0;
  while (in_text < text.size()) {
    if (at < pattern.size() && pattern[at] == '*') {
      star = at++;
      behind = in_text;
    } else if (at < pattern.size() && (pattern[at] == text[in_text] || pattern[at] == '?')) {
      ++at;
      ++in_text;
    } else if (star != kNowhere) {
      at = star + 1;
      in_text = ++behind;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', at) == kNowhere;
}

// nginx's ".a.example" is "a.example" and "*.a.example"; a star stands at one of the ends.
bool NginxNameFits(std::string_view pattern, std::string_view name) {
  if (pattern.empty()) return false;
  if (pattern.front() == '.') return name == pattern.substr(1) || EndsWith(name, pattern);
  const bool begins = tov_document::Begins(pattern, "*.");
  return (begins || EndsWith(pattern, ".*")) && Fits(pattern, name);
}

}  // namespace

Sites ReadSites(const ReadingOptions& options) {
  Collector collector(options.dialect);
  Sites read;
  read.server = ServerReader(options, &collector).Read();
  read.sites = collector.Sites(read.server);
  return read;
}

bool HasName(const Site& site, Dialect dialect, std::string_view name) {
  const std::string wanted = tov_document::NormalName(dialect, name);
  return std::any_of(site.names.begin(), site.names.end(), [&](const std::string& own) {
    if (own == wanted) return true;
    return dialect == Dialect::kNginx ? NginxNameFits(own, wanted) : Fits(own, wanted);
  });
}

bool HasAddress(const Site& site, Dialect dialect, std::string_view address) {
  const std::string wanted = tov_document::NormalAddress(dialect, address);
  const std::string_view host = HostOf(wanted);
  const bool is_port = address.find_first_not_of("0123456789") == kNowhere;
  const bool is_host = HostOf(address).size() == address.size();
  return std::any_of(site.addresses.begin(), site.addresses.end(), [&](const SiteAddress& own) {
    const std::string_view stated = WithoutTransport(own.address);
    if (own.address == address || stated == wanted) return true;
    return is_port ? PortOf(stated) == address : is_host && HostOf(stated) == host;
  });
}

}  // namespace tov_server
