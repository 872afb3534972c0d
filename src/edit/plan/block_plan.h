// SPDX-License-Identifier: Apache-2.0

// What becomes of the directives of one block. The lines of the template take their turns by kind:
// rewrite_lines.h, plain_lines.h and word_lines.h settle them, additions.h adds what is missing,
// and block_work.h keeps what is decided.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>

#include "edit/finding.h"
#include "edit/layout/writer.h"
#include "edit/match/contents.h"
#include "edit/plan/plan.h"
#include "edit/request.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

// What a plan is made for and of.
struct Planning {
  const Request& request;
  const TemplateTree& tree;
  const std::string& config_name;
  Contents& contents;
  Writer& layout;
  Findings& findings;
  Plan& plan;

  // All blocks that are those of the template: what stands in one of them is not looked for from
  // the blocks around it.
  std::set<BlockId> matched;
};

// Carries out those lines of the template's block `block` that are directives and comments, on the
// block `at`. `inner` says which blocks inside of that the blocks of the template are. A line of
// which nothing stands in `at` itself is for the conditions inside that have it, if any has.
void PlanBlock(const Planning& planning, std::size_t block, BlockId at,
               const std::map<std::size_t, BlockId>& inner);

}  // namespace tov_edit
