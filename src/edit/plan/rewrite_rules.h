// SPDX-License-Identifier: Apache-2.0

// Apache's RewriteCond lines belong to the RewriteRule behind them.
#pragma once

#include <cstddef>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "edit/layout/layout.h"
#include "edit/match/child_index.h"
#include "edit/match/contents.h"

namespace tov_edit {

// A rule with the conditions before it, by their positions.
struct RewriteRule {
  std::size_t rule = 0;
  std::vector<std::size_t> conditions;
};

// Those with conditions among directives of these names, in their order. "": a comment, which does
// not part them.
std::vector<RewriteRule> RewriteRules(const std::vector<std::string_view>& names);

// The rules with conditions among the children of a block.
class RewriteGroups {
 public:
  // `children` are those of a block, see Contents::WithConditions, and `index` is theirs; the
  // children have to outlive it. Cost: a step for each of them, if there is a condition at all.
  RewriteGroups(Dialect dialect, const std::vector<const Child*>& children,
                const ChildIndex& index);

  // The conditions of a rule; none: it has none, or the child is no rule.
  std::vector<std::size_t> ConditionsOf(std::size_t child) const;

  // Whether the child is a condition, or a rule that has some.
  bool IsPart(std::size_t child) const { return m_rules.count(SpotOf(child)) != 0; }

  // The place, but outside of a rule with its conditions: nothing comes between these.
  Layout::Place Outside(const Layout::Place& place) const;

 private:
  using Spot = std::pair<BlockId, std::size_t>;

  Spot SpotOf(std::size_t child) const;

  const std::vector<const Child*>& m_children;
  std::map<Spot, RewriteRule> m_rules;  // by all that belongs to them
};

}  // namespace tov_edit
