// SPDX-License-Identifier: Apache-2.0

// Lines and columns of a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tov_document {

// Both count from 1, columns in bytes. A line ends with its "\n".
struct Place {
  std::size_t line = 1;
  std::size_t column = 1;
};

// Where the lines of a text begin. Cost: one pass over the text to make it, four bytes for each
// line; logarithmic for each question.
class Places {
 public:
  // `text` has fewer than 4 GiB. It is not referred to later.
  explicit Places(std::string_view text);

  // The place of the byte at `offset`; of the text's size, the place behind its last byte.
  Place Of(std::uint32_t offset) const;

  // Its line, which takes a step or two where that is `line` or one of the next.
  std::size_t LineFrom(std::size_t line, std::uint32_t offset) const;

  // Its column, where `line` is its line.
  std::size_t ColumnIn(std::size_t line, std::uint32_t offset) const {
    return static_cast<std::size_t>(offset - m_line_begins[line - 1]) + 1;
  }

  // How many lines there are: what follows the last "\n" is one, too.
  std::size_t Lines() const { return m_line_begins.size(); }

 private:
  std::vector<std::uint32_t> m_line_begins;
};

}  // namespace tov_document
