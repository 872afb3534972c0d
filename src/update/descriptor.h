// SPDX-License-Identifier: Apache-2.0

// File descriptors that close themselves, and what the system says when something fails.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tov_update {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : m_number(number) {}
  ~Descriptor() {
    if (*this) close(m_number);
  }
  Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_number, other.m_number);
    return *this;
  }

  explicit operator bool() const { return m_number >= 0; }
  int Number() const { return m_number; }

 private:
  int m_number = -1;
};

// Calls the system again for as long as a signal interrupts it.
template <typename Call>
auto Retried(const Call& call) {
  for (;;) {
    const auto result = call();
    if (result >= 0 || errno != EINTR) return result;
  }
}

// As open(2), with O_CLOEXEC: false when it fails, and errno says why. Never one of the numbers of
// the standard streams, also where a caller has closed these: what is written to standard error
// must not get into a file.
Descriptor Open(const std::string& path, int flags, mode_t mode = 0);

// The same for a file in an open directory.
Descriptor OpenAt(const Descriptor& folder, const char* name, int flags, mode_t mode = 0);

// The same descriptor under another number, if it has one of those.
Descriptor AboveStandardStreams(Descriptor opened);

// What is in the file that `opened` stands for, from its start, wherever it has been read up to.
class Pieces {
 public:
  static constexpr std::size_t kSize = 65536;

  // `expected` is the size that the file should have. One that has it takes a call of the system
  // less.
  Pieces(const Descriptor& opened, std::size_t expected) : m_opened(opened), m_expected(expected) {}

  // The next kSize bytes, fewer at the end, and "" behind it; valid until the next call. None when
  // the file cannot be read, and errno says why.
  std::optional<std::string_view> Next();

 private:
  const Descriptor& m_opened;
  const std::size_t m_expected;
  std::size_t m_read = 0;
  bool m_at_end = false;
  std::array<char, kSize> m_piece;
};

// All that is in a file, `expected` as above. Throws Failure about `name`.
std::string ReadFromStart(const Descriptor& opened, std::size_t expected, const std::string& name);

// Whether a file holds `text`, or cannot be read.
bool MayHold(const Descriptor& opened, std::string_view text);

// The system's words for `error`, in English whatever the locale.
std::string SystemMessage(int error);

// Throws Failure about `name` with the system's words for errno, behind `problem` if given.
[[noreturn]] void FailBySystem(const std::string& name, const std::string& problem = "");

}  // namespace tov_update
