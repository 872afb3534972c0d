// SPDX-License-Identifier: Apache-2.0

// Several changes at once, of which one gives what another one takes:
//
//   a -> b, b -> c   where a and b are there, each becomes the other thing; where b and c are
//   there,
//                    that has been done before, and this b is not the one that is to become c
//   a -> b, b -> a   they change places; both are there before it and behind it
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tov_edit {

struct Move {
  std::string was;
  std::string now;         // "was" again: it does not change
  bool was_there = false;  // one that no other line is has the old text
  bool now_there = false;  // one has the new text
};

enum class Step {
  kAlone,  // no other change has to do with it
  kMoves,  // it changes, and what has its new text now, if anything has, changes as well
  kStays   // what has its old text is what another change has made: it does not change again
};

// What becomes of each of the moves. `is_before` is asked whether moves that change places, given
// by their positions in ascending order, have yet to do so. Cost: logarithmic for each move.
std::vector<Step> StepsOf(const std::vector<Move>& moves,
                          const std::function<bool(const std::vector<std::size_t>&)>& is_before);

}  // namespace tov_edit
