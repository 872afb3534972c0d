// SPDX-License-Identifier: Apache-2.0

// Where something new goes in a block.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "edit/layout/layout.h"
#include "edit/match/child_index.h"
#include "edit/match/contents.h"

namespace tov_edit {

inline constexpr std::size_t kNoChild = static_cast<std::size_t>(-1);

// The children of the block that the lines of the template around a new one are, by their
// positions: the last one of an earlier line, the first one of a later line; kNoChild: there is
// none.
struct Neighbours {
  std::size_t earlier = kNoChild;
  std::size_t later = kNoChild;

  bool InOrder() const { return earlier == kNoChild || later == kNoChild || earlier < later; }
};

// Before or behind a child.
Layout::Place Beside(const Child& child, Layout::Place::Kind kind);

// Where new directives go in one block.
class DirectivePlaces {
 public:
  // `children` are those of the block, see Contents::WithConditions, and `index` is theirs; both
  // have to outlive it.
  DirectivePlaces(Dialect dialect, BlockId block, const std::vector<const Child*>& children,
                  const ChildIndex& index);

  // Behind the last directive of its name, in the block itself before one in a condition, as far as
  // the template's lines of this name allow (`of_name`). Else behind the directives that stand
  // before the first block inside, and as near to there as the template's lines (`of_all`) allow.
  // An access rule of nginx stands before "allow all" and "deny all", behind which nobody would
  // read it. `values` are the new directive's words; none: it is a comment.
  Layout::Place For(const std::vector<std::string>& values, const Neighbours& of_name,
                    const Neighbours& of_all);

 private:
  std::optional<Layout::Place> BesideItsLike(const std::string& name, const Neighbours& of_name);
  Layout::Place BesideOthers(const Neighbours& of_all) const;
  const Child* LastNamed(const std::string& name);

  const Dialect m_dialect;
  const BlockId m_block;
  const std::vector<const Child*>& m_children;
  const ChildIndex& m_index;
  std::size_t m_first_block;                   // behind the children: there is none
  std::size_t m_last_before = kNoChild;        // the last directive before that
  std::map<std::string, const Child*> m_last;  // by name

  // The first rule of nginx that says what holds for everybody.
  std::size_t m_rule_for_all = kNoChild;
};

struct PlaceOfBlock {
  Layout::Place place;
  bool blank_between =
      false;  // a blank line stands between it and its neighbour, as between others
};

// Of the blocks around a new one in the template, those of its name that are there: the last one,
// in the text, of those stated before it, and the first one of those stated behind it; none:
// kWholeText.
struct BlockNeighbours {
  BlockId earlier = tov_document::kWholeText;
  BlockId later = tov_document::kWholeText;
};

// Where new blocks go.
class BlockPlaces {
 public:
  // `contents` must outlive it.
  explicit BlockPlaces(Contents& contents) : m_contents(contents) {}

  // For a block of this name in `block`: directly before the later neighbour, as its server may
  // take the first one that fits, or the last; else behind the last block of its name, and else at
  // the end. A later neighbour does not count that stands before the earlier one, or elsewhere than
  // the last block of the name. What may be left out of a template counts as the block itself:
  // where its like stand in there, it goes there, and into nginx's http in any case. Cost: a step
  // for each block around the place, once for each name, and a search among them for a neighbour.
  PlaceOfBlock For(BlockId block, const std::string& name, const BlockNeighbours& neighbours);

  // Whether a blank line before this block is its own, as one before a new block would be: it is
  // the last one of its name, and others stand behind a blank line. Cost: a step for each block
  // around it, once for each name.
  bool HasOwnBlankLine(BlockId block);

 private:
  // The blocks of a name that stand in one block.
  struct Row {
    std::size_t last = 0;              // where the last one stands in the text
    bool others_behind_blank = false;  // one of the others stands behind a blank line
  };

  PlaceOfBlock Find(BlockId block, const std::string& name) const;
  const Row& RowOf(BlockId block, const std::string& name);

  Contents& m_contents;
  std::map<std::pair<BlockId, std::string>, Row> m_rows;
  std::map<std::pair<BlockId, std::string>, PlaceOfBlock> m_found;
};

}  // namespace tov_edit
