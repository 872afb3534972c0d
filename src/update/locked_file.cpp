// SPDX-License-Identifier: Apache-2.0

#include "update/locked_file.h"

#include <fcntl.h>
#include <sys/file.h>

#include <filesystem>
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

struct stat StatusOf(const Descriptor& opened, const std::string& name) {
  struct stat status = {};
  if (fstat(opened.Number(), &status) != 0) FailBySystem(name);
  return status;
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

bool IsSameFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool HasSameContent(const struct stat& one, const struct stat& other) {
  return one.st_size == other.st_size && one.st_mtim.tv_sec == other.st_mtim.tv_sec &&
         one.st_mtim.tv_nsec == other.st_mtim.tv_nsec;
}

}  // namespace

LockedFile::LockedFile(std::string name) : m_name(std::move(name)), m_path(RealPath(m_name)) {}

// A lock that had to be waited for may be that of a file that its holder has replaced meanwhile.
void LockedFile::Lock(Deadline deadline, Missing missing) {
  do {
    m_opened = Open(missing);
    Wait(m_opened, deadline, m_name);
    m_seen = StatusOf(m_opened, m_name);
  } while (!IsStillThere());
  WorkFiles(m_path).RemoveLeftovers(m_path);
  if (!Exists()) return;
  m_seen = StatusOf(m_opened, m_name);
  if (m_seen.st_nlink > 1) {
    throw Failure(m_name, "has several hard links, which would no longer be one file");
  }
}

// Writing is asked for since a file that is protected from its user should stay as it is, and since
// network file systems lock for writing only files that are open for it.
Descriptor LockedFile::Open(Missing missing) const {
  constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK;
  Descriptor opened(open(m_path.c_str(), O_RDWR | kFlags));
  if (!opened && errno == ENOENT && missing == Missing::kAllowed) {
    const std::string folder = std::filesystem::path(m_path).parent_path().string();
    opened = Descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | kFlags));
    if (!opened) FailBySystem(folder);
    return opened;
  }
  if (!opened) FailBySystem(m_name);
  if (!S_ISREG(StatusOf(opened, m_name).st_mode)) throw Failure(m_name, "is not a regular file");
  return opened;
}

// Whether the path leads to what is locked: for a directory, still to no file.
bool LockedFile::IsStillThere() const {
  struct stat now = {};
  const bool found = lstat(m_path.c_str(), &now) == 0;
  return Exists() ? found && IsSameFile(now, m_seen) : !found;
}

std::string LockedFile::Read() const {
  return Exists() ? ReadFromStart(m_opened, m_name) : std::string();
}

void LockedFile::ExpectUntouched() const {
  const bool untouched =
      IsStillThere() && (!Exists() || HasSameContent(StatusOf(m_opened, m_name), m_seen));
  if (!untouched) throw Failure(m_name, "has been changed by another program meanwhile");
}

}  // namespace update
