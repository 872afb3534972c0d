// SPDX-License-Identifier: Apache-2.0

// A configuration as its server reads it: its tree, and what the server would refuse.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "document/document.h"
#include "document/places.h"
#include "edit/finding.h"

namespace cli {

using edit::FilePlace;
using edit::Finding;

struct Inspection {
  // A node that is not blank. An opaque one is without the blanks around it.
  struct Item {
    tov_document::Node node;
    tov_document::BlockId around = tov_document::kWholeText;  // the block that it stands in
    std::size_t depth = 0;                                    // how many blocks are around it
    bool server = false;  // a server's block; inside of a server there is none
  };

  std::vector<Item> items;  // in the order of the text: a block, then what stands in it

  // Why the server cannot read the text. Its second place is where the innermost block begins that
  // is open there.
  std::optional<Finding> error;

  std::vector<Finding> warnings;
};

// `places` are those of the document's text, `file` is its name for messages. Cost: linear in the
// text, however deep its blocks are.
Inspection Inspect(const tov_document::Document& document, const tov_document::Places& places,
                   const std::string& file);

// The words of a directive, of a block's head or of a comment as they are written, on one line and
// with one blank between them, in the way of the dialect: "listen 80;", "server {", "<If true>".
std::string OneLine(const tov_document::Document& document, const tov_document::Node& node);

}  // namespace cli
