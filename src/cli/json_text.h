// SPDX-License-Identifier: Apache-2.0

// How the program writes JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace cli {

// `value` as text, indented, members in the order in which they were put in. A byte that is no
// UTF-8 becomes U+FFFD.
std::string JsonText(const nlohmann::ordered_json& value);

}  // namespace cli
