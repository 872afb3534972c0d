// SPDX-License-Identifier: Apache-2.0

// The blanks at the beginning of a line.
#pragma once

#include <algorithm>
#include <string_view>

#include "template/framework/str.h"

namespace tov_edit {

// The blanks at the beginning of `text`.
inline std::string_view Indentation(std::string_view text) {
  const auto* const end = std::find_if_not(text.begin(), text.end(), str::IsBlank);
  return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

}  // namespace tov_edit
