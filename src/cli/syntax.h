// SPDX-License-Identifier: Apache-2.0

// What a server makes of the text of a line: where it looks closer than the library does.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

enum class Syntax { kNginx, kApache };

// Of the program's name of a dialect.
Syntax SyntaxOf(const std::string& dialect);

// The comment at the end of `line`, with the blanks before it; "" when there is none, and for a
// line that is a comment as a whole. Apache knows no such comments.
std::string_view TrailingComment(Syntax syntax, std::string_view line);

// `line` without blanks that mean nothing, and without a comment at its end: lines that come to the
// same say the same. Blanks between quotes mean something.
//
//   NormalForm(kNginx, "\troot   /srv ;  # note")   // "root /srv;"
std::string NormalForm(Syntax syntax, std::string_view line);

// `line` with the blanks between its words as in `model`, as far as that has words too. Its normal
// form stays: where other blanks would change that, `line` trimmed. Blanks around the whole are not
// looked at.
//
//   WithBlanksOf(kNginx, "root /b;", "root    /a ;")   // "root    /b ;"
std::string WithBlanksOf(Syntax syntax, std::string_view line, std::string_view model);

// What gives the line its place among others: lines with the same shape can stand for one another.
// Which directive it is does not matter.
std::string Shape(Syntax syntax, std::string_view line);

// Whether the words of a line "Options ..." are some with a sign and some without, which httpd
// refuses.
bool HasMixedOptions(std::string_view line);

// The word of a line "listen ..." that names an address which the library does not understand;
// "" when there is none.
std::string_view UnknownListenAddress(std::string_view line);

// Where the blocks of `lines` do not fit together: the position of the first closing line too many,
// else of the first opening line without a closing one; nothing when they fit.
std::optional<std::size_t> FirstUnbalanced(Syntax syntax,
                                           const std::vector<std::string_view>& lines);

}  // namespace cli
