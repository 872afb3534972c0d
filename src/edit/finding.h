// SPDX-License-Identifier: Apache-2.0

// What speaks against an edit, or should be known about it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace edit {

// A place in a file. Lines and columns count from 1, columns in bytes; 0: none in particular.
struct FilePlace {
  std::string file;
  std::size_t line = 0;
  std::size_t column = 0;
};

// "site.conf:12:5", without what is 0.
std::string Shown(const FilePlace& place);

// One thing that was found. `message` begins with the place, and says what is wrong and what to do
// instead.
struct Finding {
  std::string name;  // by which it can be switched off: "ambiguous"
  std::string message;
};

struct Findings {
  std::vector<Finding> refusals;
  std::vector<Finding> warnings;
};

// `text` without what would move the cursor of a terminal.
std::string Printable(std::string_view text);

// `text` in quotes for a message, on one line, cut when it is long.
std::string Quoted(std::string_view text);

// A name of findings, with what they are about, for help texts.
struct FindingKind {
  const char* name;
  const char* what;
};

// Those for which an edit is refused: the first ones can be switched off, see Request::forced, the
// others not. And those that are only said. One more refusal should never come, and is none of
// these: "fault", when the edited text is not what the template means.
extern const std::vector<FindingKind> kForcedRefusals;
extern const std::vector<FindingKind> kFirmRefusals;
extern const std::vector<FindingKind> kEditWarnings;

}  // namespace edit
