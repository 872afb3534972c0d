// SPDX-License-Identifier: Apache-2.0

// Values that try to leave their places.
#pragma once

#include <string>

#include "edit/alike/dice.h"
#include "edit/config_tree.h"

namespace attack {

using alike::Dice;
using edit_judge::Dialect;

// One of them: structural characters of both servers and of the template language, quotes in all
// states, escapes, line ends, control bytes, bytes that are no UTF-8, nothing, blanks, very much;
// often several of these in one.
std::string HostileValue(Dice& dice);

// One that nobody could object to.
std::string HarmlessValue(Dice& dice);

}  // namespace attack
