// SPDX-License-Identifier: Apache-2.0

// Which blocks of the configuration the blocks of a template are.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/template_run.h"

namespace cli {

// A block of the template, by the positions of its items.
struct TemplateBlock {
  std::size_t opening = 0;
  std::size_t closing = 0;  // the last item where it never closes
  bool closes = false;
  std::optional<std::size_t> parent;  // the position of the block around it among the blocks
  bool enabled = true;                // its branch was taken; false: it has to go

  // What the block is called in the configuration, most wanted first. All of them are levels of a
  // path.
  std::vector<std::string> levels;

  // The path under which the configuration has it; none: it does not.
  std::optional<std::string> path;

  // Has to go, but a block that is taken has the same path: only its lines have to go.
  bool shared = false;
};

// The blocks of the template, in the order of their opening lines.
struct TemplateBlocks {
  std::vector<TemplateBlock> blocks;
  std::vector<std::size_t> closers_too_many;  // items
};

// Finds the blocks of the template in the configuration of `run`. `new_run` is a run of the same
// template with each old value equal to the new one.
//
// A block of the template is the one that has the template's identity with the old values, else
// with the new ones. Lines of the template that identify the block but are not taken do not count
// then, and those that identify it whatever their value is ("ssl on;") may be there or not: they
// may be what the template adds or removes.
TemplateBlocks FindTemplateBlocks(const TemplateRun& run, const TemplateRun& new_run);

// Of each of `count` items the innermost of the blocks, by its position; none: the item stands
// outside every block.
std::vector<std::optional<std::size_t>> BlocksOfItems(const TemplateBlocks& found,
                                                      std::size_t count);

// Has the items of `run` address the blocks by the paths that were found.
void AddressBlocks(const TemplateBlocks& found, TemplateRun& run);

}  // namespace cli
