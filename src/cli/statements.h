// SPDX-License-Identifier: Apache-2.0

// The statements and places of a template, before it is read.
#pragma once

#include <vector>

#include "cli/findings.h"
#include "cli/request.h"

namespace cli {

// What the library takes otherwise than whoever wrote it: a word between quotes in a condition,
// "else if", a branch that is taken beside an earlier one, a keyword or a comment that is none, a
// place without "$". Imported files are not looked into. Each finding is named "template".
std::vector<Finding> OddStatements(const Request& request);

}  // namespace cli
