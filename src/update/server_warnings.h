// SPDX-License-Identifier: Apache-2.0

// Warnings in what a server's own test says.
#pragma once

#include <string>
#include <vector>

namespace tov_update {

// The warnings in `after` that are not in `before`, in the order of `after`, in the server's words
// without the time, the process and the level. One that is there more often than before is new as
// often. Numbers of lines do not count, since an edit moves what is below it:
//
//   nginx   "[warn] TEXT", where TEXT may have "in PATH:LINE"
//   httpd   "AH00548: TEXT", "[core:warn] [pid 7] TEXT", where TEXT may have "PATH:LINE", "line
//   LINE"
std::vector<std::string> NewServerWarnings(const std::string& before, const std::string& after);

}  // namespace tov_update
