// SPDX-License-Identifier: Apache-2.0

// What speaks against an edit, or should be known about it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// One thing that was found. `message` says where, what and why, and what to do instead.
struct Finding {
  std::string name;  // by which --force switches it off: "lost-lines"
  std::string message;
};

// Why an edit must not be made, and what else there is to say.
struct Findings {
  std::vector<Finding> refusals;
  std::vector<Finding> warnings;
};

// A place in a file, for messages: "site.conf:12".
std::string At(const std::string& file, std::size_t line);

// `text` without what would move the cursor of a terminal.
std::string Printable(std::string_view text);

// `text` in quotes for a message, cut when it is long.
std::string Quoted(std::string_view text);

// The names by which refusals can be switched off, with what each is about, for help texts.
struct FindingKind {
  const char* name;
  const char* what;
};
extern const std::vector<FindingKind> kRefusals;

// The same for what is only said, and can be ignored.
extern const std::vector<FindingKind> kWarnings;

// Whether one of `kinds` has this name, and all their names for a message.
bool IsNamed(const std::vector<FindingKind>& kinds, const std::string& name);
std::string KnownNames(const std::vector<FindingKind>& kinds);

}  // namespace cli
