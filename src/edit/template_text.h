// SPDX-License-Identifier: Apache-2.0

// A template with its imports in it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "edit/finding.h"
#include "edit/request.h"

namespace edit {

struct TemplateText {
  // A file that was imported, or should have been.
  struct Import {
    FilePlace place;
    std::string statement;  // "import common.template"
    bool found = true;
    std::size_t line = 0;  // of `text`, in whose place the import stood
  };

  std::string text;               // without imports
  std::vector<FilePlace> places;  // of its lines, in their order
  std::vector<Import> imports;
};

// `text` without the byte order mark that some editors put before it, which is no text.
std::string WithoutByteOrderMark(std::string text);

// The request's template, each import replaced by the lines of its file, in the order in which the
// engine reads them. An import whose file is not there, or was imported before, is left out and
// refused in `findings`. Throws what the request's importer throws.
TemplateText WithImports(const Request& request, Findings& findings);

}  // namespace edit
