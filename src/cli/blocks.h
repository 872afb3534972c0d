// SPDX-License-Identifier: Apache-2.0

// The blocks of a configuration as they stand in the file.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "template/qeltemplate.h"

namespace cli {

// One block. Unlike the library, which keeps blocks with the same path together, this tells them
// apart.
struct Block {
  std::size_t opening = 0;             // the positions of its lines
  std::optional<std::size_t> closing;  // none: it never closes
  std::optional<std::size_t> parent;   // the position of the block around it among the blocks
  std::size_t depth = 1;
  std::string level;  // the last level of its path: the opening line, and what identifies the block
  std::string path;   // the levels of the blocks around it and its own
};

// The blocks of `lines`, in the order of their opening lines. The dialect `config` says which lines
// open, close and identify a block.
std::vector<Block> FindBlocks(const tov_template::BaseConfig& config,
                              const std::vector<std::string>& lines);

// The innermost block that each line stands in; opening and closing lines belong to their own.
// Refers to the blocks, which must live as long.
class LineOwners {
 public:
  // `count`: the number of lines in which `blocks` were found.
  LineOwners(const std::vector<Block>& blocks, std::size_t count);

  // Null: none.
  const Block* Of(std::size_t line) const { return m_owners[line]; }

 private:
  std::vector<const Block*> m_owners;
};

// Behind which line a block's opening line has to be repeated: the positions of both.
struct Reopening {
  std::size_t behind = 0;
  std::size_t opening = 0;
  bool deep = false;  // the block stands inside another one: repeating does not help
};

// Where the library loses its way in `lines`: it takes what follows a block that its own lines
// identify, inside of another block, for lines outside of that one. The other block's opening line,
// repeated there, leads it back. In the order of the lines.
std::vector<Reopening> FindReopenings(const tov_template::BaseConfig& config,
                                      const std::vector<std::string_view>& lines);

}  // namespace cli
