// SPDX-License-Identifier: Apache-2.0

// Collisions in words.
#pragma once

#include <string>
#include <vector>

#include "edit/collisions.h"
#include "edit/finding.h"
#include "edit/match/contents.h"

namespace tov_edit {

// "site.conf:1:1 'server' (a) and site.conf:5:1 'server' (a) both answer to 'a' on *:80, ...", with
// the places. `collision` is one of the text of `contents`, the file `config_name`.
Finding FindingOf(const Contents& contents, const std::string& config_name,
                  const Collision& collision);

// All collisions of a text, in the order of their first places, each with the line of that.
std::vector<Finding> CollisionsIn(const Contents& contents, const std::string& config_name,
                                  Extent extent);

}  // namespace tov_edit
