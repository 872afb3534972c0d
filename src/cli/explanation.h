// SPDX-License-Identifier: Apache-2.0

// The report of an edit as a text for people.
#pragma once

#include <string>

#include "report/json.h"

namespace cli {

// A table with a line for each line of the template, under the blocks that they are for; then what
// else there is to know.
std::string Explanation(const report::ExplainedEdit& edit, bool coloured);

}  // namespace cli
