// SPDX-License-Identifier: Apache-2.0

// nginx configurations as people write them.
#pragma once

#include <map>
#include <string>

namespace nginx_judge {

// The golden cases' configurations, the constructs, and the corpus of real files where it is at
// hand, by name.
std::map<std::string, std::string> Sources();

}  // namespace nginx_judge
