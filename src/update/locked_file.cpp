// SPDX-License-Identifier: Apache-2.0

#include "update/locked_file.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "text/reserve_ahead.h"
#include "update/digest.h"
#include "update/failure.h"
#include "update/work_files.h"

namespace tov_update {
namespace {

constexpr std::chrono::milliseconds kBetweenTries{10};
constexpr int kFlags = O_NOCTTY | O_NONBLOCK;

void Wait(const Descriptor& opened, Deadline deadline, const Cancellation* cancellation,
          const std::string& name) {
  while (flock(opened.Number(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) FailBySystem(name, "cannot be locked");
    if (std::chrono::steady_clock::now() >= deadline) {
      throw Failure(name, "stays locked by another update; try again when that has ended");
    }
    if (CancelledWithin(kBetweenTries, cancellation)) {
      throw Cancelled(name, "cancelled while it is locked by another update");
    }
  }
}

}  // namespace

Glances::Glances(const std::string& name) {
  const std::size_t folder_size = name.rfind('/') + 1;
  if (folder_size == 0 || name.find('\0') != std::string::npos) return;
  m_opened = Open(name.substr(0, folder_size), O_PATH | O_DIRECTORY);
  if (m_opened) m_folder = name.substr(0, folder_size);
}

Descriptor Glances::Opened(const std::string& name) const {
  const bool is_beside = !m_folder.empty() && name.compare(0, m_folder.size(), m_folder) == 0 &&
                         name.size() > m_folder.size() && name[m_folder.size()] != '/';
  return is_beside ? OpenAt(m_opened, name.c_str() + m_folder.size(), O_RDWR | kFlags)
                   : Open(name, O_RDWR | kFlags);
}

// Those who glance do not keep each other off.
std::optional<Glance> Glances::At(const std::string& name, std::string& buffer) const {
  constexpr std::size_t kSmallest = 65536;
  if (name.find('\0') != std::string::npos) return std::nullopt;
  const Descriptor opened = Opened(name);
  if (!opened || flock(opened.Number(), LOCK_SH | LOCK_NB) != 0) return std::nullopt;
  const struct stat status = StatusOf(opened, name);
  const bool is_replaceable = S_ISREG(status.st_mode) && status.st_nlink == 1;
  if (!is_replaceable || status.st_size > LockedFile::kLargest) return std::nullopt;
  const auto expected = static_cast<std::size_t>(status.st_size);
  if (buffer.size() <= expected) buffer.resize(std::max(expected + 1, kSmallest));
  const ssize_t size =
      Retried([&] { return pread(opened.Number(), buffer.data(), buffer.size(), 0); });
  if (size != status.st_size) return std::nullopt;
  return Glance{FileMark(status), std::string_view(buffer).substr(0, expected)};
}

LockedFile::LockedFile(std::string name, std::string path)
    : m_name(std::move(name)), m_path(std::move(path)) {}

// A lock that had to be waited for may be that of a file that its holder has replaced meanwhile. A
// second name may be one that an update has left behind.
void LockedFile::Lock(Deadline deadline, Missing missing, const Cancellation* cancellation) {
  do {
    m_opened = OpenToLock(missing);
    Wait(m_opened, deadline, cancellation, m_name);
    Look();
  } while (!IsStillThere());
  if (!Exists() || m_links == 1) return;
  WorkFiles(m_path).RemoveLeftovers(m_path);
  Look();
  if (m_links > 1) {
    throw Failure(m_name, "has several hard links, which would no longer be one file");
  }
}

void LockedFile::Look() {
  const struct stat status = StatusOf(m_opened, m_name);
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
    throw Failure(m_name, "is not a regular file");
  }
  m_mode = status.st_mode;
  m_links = status.st_nlink;
  m_seen = FileMark(status);
}

// What is opened is a directory only where the file is missing: others are not opened for writing.
// Writing is asked for since a file that is protected from its user should stay as it is, and since
// network file systems lock for writing only files that are open for it.
Descriptor LockedFile::OpenToLock(Missing missing) const {
  Descriptor opened = Open(m_path, O_RDWR | O_NOFOLLOW | kFlags);
  if (!opened && errno == ENOENT && missing == Missing::kAllowed) {
    const std::string folder = std::filesystem::path(m_path).parent_path().string();
    opened = Open(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | kFlags);
    if (!opened) FailBySystem(folder);
    return opened;
  }
  if (!opened) FailBySystem(m_name);
  return opened;
}

// Whether the path leads to what is locked: for a directory, still to no file.
bool LockedFile::IsStillThere() const {
  const std::optional<FileMark> now = MarkAt(m_path);
  return Exists() ? now && now->IsOfSameFile(*m_seen) : !now;
}

std::string LockedFile::Read() {
  if (!Exists()) return std::string();
  if (m_seen->size > kLargest) throw Failure(m_name, "is larger than 1024 MiB");
  std::string text;
  tov_text::ReserveAhead(text, SizeSeen());
  const std::uint64_t digest = ForEachPiece([&text](std::string_view piece) { text += piece; });
  if (!m_digest) m_digest = digest;
  return text;
}

bool LockedFile::Holds(const std::string& text) {
  if (!Exists() || (m_digest && *m_digest != DigestOf(text, Pieces::kSize))) return false;
  return text == Read();
}

bool LockedFile::LooksUntouched() const {
  return Exists() ? MarkAt(m_path) == m_seen : IsStillThere();
}

bool LockedFile::IsUntouchedAs(const std::optional<FileMark>& mark) const {
  return mark == m_seen && HoldsWhatWasRead();
}

// Two writes within one tick of a file system's clock leave the same mark.
bool LockedFile::HoldsWhatWasRead() const {
  return !m_digest || ForEachPiece([](std::string_view) {}) == *m_digest;
}

template <typename Use>
std::uint64_t LockedFile::ForEachPiece(const Use& use) const {
  Digest digest;
  Pieces pieces(m_opened, SizeSeen());
  for (;;) {
    const std::optional<std::string_view> piece = pieces.Next();
    if (!piece) FailBySystem(m_name);
    if (piece->empty()) return digest.Value();
    digest.Add(*piece);
    use(*piece);
  }
}

}  // namespace tov_update
