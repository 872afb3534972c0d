// SPDX-License-Identifier: Apache-2.0

// The statements of a configuration, by the plain readers of both dialects: what edits are judged
// by that were made over a Document.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "document/document.h"

namespace edit_laws {

using WordList = std::vector<std::string>;

// A directive, or the opening or the closing of a block.
struct Statement {
  enum class Kind { kDirective, kOpening, kClosing };

  Kind kind = Kind::kDirective;
  std::size_t begin = 0;  // in the text
  std::size_t end = 0;
  WordList words;              // what the server makes of them; none for a closing
  std::vector<WordList> path;  // the words of the openings around, the outermost first
};

// None: the server would not take the text.
std::optional<std::vector<Statement>> StatementsOf(tov_document::Dialect dialect,
                                                   const std::string& text);

}  // namespace edit_laws
