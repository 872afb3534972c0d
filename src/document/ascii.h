// SPDX-License-Identifier: Apache-2.0

// Beginnings, and letters of either case. Bytes beyond ASCII are no letters.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace tov_document {

constexpr char Lower(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

// To be compared with a lower-case letter: no other byte than this letter in either case gives it.
inline char LowerLetter(char byte) {
  return static_cast<char>(byte | 0x20);
}

inline std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& byte : lower) byte = Lower(byte);
  return lower;
}

// Where `beginning` is a constant, this takes a comparison or two.
inline bool Begins(std::string_view text, std::string_view beginning) {
  return text.size() >= beginning.size() &&
         std::string_view::traits_type::compare(text.data(), beginning.data(), beginning.size()) ==
             0;
}

// Whether two texts are one but for the case of letters.
inline bool SameLetters(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  return a == b || std::equal(a.begin(), a.end(), b.begin(),
                              [](char x, char y) { return Lower(x) == Lower(y); });
}

}  // namespace tov_document
