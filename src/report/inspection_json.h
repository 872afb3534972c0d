// SPDX-License-Identifier: Apache-2.0

// A configuration as its server reads it, as JSON.
#pragma once

#include <string>

#include "edit/inspection.h"

namespace report {

// As docs/schema/inspect.json says, with a line end.
std::string InspectionJson(const tov_edit::InspectedText& config);

}  // namespace report
