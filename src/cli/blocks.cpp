// SPDX-License-Identifier: Apache-2.0

#include "cli/blocks.h"

#include <algorithm>
#include <map>
#include <set>

#include "template/framework/str.h"
#include "template/section_path.h"

namespace cli {
namespace {

using Idents = std::map<std::string, std::string>;

}  // namespace

std::vector<Block> FindBlocks(const tov_template::BaseConfig& config,
                              const std::vector<std::string>& lines) {
  std::set<std::string> names;
  config.GetIdentParams(names);
  std::vector<Block> blocks;
  std::vector<Idents> idents;
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (config.StartsSection(lines[i])) {
      Block block;
      block.opening = i;
      if (!open.empty()) block.parent = open.back();
      block.depth = open.size() + 1;
      block.level = str::view::Trim(lines[i]);
      open.push_back(blocks.size());
      blocks.push_back(std::move(block));
      idents.emplace_back();
    }
    if (open.empty()) continue;
    const std::string name(str::view::FirstWord(lines[i]));
    if (names.count(name) != 0) idents[open.back()].emplace(name, str::view::Trim(lines[i]));
    if (!config.EndedSection(lines[i])) continue;
    blocks[open.back()].closing = i;
    open.pop_back();
  }
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    Block& block = blocks[i];
    if (!idents[i].empty()) block.level = config.MakeSectionPath(block.level, idents[i]);
    block.path = tov_template::JoinSection(
        block.parent ? blocks[*block.parent].path : std::string(), block.level);
  }
  return blocks;
}

LineOwners::LineOwners(const std::vector<Block>& blocks, std::size_t count) : m_owners(count) {
  // Blocks come outermost first.
  for (const Block& block : blocks) {
    const std::size_t end = block.closing ? *block.closing + 1 : count;
    std::fill(m_owners.begin() + static_cast<std::ptrdiff_t>(block.opening),
              m_owners.begin() + static_cast<std::ptrdiff_t>(end), &block);
  }
}

std::vector<Reopening> FindReopenings(const tov_template::BaseConfig& config,
                                      const std::vector<std::string_view>& lines) {
  struct Open {
    std::size_t line;
    bool identified;
  };
  std::set<std::string> names;
  config.GetIdentParams(names);
  std::vector<Reopening> found;
  if (names.empty()) return found;
  std::vector<Open> open;
  // Its memory is used again.
  // cppcheck-suppress variableScope
  std::string line;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    line = lines[i];
    if (config.StartsSection(line)) open.push_back({i, false});
    if (open.size() > 1 && !open.back().identified) {
      open.back().identified = names.count(std::string(str::view::FirstWord(line))) != 0;
    }
    if (open.empty() || !config.EndedSection(line)) continue;
    const bool identified = open.back().identified;
    open.pop_back();
    if (identified) found.push_back({i, open.back().line, open.size() > 1});
  }
  return found;
}

}  // namespace cli
