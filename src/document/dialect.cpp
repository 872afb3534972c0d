// SPDX-License-Identifier: Apache-2.0

#include "document/dialect.h"

#include <algorithm>
#include <cstddef>

#include "document/ascii.h"

namespace tov_document {
namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

bool IsUpper(char c) {
  return c >= 'A' && c <= 'Z';
}

bool IsLetter(char c) {
  return IsUpper(c) || (c >= 'a' && c <= 'z');
}

std::string_view Trimmed(std::string_view line) {
  while (!line.empty() && IsBlank(line.front())) line.remove_prefix(1);
  while (!line.empty() && IsBlank(line.back())) line.remove_suffix(1);
  return line;
}

// Comments of both languages begin with '#', those of templates with "{#}". Nothing is typical of a
// template's statements.
bool SaysNothing(std::string_view line) {
  return line.empty() || line.front() == '#' || line.substr(0, 3) == "{#}";
}

bool IsNginxLine(std::string_view line) {
  return line.back() == ';' || line.back() == '{' || line.front() == '}';
}

// "<VirtualHost *:80>", "</IfModule>".
bool IsTag(std::string_view line) {
  if (line.front() != '<' || line.size() < 2) return false;
  return IsLetter(line[1]) || line[1] == '/';
}

// "ServerName a.example": nginx has no name that begins with a capital.
bool IsCapitalisedDirective(std::string_view line) {
  const auto* const end = std::find_if_not(line.begin(), line.end(), IsLetter);
  return IsUpper(line.front()) && (end == line.end() || IsBlank(*end));
}

bool IsApacheLine(std::string_view line) {
  return !IsNginxLine(line) && (IsTag(line) || IsCapitalisedDirective(line));
}

// Strings over several lines, and scripts in them, look like anything: a few lines of the other
// language decide nothing.
bool IsMore(std::size_t lines, std::size_t other_lines) {
  return lines > 10 * other_lines;
}

}  // namespace

const char* NameOf(Dialect dialect) {
  return dialect == Dialect::kNginx ? "nginx" : "apache";
}

std::optional<Dialect> DialectNamed(std::string_view name) {
  for (const Dialect dialect : {Dialect::kNginx, Dialect::kApache}) {
    if (SameLetters(name, NameOf(dialect))) return dialect;
  }
  return std::nullopt;
}

std::optional<Dialect> GuessDialect(std::string_view text) {
  constexpr std::size_t kEnough = 1000;
  std::size_t nginx_lines = 0;
  std::size_t apache_lines = 0;
  while (!text.empty() && nginx_lines + apache_lines < kEnough) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = Trimmed(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (SaysNothing(line)) continue;
    if (IsNginxLine(line)) ++nginx_lines;
    if (IsApacheLine(line)) ++apache_lines;
  }
  if (IsMore(nginx_lines, apache_lines)) return Dialect::kNginx;
  if (IsMore(apache_lines, nginx_lines)) return Dialect::kApache;
  return std::nullopt;
}

}  // namespace tov_document
