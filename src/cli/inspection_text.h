// SPDX-License-Identifier: Apache-2.0

// A configuration as its server reads it, for people.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "edit/inspection.h"

namespace cli {

// What stands behind directives, by where these begin in the text.
using Notes = std::unordered_map<std::uint32_t, std::string>;

// Is called for one piece of a text after the other. What it gets is there for that call only.
using WritePiece = std::function<void(std::string_view)>;

// The blocks, directives and comments, each in a line of its own behind its place. They are written
// as they come, from memory that is used again: all of them together take twice that of the text.
void WriteTree(const tov_edit::InspectedText& config, const Notes& notes, bool coloured,
               const WritePiece& write);

}  // namespace cli
