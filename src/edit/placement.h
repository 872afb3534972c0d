// SPDX-License-Identifier: Apache-2.0

// Where something new goes in a block.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "edit/contents.h"
#include "edit/layout.h"

namespace edit {

inline constexpr std::size_t kNoChild = static_cast<std::size_t>(-1);

// The children of the block that the lines of the template around a new one are, by their
// positions: the last one of an earlier line, the first one of a later line; kNoChild: there is
// none.
struct Neighbours {
  std::size_t earlier = kNoChild;
  std::size_t later = kNoChild;

  bool InOrder() const { return earlier == kNoChild || later == kNoChild || earlier < later; }
};

// Behind the last directive of its name, in the block itself before one in a condition, as far as
// the template's lines of this name allow (`of_name`). Else behind the directives that stand before
// the first block inside, and as near to there as the template's lines (`of_all`) allow. An access
// rule of nginx stands before "allow all" and "deny all", behind which nobody would read it.
// `children` are those of the block, see Contents::WithConditions; `values` the new directive's
// words, none: it is a comment.
Layout::Place PlaceForDirective(Dialect dialect, BlockId block,
                                const std::vector<const Child*>& children,
                                const std::vector<std::string>& values, const Neighbours& of_name,
                                const Neighbours& of_all);

struct PlaceOfBlock {
  Layout::Place place;
  bool blank_before = false;  // a blank line stands before it, as before its like
};

// Behind the last block of its name, else at the end. What may be left out of a template counts as
// the block itself: where its like stand in there, it goes there, and into nginx's http in any
// case.
PlaceOfBlock PlaceForBlock(Contents& contents, BlockId block, const std::string& name);

}  // namespace edit
