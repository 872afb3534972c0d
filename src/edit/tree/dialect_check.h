// SPDX-License-Identifier: Apache-2.0

// A slip that would spoil a file: a text of the one server, read as if it were the other one's.
#pragma once

#include <optional>
#include <string_view>

#include "edit/finding.h"
#include "edit/request.h"

namespace tov_edit {

// What to say when `text` is written in another dialect than `dialect`, without a place; none: it
// is not, or that cannot be told.
std::optional<Finding> OtherDialect(std::string_view text, Dialect dialect);

// The same of a request's template.
std::optional<Finding> OtherDialect(const Request& request);

}  // namespace tov_edit
