// SPDX-License-Identifier: Apache-2.0

// One file's way to a new content, and back.
#pragma once

#include <string>

#include "update/descriptor.h"

namespace update {

// Writes a new file, lets it take the place of another, and can bring the old one back until it is
// settled. At every moment the place holds the whole old file or the whole new one.
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

  // Writes the new file, locked and flushed to the disk, with the owner, the mode, the ACL and the
  // extended attributes of the open file `model`; null: those of any new file. Throws Failure.
  void Stage(const std::string& text, const Descriptor* model);

  // Puts the staged file in its place. Throws Failure; then the old one is still there.
  void PutInPlace();

  // Brings the old file back if PutInPlace has been through. Throws Failure, saying where it is.
  void TakeBack();

  // Gives up the old file.
  void Settle();

  // Where all this happens.
  std::string Directory() const;

 private:
  enum class State { kNew, kStaged, kInPlace, kDone };

  void Create(mode_t mode);
  void Write(const std::string& text) const;
  void CopyAttributes(const Descriptor& model) const;
  bool KeepOld() const;

  std::string m_name;
  std::string m_path;
  std::string m_staged;
  std::string m_kept;
  State m_state = State::kNew;
  bool m_had_old = false;
  Descriptor m_new;  // holds the new file's lock
};

// Flushes the names in `directory` to the disk. Throws Failure.
void FlushDirectory(const std::string& directory);

}  // namespace update
