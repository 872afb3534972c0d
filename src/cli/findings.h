// What speaks against an edit, or should be known about it.
#pragma once

#include <cstddef>
#include <string>
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

// The names by which refusals can be switched off, with what each is about, for help texts.
struct FindingKind {
  const char* name;
  const char* what;
};
extern const std::vector<FindingKind> kRefusals;

}  // namespace cli
