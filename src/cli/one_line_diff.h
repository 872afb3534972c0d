// SPDX-License-Identifier: Apache-2.0

// The difference of two texts that differ in one line, which is most that an edit does to a file:
// no library has to look for it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace cli {

// The hunk of a unified diff, with `context` lines around the change: one line of `before` has
// become another one, has gone, or has come. None: the texts differ otherwise, or there is more
// than one way to tell the difference. Both texts end with a line end; else there is none, too.
std::optional<std::string> OneLineHunk(std::string_view before, std::string_view after,
                                       std::size_t context);

}  // namespace cli
