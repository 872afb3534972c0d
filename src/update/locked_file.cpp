// SPDX-License-Identifier: Apache-2.0

#include "update/locked_file.h"

#include <fcntl.h>
#include <sys/file.h>

#include <filesystem>
#include <functional>
#include <thread>
#include <utility>

#include "update/failure.h"
#include "update/work_files.h"

namespace update {
namespace {

constexpr std::chrono::milliseconds kBetweenTries{10};

// The path without symbolic links; its last part need not be there.
std::string RealPath(const std::string& name) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(name, error);
  const bool is_link = std::filesystem::is_symlink(absolute, error);
  if (is_link || std::filesystem::exists(absolute, error)) {
    const std::filesystem::path real = std::filesystem::canonical(absolute, error);
    if (error) throw Failure(name, error.message());
    return real.string();
  }
  const std::filesystem::path folder = std::filesystem::canonical(absolute.parent_path(), error);
  if (error) throw Failure(name, error.message());
  return (folder / absolute.filename()).string();
}

mode_t ModeOf(const Descriptor& opened, const std::string& name) {
  struct stat status = {};
  if (fstat(opened.Number(), &status) != 0) FailBySystem(name);
  return status.st_mode;
}

nlink_t LinksOf(const Descriptor& opened, const std::string& name) {
  struct stat status = {};
  if (fstat(opened.Number(), &status) != 0) FailBySystem(name);
  return status.st_nlink;
}

std::size_t DigestOf(const std::string& text) {
  return std::hash<std::string>()(text);
}

void Wait(const Descriptor& opened, LockedFile::Deadline deadline, const std::string& name) {
  while (flock(opened.Number(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) FailBySystem(name, "cannot be locked");
    if (std::chrono::steady_clock::now() >= deadline) {
      throw Failure(name, "stays locked by another update; try again when that has ended");
    }
    std::this_thread::sleep_for(kBetweenTries);
  }
}

}  // namespace

LockedFile::LockedFile(std::string name) : m_name(std::move(name)), m_path(RealPath(m_name)) {}

// A lock that had to be waited for may be that of a file that its holder has replaced meanwhile.
void LockedFile::Lock(Deadline deadline, Missing missing) {
  do {
    m_opened = OpenToLock(missing);
    Wait(m_opened, deadline, m_name);
    m_mode = ModeOf(m_opened, m_name);
    m_seen = MarkOf(m_opened, m_name);
  } while (!IsStillThere());
  WorkFiles(m_path).RemoveLeftovers(m_path);
  if (Exists() && LinksOf(m_opened, m_name) > 1) {
    throw Failure(m_name, "has several hard links, which would no longer be one file");
  }
}

// Writing is asked for since a file that is protected from its user should stay as it is, and since
// network file systems lock for writing only files that are open for it.
Descriptor LockedFile::OpenToLock(Missing missing) const {
  constexpr int kFlags = O_NOFOLLOW | O_NOCTTY | O_NONBLOCK;
  Descriptor opened = Open(m_path, O_RDWR | kFlags);
  if (!opened && errno == ENOENT && missing == Missing::kAllowed) {
    const std::string folder = std::filesystem::path(m_path).parent_path().string();
    opened = Open(folder, O_RDONLY | O_DIRECTORY | kFlags);
    if (!opened) FailBySystem(folder);
    return opened;
  }
  if (!opened) FailBySystem(m_name);
  if (!S_ISREG(ModeOf(opened, m_name))) throw Failure(m_name, "is not a regular file");
  return opened;
}

// Whether the path leads to what is locked: for a directory, still to no file.
bool LockedFile::IsStillThere() const {
  const std::optional<FileMark> now = MarkAt(m_path);
  return Exists() ? now && now->IsOfSameFile(*m_seen) : !now;
}

std::string LockedFile::Read() {
  if (!Exists()) return std::string();
  if (MarkOf(m_opened, m_name).size > kLargest) throw Failure(m_name, "is larger than 1024 MiB");
  std::string text = ReadFromStart(m_opened, m_name);
  if (!m_digest) m_digest = DigestOf(text);
  return text;
}

bool LockedFile::IsUntouched() const {
  return Exists() ? IsSeenAt(m_path) && HoldsWhatWasRead() : IsStillThere();
}

// Two writes within one tick of a file system's clock leave the same mark.
bool LockedFile::HoldsWhatWasRead() const {
  return !m_digest || DigestOf(ReadFromStart(m_opened, m_name)) == *m_digest;
}

}  // namespace update
