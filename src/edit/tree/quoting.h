// SPDX-License-Identifier: Apache-2.0

// How a text is written so that its server reads it as one word, or as a part of one.
#pragma once

#include <string>
#include <string_view>

#include "document/document.h"

namespace tov_edit {

using tov_document::Dialect;

// `text` as it stands between quotes of the kind `quote`, whatever follows it there.
std::string Escaped(Dialect dialect, std::string_view text, char quote);

// `text` in quotes: in double ones, but where single ones need fewer escapes.
std::string InQuotes(Dialect dialect, const std::string& text);

// Whether `spelled` is one word anywhere in a directive or a block's head, its beginning and its
// end included, and means `meant`.
bool IsWordFor(Dialect dialect, const std::string& spelled, const std::string& meant);

// Whether `text` holds a control byte that the server has no escape for, so that it could only
// stand as it is: it would end a line, or hide text from people.
bool HoldsUnwritable(Dialect dialect, std::string_view text);

// Whether in `text`, between what stands before and behind it in its word, a variable would begin:
// nginx's "$name" and "${name}", httpd's "${name}". Neither server has an escape for them.
bool HoldsVariable(Dialect dialect, std::string_view before, std::string_view text,
                   std::string_view behind);

}  // namespace tov_edit
