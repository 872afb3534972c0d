// The editing of one configuration's text.
#pragma once

#include <string>

#include "cli/request.h"

namespace cli {

struct Edited {
  std::string text;
};

// Applies the request's template and values to `config_text`. The result ends with a newline
// exactly when `config_text` does; blank lines are not kept. `config_name` stands for the
// configuration in messages. Throws Failure when the values, the template or a file that the
// template imports cannot be had.
Edited Edit(const Request& request, const std::string& config_text, const std::string& config_name);

}  // namespace cli
