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

// A file that an edit of a whole server changes.
struct ChangedFile {
  std::string name;
  bool is_new = false;  // it is made
  std::vector<tov_edit::Change> changes;
};

// The same of a whole server. Its result is that of no text: the changes are those of the files.
struct ExplainedServerEdit {
  ExplainedEdit edit;  // its configuration is the main file
  std::vector<ChangedFile> files;
};

void Write(Writer& writer, const tov_edit::Finding& finding);
void Write(Writer& writer, const std::vector<tov_edit::Finding>& findings);

// Of an object that has begun, and that goes on. A result comes without the edited text.
void WriteMembers(Writer& writer, const tov_edit::Result& result);
void WriteMembers(Writer& writer, const ExplainedEdit& edit);

// As JSON, with a line end.
std::string Json(const tov_edit::Result& result);
std::string Json(const ExplainedEdit& edit);
std::string Json(const ExplainedServerEdit& edit);

// What lint has found.
std::string LintJson(const std::vector<tov_edit::Finding>& warnings);

}  // namespace report
