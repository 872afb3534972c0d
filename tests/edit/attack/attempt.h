// SPDX-License-Identifier: Apache-2.0

// An attempt: a configuration, a template with places everywhere, and values for them.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "edit/attack/values.h"

namespace attack {

struct Value {
  std::optional<std::string> old_value;
  std::optional<std::string> new_value;
};

using Values = std::map<std::string, Value>;

// A line of the template; a quoted text may go on over several lines of text.
struct Line {
  enum class Kind { kDirective, kComment, kOpening };
  Kind kind = Kind::kDirective;
  std::string text;
  std::string closing;    // of an opening: the line that ends its block
  std::size_t block = 0;  // it stands in; of an opening its own
  bool taken = true;      // what its conditions say
  bool imported = false;
};

struct Block {
  std::size_t parent = 0;
  std::string mark;  // the argument of the directive "mark" in its like in the configuration; "":
                     // there is none, it has to be made
};

struct Attempt {
  Dialect dialect = Dialect::kNginx;
  std::string template_text;
  std::string config;
  Values values;
  std::vector<Line> lines;
  std::vector<Block> blocks;                 // the first one is the whole text
  std::optional<std::string> imported_name;  // the only file that may be asked for
  std::string imported_text;
  bool odd_condition = false;  // a value in a condition is no operand of its own
  bool has_operand = false;    // a value stands in a condition
  bool harmless = true;        // the new values are
  std::string raw;             // the value that may be anything, and is harmless; "": none may
};

// The same for the same number on every machine.
Attempt MakeAttempt(std::size_t number);

// For people.
std::string Shown(const Attempt& attempt);

}  // namespace attack
