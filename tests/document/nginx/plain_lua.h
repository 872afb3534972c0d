// SPDX-License-Identifier: Apache-2.0

// Where Lua code ends for nginx's Lua module.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace nginx_judge {

// The "}" that closes the code that begins at `begin`; none: it does not close. What the module
// cannot see because its buffer is full (strings, comments and gaps of more than 2,048 bytes) is
// read as if the buffer were larger.
std::optional<std::size_t> LuaClosing(std::string_view text, std::size_t begin);

}  // namespace nginx_judge
