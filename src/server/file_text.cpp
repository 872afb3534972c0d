// SPDX-License-Identifier: Apache-2.0

#include "server/file_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace tov_server {
namespace {

class Descriptor {
 public:
  // A FIFO that is put there at this moment is not waited for.
  explicit Descriptor(const std::string& path)
      : m_descriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {}
  ~Descriptor() {
    if (m_descriptor >= 0) ::close(m_descriptor);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Get() const { return m_descriptor; }

 private:
  const int m_descriptor;
};

FileText Failed(int error) {
  FileText failed;
  failed.error = error;
  return failed;
}

FileText Odd(const std::string& problem) {
  FileText odd;
  odd.error = EINVAL;
  odd.problem = problem;
  return odd;
}

// Reads on until the end, or until there are more than `limit` bytes.
int ReadAll(int descriptor, std::size_t expected, std::size_t limit, std::string& text) {
  constexpr std::size_t kMore = 4096;
  text.resize(std::min(expected, limit) + 1);
  std::size_t size = 0;
  for (;;) {
    const ssize_t got = ::read(descriptor, text.data() + size, text.size() - size);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    size += static_cast<std::size_t>(got);
    if (got == 0 || size > limit) break;
    if (size == text.size()) text.resize(size + std::max(kMore, size / 2));
  }
  text.resize(size);
  return 0;
}

}  // namespace

std::optional<FileIdentity> IdentityOf(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileIdentity(status.st_dev, status.st_ino);
}

FileText ReadText(const std::string& path, std::size_t limit) {
  if (path == "/dev/null") return {};
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return Failed(errno);
  if (S_ISDIR(status.st_mode)) return Failed(EISDIR);
  if (!S_ISREG(status.st_mode)) return Odd("not a regular file");
  const Descriptor file(path);
  if (file.Get() < 0 || ::fstat(file.Get(), &status) != 0) return Failed(errno);
  if (!S_ISREG(status.st_mode)) return Odd("not a regular file");
  FileText read;
  const int error = ReadAll(file.Get(), static_cast<std::size_t>(status.st_size), limit, read.text);
  if (error != 0) return Failed(error);
  if (read.text.size() > limit) return Odd("too large");
  return read;
}

}  // namespace tov_server
