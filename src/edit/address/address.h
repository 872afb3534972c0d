// SPDX-License-Identifier: Apache-2.0

// Which blocks of a configuration the blocks of a template are. Neither this header, where to
// start, nor the rest of the folder knows anything of editing.
//
// A block is found by all that the template says of it:
//
//   the opening line     the same words, the old ones or the new ones; of an Apache <VirtualHost>
//                        one of the addresses
//   server_name,         the first name is one of the block's, aliases included
//   ServerName
//   listen               of the blocks that are left those that have one of the addresses, if any
//                        has: else the line is to be added
//   all other lines      of several blocks one, if it alone has what they state
//
// Lines count with their old values first. "ssl" and "ssl_prefer_server_ciphers" say nothing: a
// site with TLS and without it is one site. nginx's http and Apache's conditions (<IfModule> and
// the like) may be left out of the template: blocks are looked for inside of them, too.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "edit/address/evidence.h"
#include "edit/finding.h"
#include "edit/match/contents.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

// A block of the template, and what it is in the configuration.
struct Match {
  std::size_t block = 0;      // of the template
  std::optional<BlockId> at;  // none: it is not there
  std::size_t parent = 0;     // the match of the block around it
};

// The whole text first, then the blocks of the template from the outside to the inside, those of
// one block in the order of the template; nothing of those whose enclosing block is not there or
// has to go. Without `all`, several that fit are refused in `findings` as "ambiguous". With it, a
// block of the template comes once for each block that fits. But where it says what changes, by old
// values that differ from the new ones, those blocks are left out that have none of that, neither
// the old nor the new, when others have; where the old values are the new ones, those that have not
// all of these lines, when others have. And what stands in one of the blocks around is not missed
// in the others. Two blocks of the template are never one of the configuration. `evidence` is that
// of the tree.
//
// Cost: where a name is known, one step for each directive of the text that names a server; else
// one for each block around.
std::vector<Match> FindBlocks(const TemplateTree& tree, const AllEvidence& evidence,
                              Contents& contents, const std::string& config_name, bool all,
                              Findings& findings);

// Whether the template says that the block was called otherwise: its opening line, its name or its
// addresses had an old value.
bool SaysRenamed(const TemplateTree& tree, Dialect dialect, std::size_t block);

}  // namespace tov_edit
