// SPDX-License-Identifier: Apache-2.0

#include "cli/leftovers.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <set>
#include <string_view>

namespace cli {
namespace {

constexpr std::string_view kEndings[] = {".bak",    ".old",     ".orig",   ".save",
                                         ".rpmnew", ".rpmsave", ".rpmorig"};
constexpr std::string_view kBeginningsOfEndings[] = {".dpkg-", ".ucf-", ".~"};

// What editors and this program put around a name.
struct Frame {
  std::string_view begin;
  std::string_view end;  // what it begins with
};
constexpr Frame kFrames[] = {
    {"#", "#"}, {".#", ""}, {".", ".swp"}, {".", ".swo"}, {".", ".qeltemplate-"}};

bool StartsWith(std::string_view text, std::string_view begin) {
  return text.substr(0, begin.size()) == begin;
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool IsLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// The name that `name` may be made of, and no other part of it; "" for none.
std::string_view Unframed(std::string_view name) {
  if (name.front() != '#' && name.front() != '.') return {};
  for (const Frame& frame : kFrames) {
    if (!StartsWith(name, frame.begin)) continue;
    const std::string_view rest = name.substr(frame.begin.size());
    if (frame.end.empty()) return rest;
    const std::size_t end = rest.rfind(frame.end);
    if (end != std::string_view::npos && end > 0) return rest.substr(0, end);
  }
  return {};
}

bool IsEnding(std::string_view text) {
  return std::find(std::begin(kEndings), std::end(kEndings), text) != std::end(kEndings);
}

bool BeginsEnding(std::string_view text) {
  return std::any_of(std::begin(kBeginningsOfEndings), std::end(kBeginningsOfEndings),
                     [text](std::string_view begin) { return StartsWith(text, begin); });
}

std::string_view WithoutEnding(std::string_view name, std::string_view backup_suffix) {
  if (!backup_suffix.empty() && EndsWith(name, backup_suffix)) {
    return name.substr(0, name.size() - backup_suffix.size());
  }
  if (EndsWith(name, "~")) return name.substr(0, name.size() - 1);
  bool is_last = true;
  for (std::size_t dot = name.rfind('.'); dot != std::string_view::npos;
       dot = dot == 0 ? std::string_view::npos : name.rfind('.', dot - 1)) {
    const std::string_view ending = name.substr(dot);
    if ((is_last && IsEnding(ending)) || BeginsEnding(ending)) return name.substr(0, dot);
    is_last = false;
  }
  return {};
}

std::string Normal(const std::filesystem::path& path) {
  return path.lexically_normal().string();
}

class Leftovers {
 public:
  Leftovers(const std::vector<std::string>& names, std::string_view backup_suffix)
      : m_all(names), m_suffix(backup_suffix) {
    if (!m_suffix.empty() && IsLetterOrDigit(m_suffix.front())) m_suffix = {};
  }

  // A copy may be one of a copy: "site.orig~".
  bool IsOne(std::string_view name) {
    const std::size_t file = name.rfind('/') + 1;  // 0 where there is none
    const std::string_view folder = name.substr(0, file);
    std::string_view rest = name.substr(file);
    while (!rest.empty()) {
      const std::string_view framed = Unframed(rest);
      rest = framed.empty() ? WithoutEnding(rest, m_suffix) : framed;
      if (!rest.empty() && IsGiven(Normal(std::filesystem::path(folder) / rest))) return true;
    }
    return false;
  }

 private:
  // Most names look like no copy at all: nothing is put in order for them.
  bool IsGiven(const std::string& normal) {
    if (m_names.empty()) {
      for (const std::string& name : m_all) m_names.insert(Normal(name));
    }
    return m_names.count(normal) != 0;
  }

  const std::vector<std::string>& m_all;
  std::string_view m_suffix;
  std::set<std::string> m_names;  // in their normal form, once they are needed
};

}  // namespace

std::vector<std::string> LeftoversAmong(const std::vector<std::string>& names,
                                        const std::string& backup_suffix) {
  Leftovers leftovers(names, backup_suffix);
  std::vector<std::string> found;
  for (const std::string& name : names) {
    if (leftovers.IsOne(name)) found.push_back(name);
  }
  return found;
}

}  // namespace cli
