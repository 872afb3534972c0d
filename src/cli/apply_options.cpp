// SPDX-License-Identifier: Apache-2.0

#include "cli/apply_options.h"

#include <algorithm>
#include <thread>

namespace cli {

unsigned JobsOf(const ApplyOptions& apply) {
  return apply.jobs > 0 ? apply.jobs : std::max(1U, std::thread::hardware_concurrency());
}

tov_update::UpdateOptions UpdateFor(const ApplyOptions& apply, tov_edit::Dialect dialect) {
  tov_update::UpdateOptions options;
  options.hold_stop_signals = true;
  options.jobs = JobsOf(apply);
  if (!apply.backup_suffix.empty()) options.backup_suffix = apply.backup_suffix;
  options.check = apply.check_command;
  options.reload = apply.reload;
  if (apply.ChecksByDialect()) {
    const bool strict = apply.check_command == kStrict;
    options.check = CheckCommand(dialect);
    options.new_warnings =
        strict ? tov_update::NewWarnings::kRefused : tov_update::NewWarnings::kTold;
  }
  return options;
}

}  // namespace cli
