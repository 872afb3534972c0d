// SPDX-License-Identifier: Apache-2.0

// What is added to one block: whether it may be, and where it goes.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "edit/layout/layout.h"
#include "edit/match/subjects.h"
#include "edit/plan/block_work.h"
#include "edit/plan/word_directives.h"

namespace tov_edit {

// A line of which a directive is made.
struct Addition {
  std::size_t position = 0;
  Words words = {};               // of Options, which may be those of several lines; else none
  Positions conditions = {};      // of a RewriteRule: the lines that stand before it
  std::size_t before = kNoChild;  // it stands directly before this child
  bool forced = false;            // whatever stands beside it
};

class Additions {
 public:
  // `work` must outlive it.
  explicit Additions(BlockWork& work) : m_work(work) {}

  // The line is settled: it is added once, however often the template has it.
  void ToBeAdded(std::size_t position);

  // Adds this; its line need not be settled.
  void Put(Addition addition) { m_additions.push_back(std::move(addition)); }

  // The addition that was made last for this line; null: it is not the last one.
  Addition* LastFor(std::size_t position);

  // Refuses the line for the directive `other`, unless that is switched off: then it is added.
  void RefuseOther(std::size_t position, std::size_t other);

  // To be called when all lines are settled: writes them all into the layout, but for those that
  // are refused for what stands there.
  void AddAll();

 private:
  void LeaveOutRefused();
  bool MayBeAdded(const Addition& addition);
  std::size_t OtherThatStays(const std::string& name);
  std::size_t OtherOf(const Subjects& subjects, const std::string& name);
  const Positions& SpeakingOf(const std::string& subject, const std::string& name);
  bool GoesLater(std::size_t child);
  void Refuse(std::size_t position, std::size_t other, const Texts& beginning);
  Texts BeginningFor(const TemplateLine& line, std::size_t other) const;
  void Warn(std::size_t position, std::size_t other);
  Texts ValuesOf(const Addition& addition) const;
  void Add(const Addition& addition, const Layout::Place& place);

  BlockWork& m_work;
  std::deque<Addition> m_additions;         // they keep their places, see LastFor
  std::unordered_set<std::string> m_added;  // their texts

  // The children of a name by their subjects, when they were asked for.
  std::map<std::string, std::unordered_map<std::string, Positions>> m_speaking;

  // The lines that remove directives, when they were asked for.
  std::optional<std::vector<const TemplateLine*>> m_removing;
};

}  // namespace tov_edit
