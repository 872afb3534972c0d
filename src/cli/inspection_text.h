// SPDX-License-Identifier: Apache-2.0

// A configuration as its server reads it, for people.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "edit/inspection.h"

namespace cli {

// What stands behind directives, by where these begin in the text.
using Notes = std::unordered_map<std::uint32_t, std::string>;

// The blocks, directives and comments, each in a line of its own behind its place.
std::string TreeText(const tov_edit::InspectedText& config, const Notes& notes, bool coloured);

}  // namespace cli
