// SPDX-License-Identifier: Apache-2.0

// The Lua code inside of nginx's configuration.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tov_document {

// Where the Lua code that begins at `begin` ends: the "}" that closes more than the code itself
// opens, of those outside of the code's strings and comments. None: there is no such brace.
std::optional<std::uint32_t> EndOfLua(std::string_view text, std::size_t begin);

}  // namespace tov_document
