// SPDX-License-Identifier: Apache-2.0

// Compares the text that an edit has made with what must become of the tree.
#pragma once

#include <string>

#include "judge.h"
#include "layout.h"
#include "model.h"

namespace alike {

struct Source {
  Dialect dialect;
  Layout layout;
  Rendered rendered;
};

// "" when `result` is what the outcome, which is no refusal, makes of the source: the tree is the
// expected one, each new node stands in its place, and all bytes that belong to nothing that
// changes are as they were. Else what is wrong.
std::string Difference(const Source& source, const Outcome& outcome, const std::string& result);

// A text that is what the outcome makes of the source: to try Difference with.
std::string Example(const Source& source, const Outcome& outcome);

}  // namespace alike
