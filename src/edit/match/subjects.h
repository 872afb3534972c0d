// SPDX-License-Identifier: Apache-2.0

// What a directive that may be repeated speaks of: the header of an "add_header", the code of an
// "error_page". Two directives of one name seldom mean something together when they speak of the
// same.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "document/document.h"

namespace tov_edit {

struct Subjects {
  std::vector<std::string> all;  // none: such directives may stand beside each other

  // What becomes of two directives with one subject. True: both count, which is seldom meant.
  // False: the server refuses the second one, or one of the two does nothing.
  bool both_count = false;
};

// `words` are those of a directive, the name first, in a block whose opening line begins with the
// word `block`; "": the top level. What people do repeat, as "add_header Set-Cookie", has none.
// Cost: some ten comparisons of names.
Subjects SubjectsOf(tov_document::Dialect dialect, std::string_view block,
                    const std::vector<std::string>& words);

}  // namespace tov_edit
