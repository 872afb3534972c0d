// SPDX-License-Identifier: Apache-2.0

// A file that no other update of the same kind changes meanwhile. What fails throws Failure, under
// the name as it was given.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "update/cancellation.h"
#include "update/cancelled_wait.h"
#include "update/descriptor.h"
#include "update/file_mark.h"

namespace tov_update {

class LockedFile {
 public:
  enum class Missing { kRefused, kAllowed };

  // No configuration is longer, and a text is held in memory several times over while it is edited.
  static constexpr off_t kLargest = off_t{1} << 30;

  // `name` stands for the file in messages, `path` is its real path (real_paths.h).
  LockedFile(std::string name, std::string path);

  // Locks the file, or its directory when the file is not there and `missing` allows that. Others
  // that hold the lock are waited for until `deadline`, or until `cancellation`, which may be null.
  // Throws Failure when that has come; when the file cannot be opened for reading and writing, is
  // no regular file, or has several hard links.
  void Lock(Deadline deadline, Missing missing, const Cancellation* cancellation);

  // The name as it was given.
  const std::string& Name() const { return m_name; }

  // The file's real path: no part of it is a symbolic link.
  const std::string& Path() const { return m_path; }

  // The remaining members are for a locked file.

  bool Exists() const { return S_ISREG(m_mode); }

  // The content of the locked file, wherever that has been renamed to; "" when there is none.
  // Throws Failure, also for a file of more than kLargest bytes.
  std::string Read();

  // Whether that is `text`.
  bool Holds(const std::string& text);

  // Gives up the lock. Nothing else can be done with the file then.
  void Close() { m_opened = Descriptor(); }

  // The open file, or its directory when there is none.
  const Descriptor& Opened() const { return m_opened; }

  // Whether the path still leads to the file, and nobody has written to it since it was locked, as
  // far as the clock of its file system tells; for one that is not there, whether that is still so.
  bool LooksUntouched() const;

  // Whether `mark` is that of the file, nobody has written to it since it was locked, and it holds
  // what it held when it was first read. Throws Failure.
  bool IsUntouchedAs(const std::optional<FileMark>& mark) const;

 private:
  Descriptor OpenToLock(Missing missing) const;
  void Look();
  bool IsStillThere() const;
  bool HoldsWhatWasRead() const;

  // Calls `use` for each piece of what the file holds. Returns the digest of all of it.
  template <typename Use>
  std::uint64_t ForEachPiece(const Use& use) const;

  std::size_t SizeSeen() const { return static_cast<std::size_t>(m_seen->size); }

  std::string m_name;
  std::string m_path;
  Descriptor m_opened;
  mode_t m_mode = 0;  // of what is locked
  nlink_t m_links = 0;
  std::optional<FileMark> m_seen;         // when it was locked
  std::optional<std::uint64_t> m_digest;  // of what was read first
};

// What a file held at a moment at which no update was about to replace it.
struct Glance {
  FileMark mark;
  std::string_view text;
};

// For looking at many files, most of which are beside one another. Any number of threads may use it
// at a time.
class Glances {
 public:
  // Files beside the file `name` are looked up from its directory on, which is quicker.
  explicit Glances(const std::string& name);

  // Looks at a file that a LockedFile could lock at once, and lets go of it again. A file that
  // another update replaces at this very moment may be the one before. The text is in `buffer`,
  // which is to be used again. None where it could not be locked, or not be read in one piece, for
  // whatever reason: to lock it will tell.
  std::optional<Glance> At(const std::string& name, std::string& buffer) const;

 private:
  Descriptor Opened(const std::string& name) const;

  std::string m_folder;  // ends with a '/'; "": it is not known
  Descriptor m_opened;
};

}  // namespace tov_update
