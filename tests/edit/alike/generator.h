// SPDX-License-Identifier: Apache-2.0

// Makes configurations whose blocks look alike, and edits of them.
#pragma once

#include "dice.h"
#include "model.h"

namespace alike {

// The root of a configuration with one to six sites.
Node MakeConfiguration(Dialect dialect, Dice& dice);

// An edit of one kind or another, mostly of one of the sites.
Edit MakeEdit(Dialect dialect, const Node& root, Dice& dice);

}  // namespace alike
