// SPDX-License-Identifier: Apache-2.0

// File descriptors that close themselves, and what the system says when something fails.
#pragma once

#include <unistd.h>

#include <string>
#include <utility>

namespace update {

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

// All that is in the file that `opened` stands for, wherever it has been read up to. Throws Failure
// about `name`.
std::string ReadFromStart(const Descriptor& opened, const std::string& name);

// The system's words for `error`.
std::string SystemMessage(int error);

// Throws Failure about `name` with the system's words for errno, behind `problem` if given.
[[noreturn]] void FailBySystem(const std::string& name, const std::string& problem = "");

}  // namespace update
