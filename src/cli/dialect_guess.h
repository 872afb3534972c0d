// SPDX-License-Identifier: Apache-2.0

// Which server's language a text is written in.
#pragma once

#include <string>
#include <string_view>

namespace cli {

// The program's name of the dialect of `text`, "nginx" or "apache", or "" where that cannot be
// told: nothing in it is typical of one of them, or both are. Comments do not count, and neither do
// the statements of the template language, so that a template can be asked about, too. One pass
// over the text.
std::string GuessDialect(std::string_view text);

}  // namespace cli
