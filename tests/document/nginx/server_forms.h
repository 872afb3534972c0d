// SPDX-License-Identifier: Apache-2.0

// The two forms of a text that the server gets to read, see server_judge.h.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "document/nginx/reading.h"

namespace nginx_judge {

// The whole text, with what follows the reading's events.
std::string StructureForm(std::string_view text, const Reading& reading);

// The text without blocks, and without what follows the reading's events.
std::string WordsForm(std::string_view text, const Reading& reading);

// The word that the second form has in front of those of the event `number`.
std::string Label(const Event& event, std::size_t number);

}  // namespace nginx_judge
