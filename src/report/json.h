// SPDX-License-Identifier: Apache-2.0

// The results of src/edit as JSON, for programs in every language. docs/schema says what it holds.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "edit/edit.h"
#include "report/json_writer.h"

namespace report {

// An explained edit, and what was asked for.
struct ExplainedEdit {
  const tov_edit::Request& request;
  const std::string& config_name;
  const tov_edit::Explained& explained;
};

nlohmann::ordered_json Json(const tov_edit::Finding& finding);
nlohmann::ordered_json Json(const std::vector<tov_edit::Finding>& findings);

// Without the edited text.
nlohmann::ordered_json Json(const tov_edit::Result& result);

nlohmann::ordered_json Json(const ExplainedEdit& edit);

}  // namespace report
