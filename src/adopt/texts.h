// SPDX-License-Identifier: Apache-2.0

// Where the texts of values stand in the words of a configuration.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "adopt/lines.h"

namespace tov_adopt {

// In which words a text is looked for.
enum class Where {
  kAnywhere,
  kPaths,      // only as a part of a path, or as a whole name of a server: "localhost"
  kAddresses,  // only in those that say where a server listens
};

struct Text {
  std::string text;
  std::size_t value = kNone;  // whose it is
  Where where = Where::kAnywhere;
};

// What a word is.
enum class Role { kOther, kServerName, kAddress };

// `parts` with places where one of `texts` stands in a part that is text: where several fit, the
// longest one. `word` is all that the parts were made of, and begins at `begin` in the
// configuration.
std::vector<Part> WithPlaces(std::string_view word, std::uint32_t begin,
                             const std::vector<Part>& parts, const std::vector<Text>& texts,
                             Role role);

// Whether one of `texts` stands in `word`.
bool Holds(std::string_view word, const std::vector<Text>& texts, Role role);

}  // namespace tov_adopt
