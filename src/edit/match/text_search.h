// SPDX-License-Identifier: Apache-2.0

// Looks for many texts in another one at a time.
#pragma once

#include <string_view>
#include <unordered_set>
#include <vector>

namespace tov_edit {

// Those of `texts` that stand somewhere in `body`. Cost: one pass over the body for each length
// that a text has, however many have it.
std::unordered_set<std::string_view> TextsIn(std::string_view body,
                                             const std::vector<std::string_view>& texts);

}  // namespace tov_edit
