// SPDX-License-Identifier: Apache-2.0

// What a template says of one of its blocks, sorted by what it tells of the block that is meant.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "edit/finding.h"
#include "edit/match/comparison.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

// A line's words with its old values, and with its new ones.
using Phase = WrittenPtr TemplateLine::*;
inline constexpr std::array<Phase, 2> kPhases = {&TemplateLine::was, &TemplateLine::now};

// The lines are those of the tree, which has to outlive it.
struct Evidence {
  const TemplateLine* opening = nullptr;
  bool enabled = true;

  const TemplateLine* naming = nullptr;  // a server's line that says how it is called

  // The first name, as it was and as it will be; none: it is not stated, or may be any.
  std::optional<std::string> old_name;
  std::optional<std::string> new_name;

  Texts old_addresses;
  Texts new_addresses;

  std::vector<const TemplateLine*> changed;  // lines of which an old value is known
  std::vector<const TemplateLine*> others;   // all other lines with their full text
  std::vector<std::size_t> blocks;           // inside
  std::vector<std::size_t> going_blocks;     // inside, of branches that are not taken

  bool is_nginx_server = false;
  bool says_something = false;  // not only that blocks inside are to go

  bool HasName() const { return old_name || new_name; }
  bool HasAddress() const { return !old_addresses.empty() || !new_addresses.empty(); }
  bool HasLines() const { return !changed.empty() || !others.empty() || !blocks.empty(); }

  // The names by which a block may be found, the most wanted first; null: by any.
  std::vector<const std::string*> Names() const;
};

// Of the block `number` of the tree, not the whole template. A missing value without which the
// block cannot be found is refused in `findings`.
Evidence ReadEvidence(const TemplateTree& tree, Dialect dialect, std::size_t number,
                      Findings& findings);

// The same of all blocks of a tree.
struct AllEvidence {
  AllEvidence(const TemplateTree& tree, Dialect dialect);

  std::vector<Evidence> blocks;  // by their numbers; of the whole template there is none
  Findings findings;
};

// Whether a directive of this name only says whether a server speaks TLS, which is no evidence.
bool IsTlsState(std::string_view name);

}  // namespace tov_edit
