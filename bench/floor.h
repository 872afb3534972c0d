// SPDX-License-Identifier: Apache-2.0

// The least that editing the lines of a text takes: to cut it into lines and to join them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bench {

// `text` cut into a list of its lines and joined again; it comes back as it was. Shares no code
// with the library.
std::string CutAndJoin(const std::string& text);

// `text` cut into its lines, which are not copied: the least that looking at each line takes.
std::vector<std::string_view> CutIntoViews(const std::string& text);

}  // namespace bench
