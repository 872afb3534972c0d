// SPDX-License-Identifier: Apache-2.0

// Where a block that does not close probably went wrong: an error of nginx's braces shows at the
// end of the text, at the outermost block, far from the mistake.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "document/document.h"

namespace tov_document {

struct Suspicion {
  enum class Kind {
    kBraceInWord,  // a "{" of a regular expression without quotes has opened a block
    kIndentation   // the closing brace of a block stands further to the left than its head
  };
  Kind kind = Kind::kBraceInWord;
  std::uint32_t at = 0;  // that brace; the beginning of that head
};

// The first place of the text that explains its error; none: there is no such place, or the error
// is another one. Cost: reads the whole text once more.
std::optional<Suspicion> Suspect(const Document& document);

// A sentence without its end, as of Describe(SyntaxError).
std::string Describe(const Suspicion& suspicion);

}  // namespace tov_document
