// SPDX-License-Identifier: Apache-2.0

#include "cli/json_text.h"

namespace cli {

std::string JsonText(const nlohmann::ordered_json& value) {
  constexpr int kIndentation = 2;
  return value.dump(kIndentation, ' ', false, nlohmann::ordered_json::error_handler_t::replace) +
         '\n';
}

}  // namespace cli
