// SPDX-License-Identifier: Apache-2.0

#include "cli/descriptor.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "cli/failure.h"

namespace cli {

namespace {

using Chunk = std::array<char, 65536>;

// The bytes at `offset`, as many as come at once; none: the file ends there.
std::string_view ReadAt(const Descriptor& opened, std::size_t offset, Chunk& chunk,
                        const std::string& name) {
  const ssize_t size =
      pread(opened.Number(), chunk.data(), chunk.size(), static_cast<off_t>(offset));
  if (size < 0) FailBySystem(name);
  return {chunk.data(), static_cast<std::size_t>(size)};
}

// 0 for what has no size. A file may still grow while it is read.
std::size_t ExpectedSize(const Descriptor& opened) {
  struct stat status = {};
  return fstat(opened.Number(), &status) == 0 ? static_cast<std::size_t>(status.st_size) : 0;
}

}  // namespace

std::string ReadFromStart(const Descriptor& opened, const std::string& name) {
  std::string text;
  text.reserve(ExpectedSize(opened));
  Chunk chunk;
  for (;;) {
    const std::string_view read = ReadAt(opened, text.size(), chunk, name);
    if (read.empty()) return text;
    text += read;
  }
}

bool Holds(const Descriptor& opened, std::string_view text, const std::string& name) {
  Chunk chunk;
  for (std::size_t at = 0;;) {
    const std::string_view read = ReadAt(opened, at, chunk, name);
    if (read.empty()) return at == text.size();
    if (text.substr(at, read.size()) != read) return false;
    at += read.size();
  }
}

std::string SystemMessage(int error) {
  return std::generic_category().message(error);
}

void FailBySystem(const std::string& name, const std::string& problem) {
  const std::string message = SystemMessage(errno);
  throw Failure(name, problem.empty() ? message : problem + ": " + message);
}

}  // namespace cli
