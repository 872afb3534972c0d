// SPDX-License-Identifier: Apache-2.0

#include "update/renames.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace tov_update {
namespace {

bool IsWithoutMeans(int error) {
  return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

Renamed Rename(const std::string& from, const std::string& to, unsigned how, int elsewise) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), how) == 0) return Renamed::kDone;
  if (errno == elsewise) return Renamed::kElsewise;
  return IsWithoutMeans(errno) ? Renamed::kNoMeans : Renamed::kFailed;
}

}  // namespace

Renamed Exchange(const std::string& one, const std::string& other) {
  return Rename(one, other, RENAME_EXCHANGE, ENOENT);
}

Renamed MoveToFree(const std::string& from, const std::string& to) {
  const Renamed renamed = Rename(from, to, RENAME_NOREPLACE, EEXIST);
  if (renamed != Renamed::kNoMeans) return renamed;
  if (link(from.c_str(), to.c_str()) != 0) {
    return errno == EEXIST ? Renamed::kElsewise : Renamed::kFailed;
  }
  unlink(from.c_str());
  return Renamed::kDone;
}

}  // namespace tov_update
