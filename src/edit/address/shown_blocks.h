// SPDX-License-Identifier: Apache-2.0

// Blocks as messages name them.
#pragma once

#include <cstddef>
#include <string>

#include "edit/match/contents.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

// One of the configuration: "site.conf:3:1 'server' (a.example, *:80)".
std::string Described(const Contents& contents, const std::string& config_name, BlockId block);

// One of a template, which is looked for: "'server {' (a.example, *:80)".
std::string SoughtBlock(const TemplateTree& tree, Dialect dialect, std::size_t block);

// The first blocks in `around` of the same kind as the one that is looked for, behind a message
// that this is missing: "; there are ..."; "": there is none. Cost: up to one step for each block.
std::string BlocksLike(const Contents& contents, const std::string& config_name,
                       const TemplateLine& opening, BlockId around);

}  // namespace tov_edit
