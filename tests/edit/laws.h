// SPDX-License-Identifier: Apache-2.0

// Laws of the careful edit, whatever is edited. Each function returns "" when its law holds, else
// what is wrong.
#pragma once

#include <string>

#include "edit/edit.h"

namespace edit_laws {

using Law = std::string (*)(const tov_edit::Request& request, const std::string& config);

// Whatever the text, and whatever is asked of the edit besides.
std::string AnEmptyTemplateChangesNothing(const tov_edit::Request& request,
                                          const std::string& config);

// Explain has the result of Edit.
std::string ExplainAgrees(const tov_edit::Request& request, const std::string& config);

// The reported edits lead from the text to the result, and each has a line of the template for its
// reason: all other bytes are as they were.
std::string ChangesGiveTheResult(const tov_edit::Request& request, const std::string& config);

// What a server takes it also takes when it is edited.
std::string WhatIsTakenStaysSo(const tov_edit::Request& request, const std::string& config);

// The directives and blocks that are changed or removed are those that the report tells of, and
// each is one that its line of the template names. All others, and the lines with comments, stand
// where they stood.
std::string OnlyWhatIsNamedChanges(const tov_edit::Request& request, const std::string& config);

// A second edit is not refused, and changes nothing: neither with the values as they are then, nor
// with those of the first edit.
std::string TwiceIsOnce(const tov_edit::Request& request, const std::string& config);

// Where the text is as the old values say, and nothing is added or removed: there and back is where
// it was.
std::string ThereAndBackAgain(const tov_edit::Request& request, const std::string& config);

// The first of these laws that is broken, with all that it takes to see it.
std::string Broken(const tov_edit::Request& request, const std::string& config);

}  // namespace edit_laws
