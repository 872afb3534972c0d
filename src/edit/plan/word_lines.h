// SPDX-License-Identifier: Apache-2.0

// The lines of a template whose words count one by one: names, a listen with its options, Apache's
// Options. Several of them may be about one directive, which is written when all have had their
// turn.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "edit/match/comparison.h"
#include "edit/plan/additions.h"
#include "edit/plan/block_work.h"
#include "edit/plan/word_directives.h"

namespace tov_edit {

class WordLines {
 public:
  // Both must outlive it.
  WordLines(BlockWork& work, Additions& additions) : m_work(work), m_additions(additions) {}

  // A taken line with its full text.
  void State(std::size_t position);

  // A taken line with a trailing place: it states all words of a directive.
  void StateAll(std::size_t position);

  // Lines of names of which none was there before that.
  void StateMissingNames();

  // What a line that is not taken states goes; false: nothing of it was there.
  bool Remove(std::size_t position, Role role, const Written& written);

  // The same for all names of a directive, of a line with a trailing place.
  void RemoveAllNames(std::size_t position);

  // To be called when all lines have had their turn.
  void Write();

 private:
  // What becomes of lines that change names or addresses at once, by their positions.
  struct Steps {
    std::map<std::size_t, std::vector<Step>> names;
    std::map<std::size_t, Step> addresses;
  };

  const Steps& AllSteps();
  std::vector<std::size_t> LinesOf(Role role) const;
  bool TakesTheBranchOfAnother(const TemplateLine& line);
  std::set<Texts> UntakenAddresses() const;
  void StateNames(std::size_t position, bool may_wait);
  void StateOptions(std::size_t position, const Written& was);
  void JoinOptions(std::size_t position, Addition& addition);
  bool RefuseMixed(std::size_t position, const Texts& before, const Words& after);
  void Take(std::size_t position, const WordDirectives::Outcome& outcome);
  void Changed(std::size_t position, const Positions& children);

  BlockWork& m_work;
  Additions& m_additions;
  std::optional<Steps> m_steps;              // read before the first line has its turn
  std::vector<std::size_t> m_missing_names;  // lines of which no name is there yet
  Addition* m_options = nullptr;             // the addition that has the words of all Options
  std::optional<std::set<Texts>> m_untaken;  // what lines that are not taken state of addresses
  std::vector<std::pair<std::size_t, std::size_t>> m_changes;  // lines, and whose words they change
};

}  // namespace tov_edit
