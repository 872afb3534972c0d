// SPDX-License-Identifier: Apache-2.0

// The files that an update keeps beside a file while it replaces it.
#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace tov_update {

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

// Which of many files may have something left behind beside them. To look once through a directory
// is less than to ask for each name.
class LeftBehind {
 public:
  // All files are locked.
  explicit LeftBehind(const std::vector<std::string>& paths);

  // For one of these files. It may be true of one that has nothing beside it.
  bool MayBeBeside(const std::string& path) const;

 private:
  void Read(const std::string& folder, std::size_t files);

  std::set<std::string, std::less<>> m_read;  // directories
  std::set<std::string> m_beside;             // files in them
};

}  // namespace tov_update
