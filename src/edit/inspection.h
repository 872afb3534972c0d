// SPDX-License-Identifier: Apache-2.0

// A configuration as its server reads it: what stands in it, and what the server would refuse.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/document.h"
#include "document/places.h"
#include "edit/finding.h"
#include "edit/request.h"

namespace tov_edit {

// What there is to say of a text.
struct Remarks {
  // Why the server cannot read the text. Its second place is where the innermost block begins that
  // is open there.
  std::optional<Finding> error;

  std::vector<Finding> warnings;
};

// `places` are those of the document's text, `file` is its name for messages. Cost: linear in the
// text, however deep its blocks are.
Remarks RemarksOn(const tov_document::Document& document, const tov_document::Places& places,
                  const std::string& file);

// A node that is not blank. An opaque one is without the blanks around it.
struct Item : tov_document::Placed {
  bool server = false;  // a server's block; inside of a server there is none
};

// Tells `visit` of all of a text, in its order: of a block, then of what stands in it. Cost: linear
// in the text, however deep its blocks are.
void ForEachItem(const tov_document::Document& document,
                 const std::function<void(const Item&)>& visit);

// A configuration that is shown, with what there is to say of it. The text has to outlive it.
struct InspectedText {
  InspectedText(Dialect dialect, std::string_view text, const std::string& name)
      : file(name),
        document(dialect, text),
        places(text),
        remarks(RemarksOn(document, places, name)) {}

  std::string file;
  tov_document::Document document;
  tov_document::Places places;
  Remarks remarks;
};

// The words of a directive, of a block's head or of a comment as they are written, on one line and
// with one blank between them, in the way of the dialect: "listen 80;", "server {", "<If true>".
std::string OneLine(const tov_document::Document& document, const tov_document::Node& node);

// The same for one that is short and is written just so, as most are: its bytes. Nothing in them
// moves the cursor of a terminal. Empty: it takes OneLine to tell.
std::string_view PlainLine(const tov_document::Document& document, const tov_document::Node& node);

}  // namespace tov_edit
