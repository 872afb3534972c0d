// SPDX-License-Identifier: Apache-2.0

// The editing of one configuration's text.
#pragma once

#include <string>
#include <vector>

#include "cli/edit_report.h"
#include "cli/findings.h"
#include "cli/request.h"

namespace cli {

struct Edited {
  std::string text;
  std::vector<Finding> warnings;
};

// Applies the request's template and values to `config_text`. Only the lines that the edit changes
// differ in the result: blank lines, indentation, comments and line ends stay as they are, new
// lines are indented like their neighbours, and a text that nothing is changed in comes back byte
// by byte.
//
// A block of the template that is not there is made, see Create. `config_name` stands for the
// configuration in messages.
//
// Throws Refusal when the edit would do more, or something else, than the template says (see
// kRefusals; Request::forced switches single ones off, Request::raw those about a value), Failure
// when a file that the template imports cannot be had.
Edited Edit(const Request& request, const std::string& config_text, const std::string& config_name);

// The same edit, and what became of each line of the template. What Edit would throw as a Refusal
// stands in the report's refusals instead, and the report is of the edit that would be made all the
// same. Throws Refusal for a configuration that is nested too deep, and Failure.
struct Explained {
  Edited edited;
  EditReport report;
};
Explained Explain(const Request& request, const std::string& config_text,
                  const std::string& config_name);

}  // namespace cli
