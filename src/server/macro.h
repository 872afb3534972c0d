// SPDX-License-Identifier: Apache-2.0

// httpd's macros: texts with places for arguments.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tov_server {

struct Macro {
  std::vector<std::string> parameters;  // "$name", "%name", "@name", or without such a sign
  std::string body;
};

// The body with `arguments` in the places of the parameters; those of "@name" in quotes. None: it
// would be longer than `limit`, or it takes another number of arguments.
std::optional<std::string> BodyWith(const Macro& macro, const std::vector<std::string>& arguments,
                                    std::size_t limit);

}  // namespace tov_server
