// SPDX-License-Identifier: Apache-2.0

// The tree that an edit means to leave behind, and whether a text is that tree: the last look at
// every result. It knows nothing of how changes are written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "edit/match/contents.h"

namespace tov_edit {

class MeantTree {
 public:
  // `before` is the text that is edited, and must outlive it.
  explicit MeantTree(const Document& before) : m_before(before) {}

  // A directive, or a block's head, is to have these words.
  void ChangeWords(const Child& child, const std::vector<std::string>& words);

  // A comment is to read so.
  void ChangeComment(const Child& child, const std::string& text);

  // A block's closing line is to read so.
  void ChangeClosing(BlockId block, const std::string& text);

  void Remove(const Child& child);

  // What is removed takes these bytes along: the comments in there go, too.
  void TakeAlong(Span bytes);

  // New lines in a block, at this byte of the text.
  void Add(BlockId block, std::size_t at, const std::vector<std::string>& lines);

  // Where in its text `after` is another tree: it has not the directives, comments and blocks that
  // were to change or to come, each in its place, or something else is not what it was, byte by
  // byte. None: it is the tree that was meant. Neither text may have an error.
  //
  // Cost: what stands in the blocks that are edited is read once more, all else is compared as
  // text.
  std::optional<std::size_t> DifferenceFrom(const Document& after) const;

 private:
  struct Change {
    std::optional<std::vector<std::string>> words;
    std::optional<std::string> text;  // none, and no words: it is removed
  };

  struct Addition {
    std::size_t at = 0;
    std::string text;
  };

  class Comparison;

  void SetChange(const Child& child, Change change);
  bool IsTouched(Span bytes) const;
  bool IsTakenAlong(Span comment) const;

  const Document& m_before;
  std::map<std::uint32_t, Change> m_changes;             // by where they begin
  std::map<std::uint32_t, std::uint32_t> m_taken_along;  // where they begin and end
  std::map<BlockId, std::string> m_closings;
  std::map<BlockId, std::vector<Addition>> m_additions;
  std::set<std::size_t> m_added_at;
  std::set<BlockId> m_edited;  // something in there changes, comes or goes
};

}  // namespace tov_edit
