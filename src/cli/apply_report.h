// SPDX-License-Identifier: Apache-2.0

// What an edit of files has done, as JSON for other programs.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "cli/failure.h"
#include "document/dialect.h"
#include "edit/edit.h"
#include "server/server_edit.h"
#include "update/update.h"

namespace cli {

struct ReportedFile {
  std::string name;
  std::optional<tov_document::Dialect> dialect;  // none: the file was not looked at that far
  const tov_edit::Result* edit = nullptr;        // null: there was none
  std::optional<std::string> diff;               // none: not asked for
  std::string problem;                           // why there was no edit; "": there was one
};

struct ApplyReport {
  ExitCode outcome = kDone;
  bool written = false;  // that was to be; false: what would be changed
  std::vector<ReportedFile> files;
  std::vector<std::string> left_out;               // as copies of other files
  std::optional<tov_update::UpdateResult> update;  // none: nothing has been put in place
  std::exception_ptr failure;                      // of all files together; null: none

  // Of the edit of a whole server: what speaks against it, or should be known.
  const tov_server::ServerResult* server = nullptr;  // null: each file is edited by itself
};

// As docs/schema/apply.json says, with a line end.
std::string ReportText(const ApplyReport& report);

}  // namespace cli
