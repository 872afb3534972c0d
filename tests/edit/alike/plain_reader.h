// SPDX-License-Identifier: Apache-2.0

// Reads what an edit has written: a tokenizer for nginx, a reader of lines for Apache. Plain and
// slow, and only for texts in the layouts that layout.h makes.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "model.h"

namespace alike {

struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;
};

// A directive or a block of a text.
struct ReadNode {
  bool is_block = false;
  Words words;
  std::vector<Span> spans;  // of the words, with their quotes
  std::size_t begin = 0;
  std::size_t end = 0;  // behind its ';', '}' or '>', without the line end
  std::vector<ReadNode> children;
};

// The text's outermost nodes. Nothing when it is none that the server would read.
std::optional<std::vector<ReadNode>> PlainRead(Dialect dialect, const std::string& text);

}  // namespace alike
