// SPDX-License-Identifier: Apache-2.0

#include "update/work_files.h"

#include <filesystem>

#include "update/descriptor.h"

namespace update {
namespace {

std::string Beside(const std::filesystem::path& path, const char* kind) {
  const std::string name = '.' + path.filename().string() + ".qeltemplate-" + kind;
  return (path.parent_path() / name).string();
}

bool IsSameFile(const std::string& one, const std::string& other) {
  std::error_code ignored;
  return std::filesystem::equivalent(one, other, ignored);
}

void Remove(const std::string& path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) FailBySystem(path);
}

}  // namespace

WorkFiles::WorkFiles(const std::string& path)
    : new_file(Beside(path, "new")),
      old_file(Beside(path, "old")),
      new_backup(Beside(path, "new-backup")),
      old_backup(Beside(path, "old-backup")) {}

void WorkFiles::RemoveLeftovers(const std::string& path) const {
  Remove(new_file);
  Remove(new_backup);
  Remove(old_backup);
  if (IsSameFile(path, old_file)) Remove(old_file);
}

}  // namespace update
