// SPDX-License-Identifier: Apache-2.0

// A file that no other update of the same kind changes meanwhile.
#pragma once

#include <sys/stat.h>

#include <chrono>
#include <string>

#include "update/descriptor.h"

namespace update {

class LockedFile {
 public:
  using Deadline = std::chrono::steady_clock::time_point;
  enum class Missing { kRefused, kAllowed };

  // The file that `name` leads to, over symbolic links. Throws Failure, under that name as every
  // member does, when one leads to nothing, or a directory on the way is not there.
  explicit LockedFile(std::string name);

  // Locks the file, or its directory when the file is not there and `missing` allows that. Others
  // that hold the lock are waited for until `deadline`. Throws Failure when that has come; when the
  // file cannot be opened for reading and writing, is no regular file, or has several hard links.
  void Lock(Deadline deadline, Missing missing);

  // The name as it was given.
  const std::string& Name() const { return m_name; }

  // The file's real path: no part of it is a symbolic link.
  const std::string& Path() const { return m_path; }

  // The remaining members are for a locked file.

  bool Exists() const { return S_ISREG(m_seen.st_mode); }

  // The content of the locked file, wherever that has been renamed to; "" when there is none.
  std::string Read() const;

  // The open file, or its directory when there is none.
  const Descriptor& Opened() const { return m_opened; }

  // Throws Failure when others have replaced the file, or its content, since it was locked.
  void ExpectUntouched() const;

 private:
  Descriptor Open(Missing missing) const;
  bool IsStillThere() const;

  std::string m_name;
  std::string m_path;
  Descriptor m_opened;
  struct stat m_seen = {};  // as it was when it was locked
};

}  // namespace update
