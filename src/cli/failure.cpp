// SPDX-License-Identifier: Apache-2.0

#include "cli/failure.h"

#include "update/failure.h"

namespace cli {

ExitCode ExitCodeOf(const std::exception& error) {
  if (const auto* failure = dynamic_cast<const Failure*>(&error)) return failure->exit_code();
  if (dynamic_cast<const tov_update::Overtaken*>(&error)) return kOvertaken;
  return dynamic_cast<const tov_update::ServerRefusal*>(&error) ? kRefusedByServer : kFailed;
}

}  // namespace cli
