// SPDX-License-Identifier: Apache-2.0

// What differs between the lines of two configurations.
#pragma once

#include <cstddef>
#include <set>
#include <utility>
#include <vector>

#include "adopt/lines.h"
#include "adopt/naming.h"

namespace tov_adopt {

// A line of one of them, or of both.
struct Origin {
  std::size_t before = kNone;  // which line it is there
  std::size_t after = kNone;

  bool operator<(const Origin& other) const {
    return std::pair(before, after) < std::pair(other.before, other.after);
  }
};

// How differences are written.
struct Manner {
  std::set<Origin> as_two;       // lines of both that are two in the template, with other words
  std::set<std::size_t> absent;  // lines `before` that need not be there, since they are the same
  bool with_siblings = false;    // the blocks beside one that comes or goes say where it stands
};

struct Difference {
  Lines lines;                  // of the template
  std::vector<Origin> origins;  // of each of these
  std::vector<bool> changes;    // which of these differ
  std::vector<Value> values;

  bool IsNone() const;
};

// The lines that differ, with the others of their blocks, by which they are found.
Difference DifferenceOf(Dialect dialect, const Lines& before, const Lines& after,
                        const Manner& manner);

}  // namespace tov_adopt
