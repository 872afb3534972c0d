// SPDX-License-Identifier: Apache-2.0

// Which lines of a site a template is for.
#pragma once

#include <vector>

#include "adopt/adopt.h"
#include "adopt/lines.h"
#include "adopt/naming.h"

namespace tov_adopt {

// Sets Line::kept: by Options::managed, and of comments for those that hold a value.
void ChooseLines(const Options& options, Lines& lines);

// Sets Value::used: whether a line that is kept has a place for it.
void MarkUsed(const Lines& lines, std::vector<Value>& values);

}  // namespace tov_adopt
