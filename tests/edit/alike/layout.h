// SPDX-License-Identifier: Apache-2.0

// Writes a tree of a configuration in one of several layouts, and notes where each word stands.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "dice.h"
#include "model.h"
#include "plain_reader.h"

namespace alike {

enum class Style {
  kPlain,    // a line each, four blanks, a blank line between blocks
  kBraces,   // nginx: braces on lines of their own; Apache: tabs
  kOneLine,  // nginx: a server on one line; Apache: no indentation
  kOdd,      // tabs and blanks anyhow, comments; Apache: names in odd case, quotes, "<Name >"
  kBroken    // directives over several lines or several on one, quotes; Apache: continued lines
};
constexpr std::size_t kStyles = 5;

struct Layout {
  Style style = Style::kPlain;
  bool crlf = false;
  bool final_line_end = true;
};

// Where a node stands.
struct Placed {
  std::size_t begin = 0;
  std::size_t end = 0;         // behind its ';', '}' or '>'
  std::size_t body_begin = 0;  // of a block
  std::size_t body_end = 0;
  std::vector<Span> spelled;  // the words as written
  std::vector<Span> inner;    // without quotes
};

struct Rendered {
  std::string text;
  std::vector<Placed> placed;  // by id
};

// Numbers the nodes of the tree, too.
Rendered Render(Dialect dialect, const Layout& layout, Node& root, Dice& dice);

}  // namespace alike
