// SPDX-License-Identifier: Apache-2.0

// A plain reader of configurations, enough for those of the documentation, to judge edits by.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// A directive, a comment, or the opening of a block.
struct PlainNode {
  std::string path;       // the openings around it, outermost first: "server > location /"
  std::size_t depth = 0;  // how many these are
  std::string words;      // with one blank between them; Apache's name in small letters
  std::string bytes;      // as it stands in the text, from its first byte to its last
};

// All of a text, in its order. `dialect` is "nginx" or "apache". Knows quotes, comments, several
// directives on a line, one over several lines, and Apache's "\" at the end of a line. Throws
// std::runtime_error for a block that nothing closes.
std::vector<PlainNode> ReadPlainTree(const std::string& dialect, const std::string& text);

// What the text says, whatever its layout: a line for each node, those of one block sorted, the
// contents of a block under its opening.
std::string Meaning(const std::string& dialect, const std::string& text);
