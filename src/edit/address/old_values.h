// SPDX-License-Identifier: Apache-2.0

// Old values that a configuration says itself.
//
// The blocks are found by what else the template says of them. In these, the lines with such a
// value are the directives which have the author's text around it; what stands in its place there
// is the old value:
//
//   root /srv/{% $name %}/htdocs;       beside "root /srv/a.example/htdocs;": a.example
//
// All lines that find one have to find the same. Where only openings of blocks hold the value, it
// is the one with which the block is found.
#pragma once

#include <string>

#include "edit/finding.h"
#include "edit/match/contents.h"
#include "edit/request.h"

namespace tov_edit {

// Whether a value of the request is to be read so, see OldAndNew::read_old.
bool ReadsOldValues(const Request& request);

// The request with these old values; none of them is to be read any more. A value that no line
// finds has no old one, as if it had not been asked for; but where a block's name or opening needs
// it, the edit is refused, as it is where lines find different ones: `findings` gets the refusals.
//
// Throws what the request's importer throws. Cost: that of finding the blocks, at most once for
// each such value; of openings once for each block that it might be.
Request WithOldValues(Request request, Contents& contents, const std::string& config_name,
                      Findings& findings);

}  // namespace tov_edit
