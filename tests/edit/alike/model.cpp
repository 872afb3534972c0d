// SPDX-License-Identifier: Apache-2.0

#include "model.h"

#include <algorithm>
#include <map>

namespace alike {

TemplateWord Text(std::string text) {
  return {std::move(text), TemplateWord::Place::kNone, "", ""};
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return Lower(a) == Lower(b);
}

bool IsSameName(Dialect dialect, std::string_view name, std::string_view other) {
  return dialect == Dialect::kApache ? EqualIgnoringCase(name, other) : name == other;
}

std::string NameDirective(Dialect dialect) {
  return dialect == Dialect::kNginx ? "server_name" : "ServerName";
}

bool IsContainer(Dialect dialect, const Node& block) {
  const std::string& name = block.words.at(0);
  if (dialect == Dialect::kNginx) return name == "http";
  const std::string lower = Lower(name);
  return lower == "ifmodule" || lower == "ifdefine" || lower == "ifversion";
}

std::string NormalAddress(Dialect dialect, const std::string& address) {
  if (address.find_first_not_of("0123456789") == std::string::npos) return "*:" + address;
  const std::size_t bracket = address.find(']');
  const std::size_t colon = address.find(':', bracket == std::string::npos ? 0 : bracket);
  const std::string host = Lower(address.substr(0, colon));
  const std::string port = colon == std::string::npos ? "80" : address.substr(colon + 1);
  const bool any = host == "*" || host == "0.0.0.0" ||
                   (dialect == Dialect::kApache && (host == "_default_" || host == "[::]"));
  return (any ? "*" : host) + ":" + port;
}

bool HoldsNames(Dialect dialect, const Node& directive) {
  const std::string& name = directive.words.at(0);
  if (dialect == Dialect::kNginx) return name == "server_name";
  return EqualIgnoringCase(name, "ServerName") || EqualIgnoringCase(name, "ServerAlias");
}

std::string HostOf(const std::string& name) {
  const std::size_t scheme = name.find("://");
  const std::size_t begin = scheme == std::string::npos ? 0 : scheme + 3;
  return Lower(name.substr(begin, name.find(':', begin) - begin));
}

Words NamesOf(Dialect dialect, const Node& block) {
  Words names;
  for (const Node& node : block.children) {
    if (!node.IsDirective() || node.removed) continue;
    if (!HoldsNames(dialect, node)) continue;
    for (std::size_t i = 1; i < node.words.size(); ++i) {
      names.push_back(dialect == Dialect::kApache ? HostOf(node.words.at(i))
                                                  : Lower(node.words.at(i)));
    }
  }
  return names;
}

Words AddressesOf(Dialect dialect, const Node& block) {
  Words addresses;
  if (dialect == Dialect::kApache) {
    for (std::size_t i = 1; i < block.words.size(); ++i) {
      addresses.push_back(NormalAddress(dialect, block.words.at(i)));
    }
    return addresses;
  }
  for (const Node& node : block.children) {
    if (!node.IsDirective() || node.removed || node.words.at(0) != "listen") continue;
    addresses.push_back(NormalAddress(dialect, node.words.at(1)));
  }
  return addresses;
}

bool Contains(const Words& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool StandsOnce(Dialect dialect, std::string_view name) {
  static const Words nginx = {"root",
                              "client_max_body_size",
                              "gzip",
                              "expires",
                              "keepalive_timeout",
                              "autoindex",
                              "proxy_pass",
                              "worker_processes",
                              "user",
                              "server_tokens",
                              "charset",
                              "send_timeout",
                              "ssl_prefer_server_ciphers",
                              "return",
                              "try_files"};
  static const Words apache = {"DocumentRoot",     "ServerName",    "ErrorLog", "ServerAdmin",
                               "SSLEngine",        "AllowOverride", "Timeout",  "ServerTokens",
                               "LimitRequestBody", "SetHandler"};
  const Words& once = dialect == Dialect::kNginx ? nginx : apache;
  return std::any_of(once.begin(), once.end(),
                     [&](const std::string& known) { return IsSameName(dialect, known, name); });
}

bool SayTwoThings(Dialect dialect, const Words& a, const Words& b) {
  const std::string name = Lower(a.at(0));
  if (!IsSameName(dialect, name, b.at(0))) return false;
  if (name == "error_page") {
    return std::any_of(a.begin() + 1, a.end() - 1, [&](const std::string& code) {
      return std::find(b.begin() + 1, b.end() - 1, code) != b.end() - 1;
    });
  }
  static const std::map<std::string, std::size_t> beginnings = {
      {"errordocument", 2}, {"setenv", 2}, {"alias", 2},           {"proxypass", 2},
      {"redirect", 3},      {"header", 3}, {"proxy_set_header", 2}};
  const auto beginning = beginnings.find(name);
  if (beginning == beginnings.end()) return false;
  const std::size_t count = beginning->second;
  if (a.size() <= count || b.size() <= count) return false;
  if (name == "header" && Lower(a.at(1)) != "set") return false;
  return std::equal(a.begin() + 1, a.begin() + static_cast<std::ptrdiff_t>(count), b.begin() + 1);
}

namespace {

std::optional<std::string> Form(const TemplateWord& word, const Edit& edit, bool old) {
  if (word.place == TemplateWord::Place::kNone) return word.before;
  const auto found = edit.values.find(word.value);
  if (found == edit.values.end()) return std::nullopt;
  const Value& value = found->second;
  const std::optional<std::string>& text = old && value.old_text ? value.old_text : value.new_text;
  if (!text) return std::nullopt;
  return word.before + *text + word.after;
}

}  // namespace

std::optional<std::string> OldForm(const TemplateWord& word, const Edit& edit) {
  return Form(word, edit, true);
}

std::optional<std::string> NewForm(const TemplateWord& word, const Edit& edit) {
  return Form(word, edit, false);
}

bool NeedsQuotes(std::string_view word) {
  return word.empty() || word.find_first_of(" \t;{}'\"#") != std::string_view::npos;
}

std::string Quoted(const std::string& word) {
  return word.find('"') == std::string::npos ? '"' + word + '"' : '\'' + word + '\'';
}

Words SplitWords(std::string_view text) {
  Words words;
  std::size_t at = 0;
  while (at < text.size()) {
    const char c = text.at(at);
    if (c == ' ') {
      ++at;
      continue;
    }
    const bool quoted = c == '"' || c == '\'';
    const std::size_t begin = quoted ? at + 1 : at;
    const std::size_t end = std::min(text.find(quoted ? c : ' ', begin), text.size());
    words.emplace_back(text.substr(begin, end - begin));
    at = quoted ? end + 1 : end;
  }
  return words;
}

Edit Settled(Edit edit) {
  for (auto& [name, value] : edit.values) {
    if (value.old_text && value.new_text) value.old_text = value.new_text;
  }
  return edit;
}

Edit Reversed(Edit edit) {
  for (auto& [name, value] : edit.values) {
    if (value.old_text && value.new_text) std::swap(value.old_text, value.new_text);
  }
  return edit;
}

}  // namespace alike
