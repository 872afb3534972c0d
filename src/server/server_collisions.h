// SPDX-License-Identifier: Apache-2.0

// The sites of a server that are in each other's way.
#pragma once

#include <vector>

#include "server/export.h"
#include "server/server_files.h"

namespace tov_server {

// Findings named "collision", as those of tov_edit::Inspect, across all files: servers that have a
// name and an address in common, several default servers of an address, socket options of an
// address in several lines, virtual hosts that no "Listen" opens the address for. The places are
// those of all that a finding is about, in their files. In the order of the server's reading. None:
// nothing is in another's way. What ServerFile::left_out says is in nobody's.
QELTEMPLATE_SERVER_EXPORT std::vector<Finding> CollisionsOf(const ServerFiles& server);

}  // namespace tov_server
