// Named values, and the JSON file that holds them.
#pragma once

#include <map>
#include <string>

#include "template/qeltemplate.h"

namespace cli {

// What the configuration holds now, and what it is to hold. Null: not given.
struct OldAndNew {
  tov_template::Value old_value = tov_template::NullValue();
  tov_template::Value new_value = tov_template::NullValue();
};

using Values = std::map<std::string, OldAndNew>;

// The values in `json`: an object with a member for each name, which is the new value (a string or
// null) or an object with the members "old" and "new" (each a string or null, or left out):
//
//   {"root": "/srv/b", "name": {"old": "a.example", "new": "b.example"}}
//
// Throws Failure for anything else, under the name `file`; also for a name given twice, of which
// one would otherwise be lost without a word.
Values ParseValues(const std::string& json, const std::string& file);

// The same for the content of `file`. Throws Failure also when it cannot be read.
Values ReadValuesFile(const std::string& file);

}  // namespace cli
