// SPDX-License-Identifier: Apache-2.0

// Which directives may be repeated: what the servers know, and no syntax tells.
#pragma once

#include <string_view>

#include "document/document.h"

namespace tov_edit {

// How often a directive may stand in one block.
enum class Repetition {
  kOnce,     // a second one makes the server refuse the file, or one of the two does nothing
  kMany,     // several mean something together
  kUnknown,  // the server or the module is not known to have it
};

// `name` is a directive or a block ("server", "VirtualHost", without the bracket), as it stands in
// the text; Apache's are known in either case of letters. Where the answer differs from block to
// block, it is kMany. Cost: some twenty comparisons of names.
Repetition RepetitionOf(tov_document::Dialect dialect, std::string_view name);

}  // namespace tov_edit
