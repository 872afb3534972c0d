// SPDX-License-Identifier: Apache-2.0

// What tells a file from others, and from itself with another content.
#pragma once

#include <sys/stat.h>

#include <ctime>
#include <optional>
#include <string>

#include "update/descriptor.h"

namespace tov_update {

struct FileMark {
  explicit FileMark(const struct stat& status)
      : device(status.st_dev),
        inode(status.st_ino),
        size(status.st_size),
        changed(status.st_mtim) {}

  bool IsOfSameFile(const FileMark& other) const {
    return device == other.device && inode == other.inode;
  }

  // Whether the file has not been written to either, as far as the clock of its file system tells.
  bool operator==(const FileMark& other) const {
    return IsOfSameFile(other) && size == other.size && changed.tv_sec == other.changed.tv_sec &&
           changed.tv_nsec == other.changed.tv_nsec;
  }
  bool operator!=(const FileMark& other) const { return !(*this == other); }

  dev_t device;
  ino_t inode;
  off_t size;
  struct timespec changed;
};

// Of what is at `path`, be it a link; none when nothing is there, or it cannot be seen.
std::optional<FileMark> MarkAt(const std::string& path);

// The status of an open file, of which a mark can be made. Throws Failure about `name`.
struct stat StatusOf(const Descriptor& opened, const std::string& name);

// Whether both names are there, and of one file.
bool IsSameFile(const std::string& one, const std::string& other);

}  // namespace tov_update
