// SPDX-License-Identifier: Apache-2.0

// How a configuration is shown to the library, so that it recognises the lines of a template.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cli/source_text.h"
#include "cli/syntax.h"
#include "cli/template_run.h"

namespace cli {

struct ShownLines {
  // A line that is shown otherwise than it stands in the file.
  struct Other {
    std::string text;
    std::string_view comment;  // that is not shown, with the blanks before it
  };

  std::map<std::size_t, Other> others;  // by the positions of the lines

  // What is shown of the line at `position`.
  std::string_view Text(const SourceText& source, std::size_t position) const;
};

// A line that differs from one of the template of `run` in blanks or a trailing comment only is
// shown as that line, for the library compares texts; and one that opens a block without a comment
// behind it.
ShownLines ShowLines(Syntax syntax, const SourceText& source, const TemplateRun& run);

}  // namespace cli
