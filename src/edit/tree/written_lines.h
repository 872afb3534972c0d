// SPDX-License-Identifier: Apache-2.0

// The lines of a template and of the files that it imports, as they are written.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "edit/finding.h"
#include "edit/request.h"

namespace tov_edit {

enum class StatementKind { kNone, kEndif, kElse, kElif, kIf, kImport };

// One line.
struct WrittenLine {
  FilePlace place;   // of its first byte that is no blank
  std::string text;  // as it is written
  StatementKind kind = StatementKind::kNone;
  std::string statement;  // what stands between the delimiters: "if $ssl == on"
};

// The lines of the request's template in the order in which the library reads them: those of an
// imported file instead of the import, which stays as a line before them. Adds what is wrong with
// imports to `findings`. Of a template that is more than an edit takes (see limits.h) there are no
// lines, and one finding. Passes on what the request's importer throws.
std::vector<WrittenLine> ReadLines(const Request& request, std::vector<Finding>& findings);

// A finding about a line of a template that stands there as `line`.
Finding FindingAt(const FilePlace& place, const std::string& line, const char* name,
                  const std::string& message);

}  // namespace tov_edit
