// SPDX-License-Identifier: Apache-2.0

#include "update/descriptor.h"

#include <array>
#include <cerrno>
#include <system_error>

#include "update/failure.h"

namespace update {

std::string ReadFromStart(const Descriptor& opened, const std::string& name) {
  std::string text;
  std::array<char, 65536> chunk;
  for (;;) {
    const ssize_t size =
        pread(opened.Number(), chunk.data(), chunk.size(), static_cast<off_t>(text.size()));
    if (size < 0) FailBySystem(name);
    if (size == 0) return text;
    text.append(chunk.data(), static_cast<std::size_t>(size));
  }
}

std::string SystemMessage(int error) {
  return std::generic_category().message(error);
}

void FailBySystem(const std::string& name, const std::string& problem) {
  const std::string message = SystemMessage(errno);
  throw Failure(name, problem.empty() ? message : problem + ": " + message);
}

}  // namespace update
