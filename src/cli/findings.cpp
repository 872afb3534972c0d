// SPDX-License-Identifier: Apache-2.0

#include "cli/findings.h"

#include <algorithm>

#include "edit/lint.h"
#include "server/server_files.h"

namespace cli {
namespace {

using tov_edit::Remedy;

const std::vector<FindingKind> kConfigWarnings = {
    {"mixed-options", "Options words with and without a sign"},
    {"options-comment", "a comment behind Options, whose words become options"},
    {"collision", "servers that are in each other's way"},
};

std::string OptionFor(Remedy remedy, const Finding& finding) {
  switch (remedy) {
    case Remedy::kAll:
      return "--all edits all of them";
    case Remedy::kQuote:
      return "--quote writes it in quotes";
    case Remedy::kRaw:
      return "--raw " + (finding.values.size() == 1 ? finding.values.front() : "NAME") +
             " puts it in as it is";
  }
  return std::string();
}

}  // namespace

std::vector<FindingKind> KnownWarnings() {
  std::vector<FindingKind> kinds = tov_edit::kEditWarnings;
  kinds.insert(kinds.end(), kConfigWarnings.begin(), kConfigWarnings.end());
  kinds.insert(kinds.end(), tov_server::kServerWarnings.begin(), tov_server::kServerWarnings.end());
  for (const FindingKind& kind : tov_edit::kTemplateWarnings) {
    if (!IsNamed(kinds, kind.name)) kinds.push_back(kind);
  }
  return kinds;
}

std::string Said(const Finding& finding) {
  std::string text = Shown(finding);
  const char* separator = "; ";
  for (const Remedy remedy : finding.remedies) {
    text += separator + OptionFor(remedy, finding);
    separator = ", ";
  }
  if (finding.name == "no-file" && finding.config_places.empty()) text += "; --new-in says it";
  return Printable(text) + " [" + finding.name + "]";
}

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
