// SPDX-License-Identifier: Apache-2.0

// What is added to one block: whether it may be, and where it goes.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <unordered_set>
#include <utility>

#include "edit/block_work.h"
#include "edit/layout.h"
#include "edit/word_directives.h"

namespace edit {

// A line of which a directive is made.
struct Addition {
  std::size_t position = 0;
  Words words = {};               // of Options, which may be those of several lines; else none
  Positions conditions = {};      // of a RewriteRule: the lines that stand before it
  std::size_t before = kNoChild;  // it stands directly before this child
};

class Additions {
 public:
  // `work` must outlive it.
  explicit Additions(BlockWork& work) : m_work(work) {}

  // The line is settled: it is added, unless one with the same text is already, or a directive that
  // stands there forbids it.
  void ToBeAdded(std::size_t position);

  // Adds this, whatever stands there.
  void Put(Addition addition) { m_additions.push_back(std::move(addition)); }

  // The addition that was made last for this line; null: it is not the last one, or was refused.
  Addition* LastFor(std::size_t position);

  // False: the directive may stand only once, and does so with other words, which is refused.
  bool MayBeAdded(std::size_t position);

  // Refuses the line for the directive `other`, unless that is switched off: then it is added all
  // the same, and the answer is true.
  bool RefuseOther(std::size_t position, std::size_t other);

  // To be called when all lines are settled: writes them all into the layout.
  void AddAll();

 private:
  void AddLater(std::size_t position);
  bool GoesLater(const std::string& name) const;
  Texts ValuesOf(const Addition& addition) const;
  void Add(const Addition& addition, const Layout::Place& place);

  BlockWork& m_work;
  std::deque<Addition> m_additions;         // they keep their places, see LastFor
  std::unordered_set<std::string> m_added;  // their texts
};

}  // namespace edit
