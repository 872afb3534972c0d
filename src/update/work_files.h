// SPDX-License-Identifier: Apache-2.0

// The files that an update keeps beside a file while it replaces it.
#pragma once

#include <string>

namespace update {

// Their paths, for the file at a real path. They begin with a dot, so that "include sites/*" does
// not read them. Only who has locked the file may touch them.
struct WorkFiles {
  explicit WorkFiles(const std::string& path);

  // Removes what updates that were killed have left behind: all but an old file that is nowhere
  // else, which only the next change of the file replaces. Throws Failure.
  void RemoveLeftovers(const std::string& path) const;

  std::string new_file;
  std::string old_file;
  std::string new_backup;
  std::string old_backup;
};

}  // namespace update
