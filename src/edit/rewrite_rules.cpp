// SPDX-License-Identifier: Apache-2.0

#include "edit/rewrite_rules.h"

#include <utility>

#include "document/ascii.h"

namespace edit {

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

}  // namespace edit
