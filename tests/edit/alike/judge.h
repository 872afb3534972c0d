// SPDX-License-Identifier: Apache-2.0

// Says what must become of a configuration's tree. A block is found by its opening line, then by
// names, then by addresses, then by the other lines that the template states; one that is left is
// meant, several are refused, and where none fits the block is new.
//
// What follows from no rule is decided here by what a user would want:
//
// - Which lines tell blocks apart that names and addresses leave. For certain only those with an
//   old value that is said. It is as good, and may be refused as well, to count constant lines,
//   lines to be removed and nested blocks, too, and to leave out lines that no block holds: they
//   may be there to be added.
// - A server of nginx without `listen` may count as listening on port 80, and may not.
// - Where a trailing place fits several lines and one of them is the wanted one already, nothing is
//   to be done, or it is refused.
// - What is new may stand beside a thing of its kind that the same edit removes.
// - Of equal containers that a template names, the one is meant that holds its block.
// - A block to be removed of which only lines are said, not its name or address, holds these lines,
//   or it is not there: the last server that is left is not removed for them. Where several are
//   left it may be refused as well.
// - Options of a `listen` (`default_server`, `http2`) are left alone: the address says which line
// is
//   meant, as the name does in `server_name`.
// - A name that the file has as an alias is there: no `ServerName` is added. Whether the alias'
//   line counts when a new directive looks for its place is open.
// - A new virtual host stands behind the last one outside of every `<IfModule>` where there is one,
//   or behind the last one of the file.
// - An old address that no block has may be refused; else the new one is to be added.
// - A block without a name whose address no block has may be a new one, or it is a line to be
// added.
// - Where no block has the old name and one has the new one, the name has been changed already, or
//   the old one is wrong: nothing, or refused.
// - Whether a new line has a place that others must keep to, which follow it in the template, and
//   in which order two new ones stand in one gap, is open.
// - `ssl` and `ssl_prefer_server_ciphers` tell no blocks apart, whatever they hold.
// - A template's two blocks that lead to one block of the file: the one that states its address has
//   it, and the other one is new.
// - Where two sites come to answer to the same name at the same address, which the server ignores
// one
//   of, it may be refused.
// - What an `<IfModule>` inside of a block holds may count as the block's own where the block
// itself
//   has nothing of it, and may not.
// - What makes no sense or is nobody's habit is not asked: see Verdict::open.
#pragma once

#include <string>
#include <vector>

#include "model.h"

namespace alike {

struct Outcome {
  bool refused = false;
  std::string why;  // of a refusal
  Node root;        // else the tree, with what the edit does to it
};

struct Verdict {
  bool open = false;              // neither rule nor sense says what is right
  std::vector<Outcome> accepted;  // any of them is right

  bool MayBeRefused() const;
  bool MayBeDone() const;
};

Verdict Judge(Dialect dialect, const Node& root, const Edit& edit);

// Whether the edit leaves all as it is.
bool ChangesNothing(const Node& root);

// The tree as it is then, without marks of what the edit did.
Node After(const Node& root);

}  // namespace alike
