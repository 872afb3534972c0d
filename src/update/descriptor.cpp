// SPDX-License-Identifier: Apache-2.0

#include "update/descriptor.h"

#include <fcntl.h>

#include <array>
#include <cstring>
#include <tuple>

#include "update/failure.h"

namespace tov_update {
namespace {

using Chunk = std::array<char, 65536>;

ssize_t ReadChunk(const Descriptor& opened, std::size_t from, Chunk& chunk) {
  return Retried(
      [&] { return pread(opened.Number(), chunk.data(), chunk.size(), static_cast<off_t>(from)); });
}

// Whether the file ends behind `size` bytes, where it was expected to and the last read, of `read`
// bytes, found no more. Anywhere else that takes another read.
bool Ends(std::size_t size, std::size_t expected, std::size_t read) {
  return size == expected && read < std::tuple_size<Chunk>::value;
}

}  // namespace

Descriptor Open(const std::string& path, int flags, mode_t mode) {
  const auto call = [&] { return open(path.c_str(), flags | O_CLOEXEC, mode); };
  return AboveStandardStreams(Descriptor(Retried(call)));
}

Descriptor OpenAt(const Descriptor& folder, const char* name, int flags, mode_t mode) {
  const auto call = [&] { return openat(folder.Number(), name, flags | O_CLOEXEC, mode); };
  return AboveStandardStreams(Descriptor(Retried(call)));
}

Descriptor AboveStandardStreams(Descriptor opened) {
  if (!opened || opened.Number() > STDERR_FILENO) return opened;
  return Descriptor(fcntl(opened.Number(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

std::string ReadFromStart(const Descriptor& opened, std::size_t expected, const std::string& name) {
  std::string text;
  text.reserve(expected);
  Chunk chunk;
  for (;;) {
    const ssize_t size = ReadChunk(opened, text.size(), chunk);
    if (size < 0) FailBySystem(name);
    if (size == 0) return text;
    const auto read = static_cast<std::size_t>(size);
    text.append(chunk.data(), read);
    if (Ends(text.size(), expected, read)) return text;
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
    if (Ends(at, text.size(), read.size())) return true;
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

}  // namespace tov_update
