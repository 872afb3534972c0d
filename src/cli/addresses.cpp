// SPDX-License-Identifier: Apache-2.0

#include "cli/addresses.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>

#include "template/framework/str.h"
#include "template/section_path.h"

namespace cli {
namespace {

using Idents = std::map<std::string, std::string>;
using tov_template::BaseConfig;
using tov_template::Value;

// Which of the two texts of an item.
enum class Side { kOld, kNew };

const Value& Text(const TemplateRun::ParseValues& values, Side side) {
  return side == Side::kOld ? values.m_old_value : values.m_value;
}

TemplateBlocks CutIntoBlocks(const TemplateRun& run) {
  TemplateBlocks found;
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < run.items().size(); ++i) {
    const TemplateRun::Item& item = *run.items()[i];
    if (!item.m_section.m_value.Str().empty()) {
      TemplateBlock block;
      block.opening = i;
      block.closing = run.items().size() - 1;
      if (!open.empty()) block.parent = open.back();
      open.push_back(found.blocks.size());
      found.blocks.push_back(std::move(block));
    }
    if (!run.config().EndedSection(item.m_param.m_value.Str())) continue;
    if (open.empty()) {
      found.closers_too_many.push_back(i);
    } else {
      found.blocks[open.back()].closing = i;
      found.blocks[open.back()].closes = true;
      open.pop_back();
    }
  }
  return found;
}

// Whether lines of the directive `name` identify a block whatever their value is.
bool IdentifiesByNameAlone(const BaseConfig& config, const std::string& name) {
  return config.MakeSectionPath("x", {{name, name + " a;"}}) ==
         config.MakeSectionPath("x", {{name, name + " b;"}});
}

// Makes the levels that a block of the template may have.
class LevelMaker {
 public:
  explicit LevelMaker(const TemplateRun& run) : m_run(run) { run.config().GetIdentParams(m_names); }

  // What the template itself calls the block.
  void AddOwn(const TemplateBlock& block, Side side, std::vector<std::string>& levels) const {
    Add(Text(m_run.items()[block.opening]->m_section, side).Str(), levels);
  }

  // What it is called when only the lines that are taken count, with and without those that
  // identify it by their name alone.
  void AddVariants(const std::vector<TemplateBlock>& blocks, std::size_t number, Side side,
                   std::vector<std::string>& levels) const {
    const Value& line = Text(m_run.items()[blocks[number].opening]->m_param, side);
    if (line.IsNull()) return;
    Idents by_value;
    Idents by_name;
    CollectIdents(blocks, number, side, by_value, by_name);
    Idents all = by_value;
    all.insert(by_name.begin(), by_name.end());
    for (const Idents& idents : {all, by_value}) {
      const bool plain = idents.empty();
      Add(plain ? line.Str() : m_run.config().MakeSectionPath(line.Str(), idents), levels);
    }
  }

 private:
  static void Add(const std::string& level, std::vector<std::string>& levels) {
    const std::string trimmed(str::view::Trim(level));
    if (trimmed.empty()) return;
    if (std::find(levels.begin(), levels.end(), trimmed) == levels.end()) levels.push_back(trimmed);
  }

  // The identifying lines of a block that are taken; where none of a directive is, the first one.
  void CollectIdents(const std::vector<TemplateBlock>& blocks, std::size_t number, Side side,
                     Idents& by_value, Idents& by_name) const {
    const TemplateBlock& block = blocks[number];
    for (const bool enabled : {true, false}) {
      std::size_t inner = number + 1;
      for (std::size_t i = block.opening + 1; i <= block.closing; ++i) {
        if (inner < blocks.size() && i == blocks[inner].opening) {
          i = blocks[inner].closing;
          while (inner < blocks.size() && blocks[inner].opening <= i) ++inner;
          continue;
        }
        const TemplateRun::Item& item = *m_run.items()[i];
        const std::string& text = Text(item.m_param, side).Str();
        const std::string name(str::view::FirstWord(text));
        if (item.m_enabled != enabled || m_names.count(name) == 0) continue;
        const bool alone = IdentifiesByNameAlone(m_run.config(), name);
        (alone ? by_name : by_value).emplace(name, text);
      }
    }
  }

  const TemplateRun& m_run;
  std::set<std::string> m_names;
};

}  // namespace

namespace {

// Gives the blocks of a template their paths. A block of the configuration is found once: what is
// called like it goes before what may be called like it, and a block that is taken before one that
// is not.
class PathFinder {
 public:
  PathFinder(const TemplateRun& run, std::vector<TemplateBlock>& blocks)
      : m_run(run), m_blocks(blocks) {}

  // `own[i]` is the number of levels by which the template itself calls the block `i`.
  void Find(const std::vector<std::size_t>& own) {
    for (const bool enabled : {true, false}) {
      for (const bool all_levels : {false, true}) {
        for (std::size_t i = 0; i < m_blocks.size(); ++i) {
          TemplateBlock& block = m_blocks[i];
          if (block.enabled == enabled) FindOne(block, all_levels ? block.levels.size() : own[i]);
        }
      }
    }
  }

 private:
  void FindOne(TemplateBlock& block, std::size_t level_count) {
    if (block.path || (block.parent && !m_blocks[*block.parent].path)) return;
    const std::string parent = block.parent ? *m_blocks[*block.parent].path : std::string();
    for (std::size_t i = 0; i < level_count; ++i) {
      const std::string path = tov_template::JoinSection(parent, block.levels[i]);
      if (!m_run.HasBlock(path)) continue;
      const bool first = m_given.insert(path).second;
      if (!first && block.enabled) continue;
      block.path = path;
      block.shared = !first;
      return;
    }
  }

  const TemplateRun& m_run;
  std::vector<TemplateBlock>& m_blocks;
  std::set<std::string> m_given;
};

}  // namespace

TemplateBlocks FindTemplateBlocks(const TemplateRun& run, const TemplateRun& new_run) {
  TemplateBlocks found = CutIntoBlocks(run);
  const LevelMaker levels(run);
  const LevelMaker new_levels(new_run);
  std::vector<std::size_t> own(found.blocks.size());
  for (std::size_t i = 0; i < found.blocks.size(); ++i) {
    TemplateBlock& block = found.blocks[i];
    block.enabled = run.items()[block.opening]->m_enabled;
    levels.AddOwn(block, Side::kOld, block.levels);
    new_levels.AddOwn(block, Side::kNew, block.levels);
    own[i] = block.levels.size();
    levels.AddVariants(found.blocks, i, Side::kOld, block.levels);
    new_levels.AddVariants(found.blocks, i, Side::kNew, block.levels);
  }
  PathFinder(run, found.blocks).Find(own);
  return found;
}

std::vector<std::optional<std::size_t>> BlocksOfItems(const TemplateBlocks& found,
                                                      std::size_t count) {
  std::vector<std::optional<std::size_t>> block_of(count);
  for (std::size_t i = 0; i < found.blocks.size(); ++i) {
    const TemplateBlock& block = found.blocks[i];
    std::fill(block_of.begin() + static_cast<std::ptrdiff_t>(block.opening),
              block_of.begin() + static_cast<std::ptrdiff_t>(block.closing) + 1, i);
  }
  return block_of;
}

void AddressBlocks(const TemplateBlocks& found, TemplateRun& run) {
  for (const TemplateBlock& block : found.blocks) {
    if (!block.path) continue;
    std::string level = *block.path;
    const std::size_t separator = level.rfind(tov_template::kSectionSeparator);
    if (separator != std::string::npos) {
      level.erase(0, separator + tov_template::kSectionSeparator.size());
    }
    TemplateRun::Item& opening = *run.items()[block.opening];
    opening.m_section.m_old_value = level;
    if (block.shared) opening.m_enabled = true;
  }
}

}  // namespace cli
