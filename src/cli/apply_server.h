// SPDX-License-Identifier: Apache-2.0

// qeltemplate apply --server: the edit of all files of a server.
#pragma once

#include "cli/apply_options.h"
#include "cli/command.h"

namespace cli {

// Carries out what `options` say, which are those of --server.
Outcome ApplyToServer(const ApplyOptions& options);

}  // namespace cli
