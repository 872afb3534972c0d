// SPDX-License-Identifier: Apache-2.0

// A server's judgement of files that are not in their places yet.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "server/server_edit.h"
#include "server/server_files.h"
#include "update/update.h"

namespace cli {

// The command that checks the whole configuration of which `main` is the main file.
std::string CheckCommandOf(const std::string& main, tov_server::Dialect dialect);

// `command`, a test of nginx's or httpd's own, with `main` as the main file; all paths below the
// directory `tree`, if that is not "". None: it is none that is known, or asks more of the shell
// than to run it.
std::optional<std::string> CheckCommandWith(const std::string& command, const std::string& main,
                                            tov_server::Dialect dialect, const std::string& tree);

// Has `command` judge `server` with the new texts of `files` in a tree of its own. The new
// warnings, if they are looked for. None: it cannot be asked so, and `why_not` becomes the reason.
// Throws tov_update::ServerRefusal.
std::optional<std::vector<std::string>> CheckInShadow(
    const std::string& command, const tov_server::ServerFiles& server,
    const std::vector<tov_server::FileEdit>& files, tov_update::NewWarnings new_warnings,
    std::string& why_not);

}  // namespace cli
