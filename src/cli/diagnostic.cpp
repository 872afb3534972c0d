// SPDX-License-Identifier: Apache-2.0

#include "cli/diagnostic.h"

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

#include "cli/findings.h"
#include "cli/request.h"

namespace cli {
namespace {

constexpr char kBold[] = "\x1b[1m";
constexpr char kRed[] = "\x1b[31m";
constexpr char kYellow[] = "\x1b[33m";
constexpr char kPlain[] = "\x1b[0m";
constexpr char kIndent[] = "    ";

std::string Styled(const std::string& text, const char* style, bool coloured) {
  return coloured ? style + text + kPlain : text;
}

// Blanks up to the column; tabs stay, so that the mark stands below its character.
std::string MarkUnder(std::string_view text, std::size_t column) {
  std::string mark;
  for (std::size_t i = 0; i + 1 < column && i < text.size(); ++i) {
    mark += text[i] == '\t' ? '\t' : ' ';
  }
  return mark + '^';
}

std::string CheckWarningName(const std::string& name) {
  if (IsNamed(kWarnings, name)) return std::string();
  return "'" + name + "' is no warning; known are: " + KnownNames(kWarnings);
}

}  // namespace

std::string Shown(const Diagnostic& diagnostic, bool coloured) {
  const std::string kind = diagnostic.is_error ? Styled("error: ", kRed, coloured)
                                               : Styled("warning: ", kYellow, coloured);
  std::string shown = Bold(Shown(diagnostic.place) + ": ", coloured) + kind +
                      Printable(diagnostic.message) + " [" + diagnostic.name + "]\n";
  if (diagnostic.place.line == 0) return shown;
  shown += kIndent + Printable(diagnostic.text) + '\n';
  if (diagnostic.place.column != 0) {
    shown += kIndent + MarkUnder(diagnostic.text, diagnostic.place.column) + '\n';
  }
  return shown;
}

std::vector<Diagnostic> Sorted(std::vector<Diagnostic> diagnostics,
                               const std::set<std::string>& ignored) {
  const auto end = std::remove_if(
      diagnostics.begin(), diagnostics.end(),
      [&](const Diagnostic& diagnostic) { return ignored.count(diagnostic.name) != 0; });
  diagnostics.erase(end, diagnostics.end());
  const auto place = [](const Diagnostic& diagnostic) {
    return std::tie(diagnostic.place.file, diagnostic.place.line, diagnostic.place.column);
  };
  std::stable_sort(diagnostics.begin(), diagnostics.end(),
                   [&](const auto& a, const auto& b) { return place(a) < place(b); });
  return diagnostics;
}

std::string Shown(const std::vector<Diagnostic>& diagnostics, bool coloured) {
  std::string shown;
  for (const Diagnostic& diagnostic : diagnostics) shown += Shown(diagnostic, coloured);
  if (diagnostics.empty()) return shown;
  const std::size_t count = diagnostics.size();
  return shown + std::to_string(count) + (count == 1 ? " warning\n" : " warnings\n");
}

nlohmann::ordered_json ToJson(const FilePlace& place) {
  nlohmann::ordered_json json = {{"file", place.file}};
  if (place.line != 0) json["line"] = place.line;
  if (place.column != 0) json["column"] = place.column;
  return json;
}

nlohmann::ordered_json ToJson(const Diagnostic& diagnostic) {
  return {{"name", diagnostic.name},
          {"place", ToJson(diagnostic.place)},
          {"text", diagnostic.text},
          {"message", diagnostic.message}};
}

nlohmann::ordered_json ToJson(const std::vector<Diagnostic>& diagnostics) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const Diagnostic& diagnostic : diagnostics) json.push_back(ToJson(diagnostic));
  return json;
}

void AddIgnoreOption(CLI::App& command, std::set<std::string>& names) {
  AddNames(command, "--ignore", names, "Say nothing of what has this name in brackets")
      ->check(CheckWarningName);
}

std::string Bold(const std::string& text, bool coloured) {
  return Styled(text, kBold, coloured);
}

}  // namespace cli
