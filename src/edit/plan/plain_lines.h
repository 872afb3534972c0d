// SPDX-License-Identifier: Apache-2.0

// The lines of a template that are a directive as a whole, and the comments.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "edit/plan/additions.h"
#include "edit/plan/block_work.h"
#include "edit/plan/moves.h"

namespace tov_edit {

// The steps come in this order, each for all lines that are not settled yet.
class PlainLines {
 public:
  // Both must outlive it.
  PlainLines(BlockWork& work, Additions& additions) : m_work(work), m_additions(additions) {}

  // A line with its full text is the directive with its old words.
  void ClaimOld(std::size_t position);

  // Where the block, or its conditions, have the old directive more often than the template, all of
  // them change.
  void ChangeRepeated();

  // Else it is the directive with its new words, or one is added.
  void ClaimNew(std::size_t position);

  // A line with a trailing place is the directive with its beginning, or one is added.
  void ClaimBeginning(std::size_t position);

  // A comment is the first one with its new text, or its old one; or one is added.
  void ClaimComment(std::size_t position);

 private:
  bool IsPlain(std::size_t position) const;
  Step StepOf(std::size_t position);
  std::map<std::size_t, Step> AllSteps() const;
  void ClaimRaw(std::size_t position);
  std::unordered_set<std::string_view> RawLinesThere() const;
  std::size_t FirstComment(const WrittenPtr& written, bool claimed_too);

  BlockWork& m_work;
  Additions& m_additions;

  // What becomes of lines that change at once, by their positions; read before the first one has
  // its turn.
  std::optional<std::map<std::size_t, Step>> m_steps;

  std::optional<std::unordered_set<std::string_view>> m_raw;  // RawLinesThere(), if it is known

  // By a comment's text, and by whether a claimed one will do: which of those alike comes next, as
  // one that will not do never will.
  std::map<std::pair<std::string, bool>, std::size_t> m_next_comment;
};

}  // namespace tov_edit
