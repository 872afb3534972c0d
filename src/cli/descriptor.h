// File descriptors that close themselves, and what the system says when something fails.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "cli/failure.h"

namespace cli {

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

// The system's words for `error`.
inline std::string SystemMessage(int error) {
  return std::generic_category().message(error);
}

// Throws Failure about `name` with the system's words for errno, behind `problem` if given.
[[noreturn]] inline void FailBySystem(const std::string& name, const std::string& problem = "") {
  const std::string message = SystemMessage(errno);
  throw Failure(name, problem.empty() ? message : problem + ": " + message);
}

}  // namespace cli
