// SPDX-License-Identifier: Apache-2.0

// One file's way to a new content, and back.
//
//   Stage       .NAME.qeltemplate-new   the new file
//   PutInPlace  .NAME.qeltemplate-old   is another name of the file at NAME; then what is at NAME
//               and the new file change places, and the name of the new file goes
//   TakeBack    the same the other way round
//   Settle      .NAME.qeltemplate-old   goes
//
// Names are exchanged and not replaced, so that it can be seen what has come out: where that is not
// what is to go, another program has put it there, and it is put back. A file system that cannot
// exchange names gets a look just before the rename. (ext4, XFS, Btrfs, tmpfs and overlays can.)
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "update/descriptor.h"
#include "update/file_mark.h"
#include "update/locked_file.h"

namespace tov_update {

// Writes a new file, lets it take the place of another, and can bring the old one back until it is
// settled. At every moment the place holds the whole old file or the whole new one, or what another
// program has put there.
class Replacement {
 public:
  // What is at `path` (need not be there, a link is no more than itself) is to be replaced by a
  // file that is made at `staged`; the old one is kept at `kept` meanwhile. All three are in one
  // directory. `name` stands for the file in messages.
  Replacement(std::string name, std::string path, std::string staged, std::string kept);

  // Removes the new file when it is not in its place.
  ~Replacement();
  Replacement(Replacement&& other) noexcept;
  Replacement& operator=(Replacement&&) = delete;

  // Has only `old` be replaced, as long as nobody but us touches it, and only `text` be taken back.
  // Both have to live as long as this.
  void Guard(const LockedFile& old, const std::string& text);

  // Writes the new file, locked, with the owner, the mode, the ACL and the extended attributes of
  // the open file `model`; null: those of any new file. Throws Failure.
  void Stage(const std::string& text, const Descriptor* model);

  // Sees the new file on the disk. Throws Failure.
  void Flush() const;

  // The same for all that has been written to its file system. False where it has no such means.
  bool FlushFileSystem() const;

  // The file system.
  dev_t Device() const { return m_new_mark->device; }

  // Throws Overtaken when what is to be replaced is not what it was; then the new file is kept
  // under a name of its own.
  void ExpectOld();

  // Puts the staged file in its place. Throws Failure, and Overtaken as ExpectOld; then the old one
  // is still there.
  void PutInPlace();

  // Whether the new file is where PutInPlace has put it, and nobody has written to it or to the old
  // one.
  bool IsInPlace() const;

  // Whether PutInPlace has been through, and neither TakeBack nor Settle has.
  bool CanBeTakenBack() const { return m_state == State::kInPlace; }

  // Brings the old file back if PutInPlace has been through. Throws Failure, saying where it is.
  // Throws Overtaken when the place, or the old file, is not as we have left it: what another
  // program has put there stays, and both texts are kept.
  void TakeBack();

  // Gives up the old file, and the lock of the new one.
  void Settle();

  // Where all this happens.
  std::string Directory() const;

 private:
  enum class State { kNew, kStaged, kInPlace, kDone };

  void Create(mode_t mode);
  void Write(const std::string& text) const;
  void CopyAttributes(const Descriptor& model, const struct stat& made) const;
  bool IsNewAt(const std::string& path) const;
  void KeepOld();
  void SwapIn();
  void MoveIn();
  void SwapBack();
  void TakeAway();
  std::string KeepAs(const char* kind, const std::string& path) const;
  std::string KeepNew() const;
  [[noreturn]] void PutOthersBack();
  [[noreturn]] void LeaveAlone();
  [[noreturn]] void LeaveToOthers(const std::string& from);
  [[noreturn]] void FailBeforePlaced();
  [[noreturn]] void FailPlaced();
  [[noreturn]] void FailToReplace();
  [[noreturn]] void FailToPutBack();

  std::string m_name;
  std::string m_path;
  std::string m_staged;
  std::string m_kept;
  const LockedFile* m_guarded = nullptr;
  const std::string* m_text = nullptr;
  State m_state = State::kNew;
  std::optional<FileMark> m_old;       // of what is kept as m_kept
  std::optional<FileMark> m_new_mark;  // of the new file, written
  Descriptor m_new;                    // holds the new file's lock
};

// Sees all new files on the disk. Many at once: to flush each by itself takes a few milliseconds, a
// hundred times as much. Throws Failure.
void FlushAll(const std::vector<Replacement>& staged);

// Flushes the names in `directory` to the disk. Throws Failure.
void FlushDirectory(const std::string& directory);

}  // namespace tov_update
