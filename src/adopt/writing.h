// SPDX-License-Identifier: Apache-2.0

// Lines as the text of a template.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "adopt/lines.h"
#include "adopt/naming.h"

namespace tov_adopt {

struct WrittenTemplate {
  std::string text;
  std::vector<std::size_t> lines;  // of each line of the text the adopted one; kNone: a closing
};

// The value that switches lines of which two configurations have not both, and its texts.
inline constexpr char kVersion[] = "version";
inline constexpr char kBefore[] = "old";
inline constexpr char kAfter[] = "new";

// The kept lines. `comment`: each with what it is, in the comments of the template.
WrittenTemplate Write(Dialect dialect, const Lines& lines, const std::vector<Value>& values,
                      bool comment);

// One line, and one word of a line, as they stand there.
std::string TextOf(Dialect dialect, const Line& line, const std::vector<Value>& values);
std::string TextOf(Dialect dialect, const LineWord& word, const std::vector<Value>& values);

}  // namespace tov_adopt
