// SPDX-License-Identifier: Apache-2.0

// The input of a fuzz target: texts separated by the byte 0x1e, so that seeds can be written by
// hand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : m_rest(reinterpret_cast<const char*>(data), size) {}

  bool AtEnd() const { return m_rest.empty(); }

  // The next text, "" at the end.
  std::string Next() {
    const std::size_t end = m_rest.find('\x1e');
    std::string text(m_rest.substr(0, end));
    m_rest.remove_prefix(end == std::string_view::npos ? m_rest.size() : end + 1);
    return text;
  }

  // All that is left.
  std::vector<std::string> Rest() {
    std::vector<std::string> texts;
    while (!AtEnd()) texts.push_back(Next());
    return texts;
  }

 private:
  std::string_view m_rest;
};

// Ends the program when an invariant does not hold.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

inline void RequireNone(const std::string& wrong) {
  Require(wrong.empty(), wrong.c_str());
}
