// SPDX-License-Identifier: Apache-2.0

// Which line more would tell one block from others that a template may mean as well: for messages.
#pragma once

#include <string>

#include "edit/address/candidates.h"
#include "edit/address/evidence.h"
#include "edit/address/holdings.h"
#include "edit/match/contents.h"

namespace tov_edit {

// A line that would make the template mean the first of `blocks`; "": there is none. With
// `lines_count`, that the block alone has a directive would be enough.
std::string LineOnlyInFirst(Contents& contents, Holdings& holdings, const Evidence& evidence,
                            const Blocks& blocks, bool lines_count);

// The opening line of the condition around the first of `blocks` that none of the others stands in;
// "": there is none.
std::string ConditionOnlyAroundFirst(const Contents& contents, const Blocks& blocks);

}  // namespace tov_edit
