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
  // else, which only the next change of the file replaces, and what another program may have put in
  // the file's place just then, which is kept. Throws Failure.
  void RemoveLeftovers(const std::string& path) const;

  // A free name for a text that is not in its place and must not be lost: no update removes it.
  // `kind` is "new", "old" or "other".
  std::string KeptName(const char* kind) const;

  std::string new_file;
  std::string old_file;
  std::string new_backup;
  std::string old_backup;
  std::string kept;  // what KeptName begins with

 private:
  bool MayBeOfOthers(const std::string& path) const;
};

}  // namespace update
