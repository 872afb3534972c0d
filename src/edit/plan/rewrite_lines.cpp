// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/rewrite_lines.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "edit/match/comparison.h"

namespace tov_edit {

using Kind = TemplateLine::Kind;

// A line of which a value is missing has no words, and belongs to its rule all the same.
std::string_view RewriteLines::NameOf(const TemplateLine& line) const {
  if (line.kind == Kind::kComment) return {};
  const std::string_view text = line.text;
  const std::string_view name = m_work.NameOf(line);
  return name.empty() ? text.substr(0, text.find_first_of(" \t")) : name;
}

void RewriteLines::Claim() {
  if (m_work.dialect() != Dialect::kApache) return;
  std::vector<std::string_view> names;
  for (const std::size_t number : m_work.lines()) {
    names.push_back(NameOf(m_work.planning().tree.lines[number]));
  }
  for (const RewriteRule& rule : RewriteRules(names)) ClaimRule(rule);
}

void RewriteLines::ClaimRule(const RewriteRule& rule) {
  Positions lines = rule.conditions;
  lines.push_back(rule.rule);
  const bool missing = std::any_of(
      lines.begin(), lines.end(), [this](std::size_t position) { return m_work.IsDone(position); });
  const bool enabled = m_work.Line(rule.rule).enabled;
  const std::size_t child = missing ? kNoChild : RuleFor(rule);
  if (child != kNoChild && enabled) {
    for (const std::size_t condition : rule.conditions) {
      ClaimCondition(condition, child);
    }
    m_work.Settle(rule.rule, child);
  } else if (child != kNoChild) {
    m_work.Remove(rule.rule, child);
  } else if (enabled && !missing) {
    Addition addition = {rule.rule};
    for (const std::size_t condition : rule.conditions) {
      if (m_work.Line(condition).enabled) addition.conditions.push_back(condition);
    }
    m_additions.Put(std::move(addition));
  } else if (!enabled && m_work.planning().request.must_exist) {
    m_work.RefuseMissing(rule.rule);
  }
  for (const std::size_t position : lines) m_work.Done(position);
}

// The rule of the block that has the most of the conditions, and at least one if it has any. One
// that is to go has all of them.
std::size_t RewriteLines::RuleFor(const RewriteRule& rule) const {
  const TemplateLine& line = m_work.Line(rule.rule);
  std::size_t best = kNoChild;
  std::size_t most = 0;
  for (const Positions& alike : {m_work.FreeLike(line.was.get()), m_work.FreeLike(line.now.get()),
                                 m_work.FreeBeginning(line.beginning)}) {
    for (const std::size_t child : alike) {
      const Positions conditions = m_work.rewrites().ConditionsOf(child);
      const auto held = static_cast<std::size_t>(
          std::count_if(rule.conditions.begin(), rule.conditions.end(), [&](std::size_t position) {
            return ConditionAmong(conditions, m_work.Line(position)) != kNoChild;
          }));
      const bool fits =
          line.enabled ? held > 0 || conditions.empty() : held == rule.conditions.size();
      if (!fits || (best != kNoChild && held <= most)) continue;
      best = child;
      most = held;
    }
  }
  return best;
}

std::size_t RewriteLines::ConditionAmong(const Positions& conditions,
                                         const TemplateLine& line) const {
  for (const std::size_t child : conditions) {
    const Texts& values = m_work.ChildAt(child).values;
    const bool fits = (line.was && SameWords(m_work.dialect(), values, line.was->words)) ||
                      (line.now && SameWords(m_work.dialect(), values, line.now->words)) ||
                      (line.beginning && BeginsWith(m_work.dialect(), values, *line.beginning));
    if (fits && m_work.IsFree(child)) return child;
  }
  return kNoChild;
}

void RewriteLines::ClaimCondition(std::size_t position, std::size_t rule) {
  const std::size_t child =
      ConditionAmong(m_work.rewrites().ConditionsOf(rule), m_work.Line(position));
  if (m_work.Line(position).enabled) {
    child == kNoChild ? m_additions.Put({position, {}, {}, rule}) : m_work.Settle(position, child);
  } else if (child != kNoChild) {
    m_work.Remove(position, child);
  }
}

}  // namespace tov_edit
