// SPDX-License-Identifier: Apache-2.0

// The edit of an attempt, made and judged, and written down for other languages (see
// edit/case_writer.h).
#pragma once

#include <string>

#include "edit/attack/attempt.h"

namespace attack {

struct Tried {
  bool refused = false;
  bool rightly = false;  // it has to be
  std::string why;       // by the names of the reasons
  std::string messages;  // the same, as somebody would read them
  std::string text;      // the result
  std::string wrong;     // "": nothing
};

// `quoted`: the program is to quote the values.
Tried Try(const Attempt& attempt, bool quoted);

// With all values let in as they are: nobody knows what has to come of it, but it comes of it the
// same way each time, and a refused edit leaves the text alone. Of the result `rightly` is not set.
Tried TryRaw(const Attempt& attempt);

}  // namespace attack
