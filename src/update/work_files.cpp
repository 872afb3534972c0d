// SPDX-License-Identifier: Apache-2.0

#include "update/work_files.h"

#include <filesystem>

#include "update/descriptor.h"
#include "update/file_mark.h"
#include "update/renames.h"

namespace update {
namespace {

std::string Beside(const std::filesystem::path& path, const char* kind) {
  const std::string name = '.' + path.filename().string() + ".qeltemplate-" + kind;
  return (path.parent_path() / name).string();
}

void Remove(const std::string& path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) FailBySystem(path);
}

void Keep(const std::string& path, const std::string& kept) {
  if (MoveToFree(path, kept) != Renamed::kDone) FailBySystem(path);
}

}  // namespace

WorkFiles::WorkFiles(const std::string& path)
    : new_file(Beside(path, "new")),
      old_file(Beside(path, "old")),
      new_backup(Beside(path, "new-backup")),
      old_backup(Beside(path, "old-backup")),
      kept(Beside(path, "kept-")) {}

void WorkFiles::RemoveLeftovers(const std::string& path) const {
  if (MayBeOfOthers(path)) Keep(new_file, KeptName("other"));
  Remove(new_file);
  Remove(new_backup);
  Remove(old_backup);
  if (IsSameFile(path, old_file)) Remove(old_file);
}

// The new file is exchanged with what is in its place, which is the old file as a rule. Killed just
// then, nobody has looked.
bool WorkFiles::MayBeOfOthers(const std::string& path) const {
  return MarkAt(new_file) && MarkAt(old_file) && !IsSameFile(old_file, path) &&
         !IsSameFile(old_file, new_file);
}

std::string WorkFiles::KeptName(const char* kind) const {
  const std::string name = kept + kind;
  std::string free = name;
  for (int number = 2; MarkAt(free); ++number) free = name + '-' + std::to_string(number);
  return free;
}

}  // namespace update
