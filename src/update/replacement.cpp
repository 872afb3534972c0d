// SPDX-License-Identifier: Apache-2.0

#include "update/replacement.h"

#include <acl/libacl.h>
#include <attr/libattr.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <filesystem>
#include <utility>

#include "update/failure.h"

namespace update {
namespace {

void Unlink(const std::string& path) {
  unlink(path.c_str());
}

}  // namespace

Replacement::Replacement(std::string name, std::string path, std::string staged, std::string kept)
    : m_name(std::move(name)),
      m_path(std::move(path)),
      m_staged(std::move(staged)),
      m_kept(std::move(kept)) {}

Replacement::~Replacement() {
  if (m_state == State::kStaged) Unlink(m_staged);
}

Replacement::Replacement(Replacement&& other) noexcept
    : m_name(std::move(other.m_name)),
      m_path(std::move(other.m_path)),
      m_staged(std::move(other.m_staged)),
      m_kept(std::move(other.m_kept)),
      m_state(std::exchange(other.m_state, State::kDone)),
      m_had_old(other.m_had_old),
      m_new(std::move(other.m_new)) {}

void Replacement::Stage(const std::string& text, const Descriptor* model) {
  constexpr mode_t kOwnerOnly = 0600;  // until the model's attributes are there
  constexpr mode_t kByUmask = 0666;
  Create(model ? kOwnerOnly : kByUmask);
  Write(text);  // before the mode is there, of which writing may take bits away
  if (model) CopyAttributes(*model);
  if (fsync(m_new.Number()) != 0) FailBySystem(m_name, "cannot be written");
}

// The lock goes into place with the file, so that others wait until all is settled.
void Replacement::Create(mode_t mode) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  m_new = Descriptor(open(m_staged.c_str(), kFlags, mode));
  if (!m_new) FailBySystem(m_name, "cannot write beside it");
  m_state = State::kStaged;
  if (flock(m_new.Number(), LOCK_EX | LOCK_NB) != 0) FailBySystem(m_name, "cannot be locked");
}

// The owner first, since a change of it takes bits of the mode away. The ACL of a file that has
// none is its mode: so it takes away what the directory gives to new files.
void Replacement::CopyAttributes(const Descriptor& model) const {
  constexpr mode_t kModeBits = 07777;
  struct stat status = {};
  if (fstat(model.Number(), &status) != 0) FailBySystem(m_name);
  if (fchown(m_new.Number(), status.st_uid, status.st_gid) != 0) {
    FailBySystem(m_name, "its owner cannot be kept");
  }
  if (fchmod(m_new.Number(), status.st_mode & kModeBits) != 0) {
    FailBySystem(m_name, "its mode cannot be kept");
  }
  const char* const from = m_path.c_str();
  const char* const to = m_staged.c_str();
  if (perm_copy_fd(from, model.Number(), to, m_new.Number(), nullptr) != 0) {
    FailBySystem(m_name, "its ACL cannot be kept");
  }
  if (attr_copy_fd(from, model.Number(), to, m_new.Number(), nullptr, nullptr) != 0) {
    FailBySystem(m_name, "its extended attributes cannot be kept");
  }
}

void Replacement::Write(const std::string& text) const {
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t size = write(m_new.Number(), text.data() + written, text.size() - written);
    if (size < 0) FailBySystem(m_name, "cannot be written");
    written += static_cast<std::size_t>(size);
  }
}

void Replacement::PutInPlace() {
  if (std::filesystem::is_directory(std::filesystem::symlink_status(m_path))) {
    throw Failure(m_name, SystemMessage(EISDIR));
  }
  m_had_old = KeepOld();
  if (rename(m_staged.c_str(), m_path.c_str()) != 0) {
    const Failure failure(m_name, "cannot be replaced: " + SystemMessage(errno));
    Unlink(m_kept);
    throw failure;
  }
  m_state = State::kInPlace;
}

// Whether there is an old file.
bool Replacement::KeepOld() const {
  Unlink(m_kept);
  if (link(m_path.c_str(), m_kept.c_str()) == 0) return true;
  if (errno != ENOENT) FailBySystem(m_name, "cannot be kept as " + m_kept);
  return false;
}

void Replacement::TakeBack() {
  if (m_state != State::kInPlace) return;
  if (!m_had_old) {
    if (unlink(m_path.c_str()) != 0) FailBySystem(m_name, "is new and cannot be removed");
  } else if (rename(m_kept.c_str(), m_path.c_str()) != 0) {
    FailBySystem(m_name, "cannot be put back, its old content is in " + m_kept);
  }
  m_state = State::kDone;
}

void Replacement::Settle() {
  if (m_had_old) Unlink(m_kept);
  m_state = State::kDone;
}

std::string Replacement::Directory() const {
  return std::filesystem::path(m_path).parent_path().string();
}

void FlushDirectory(const std::string& directory) {
  const Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened || fsync(opened.Number()) != 0) FailBySystem(directory);
}

}  // namespace update
