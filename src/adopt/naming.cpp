// SPDX-License-Identifier: Apache-2.0

#include "adopt/naming.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

#include "adopt/site.h"
#include "adopt/texts.h"
#include "document/ascii.h"
#include "document/meaning.h"

namespace tov_adopt {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

// A directive of which one argument is known.
struct Known {
  std::string_view directive;
  std::size_t word;  // 1: the first argument
  std::string_view value;
};

constexpr std::array kNginxDirectives = {
    Known{"root", 1, "root"},
    Known{"ssl_certificate", 1, "certificate"},
    Known{"ssl_certificate_key", 1, "certificate_key"},
    Known{"ssl_trusted_certificate", 1, "certificate_chain"},
    Known{"ssl_client_certificate", 1, "client_certificate"},
    Known{"ssl_dhparam", 1, "dhparam"},
    Known{"access_log", 1, "log"},
    Known{"error_log", 1, "error_log"},
    Known{"auth_basic_user_file", 1, "password_file"},
    Known{"fastcgi_pass", 1, "php_socket"},
    Known{"uwsgi_pass", 1, "backend"},
    Known{"scgi_pass", 1, "backend"},
    Known{"grpc_pass", 1, "backend"},
    Known{"proxy_pass", 1, "backend"},
};

constexpr std::array kApacheDirectives = {
    Known{"documentroot", 1, "root"},
    Known{"serveradmin", 1, "admin"},
    Known{"sslcertificatefile", 1, "certificate"},
    Known{"sslcertificatekeyfile", 1, "certificate_key"},
    Known{"sslcertificatechainfile", 1, "certificate_chain"},
    Known{"sslcacertificatefile", 1, "client_certificate"},
    Known{"customlog", 1, "log"},
    Known{"transferlog", 1, "log"},
    Known{"errorlog", 1, "error_log"},
    Known{"authuserfile", 1, "password_file"},
    Known{"sethandler", 1, "php_socket"},
    Known{"proxypass", 2, "backend"},
};

template <std::size_t size>
const Known* Find(const std::array<Known, size>& all, const std::string& name) {
  const auto known =
      std::find_if(all.begin(), all.end(), [&](const Known& one) { return one.directive == name; });
  return known == all.end() ? nullptr : &*known;
}

const Known* KnownOf(Dialect dialect, std::string_view name) {
  return dialect == Dialect::kNginx ? Find(kNginxDirectives, std::string(name))
                                    : Find(kApacheDirectives, tov_document::Lower(name));
}

bool HoldsDelimiter(std::string_view text) {
  return text.find("{%") != kNowhere || text.find("[%") != kNowhere || text.find("{#}") != kNowhere;
}

// Whether a file of values can hold `text`.
bool IsUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto first = static_cast<unsigned char>(text[i++]);
    if (first < 0x80) continue;
    const std::size_t more = first >= 0xf0 ? 3 : first >= 0xe0 ? 2 : 1;
    if (first < 0xc2 || first > 0xf4 || text.size() - i < more) return false;
    for (const std::size_t end = i + more; i < end; ++i) {
      if ((static_cast<unsigned char>(text[i]) & 0xc0U) != 0x80U) return false;
    }
  }
  return true;
}

// A part of a word.
struct Piece {
  std::size_t begin = 0;
  std::size_t end = 0;
};

// What of an argument is the value: of "unix:/run/a.sock" and "proxy:unix:/run/a.sock|..." the
// socket, of a pipe or a switch nothing.
Piece PieceFor(std::string_view value_name, std::string_view argument) {
  const std::size_t socket = argument.find("unix:");
  if (socket != kNowhere && (value_name == "php_socket" || value_name == "backend")) {
    const std::size_t begin = socket + 5;
    const std::size_t end = argument.find_first_of("|:", begin);
    return {begin, std::min(end, argument.size())};
  }
  if (value_name == "php_socket") return {};  // an address or a handler, by no name of ours
  const bool is_path = argument.find('/') != kNowhere || argument.find('.') != kNowhere ||
                       argument.find('@') != kNowhere;
  const bool odd = argument.empty() || argument.front() == '|' || argument.front() == '!' ||
                   argument.find_first_of("$%") != kNowhere ||
                   argument.compare(0, 7, "syslog:") == 0;
  const auto is_letter = [](char byte) {
    return tov_document::Lower(byte) >= 'a' && tov_document::Lower(byte) <= 'z';
  };
  const bool says_something = std::any_of(argument.begin(), argument.end(), is_letter);
  if (!is_path || odd || !says_something || argument == "/dev/null") return {};
  return {0, argument.size()};
}

// An address as it is written, in its parts: "[::1]" and "80".
struct Address {
  Piece ip;
  Piece port;
  bool is_v6 = false;
};

bool IsNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == kNowhere;
}

Address PartsOf(std::string_view address) {
  Address parts;
  if (address.compare(0, 5, "unix:") == 0) return parts;
  if (IsNumber(address)) {
    parts.port = {0, address.size()};
    return parts;
  }
  parts.is_v6 = address.compare(0, 1, "[") == 0;
  const std::size_t bracket = parts.is_v6 ? address.find(']') : 0;
  if (bracket == kNowhere) return parts;
  const std::size_t colon = address.find(':', bracket);
  const std::size_t host_end = std::min(colon, address.size());
  const std::string_view host = address.substr(0, host_end);
  const bool is_v4 = host.find_first_not_of("0123456789.") == kNowhere &&
                     std::count(host.begin(), host.end(), '.') == 3 && host != "0.0.0.0";
  if ((parts.is_v6 && host != "[::]") || is_v4) parts.ip = {0, host_end};
  if (colon != kNowhere && IsNumber(address.substr(colon + 1))) {
    parts.port = {colon + 1, address.size()};
  }
  return parts;
}

class Namer {
 public:
  Namer(const Document& document, const std::string& site_name,
        const std::map<std::string, std::string>& given, Lines& lines)
      : m_document(document),
        m_dialect(document.dialect()),
        m_site_name(site_name),
        m_lines(lines) {
    for (const auto& [name, text] : given) {
      m_names.Take(name);
      m_values.push_back({name, text, true});
      m_first.push_back({text, m_values.size() - 1, Where::kAnywhere});
    }
  }

  std::vector<Value> Name() {
    for (Line& line : m_lines.all) {
      for (LineWord& word : line.words) {
        const std::string_view inner = m_document.Bytes(word.inner);
        word.parts = {{std::string(inner), kNone, word.inner}};
      }
    }
    NameServer();
    NameAliases();
    NameAddresses();
    Place(m_first);
    NameKnown();
    Place(m_second);
    NameTexts(m_dialect, m_names, m_lines, m_values);
    return std::move(m_values);
  }

 private:
  bool IsOf(const Line& line, std::string_view name) const {
    return line.kind == Line::Kind::kDirective &&
           tov_document::SameName(m_dialect, line.Name(), name);
  }

  bool StatesNames(const Line& line) const {
    return line.kind == Line::Kind::kDirective && IsServerName(m_dialect, line.Name());
  }

  Role RoleOf(const Line& line, std::size_t word) const {
    if (word > 0 && StatesNames(line)) return Role::kServerName;
    return IsAddress(m_dialect, line, word) ? Role::kAddress : Role::kOther;
  }

  // The value with this text, in `texts` if it is one of several places.
  std::size_t ValueOf(std::string_view name, const std::string& text, std::vector<Text>& texts,
                      Where where) {
    const auto same = [&](const Text& other) { return other.text == text && other.where == where; };
    for (const std::vector<Text>* known : {&m_first, &m_second}) {
      const auto found = std::find_if(known->begin(), known->end(), same);
      if (found != known->end()) return found->value;
    }
    m_values.push_back({m_names.New(name), text});
    texts.push_back({text, m_values.size() - 1, where});
    return m_values.size() - 1;
  }

  // --- Values that go before others ---

  // The site's name as it is written: "a.example" of "https://A.example:443" is "A.example".
  void NameServer() {
    if (m_site_name.empty()) return;
    for (const Line& line : m_lines.all) {
      if (!StatesNames(line)) continue;
      for (std::size_t i = 1; i < line.words.size(); ++i) {
        const std::string written(m_document.Bytes(line.words[i].inner));
        const std::size_t at = tov_document::Lower(written).find(m_site_name);
        const std::string normal = tov_document::NormalName(m_dialect, line.words[i].value);
        const bool is_it =
            normal == m_site_name || normal == '.' + m_site_name || normal == "*." + m_site_name;
        if (!is_it || at == kNowhere || !line.words[i].plain) continue;
        if (normal.front() == '~') continue;
        const std::string text = written.substr(at, m_site_name.size());
        const bool common = text.find('.') == kNowhere;
        ValueOf("name", text, m_first, common ? Where::kPaths : Where::kAnywhere);
        return;
      }
    }
  }

  // The other names behind the site's own, where one trailing place can stand for all of them.
  void NameAliases() {
    const std::vector<Text> first = m_first;
    for (std::size_t i = 0; i < m_lines.all.size(); ++i) {
      Line& line = m_lines.all[i];
      const std::size_t from = AliasesFrom(i);
      if (from == kNone || line.words.size() <= from) continue;
      std::string text;
      bool fits = true;
      for (std::size_t word = from; word < line.words.size(); ++word) {
        const LineWord& alias = line.words[word];
        fits = fits && alias.plain && alias.bytes.size() == alias.inner.size() &&
               !HoldsDelimiter(alias.value) && !Holds(alias.value, first, Role::kServerName);
        text += (text.empty() ? "" : " ") + alias.value;
      }
      if (!fits) continue;
      line.trailing_from = from;
      const bool one_host =
          line.words.size() == from + 1 && IsHostName(text) && text.find('.') != kNowhere;
      line.trailing_value = AliasesValue(text, one_host);
    }
  }

  std::size_t AliasesValue(const std::string& text, bool one_host) {
    if (one_host) return ValueOf("aliases", text, m_first, Where::kAnywhere);
    const auto known = m_aliases.find(text);
    if (known != m_aliases.end()) return known->second;
    m_values.push_back({m_names.New("aliases"), text, false, true});
    return m_aliases[text] = m_values.size() - 1;
  }

  // The word from which on a line has the aliases; kNone: it has none, or not all of its block.
  std::size_t AliasesFrom(std::size_t number) const {
    const Line& line = m_lines.all[number];
    const bool nginx = m_dialect == Dialect::kNginx;
    if (!IsOf(line, nginx ? "server_name" : "ServerAlias")) return kNone;
    const auto beside = [&](const Line& other) {
      return other.parent == line.parent && IsOf(other, line.Name());
    };
    if (std::count_if(m_lines.all.begin(), m_lines.all.end(), beside) != 1) return kNone;
    if (!nginx) return 1;
    const bool own = line.words.size() > 1 && !m_site_name.empty() &&
                     tov_document::Lower(line.words[1].value) == m_site_name;
    return own ? 2 : kNone;
  }

  void NameAddresses() {
    for (const Line& line : m_lines.all) {
      for (std::size_t i = 1; i < line.words.size(); ++i) {
        if (!IsAddress(m_dialect, line, i) || !line.words[i].plain) continue;
        const std::string& written = line.words[i].value;
        const Address parts = PartsOf(written);
        const auto text = [&](Piece piece) {
          return written.substr(piece.begin, piece.end - piece.begin);
        };
        if (parts.ip.end != 0) {
          ValueOf(parts.is_v6 ? "ipv6" : "ip", text(parts.ip), m_first, Where::kAnywhere);
        }
        if (parts.port.end != 0) {
          ValueOf("port", text(parts.port), m_second, Where::kAddresses);
        }
      }
    }
  }

  // --- Values of the directives that are known ---

  void NameKnown() {
    for (const Line& line : m_lines.all) {
      if (line.kind != Line::Kind::kDirective) continue;
      const Known* const known = KnownOf(m_dialect, line.Name());
      if (known == nullptr || known->word >= line.words.size()) continue;
      const LineWord& word = line.words[known->word];
      if (!word.plain || word.parts.size() != 1 || word.parts.front().value != kNone) continue;
      const Piece piece = PieceFor(known->value, word.value);
      if (piece.end == piece.begin || HoldsDelimiter(word.value) || !IsUtf8(word.value)) continue;
      // "/srv/a/img" is a part of the root "/srv/a" already.
      if (Holds(word.value, m_second, Role::kOther)) continue;
      ValueOf(known->value, word.value.substr(piece.begin, piece.end - piece.begin), m_second,
              Where::kAnywhere);
    }
  }

  // --- Places ---

  void Place(const std::vector<Text>& texts) {
    if (texts.empty()) return;
    for (Line& line : m_lines.all) {
      const std::size_t first = line.kind == Line::Kind::kComment ? 0 : 1;
      for (std::size_t i = first; i < line.words.size() && i < line.trailing_from; ++i) {
        LineWord& word = line.words[i];
        word.parts = WithPlaces(m_document.Bytes(word.inner), word.inner.begin, word.parts, texts,
                                RoleOf(line, i));
      }
    }
  }

  const Document& m_document;
  const Dialect m_dialect;
  const std::string& m_site_name;
  Lines& m_lines;
  std::vector<Value> m_values;
  ValueNames m_names;
  std::vector<Text> m_first;  // texts that go before those of `m_second`
  std::vector<Text> m_second;
  std::map<std::string, std::size_t> m_aliases;  // by texts: values that stand in one place only
};

}  // namespace

std::string ValueNames::New(std::string_view wanted) {
  std::string name(wanted);
  for (int number = 2; !m_taken.insert(name).second; ++number) {
    name = std::string(wanted) + '_' + std::to_string(number);
  }
  return name;
}

void NameTexts(Dialect dialect, ValueNames& names, Lines& lines, std::vector<Value>& values) {
  std::map<std::string, std::size_t> known;
  const auto name = [&](Part& part) {
    if (part.value != kNone || !HoldsDelimiter(part.text) || !IsUtf8(part.text)) return;
    const auto [value, is_new] = known.try_emplace(part.text, values.size());
    if (is_new) {
      values.emplace_back();
      values.back().name = names.New("text");
      values.back().text = OnOneLine(dialect, part.text);
    }
    part.value = value->second;
  };
  for (Line& line : lines.all) {
    if (line.kind == Line::Kind::kComment) continue;
    for (LineWord& word : line.words) std::for_each(word.parts.begin(), word.parts.end(), name);
  }
}

std::string KnownName(Dialect dialect, const Line& line, std::size_t word) {
  if (line.kind == Line::Kind::kDirective && IsServerName(dialect, line.Name())) {
    const bool alias = word > 1 || tov_document::SameLetters(line.Name(), "ServerAlias");
    return alias ? "aliases" : "name";
  }
  if (IsAddress(dialect, line, word)) {
    return IsNumber(line.words[word].value) ? "port" : "address";
  }
  const Known* const known = KnownOf(dialect, line.Name());
  return known != nullptr && known->word == word ? std::string(known->value) : std::string();
}

std::string NameAfter(std::string_view directive) {
  std::string name = tov_document::Lower(directive);
  for (char& byte : name) {
    const bool fits = (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') || byte == '_';
    if (!fits) byte = '_';
  }
  return name.empty() ? "value" : name;
}

bool IsServerName(Dialect dialect, std::string_view directive) {
  if (dialect == Dialect::kNginx) return directive == "server_name";
  return tov_document::SameLetters(directive, "ServerName") ||
         tov_document::SameLetters(directive, "ServerAlias");
}

bool IsAddress(Dialect dialect, const Line& line, std::size_t word) {
  if (dialect == Dialect::kNginx) {
    return word == 1 && line.kind == Line::Kind::kDirective && line.Name() == "listen";
  }
  return word > 0 && line.kind == Line::Kind::kBlock && line.is_server;
}

std::vector<Value> NameValues(const Document& document, const std::string& site_name,
                              const std::map<std::string, std::string>& given, Lines& lines) {
  return Namer(document, site_name, given, lines).Name();
}

void TakeOut(std::size_t value, const Document& document, Lines& lines) {
  for (Line& line : lines.all) {
    if (line.trailing_value == value) line.trailing_from = line.trailing_value = kNone;
    for (LineWord& word : line.words) {
      for (Part& part : word.parts) {
        if (part.value != value) continue;
        part.value = kNone;
        part.text = document.Bytes(part.source);
      }
    }
  }
}

}  // namespace tov_adopt
