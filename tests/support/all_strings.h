// SPDX-License-Identifier: Apache-2.0

// Small exhaustive inputs.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// All strings over `alphabet` of at most `longest` bytes, the shorter ones first.
inline std::vector<std::string> AllStrings(const std::string& alphabet, std::size_t longest) {
  std::vector<std::string> all{""};
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (all[i].size() == longest) break;
    for (const char c : alphabet) all.push_back(all[i] + c);
  }
  return all;
}
