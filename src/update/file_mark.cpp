// SPDX-License-Identifier: Apache-2.0

#include "update/file_mark.h"

namespace tov_update {

std::optional<FileMark> MarkAt(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) return std::nullopt;
  return FileMark(status);
}

struct stat StatusOf(const Descriptor& opened, const std::string& name) {
  struct stat status = {};
  if (fstat(opened.Number(), &status) != 0) FailBySystem(name);
  return status;
}

bool IsSameFile(const std::string& one, const std::string& other) {
  const std::optional<FileMark> mark = MarkAt(one);
  const std::optional<FileMark> other_mark = MarkAt(other);
  return mark && other_mark && mark->IsOfSameFile(*other_mark);
}

}  // namespace tov_update
