// SPDX-License-Identifier: Apache-2.0

// A configuration as the library sees it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/blocks.h"
#include "cli/diagnostic.h"

namespace cli {

struct Inspection {
  struct Line {
    std::size_t number = 0;            // in the file
    std::string text;                  // trimmed
    std::optional<std::size_t> block;  // the innermost one around it, its own for an opening line
    std::string path;                  // of the block that the library takes it for
    bool opens = false;
    bool closes = false;
    bool unique = false;      // a directive that the dialect manages itself
    bool identifies = false;  // a directive that identifies its block
  };

  std::vector<Line> lines;    // but for blank ones
  std::vector<Block> blocks;  // Block's positions are those of the lines
  std::vector<Diagnostic> warnings;
};

// Reads `text` in `dialect`, the program's name of it. `file` is its name for messages.
Inspection Inspect(const std::string& dialect, const std::string& text, const std::string& file);

}  // namespace cli
