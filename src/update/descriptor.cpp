// SPDX-License-Identifier: Apache-2.0

#include "update/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cstring>

#include "update/failure.h"

namespace update {
namespace {

using Chunk = std::array<char, 65536>;

ssize_t ReadChunk(const Descriptor& opened, std::size_t from, Chunk& chunk) {
  return Retried(
      [&] { return pread(opened.Number(), chunk.data(), chunk.size(), static_cast<off_t>(from)); });
}

// 0 for what has no size. A file may still grow while it is read.
std::size_t ExpectedSize(const Descriptor& opened) {
  struct stat status = {};
  return fstat(opened.Number(), &status) == 0 ? static_cast<std::size_t>(status.st_size) : 0;
}

}  // namespace

Descriptor Open(const std::string& path, int flags, mode_t mode) {
  const auto call = [&] { return open(path.c_str(), flags | O_CLOEXEC, mode); };
  return AboveStandardStreams(Descriptor(Retried(call)));
}

Descriptor AboveStandardStreams(Descriptor opened) {
  if (!opened || opened.Number() > STDERR_FILENO) return opened;
  return Descriptor(fcntl(opened.Number(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

std::string ReadFromStart(const Descriptor& opened, const std::string& name) {
  std::string text;
  text.reserve(ExpectedSize(opened));
  Chunk chunk;
  for (;;) {
    const ssize_t size = ReadChunk(opened, text.size(), chunk);
    if (size < 0) FailBySystem(name);
    if (size == 0) return text;
    text.append(chunk.data(), static_cast<std::size_t>(size));
  }
}

bool MayHold(const Descriptor& opened, std::string_view text) {
  Chunk chunk;
  for (std::size_t at = 0;;) {
    const ssize_t size = ReadChunk(opened, at, chunk);
    if (size < 0) return true;
    if (size == 0) return at == text.size();
    const std::string_view read(chunk.data(), static_cast<std::size_t>(size));
    if (text.substr(at, read.size()) != read) return false;
    at += read.size();
  }
}

std::string SystemMessage(int error) {
  const char* const message = strerrordesc_np(error);
  return message ? message : "error " + std::to_string(error);
}

void FailBySystem(const std::string& name, const std::string& problem) {
  const std::string message = SystemMessage(errno);
  throw Failure(name, problem.empty() ? message : problem + ": " + message);
}

}  // namespace update
