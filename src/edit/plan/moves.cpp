// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/moves.h"

#include <algorithm>
#include <map>

namespace tov_edit {
namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

using Numbers = std::vector<std::size_t>;

// Moves in a row, each giving what the one before it takes.
class Chains {
 public:
  explicit Chains(const std::vector<Move>& moves)
      : m_moves(moves), m_next(moves.size(), kNone), m_has_previous(moves.size(), false) {
    std::map<std::string, std::size_t> by_was;
    for (std::size_t i = 0; i < moves.size(); ++i) {
      if (moves[i].was != moves[i].now) by_was.emplace(moves[i].was, i);
    }
    for (std::size_t i = 0; i < moves.size(); ++i) {
      const auto next = by_was.find(moves[i].now);
      if (moves[i].was == moves[i].now || next == by_was.end()) continue;
      if (m_has_previous[next->second]) continue;
      m_next[i] = next->second;
      m_has_previous[next->second] = true;
    }
  }

  bool IsFirst(std::size_t move) const { return !m_has_previous[move] && m_next[move] != kNone; }
  bool HasPrevious(std::size_t move) const { return m_has_previous[move]; }

  // The moves from this one on, up to the last one or to this one again.
  Numbers From(std::size_t first) const {
    Numbers chain = {first};
    for (std::size_t i = m_next[first]; i != kNone && i != first; i = m_next[i]) chain.push_back(i);
    return chain;
  }

  // Of a row that does not come back to its beginning: one may change when nothing has its new
  // text, or when what has it changes as well.
  void Settle(const Numbers& chain, std::vector<Step>& steps) const {
    std::vector<bool> may_change(chain.size(), false);
    for (std::size_t i = chain.size(); i-- > 0;) {
      const Move& move = m_moves[chain[i]];
      const bool gives_way = i + 1 < chain.size() && may_change[i + 1];
      may_change[i] = move.was_there && (!move.now_there || gives_way);
    }
    bool changes = may_change.front();
    steps[chain.front()] = changes ? Step::kMoves : Step::kAlone;
    for (std::size_t i = 1; i < chain.size(); ++i) {
      changes = changes && may_change[i];
      steps[chain[i]] = changes ? Step::kMoves : Step::kStays;
    }
  }

 private:
  const std::vector<Move>& m_moves;
  Numbers m_next;
  std::vector<bool> m_has_previous;
};

}  // namespace

std::vector<Step> StepsOf(const std::vector<Move>& moves,
                          const std::function<bool(const Numbers&)>& is_before) {
  const Chains chains(moves);
  std::vector<Step> steps(moves.size(), Step::kAlone);
  std::vector<bool> is_settled(moves.size(), false);
  for (std::size_t i = 0; i < moves.size(); ++i) {
    if (!chains.IsFirst(i)) continue;
    const Numbers chain = chains.From(i);
    for (const std::size_t move : chain) is_settled[move] = true;
    chains.Settle(chain, steps);
  }
  for (std::size_t i = 0; i < moves.size(); ++i) {  // what is left changes places
    if (is_settled[i] || !chains.HasPrevious(i)) continue;
    Numbers circle = chains.From(i);
    std::sort(circle.begin(), circle.end());
    const bool all_there = std::all_of(circle.begin(), circle.end(),
                                       [&](std::size_t move) { return moves[move].was_there; });
    const Step step = all_there && is_before(circle) ? Step::kMoves : Step::kStays;
    for (const std::size_t move : circle) {
      is_settled[move] = true;
      steps[move] = step;
    }
    // What is not there will stand behind the first one.
    const Move& first = moves[circle.front()];
    if (!all_there && first.was_there && !first.now_there) steps[circle.front()] = Step::kMoves;
  }
  return steps;
}

}  // namespace tov_edit
