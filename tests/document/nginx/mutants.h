// SPDX-License-Identifier: Apache-2.0

// Damaged configurations.
#pragma once

#include <random>
#include <string>

namespace nginx_judge {

// `text` with one to four changes at random places: a byte dropped, doubled, changed for the one
// behind it or for another, a piece dropped, moved or doubled, or what means something to nginx put
// in: quotes, braces, comments, backslashes, line ends, variables, control bytes, Lua's brackets,
// and runs of bytes about as long as nginx's buffer.
std::string Mutant(std::string text, std::mt19937& random);

}  // namespace nginx_judge
