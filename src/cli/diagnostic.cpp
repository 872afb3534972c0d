// SPDX-License-Identifier: Apache-2.0

#include "cli/diagnostic.h"

#include <algorithm>
#include <string_view>

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
  const std::vector<FindingKind> known = KnownWarnings();
  if (IsNamed(known, name)) return std::string();
  return "'" + name + "' is no warning; known are: " + KnownNames(known);
}

}  // namespace

std::string Shown(const Finding& finding, Weight weight, bool coloured) {
  const std::string kind = weight == Weight::kError ? Styled("error: ", kRed, coloured)
                                                    : Styled("warning: ", kYellow, coloured);
  const FilePlace& place = PlaceOf(finding);
  const std::string text = finding.message + (finding.hint.empty() ? "" : ". " + finding.hint);
  std::string shown =
      Bold(Shown(place) + ": ", coloured) + kind + Printable(text) + " [" + finding.name + "]\n";
  if (place.line == 0) return shown;
  shown += kIndent + Printable(finding.line_text) + '\n';
  if (place.column != 0) shown += kIndent + MarkUnder(finding.line_text, place.column) + '\n';
  return shown;
}

std::string ShownWarnings(const std::vector<Finding>& warnings, bool coloured) {
  std::string shown;
  for (const Finding& warning : warnings) shown += Shown(warning, Weight::kWarning, coloured);
  if (warnings.empty()) return shown;
  return shown + std::to_string(warnings.size()) +
         (warnings.size() == 1 ? " warning\n" : " warnings\n");
}

void Ignore(const std::set<std::string>& ignored, std::vector<Finding>& findings) {
  const auto is_ignored = [&](const Finding& finding) { return ignored.count(finding.name) != 0; };
  findings.erase(std::remove_if(findings.begin(), findings.end(), is_ignored), findings.end());
}

void AddIgnoreOption(CLI::App& command, std::set<std::string>& names) {
  AddNames(command, "--ignore", names, "Do not show what has this name in brackets")
      ->check(CheckWarningName);
}

std::string Bold(const std::string& text, bool coloured) {
  return Styled(text, kBold, coloured);
}

}  // namespace cli
