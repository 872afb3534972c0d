// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/rewrite_rules.h"

#include <utility>

#include "document/ascii.h"
#include "edit/plan/placement.h"

namespace tov_edit {

std::vector<RewriteRule> RewriteRules(const std::vector<std::string_view>& names) {
  std::vector<RewriteRule> rules;
  std::vector<std::size_t> conditions;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i].empty()) continue;
    if (tov_document::SameLetters(names[i], "RewriteCond")) {
      conditions.push_back(i);
      continue;
    }
    const bool is_rule = tov_document::SameLetters(names[i], "RewriteRule");
    if (is_rule && !conditions.empty()) rules.push_back({i, std::move(conditions)});
    conditions.clear();
  }
  return rules;
}

RewriteGroups::RewriteGroups(Dialect dialect, const std::vector<const Child*>& children,
                             const ChildIndex& index)
    : m_children(children) {
  if (dialect != Dialect::kApache || index.Named("RewriteCond").empty()) return;
  std::vector<std::string_view> names;
  for (const Child* const child : m_children) {
    names.push_back(child->values.empty() ? std::string_view() : child->values.front());
  }
  for (const RewriteRule& rule : RewriteRules(names)) {
    for (const std::size_t condition : rule.conditions) m_rules[SpotOf(condition)] = rule;
    m_rules[SpotOf(rule.rule)] = rule;
  }
}

std::vector<std::size_t> RewriteGroups::ConditionsOf(std::size_t child) const {
  const auto rule = m_rules.find(SpotOf(child));
  return rule != m_rules.end() && rule->second.rule == child ? rule->second.conditions
                                                             : std::vector<std::size_t>();
}

Layout::Place RewriteGroups::Outside(const Layout::Place& place) const {
  const auto rule = m_rules.find({place.block, place.child});
  if (rule == m_rules.end() || place.kind == Layout::Place::Kind::kAtEnd) return place;
  const bool behind = place.kind == Layout::Place::Kind::kBehind;
  return Beside(*m_children[behind ? rule->second.rule : rule->second.conditions.front()],
                place.kind);
}

RewriteGroups::Spot RewriteGroups::SpotOf(std::size_t child) const {
  return {m_children[child]->around, m_children[child]->position};
}

}  // namespace tov_edit
