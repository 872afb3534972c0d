// SPDX-License-Identifier: Apache-2.0

// The report of an edit as a text for people and as JSON for programs.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "cli/request.h"
#include "edit/edit.h"

namespace cli {

struct ExplainedEdit {
  const Request& request;
  const std::string& config_name;
  const edit::Explained& explained;
};

// A table with a line for each line of the template, under the blocks that they are for; then what
// else there is to know.
std::string Explanation(const ExplainedEdit& edit, bool coloured);

// docs/schema/explain.json says what it holds.
nlohmann::ordered_json ExplanationJson(const ExplainedEdit& edit);

}  // namespace cli
