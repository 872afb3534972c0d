// SPDX-License-Identifier: Apache-2.0

#include "edit/match/subjects.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "document/ascii.h"
#include "document/meaning.h"

namespace tov_edit {
namespace {

using tov_document::Dialect;
using Texts = std::vector<std::string>;

// Where a directive says what it speaks of.
enum class Where {
  kNowhere,      // two of the name always speak of the same
  kFirst,        // in the word behind the name
  kFirstLetter,  // there, in either case of letters
  kHeader,       // there, a header of an answer, unless its value is a list
  kCodes,        // in all words but the last one
  kCacheCodes,   // there; without one, of some codes that the server chooses
  kZone,         // in "zone=NAME" or "zone=NAME:SIZE"
  kCache,        // in the path, and in "keys_zone=NAME:SIZE"
  kNickname,     // in the word behind the format; without one, of the format that has no name
  kProtocol,     // in the word before the last one; without one, of all protocols
  kPath,         // in the word behind the name, unless this already says where the path leads
  kStatusPath,   // there, or behind a status
  kSetHeader     // in "set HEADER VALUE" without a condition
};

struct Speaking {
  std::string_view name;
  Where where;
  bool both_count;
};

// What is found by its name in any case, as "ssl_protocols", needs no subject.
constexpr Speaking kNginx[] = {
    {"access_log", Where::kFirst, true},
    {"add_header", Where::kHeader, true},
    {"add_trailer", Where::kHeader, true},
    {"auth_request_set", Where::kFirst, false},
    {"error_log", Where::kFirst, true},
    {"error_page", Where::kCodes, false},
    {"fastcgi_cache_path", Where::kCache, false},
    {"fastcgi_cache_valid", Where::kCacheCodes, false},
    {"fastcgi_param", Where::kFirst, false},
    {"grpc_set_header", Where::kFirstLetter, false},
    {"grpc_ssl_protocols", Where::kNowhere, true},
    {"gzip_types", Where::kNowhere, true},
    {"index", Where::kNowhere, true},
    {"limit_conn", Where::kFirst, false},
    {"limit_conn_zone", Where::kZone, false},
    {"limit_req", Where::kZone, false},
    {"limit_req_zone", Where::kZone, false},
    {"log_format", Where::kFirst, false},
    {"lua_shared_dict", Where::kFirst, false},
    {"proxy_cache_path", Where::kCache, false},
    {"proxy_cache_valid", Where::kCacheCodes, false},
    {"proxy_redirect", Where::kFirst, false},
    {"proxy_set_header", Where::kFirstLetter, false},
    {"proxy_ssl_protocols", Where::kNowhere, true},
    {"scgi_cache_path", Where::kCache, false},
    {"scgi_cache_valid", Where::kCacheCodes, false},
    {"scgi_param", Where::kFirst, false},
    {"server", Where::kFirst, true},
    {"set", Where::kFirst, true},
    {"ssl_certificate", Where::kNowhere, true},
    {"ssl_certificate_key", Where::kNowhere, true},
    {"uwsgi_cache_path", Where::kCache, false},
    {"uwsgi_cache_valid", Where::kCacheCodes, false},
    {"uwsgi_param", Where::kFirst, false},
    {"uwsgi_ssl_protocols", Where::kNowhere, true},
};

constexpr Speaking kApache[] = {
    {"Action", Where::kFirst, false},
    {"Alias", Where::kFirst, false},
    {"AliasMatch", Where::kFirst, false},
    {"BalancerMember", Where::kFirst, true},
    {"CustomLog", Where::kFirst, true},
    {"Define", Where::kFirst, false},
    {"DirectoryIndex", Where::kNowhere, true},
    {"ErrorDocument", Where::kFirst, false},
    {"ExpiresByType", Where::kFirstLetter, false},
    {"Header", Where::kSetHeader, false},
    {"LogFormat", Where::kNickname, false},
    {"php_admin_flag", Where::kFirst, false},
    {"php_flag", Where::kFirst, false},
    {"php_value", Where::kFirst, false},
    {"ProxyPass", Where::kPath, false},
    {"ProxyPassMatch", Where::kPath, false},
    {"Redirect", Where::kStatusPath, false},
    {"RedirectMatch", Where::kStatusPath, false},
    {"RedirectPermanent", Where::kPath, false},
    {"RedirectTemp", Where::kPath, false},
    {"RequestHeader", Where::kSetHeader, false},
    {"RewriteMap", Where::kFirst, false},
    {"ScriptAlias", Where::kFirst, false},
    {"ScriptAliasMatch", Where::kFirst, false},
    {"SetEnv", Where::kFirst, false},
    {"SSLCertificateFile", Where::kNowhere, true},
    {"SSLCertificateKeyFile", Where::kNowhere, true},
    {"SSLProxyCipherSuite", Where::kProtocol, false},
    {"WSGIDaemonProcess", Where::kFirst, false},
    {"WSGIScriptAlias", Where::kFirst, false},
};

// Headers whose value is a list, which may come in several: of others an answer has one.
constexpr std::string_view kLists[] = {
    "accept-ch",
    "access-control-allow-headers",
    "access-control-allow-methods",
    "access-control-expose-headers",
    "allow",
    "alt-svc",
    "cache-control",
    "content-language",
    "content-security-policy",
    "content-security-policy-report-only",
    "link",
    "permissions-policy",
    "pragma",
    "report-to",
    "reporting-endpoints",
    "server-timing",
    "set-cookie",
    "vary",
    "via",
    "warning",
    "www-authenticate",
    "x-robots-tag",
};

bool IsList(std::string_view header) {
  return std::any_of(std::begin(kLists), std::end(kLists), [&](std::string_view list) {
    return tov_document::SameLetters(list, header);
  });
}

// Of nginx's blocks whose lines are no directives: the first word of each is a value that they map.
bool IsTable(Dialect dialect, std::string_view block) {
  return dialect == Dialect::kNginx && (block == "map" || block == "geo");
}

// What says something else in them.
bool IsOfTable(std::string_view word) {
  return word == "include" || word == "proxy" || word == "delete";
}

bool IsUrl(std::string_view word) {
  return word.find("://") != std::string_view::npos || tov_document::Begins(word, "unix:");
}

bool IsStatus(const std::string& word) {
  const bool is_number = word.find_first_not_of("0123456789") == std::string::npos;
  const std::string name = tov_document::Lower(word);
  return is_number || name == "permanent" || name == "temp" || name == "seeother" || name == "gone";
}

// Each word but the last one, and but the answer that "error_page" may change to.
Texts Codes(const Texts& words) {
  Texts codes;
  for (std::size_t i = 1; i + 1 < words.size(); ++i) {
    if (!tov_document::Begins(words[i], "=")) codes.push_back(words[i]);
  }
  return codes;
}

// The name behind `key`, up to a colon, in the first word that has one.
Texts Keyed(const Texts& words, std::string_view key) {
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (!tov_document::Begins(words[i], key)) continue;
    const std::string name = words[i].substr(key.size());
    return {name.substr(0, name.find(':'))};
  }
  return {};
}

Texts Caches(const Texts& words) {
  Texts caches = Keyed(words, "keys_zone=");
  caches.push_back("path " + words[1]);
  return caches;
}

Texts PathAt(const Texts& words, std::size_t at) {
  return {at < words.size() && !IsUrl(words[at]) ? words[at] : std::string()};
}

// A word behind the value is a condition: then both may be needed.
Texts SetHeader(const Texts& words) {
  const bool always = tov_document::SameLetters(words[1], "always");
  const std::size_t set = always || tov_document::SameLetters(words[1], "onsuccess") ? 2 : 1;
  if (words.size() != set + 3 || !tov_document::SameLetters(words[set], "set")) return {};
  return {(always ? "always " : "") + tov_document::Lower(words[set + 1])};
}

// `words` are at least two.
Texts Read(Where where, const Texts& words) {
  switch (where) {
    case Where::kNowhere:
      return {std::string()};
    case Where::kFirst:
      return {words[1]};
    case Where::kFirstLetter:
      return {tov_document::Lower(words[1])};
    case Where::kHeader:
      return IsList(words[1]) ? Texts() : Texts{tov_document::Lower(words[1])};
    case Where::kCodes:
      return Codes(words);
    case Where::kCacheCodes:
      return words.size() > 2 ? Codes(words) : Texts{"200", "301", "302"};
    case Where::kZone:
      return Keyed(words, "zone=");
    case Where::kCache:
      return Caches(words);
    case Where::kNickname:
      return {words.size() > 2 ? words[2] : std::string()};
    case Where::kProtocol:
      return {words.size() > 2 ? words[1] : std::string()};
    case Where::kPath:
      return PathAt(words, 1);
    case Where::kStatusPath:
      return PathAt(words, IsStatus(words[1]) ? 2 : 1);
    case Where::kSetHeader:
      return SetHeader(words);
  }
  return {};
}

template <std::size_t kSize>
const Speaking* Find(const Speaking (&all)[kSize], Dialect dialect, std::string_view name) {
  const auto found = std::find_if(std::begin(all), std::end(all), [&](const Speaking& each) {
    return tov_document::SameName(dialect, each.name, name);
  });
  return found == std::end(all) ? nullptr : &*found;
}

}  // namespace

Subjects SubjectsOf(Dialect dialect, std::string_view block, const Texts& words) {
  if (IsTable(dialect, block)) {
    return {IsOfTable(words.front()) ? Texts() : Texts{words.front()}, false};
  }
  const Speaking* const speaking = dialect == Dialect::kNginx
                                       ? Find(kNginx, dialect, words.front())
                                       : Find(kApache, dialect, words.front());
  if (speaking == nullptr || words.size() < 2) return {};
  return {Read(speaking->where, words), speaking->both_count};
}

}  // namespace tov_edit
