// SPDX-License-Identifier: Apache-2.0

// What becomes of the directives of the blocks that were found. Start here; block_plan.h is the
// work on one block, to which most of the folder belongs.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "edit/address/address.h"
#include "edit/finding.h"
#include "edit/layout/writer.h"
#include "edit/match/contents.h"
#include "edit/report.h"
#include "edit/request.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

// What a line of the template has to do with one directive, or block, of the configuration.
struct Event {
  using Kind = EditReport::Event::Kind;

  Kind kind = Kind::kFound;
  std::size_t line = 0;  // of the template
  Span bytes;            // in the configuration; of no meaning for kAdded
  std::string to;        // how it reads afterwards; "" for kRemoved
};

struct Plan {
  std::vector<Event> events;
  bool identities = false;  // names or addresses change, or a block is made
  bool raw = false;         // something is put in that was not read by the server's grammar
};

// Carries the template out on the blocks of `matches` (see FindBlocks), through `layout`.
//
// In a block, a line of the template is the directive with the same words, the old ones or else the
// new ones. A line with a trailing place is the one directive with that beginning. Names, a listen
// with its options, and Apache's Options are compared word by word, so that what the template does
// not state stays. What the block itself has not is looked for in the conditions inside of it, but
// for a beginning (see Contents::WithConditions). What an untaken branch states is removed; what a
// taken one states and is not there, is added:
//
//   - behind the last directive of its name, as far as the template's lines of this name allow;
//   - else behind the directives that stand before the first block inside, and as near to there as
//     the order of the template's lines that the block has allows.
//
// A block that is not there is added before the first one of its kind that the template states
// behind it, but for servers; else behind the last one of its kind, else at the end of the block
// around it. What cannot be meant is refused in `findings`.
Plan MakePlan(const Request& request, const TemplateTree& tree, const std::vector<Match>& matches,
              const std::string& config_name, Contents& contents, Writer& layout,
              Findings& findings);

}  // namespace tov_edit
