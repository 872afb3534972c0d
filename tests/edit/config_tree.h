// SPDX-License-Identifier: Apache-2.0

// The tree of a configuration, made of what the readers in tests/document say: what edits are
// judged by. It shares nothing with what the edits themselves are made with.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace edit_judge {

enum class Dialect { kNginx, kApache };

// Offsets in the text: from `begin` up to, not including, `end`.
struct Bytes {
  std::size_t begin = 0;
  std::size_t end = 0;
};

struct Word {
  Bytes bytes;  // with its quotes
  std::string value;
};

// A directive or a block. The nodes of a tree stand in one list in the order of the text, a block
// before what is in it.
struct Node {
  bool is_block = false;
  std::size_t parent = 0;
  std::size_t behind = 0;   // the node that follows it and all that is in it
  std::vector<Word> words;  // its name first
  Bytes head;               // a directive with its end, a block's opening
  Bytes closing;            // of a block

  std::size_t End() const { return is_block ? closing.end : head.end; }
};

// The first node stands for the file: a block without words.
struct Tree {
  std::vector<Node> nodes;
  std::string error;  // "": the server reads the text
};

Tree ReadTree(Dialect dialect, std::string_view text);

// The nodes that stand in the block `block` itself.
std::vector<std::size_t> Inside(const Tree& tree, std::size_t block);

// Whether it is called `name`, as the server compares names.
bool IsCalled(Dialect dialect, const Node& node, std::string_view name);

std::string LowerCase(std::string_view text);

// What a tree says, a line for each node, for comparison and for people.
struct OutlineLine {
  std::size_t depth = 0;
  bool is_block = false;
  std::vector<std::string> words;

  bool operator==(const OutlineLine& other) const;
};
using Outline = std::vector<OutlineLine>;

// A line for each node but the one that stands for the file.
Outline OutlineOf(const Tree& tree);
std::string Show(const OutlineLine& line);

// The number of the line, from 1 on, that the byte at `offset` is in.
std::size_t LineNumber(std::string_view text, std::size_t offset);

}  // namespace edit_judge
