// SPDX-License-Identifier: Apache-2.0

// The names of what speaks against an edit, or should be known about it.
#pragma once

#include <string>
#include <vector>

#include "edit/finding.h"

namespace cli {

using edit::Finding;
using edit::FindingKind;
using edit::Printable;
using edit::Quoted;

// The names of what is only said, and can be ignored, with what each is about.
extern const std::vector<FindingKind> kWarnings;

// Whether one of `kinds` has this name, and all their names for a message.
bool IsNamed(const std::vector<FindingKind>& kinds, const std::string& name);
std::string KnownNames(const std::vector<FindingKind>& kinds);

}  // namespace cli
