// SPDX-License-Identifier: Apache-2.0

// A template with its imports in it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "edit/finding.h"
#include "edit/request.h"

namespace tov_edit {

struct TemplateText {
  struct Line {
    FilePlace place;  // of its first byte that is no blank; a blank line has no column
    std::string text;
  };

  // An import, which stood before the line `next`.
  struct Import {
    enum class Result { kRead, kMissing, kRepeated, kOddValue, kUnreadable };

    FilePlace place;        // of the word "import"
    std::string text;       // the whole line
    std::string statement;  // "import common.template"
    std::string name;       // the file's, as the importer calls it; else as the statement does
    Result result = Result::kRead;
    std::string problem;                  // why its text cannot be had
    std::vector<std::string> odd_values;  // with which it is another path than meant
    std::size_t next = 0;                 // in `lines`
  };

  // Where the template, or the values, go beyond what is taken (see limits.h): nothing is read from
  // there on.
  struct Excess {
    FilePlace place;
    std::string what;  // "more than ..."
  };

  std::vector<Line> lines;  // without imports
  std::vector<Import> imports;
  std::optional<Excess> excess;

  // Its lines, with their ends.
  std::string Text() const;
};

// `text` without the byte order mark that some editors put before it, which is no text.
std::string WithoutByteOrderMark(std::string text);

// The request's template, each import replaced by the lines of its file, in the order in which the
// engine reads them; but for one whose file is not there, or was imported before. The importer is
// not asked for a path of which a value makes another one than meant. Throws what it throws.
TemplateText WithImports(const Request& request);

}  // namespace tov_edit
