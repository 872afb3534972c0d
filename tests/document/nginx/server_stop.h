// SPDX-License-Identifier: Apache-2.0

// Where and why nginx stops.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "document/document.h"

namespace nginx_judge {

// The line of the byte at `pos`, counted from 1.
std::size_t LineOf(std::string_view text, std::size_t pos);

// How nginx ends a message about a line of a file.
std::string Somewhere(const std::string& file, std::size_t line);

// "" when `message` says that nginx stopped at `error` in `file`, whose text is `text`, on the same
// line and for the same reason; else the difference.
std::string StopDifference(const std::string& message, const std::string& file,
                           std::string_view text, const tov_document::SyntaxError& error);

}  // namespace nginx_judge
