// SPDX-License-Identifier: Apache-2.0

// The lines and the words of Apache httpd's configurations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "document/apache/second_reader.h"

namespace second_reader {

bool IsBlank(char c);
std::string LowerCase(std::string_view text);

// A line as httpd sees it: with those that continue it, without backslashes and line ends between
// them, without the blanks around it.
struct Line {
  std::string bytes;
  std::vector<std::uint32_t> at;  // where each byte stands in the text
  Range in_text;                  // with line end and blanks
  bool has_nul = false;

  // Where the bytes from `begin` up to `end` stand in the text. They are at least one.
  Range Place(std::size_t begin, std::size_t end) const { return {at[begin], at[end - 1] + 1}; }
};

// The line that begins at `begin`, which is less than the text's size.
Line LineAt(std::string_view text, std::uint32_t begin);

// Up to the line end only, without blanks before it: what code in another language is read by.
Line PhysicalLineAt(std::string_view text, std::uint32_t begin);

// Takes the word at `position`, and moves that behind the word and the blanks that follow it. There
// is one: `position` is less than `end`, and at no blank.
Word TakeWord(const Line& line, std::size_t& position, std::size_t end);

}  // namespace second_reader
