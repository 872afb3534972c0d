// SPDX-License-Identifier: Apache-2.0

// What is wrong with a template, or probably not meant.
#pragma once

#include <string>
#include <vector>

#include "cli/diagnostic.h"
#include "edit/request.h"

namespace cli {

// Looks at the request's template without a configuration. `values_given`: its values are all there
// will be, so that one that is missing is missed. Throws
// Failure when a file that the template imports cannot be read.
std::vector<Diagnostic> CheckTemplateText(const edit::Request& request, bool values_given);

}  // namespace cli
