// SPDX-License-Identifier: Apache-2.0

#include "cli/findings.h"

#include <algorithm>

#include "template/framework/str.h"

namespace cli {

std::string At(const std::string& file, std::size_t line) {
  return file + ":" + std::to_string(line);
}

std::string Printable(std::string_view text) {
  std::string result(text);
  std::replace_if(
      result.begin(), result.end(),
      [](char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f; }, '?');
  return result;
}

std::string Quoted(std::string_view text) {
  constexpr std::size_t kMost = 100;
  const std::string_view trimmed = str::view::Trim(text);
  const bool cut = trimmed.size() > kMost;
  return "'" + Printable(trimmed.substr(0, kMost)) + (cut ? "...'" : "'");
}

const std::vector<FindingKind> kRefusals = {
    {"lost-lines", "lines go that no line of the template names"},
    {"other-directive", "a line of another directive, or with more on it, is changed"},
    {"unbalanced", "braces or tags no longer fit together"},
    {"duplicate-identity", "two blocks come to have the same identity"},
    {"unmatched-section", "a block of the template is nowhere, and is not new"},
    {"ambiguous", "a block of the template is there several times"},
    {"other-block", "lines of another server than the template's are touched"},
    {"part-of-directive", "only some of the lines of one directive are touched"},
    {"odd-line", "a brace stands where the library does not see it"},
    {"not-applied", "a line of the template had no effect"},
    {"mixed-options", "Options words that httpd does not take together"},
    {"template", "the template's own blocks do not fit together"},
};

const std::vector<FindingKind> kWarnings = {
    // Of an edit
    {"missing-value", "a value of a template line is missing: the line does nothing"},
    {"outside", "a template line stands outside every block: it does nothing"},
    {"second-line", "a line is added beside one of the same directive"},

    // Of a configuration, and of a template
    {"mixed-options", "Options words with and without a sign"},
    {"options-comment", "a comment behind Options, whose words become options"},

    // Of a template
    {"unknown-statement", "a statement that does not exist"},
    {"keyword-prefix", "a keyword with more letters, of which only the beginning counts"},
    {"missing-endif", "an if without its endif"},
    {"extra-endif", "an endif without its if"},
    {"stray-else", "an else or elif without its if"},
    {"mixed-and-or", "and and or in one condition"},
    {"unknown-operator", "an operator that does not exist"},
    {"quoted-operand", "quotes in a condition, which are part of the text"},
    {"numeric-comparison", "a comparison of numbers, which is one of texts"},
    {"extra-words", "words in a condition that do not count"},
    {"third-branch", "a second elif, which does not look at the if"},
    {"unset-value", "a value that nothing sets"},
    {"missing-old-value", "a value that identifies a block has no old text"},
    {"unclosed-place", "a place that does not close"},
    {"place-without-dollar", "a place without $, which stands for the whole line"},
    {"odd-comment", "a comment that is none"},
    {"missing-import", "an import of a file that is not there"},
    {"repeated-import", "a file that is imported twice"},
    {"extra-closing", "a closing line too many"},
    {"unclosed-block", "a block never closes"},
    {"branch-identity", "a line that identifies a block stands in a branch"},
    {"branch-opening", "an opening or closing line alone in a branch"},
    {"comment-after-opening", "a comment behind an opening line"},
    {"short-key", "a line whose key is the beginning of other directives"},
    {"empty-key", "a line without a text of its own"},
    {"unknown-address", "a listen address that the library does not understand"},
    {"listen-order", "a listen line before one that changes"},
    {"options-stay", "Options words that a change does not take away"},
    {"rule-order", "a rule whose place among others matters"},
};

std::string KnownNames(const std::vector<FindingKind>& kinds) {
  std::string names;
  for (const FindingKind& kind : kinds)
    names += (names.empty() ? "" : ", ") + std::string(kind.name);
  return names;
}

bool IsNamed(const std::vector<FindingKind>& kinds, const std::string& name) {
  return std::any_of(kinds.begin(), kinds.end(),
                     [&name](const FindingKind& kind) { return kind.name == name; });
}

}  // namespace cli
