// SPDX-License-Identifier: Apache-2.0

// The names of what speaks against an edit, or should be known about it.
#pragma once

#include <string>
#include <vector>

#include "edit/finding.h"

namespace cli {

using tov_edit::Finding;
using tov_edit::FindingKind;
using tov_edit::Printable;
using tov_edit::Quoted;

// All names of what is only said, and can be ignored, with what each is about.
std::vector<FindingKind> KnownWarnings();

// The finding as the program says it, with the options that help, and its name in brackets:
//
//   site.template:1:1: 'server {' fits several blocks: ...; --all edits all of them [ambiguous]
std::string Said(const Finding& finding);

// Whether one of `kinds` has this name, and all their names for a message.
bool IsNamed(const std::vector<FindingKind>& kinds, const std::string& name);
std::string KnownNames(const std::vector<FindingKind>& kinds);

}  // namespace cli
