// SPDX-License-Identifier: Apache-2.0

// A server's judgement of files that are not in their places yet. This is no part of the library
// for other programs: it runs commands.
#pragma once

#include <string>
#include <vector>

#include "server/server_edit.h"
#include "server/server_files.h"
#include "update/cancellation.h"
#include "update/update.h"

namespace tov_server {

struct ShadowJudgement {
  // Why the server cannot be asked so. "": it has been asked, and takes the new files.
  std::string why_not;

  // See tov_update::UpdateResult::new_warnings.
  std::vector<std::string> new_warnings;
};

// Has `options.check` judge `server` with the new texts of `files` in a tree of its own (see
// ShadowTree), and nothing is changed. All that `options` says of commands holds, and of
// `new_warnings`. `cancellation`: null, or what stops it.
//
// Throws tov_update::ServerRefusal, Cancelled, and Failure, as FileUpdate::Commit does.
ShadowJudgement JudgeInShadow(const tov_update::UpdateOptions& options, const ServerFiles& server,
                              const std::vector<FileEdit>& files,
                              const tov_update::Cancellation* cancellation = nullptr);

}  // namespace tov_server
