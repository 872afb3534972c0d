// SPDX-License-Identifier: Apache-2.0

#include "template/nginx.h"

#include <algorithm>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "template/framework/str.h"
#include "template/framework/test.h"

namespace tov_template {
namespace {

constexpr std::string_view kListen = "listen";
constexpr std::string_view kSslOn = "ssl on";

// The directives that identify a block.
const std::string kServerName = "server_name";
const std::string kSsl = "ssl";
const std::string kSslPreferServerCiphers = "ssl_prefer_server_ciphers";

// The first word of `text`, when it is one of them; else "".
std::string_view IdentOf(std::string_view text) {
  for (const std::string_view name : {std::string_view(kServerName), std::string_view(kSsl),
                                      std::string_view(kSslPreferServerCiphers)}) {
    if (text.substr(0, name.size()) != name) continue;
    if (text.size() == name.size() || str::IsBlank(text[name.size()])) return name;
  }
  return {};
}

// Adds `word`, which may be empty, to `text`, behind a blank.
void AppendWord(std::string& text, std::string_view word) {
  if (!text.empty() && !word.empty()) text += ' ';
  text += word;
}

// Adds the directive's name and the first one of the names in `line`, a server_name, without
// terminators.
void AppendFirstName(std::string& path, std::string_view line) {
  while (str::view::EndsWith(line, ";")) line.remove_suffix(1);
  std::string without_terminators;
  if (line.find(';') != std::string_view::npos) {  // others than those at the end, seldom
    without_terminators = line;
    without_terminators.erase(
        std::remove(without_terminators.begin(), without_terminators.end(), ';'),
        without_terminators.end());
    line = without_terminators;
  }
  if (str::view::Contains(line, "{%")) return;
  AppendWord(path, str::view::GetWord(line));
  AppendWord(path, str::view::GetWord(line));
}

std::string WithoutBrackets(std::string_view word) {
  std::string text(word);
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == '[' || c == ']'; }),
             text.end());
  return text;
}

// The address that `word` of a listen directive names, with its port; "" when it names none.
std::string ListenAddress(std::string_view word) {
  const std::size_t colon = word.rfind(':');
  // Without a colon the word is taken for the port, and no host is left.
  const std::string host =
      WithoutBrackets(colon == std::string_view::npos ? "" : word.substr(0, colon));
  const std::string port(colon == std::string_view::npos ? word : word.substr(colon + 1));
  if (!test::Ip(host) || !test::Numeric(port)) return std::string();
  return (test::Ip6(host) ? "[" + host + "]" : host) + ":" + port;
}

// Whether `word` of a listen directive ends its addresses and begins its options.
bool IsListenOption(std::string_view word) {
  return (!str::view::Contains(word, ":") || str::view::Contains(word, "unix")) &&
         !test::Ip(std::string(word));
}

}  // namespace

std::string Nginx::Listen::Str() const {
  return str::Append(str::Append("listen", address, " "), options, " ") + ";";
}

Nginx::Nginx(const std::string& text) : LineListConfig(text, {"ssl_ciphers", "ssl_protocols"}) {}

// Lines

bool Nginx::StartsSection(const std::string& line) const {
  return str::view::EndsWith(str::view::Trim(line), "{") && !str::view::Contains(line, "#");
}

bool Nginx::EndedSection(const std::string& line) const {
  return str::view::StartsWith(str::view::Trim(line), "}");
}

bool Nginx::IsUniqueParam(const std::string& line) const {
  return str::view::StartsWith(str::view::Trim(line), kListen);
}

Nginx::LineLook Nginx::Look(const std::string& line) {
  LineLook look;
  look.text = str::view::Trim(line);
  if (look.text.empty()) return look;
  const char first = look.text.front();
  look.unique = first == kListen.front() && str::view::StartsWith(look.text, kListen);
  if (look.text.find('#') != std::string_view::npos) {
    look.text = str::view::Trim(look.text.substr(0, look.text.rfind('#')));
    if (look.text.empty()) return look;
  }
  look.ends = first == '}';
  look.starts = look.text.back() == '{' && look.text.find('#') == std::string_view::npos;
  if (first == 's') look.name = IdentOf(look.text);
  return look;
}

Nginx::LookAtLine Nginx::GetLookAtLine() const {
  return typeid(*this) == typeid(Nginx) ? Look : nullptr;
}

bool Nginx::CanRegisterLate(std::size_t /*depth*/,
                            const std::vector<LineIterator>& /*lines*/) const {
  return typeid(*this) == typeid(Nginx) && m_listen.empty();
}

std::string Nginx::GetKeyFieldConstParam(const std::string& line) const {
  return IsConstExpression(line) ? std::string(str::view::FirstWord(line)) : line;
}

// Identity of a block

void Nginx::GetIdentParams(std::set<std::string>& names) const {
  names.insert({kServerName, kSsl, kSslPreferServerCiphers});
}

std::string Nginx::MakeSectionPath(const std::string& name,
                                   const std::map<std::string, std::string>& idents) const {
  constexpr std::size_t kRoomForNames = 64;  // most fit
  std::string path;
  path.reserve(name.size() + kRoomForNames);
  path = name;
  bool ssl = false;
  for (const auto& [ident, line] : idents) {
    if (ident == kServerName) AppendFirstName(path, line);
    ssl = ssl || ident == kSsl || ident == kSslPreferServerCiphers;
  }
  if (ssl) AppendWord(path, kSslOn);
  return path;
}

// Listen directives

void Nginx::ParseListen(const std::string& line, std::vector<Listen>& out) {
  std::string_view rest = str::view::Trim(line);
  const std::size_t end = rest.rfind(';');
  rest = end == std::string_view::npos ? std::string_view() : rest.substr(0, end);
  str::view::GetWord(rest);  // the directive's name

  std::vector<std::string> addresses;
  std::string options;
  while (!rest.empty()) {
    const std::string_view word = str::view::GetWord(rest);
    if (IsListenOption(word)) {
      options = str::Append(std::string(word), std::string(rest), " ");
      break;
    }
    std::string address = ListenAddress(word);
    if (address.empty()) {
      options = std::string(rest);
      break;
    }
    addresses.push_back(std::move(address));
  }

  if (addresses.empty() && !options.empty()) out.push_back({std::string(), options});
  for (std::string& address : addresses) out.push_back({std::move(address), options});
}

std::string Nginx::SetIndent(const std::string& section, const std::string& text) const {
  return Indented(section, text);
}

LineIterator Nginx::RegisterUniqueParam(const std::string& section, LineIterator& pos) {
  RegisterRest();
  if (pos == m_lines.end()) return pos;
  m_registry.Add(EntryInOrder(m_listen, section).first->second, pos);
  return pos;
}

LineIterator Nginx::AppendUniqueParam(const std::string& section, const LineIterator& pos,
                                      const std::string& text) {
  RegisterRest();
  std::vector<Listen> records;
  ParseListen(text, records);
  LineIterator last = pos;
  for (const Listen& record : records) {
    LineRegistry::List& listens = m_listen[section];
    const std::string line = record.Str();
    if (!m_registry.Holds(listens, line)) last = MakeListen(section, listens, pos, line);
  }
  return last;
}

void Nginx::RemoveUniqueParam(const std::string& section, const std::string& text, bool /*flag*/,
                              std::list<LineIterator>& removed) {
  RegisterRest();
  const auto entry = m_listen.find(section);
  if (entry == m_listen.end()) return;
  LineRegistry::List& listens = entry->second;
  std::vector<Listen> records;
  ParseListen(text, records);
  for (const Listen& record : records) {
    for (const auto& element : m_registry.Find(listens, record.Str(), Match::kBeginning)) {
      m_registry.HandBack(listens, element, removed);
    }
  }
}

void Nginx::ChangeUniqueParam(const std::string& section, LineIterator& pos,
                              const std::string& text, std::list<LineIterator>& removed) {
  RegisterRest();
  const auto entry = m_listen.find(section);
  if (entry == m_listen.end()) return;
  LineRegistry::List& listens = entry->second;
  std::vector<Listen> records;
  ParseListen(text, records);
  m_registry.HandBackAll(listens, removed);
  for (const Listen& record : records) MakeListen(section, listens, pos, record.Str());
}

LineIterator Nginx::MakeListen(const std::string& section, LineRegistry::List& listens,
                               const LineIterator& pos, const std::string& listen) {
  const LineIterator line = m_lines.insert(pos, SetIndent(section, listen));
  m_registry.Add(listens, line);
  return line;
}

std::vector<LineIterator> Nginx::RegisteredLines() const {
  RegisterRest();
  std::vector<LineIterator> lines;
  for (const auto& [section, listens] : m_listen) {
    lines.insert(lines.end(), listens.begin(), listens.end());
  }
  return lines;
}

void Nginx::ForgetLine(const LineIterator& line) {
  m_registry.Forget(line);
}

}  // namespace tov_template
