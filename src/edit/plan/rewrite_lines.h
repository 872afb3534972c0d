// SPDX-License-Identifier: Apache-2.0

// Apache's rewrite rules of a template, each with the conditions before it: they are looked for,
// added and removed together.
#pragma once

#include <cstddef>
#include <string_view>

#include "edit/plan/additions.h"
#include "edit/plan/block_work.h"
#include "edit/plan/rewrite_rules.h"

namespace tov_edit {

class RewriteLines {
 public:
  // Both must outlive it.
  RewriteLines(BlockWork& work, Additions& additions) : m_work(work), m_additions(additions) {}

  // Settles all rules of the template that have conditions, and these.
  void Claim();

 private:
  std::string_view NameOf(const TemplateLine& line) const;
  void ClaimRule(const RewriteRule& rule);
  std::size_t RuleFor(const RewriteRule& rule) const;
  std::size_t ConditionAmong(const Positions& conditions, const TemplateLine& line) const;
  void ClaimCondition(std::size_t position, std::size_t rule);

  BlockWork& m_work;
  Additions& m_additions;
};

}  // namespace tov_edit
