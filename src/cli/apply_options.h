// SPDX-License-Identifier: Apache-2.0

// What "qeltemplate apply" is asked.
#pragma once

#include <string>
#include <vector>

#include "cli/guard_options.h"
#include "cli/request.h"
#include "cli/server_options.h"
#include "update/update.h"

namespace cli {

// In the place of a command: the dialect's own test, and no new warning.
inline constexpr char kStrict[] = "strict";

struct ApplyOptions : RequestOptions, GuardOptions {
  std::vector<std::string> configs;  // none: standard input
  bool diff = false;
  std::string colour = "auto";
  bool in_place = false;
  std::string backup_suffix;  // "": no backup
  std::string output;         // "": none
  bool dry_run = false;
  bool json = false;
  bool check = false;
  std::string check_command;  // "": the dialect's; kStrict: the same
  std::string reload;         // "": none
  bool exit_code = false;
  unsigned jobs = 0;
  bool skip_missing = false;

  bool server = false;    // all files of a server, of which CONFIG is the main one
  std::string new_in;     // the file for what is new; "": none
  ServerOptions reading;  // what is read of a server, but for its main file and its dialect

  bool ChecksByDialect() const {
    return check && (check_command.empty() || check_command == kStrict);
  }

  bool WritesFiles() const { return (in_place || !output.empty()) && !dry_run; }
};

// By how many threads files are edited and replaced at a time.
unsigned JobsOf(const ApplyOptions& apply);

// How files of `dialect` are replaced.
tov_update::UpdateOptions UpdateFor(const ApplyOptions& apply, tov_edit::Dialect dialect);

}  // namespace cli
