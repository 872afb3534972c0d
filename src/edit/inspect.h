// SPDX-License-Identifier: Apache-2.0

// A configuration as its server reads it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "edit/finding.h"
#include "edit/request.h"
#include "template/export.h"

namespace tov_edit {

// What stands in a configuration. Lines and columns count from 1, columns in bytes.
struct Inspection {
  struct Block {
    std::string name;                    // "server", "VirtualHost"
    std::vector<std::string> arguments;  // as the server reads them, without quotes
    std::size_t line = 1;                // of the opening
    std::size_t column = 1;
    std::optional<std::size_t> end_line;  // of the closing; none: it does not close
    std::optional<std::size_t> parent;    // in `blocks`; none: there is none around it
    std::size_t depth = 0;                // how many blocks are around it
    bool opaque = false;                  // code in another language, which is not looked into

    // Of a server's block.
    bool is_server = false;
    std::vector<std::string> names;
    std::vector<std::string> addresses;  // "*:80"
  };

  struct Directive {
    std::string name;
    std::vector<std::string> arguments;
    std::size_t line = 1;
    std::size_t column = 1;
    std::size_t end_line = 1;
    std::optional<std::size_t> block;  // that it stands in, in `blocks`
  };

  // In the order of the text, a block before those inside of it.
  std::vector<Block> blocks;
  std::vector<Directive> directives;

  // Why the server cannot read the text from there on. Its second place is where the innermost
  // block begins that is open there.
  std::optional<Finding> error;

  std::vector<Finding> warnings;
};

// Reads `text`; of an empty one everything is empty. Behind an error nothing more is listed. `name`
// stands for the text in the findings. Throws std::length_error for a text of 4 GiB
// or more. Cost: linear in the text, in memory several times its size.
QELTEMPLATE_EXPORT Inspection Inspect(Dialect dialect, std::string_view text,
                                      const std::string& name);

}  // namespace tov_edit
