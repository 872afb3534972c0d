// SPDX-License-Identifier: Apache-2.0

#include "server/apache_state.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <regex>

#include "document/ascii.h"

namespace tov_server {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

// What httpd is built with as a rule.
const std::set<std::string>& UsualModules() {
  static const std::set<std::string> modules = {"core.c",         "http_core.c",      "mod_so.c",
                                                "mod_watchdog.c", "mod_log_config.c", "mod_logio.c",
                                                "mod_version.c",  "mod_unixd.c"};
  return modules;
}

// Of modules whose source file has another name than "mod_NAME.c" of "NAME_module".
struct Source {
  std::string_view module;
  std::string_view file;
};
constexpr Source kSources[] = {
    {"core_module", "core.c"},           {"http_module", "http_core.c"},
    {"mpm_event_module", "event.c"},     {"mpm_worker_module", "worker.c"},
    {"mpm_prefork_module", "prefork.c"}, {"ldap_module", "util_ldap.c"},
};

constexpr std::string_view kModule = "_module";

// The source file of the module with that name.
std::string SourceOf(std::string_view module) {
  const Source* const known =
      std::find_if(std::begin(kSources), std::end(kSources),
                   [module](const Source& source) { return source.module == module; });
  if (known != std::end(kSources)) return std::string(known->file);
  if (module.size() > kModule.size() && module.substr(module.size() - kModule.size()) == kModule) {
    module.remove_suffix(kModule.size());
  }
  return std::string("mod_").append(module) + ".c";
}

bool IsModuleName(std::string_view name) {
  return name.size() > kModule.size() && name.substr(name.size() - kModule.size()) == kModule;
}

using Version = std::array<int, 3>;

// "2.4.62", or less of it; none: it is nothing of the kind.
std::optional<Version> ReadVersion(std::string_view text) {
  Version version = {};
  for (int& number : version) {
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    if (read.ec != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(read.ptr - text.data()));
    if (text.empty()) return version;
    if (text.front() != '.') return std::nullopt;
    text.remove_prefix(1);
  }
  return std::nullopt;
}

// Whether `pattern`, a regular expression, is found in `version`.
bool Matches(const std::string& version, const std::string& pattern) {
  try {
    return std::regex_search(version, std::regex(pattern));
  } catch (const std::regex_error&) {
    return false;
  }
}

// Whether `version` is what "OPERATOR WANTED" says. What httpd would refuse is not.
bool Fits(const std::string& version, std::string_view comparison, std::string wanted) {
  if (comparison == "~") return Matches(version, wanted);
  const bool equal = comparison == "=" || comparison == "==";
  if (equal && wanted.size() > 1 && wanted.front() == '/' && wanted.back() == '/') {
    return Matches(version, wanted.substr(1, wanted.size() - 2));
  }
  const std::optional<Version> is = ReadVersion(version);
  const std::optional<Version> other = ReadVersion(wanted);
  if (!is || !other) return false;
  if (equal) return *is == *other;
  if (comparison == ">") return *is > *other;
  if (comparison == ">=") return *is >= *other;
  if (comparison == "<") return *is < *other;
  return comparison == "<=" && *is <= *other;
}

// Takes a "!" away that `word` begins with.
bool CutNot(std::string& word) {
  const bool negated = !word.empty() && word.front() == '!';
  if (negated) word.erase(0, 1);
  return negated;
}

}  // namespace

bool ApacheState::AnyCase::operator()(const std::string& a, const std::string& b) const {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return tov_document::Lower(x) < tov_document::Lower(y);
  });
}

ApacheState::ApacheState(const ReadingOptions& options)
    : m_environment(options.environment),
      m_defined(options.defines),
      m_knows_modules(options.modules.has_value()),
      m_version(options.version) {
  for (const std::string& name : options.modules.value_or(UsualModules())) {
    m_modules.insert(IsModuleName(name) ? SourceOf(name) : name);
  }
}

void ApacheState::Define(const std::vector<std::string>& words) {
  if (words.size() < 2) return;
  const std::string& name = words[1];
  m_defined.insert(name);
  if (words.size() > 2) m_texts[name] = words[2];
}

void ApacheState::UnDefine(const std::vector<std::string>& words) {
  if (words.size() < 2) return;
  const std::string& name = words[1];
  m_defined.erase(name);
  m_texts.erase(name);
}

void ApacheState::LoadModule(const std::vector<std::string>& words) {
  if (words.size() < 2) return;
  m_modules.insert(SourceOf(words[1]));
  m_knows_modules = true;
}

std::string ApacheState::Expanded(const std::string& word) const {
  std::size_t begin = word.find("${");
  if (begin == kNowhere) return word;
  std::string expanded;
  std::size_t at = 0;
  for (; begin != kNowhere; begin = word.find("${", at)) {
    const std::size_t end = word.find('}', begin);
    if (end == kNowhere) break;
    expanded.append(word, at, begin - at);
    at = end + 1;
    const std::string name = word.substr(begin + 2, end - begin - 2);
    const auto text = m_texts.find(name);
    const auto variable = m_environment.find(name);
    if (text != m_texts.end()) {
      expanded += text->second;
    } else if (variable != m_environment.end()) {
      expanded += variable->second;
    } else {
      expanded.append(word, begin, at - begin);
    }
  }
  return expanded.append(word, at);
}

bool ApacheState::HasModule(const std::string& name) const {
  return m_modules.count(IsModuleName(name) ? SourceOf(name) : name) != 0;
}

bool ApacheState::HoldsIfModule(const std::vector<std::string>& words) const {
  if (words.size() < 2 || !m_knows_modules) return true;
  std::string name = words[1];
  const bool negated = CutNot(name);
  return HasModule(name) != negated;
}

bool ApacheState::HoldsIfDefine(const std::vector<std::string>& words) const {
  if (words.size() < 2) return true;
  std::string name = words[1];
  const bool negated = CutNot(name);
  return (m_defined.count(name) != 0) != negated;
}

bool ApacheState::HoldsIfVersion(const std::vector<std::string>& words) const {
  if (words.size() < 2 || m_version.empty()) return true;
  const bool compares = words.size() > 2 && words[2] != ">";
  std::string comparison = compares ? words[1] : "=";
  const bool negated = comparison.size() > 1 && CutNot(comparison);
  return Fits(m_version, comparison, words[compares ? 2 : 1]) != negated;
}

}  // namespace tov_server
