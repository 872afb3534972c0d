// SPDX-License-Identifier: Apache-2.0

#include "edit/address/best_matches.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <utility>

#include "edit/match/comparison.h"

namespace tov_edit {
namespace {

using Kind = TemplateLine::Kind;

// How much of what the template says a block has.
enum class Grade { kNothing, kSomething, kAll };

// What the template says of a block and of those inside.
struct Claim {
  bool counts = false;   // an old value is known
  bool changes = false;  // ... and is another one
};

class BestMatches {
 public:
  BestMatches(const TemplateTree& tree, Holdings& holdings, Dialect dialect,
              std::vector<Match>& matches)
      : m_tree(tree), m_holdings(holdings), m_dialect(dialect), m_matches(matches) {}

  void Keep() {
    const std::vector<Grade> grades = GradesOfMatches();
    std::vector<bool> is_there(m_tree.blocks.size(), false);
    std::vector<Grade> best(m_tree.blocks.size(), Grade::kNothing);
    for (std::size_t i = 1; i < m_matches.size(); ++i) {
      const Match& match = m_matches[i];
      if (!match.at || !m_tree.blocks[match.block].enabled) continue;
      is_there[match.block] = true;
      best[match.block] = std::max(best[match.block], grades[i]);
    }
    constexpr std::size_t kDropped = static_cast<std::size_t>(-1);
    std::vector<std::size_t> numbers(m_matches.size(), 0);  // as they will be
    std::size_t kept = 1;
    for (std::size_t i = 1; i < m_matches.size(); ++i) {
      Match match = m_matches[i];
      const bool is_other = match.at ? grades[i] < best[match.block] : is_there[match.block];
      match.parent = numbers[match.parent];
      numbers[i] = match.parent == kDropped || is_other ? kDropped : kept;
      if (numbers[i] != kDropped) m_matches[kept++] = match;
    }
    m_matches.resize(kept);
  }

 private:
  // Blocks inside of matches, of which each line is there.
  using Complete = std::set<std::pair<std::size_t, std::size_t>>;

  // Whether some of what the template says of a match is there, and whether all of it is.
  std::pair<bool, bool> PartsHeld(std::size_t number, const std::vector<Claim>& claims,
                                  const Complete& complete) {
    const Match& match = m_matches[number];
    const TemplateBlock& block = m_tree.blocks[match.block];
    const bool changes = claims[match.block].changes;
    bool some = Tells(m_tree.lines[block.opening], changes);
    bool all = true;
    for (const std::size_t child : block.children) {
      const TemplateLine& line = m_tree.lines[child];
      if (line.kind == Kind::kOpening) {
        const bool counts = line.enabled && claims[line.block].counts;
        all = all && (!counts || complete.count({number, line.block}) != 0);
      } else if (Tells(line, changes)) {
        const bool holds = m_holdings.HasPart(*match.at, line);
        some = some || holds;
        all = all && holds;
      }
    }
    return {some, all};
  }

  std::vector<Grade> GradesOfMatches() {
    const std::vector<Claim> claims = Claims();
    std::vector<Grade> grades(m_matches.size(), Grade::kNothing);
    std::vector<bool> holds_one_inside(m_matches.size(), false);
    Complete complete;
    for (std::size_t i = m_matches.size(); i-- > 0;) {  // what is inside comes first
      const Match& match = m_matches[i];
      const TemplateBlock& block = m_tree.blocks[match.block];
      const Claim& claim = claims[match.block];
      if (i == 0 || !match.at || !block.enabled || !claim.counts) continue;
      auto [some, all] = PartsHeld(i, claims, complete);
      some = some || holds_one_inside[i];
      all = all && !claim.changes;
      if (all) complete.emplace(match.parent, match.block);
      // Of a block that changes nothing, what it has does not count where something else changes.
      const bool counts_around = claim.changes || !claims[m_matches[match.parent].block].changes;
      if (some && counts_around) holds_one_inside[match.parent] = true;
      grades[i] = all ? Grade::kAll : some ? Grade::kSomething : Grade::kNothing;
    }
    return grades;
  }

  // By blocks of the template.
  std::vector<Claim> Claims() const {
    std::vector<Claim> claims(m_tree.blocks.size());
    for (const TemplateLine& line : m_tree.lines) {
      if (!m_tree.blocks[line.block].enabled || !Tells(line, false)) continue;
      for (std::size_t block = line.block; block != 0; block = m_tree.blocks[block].parent) {
        claims[block].counts = true;
        claims[block].changes = claims[block].changes || Tells(line, true);
      }
    }
    return claims;
  }

  // Whether the line's old words are known, and, when it has to change, are others.
  bool Tells(const TemplateLine& line, bool has_to_change) const {
    const bool is_known = (line.kind == Kind::kDirective || line.kind == Kind::kOpening) &&
                          line.enabled && line.old_given && !line.raw && !line.beginning &&
                          line.was && line.now && !line.now->words.empty();
    return is_known && !(has_to_change && SameWords(m_dialect, line.was->words, line.now->words));
  }

  const TemplateTree& m_tree;
  Holdings& m_holdings;
  const Dialect m_dialect;
  std::vector<Match>& m_matches;
};

}  // namespace

void KeepBest(const TemplateTree& tree, Holdings& holdings, Dialect dialect,
              std::vector<Match>& matches) {
  BestMatches(tree, holdings, dialect, matches).Keep();
}

}  // namespace tov_edit
