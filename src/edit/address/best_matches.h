// SPDX-License-Identifier: Apache-2.0

// Which of several blocks that fit are meant, where the template is for all of them.
#pragma once

#include <vector>

#include "edit/address/address.h"
#include "edit/address/holdings.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

// Leaves those matches out that are not meant. Lines of which the old value is known say which are:
//
//   some of them change   those that have one of these, as it was or as it will be
//   none changes          those that have all of them, or else one: it may be the same edit once
//                         more, with the values as they are now
//
// The others are not meant where there are such blocks. Nor is a block missed in one block around
// where it stands in another one.
void KeepBest(const TemplateTree& tree, Holdings& holdings, Dialect dialect,
              std::vector<Match>& matches);

}  // namespace tov_edit
