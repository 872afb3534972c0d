// SPDX-License-Identifier: Apache-2.0

#include "update/descriptor.h"

#include <fcntl.h>

#include <cstring>

#include "update/failure.h"

namespace tov_update {
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

// A read of fewer bytes than it asked for is the last one where that is all that was expected.
// Anywhere else that takes another read to tell.
std::optional<std::string_view> Pieces::Next() {
  std::size_t size = 0;
  while (size < kSize && !m_at_end) {
    const std::size_t wanted = kSize - size;
    const ssize_t result = Retried([&] {
      return pread(m_opened.Number(), m_piece.data() + size, wanted, static_cast<off_t>(m_read));
    });
    if (result < 0) return std::nullopt;
    const auto read = static_cast<std::size_t>(result);
    size += read;
    m_read += read;
    m_at_end = read == 0 || (read < wanted && m_read == m_expected);
  }
  return std::string_view(m_piece.data(), size);
}

std::string ReadFromStart(const Descriptor& opened, std::size_t expected, const std::string& name) {
  std::string text;
  text.reserve(expected);
  Pieces pieces(opened, expected);
  for (;;) {
    const std::optional<std::string_view> piece = pieces.Next();
    if (!piece) FailBySystem(name);
    if (piece->empty()) return text;
    text += *piece;
  }
}

bool MayHold(const Descriptor& opened, std::string_view text) {
  Pieces pieces(opened, text.size());
  for (;;) {
    const std::optional<std::string_view> piece = pieces.Next();
    if (!piece) return true;
    if (piece->empty()) return text.empty();
    if (text.substr(0, piece->size()) != *piece) return false;
    text.remove_prefix(piece->size());
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
