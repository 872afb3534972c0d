// SPDX-License-Identifier: Apache-2.0

#include "cli/findings.h"

#include <algorithm>

namespace cli {

const std::vector<FindingKind> kWarnings = {
    // Of an edit
    {"missing-value", "a value of a template line is missing: the line does nothing"},
    {"not-removed", "a block that may be meant to go stays"},
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
    {"branch-identity", "a line that names a block stands in a branch"},
    {"not-a-directive", "a line that is no directive, or more than one"},
    {"branch-opening", "an opening or closing line alone in a branch"},
    {"empty-key", "a line without a text of its own"},
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
