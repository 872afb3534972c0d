// SPDX-License-Identifier: Apache-2.0

// Apache's RewriteCond lines belong to the RewriteRule behind them.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace edit {

// A rule with the conditions before it, by their positions.
struct RewriteRule {
  std::size_t rule = 0;
  std::vector<std::size_t> conditions;
};

// Those with conditions among directives of these names, in their order. "": a comment, which does
// not part them.
std::vector<RewriteRule> RewriteRules(const std::vector<std::string_view>& names);

}  // namespace edit
