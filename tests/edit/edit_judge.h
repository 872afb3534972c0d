// SPDX-License-Identifier: Apache-2.0

// Whether an edit has done what was meant, and nothing else.
#pragma once

#include <string>
#include <string_view>

#include "edit/config_tree.h"
#include "edit/site_edit.h"

namespace edit_judge {

// "" when `after` is `before`, whose tree is `tree`, with just that change; else what is wrong:
//   - the trees differ in anything else, or something new stands in another place than it should;
//   - bytes differ that are no part of the changed words, the new lines or the removed ones;
//   - what is new is not laid out as what stands around it.
std::string WhatIsWrong(Dialect dialect, std::string_view before, const Tree& tree,
                        const Change& change, std::string_view after);

}  // namespace edit_judge
