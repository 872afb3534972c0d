// SPDX-License-Identifier: Apache-2.0

// From the locked files and their new texts to what FileUpdate::Commit promises.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "update/cancellation.h"
#include "update/locked_file.h"
#include "update/update.h"

namespace tov_update {

// A file and the text that it is to hold.
struct Change {
  LockedFile& file;
  const std::string& text;
};

// Carries the changes out, at least one. `open_files` are open already; `cancellation` may be null.
UpdateResult CarryOut(const std::vector<Change>& changes, const UpdateOptions& options,
                      const Cancellation* cancellation, std::size_t open_files);

}  // namespace tov_update
