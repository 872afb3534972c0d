// SPDX-License-Identifier: Apache-2.0

// The results of src/edit for programs in every language. docs/schema says what they hold.
#pragma once

#include <string>
#include <vector>

#include "edit/edit.h"
#include "report/writer.h"

namespace report {

// An explained edit, and what was asked for.
struct ExplainedEdit {
  const tov_edit::Request& request;
  const std::string& config_name;
  const tov_edit::Explained& explained;
};

void Write(Writer& writer, const tov_edit::Finding& finding);
void Write(Writer& writer, const std::vector<tov_edit::Finding>& findings);

// Of an object that has begun, and that goes on. A result comes without the edited text.
void WriteMembers(Writer& writer, const tov_edit::Result& result);
void WriteMembers(Writer& writer, const ExplainedEdit& edit);

// As JSON, with a line end.
std::string Json(const tov_edit::Result& result);
std::string Json(const ExplainedEdit& edit);

// What lint has found.
std::string LintJson(const std::vector<tov_edit::Finding>& warnings);

}  // namespace report
