// SPDX-License-Identifier: Apache-2.0

// A configuration's text as lines, and the same text written again with some of them edited.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// The lines of a text. Refers to the text, which must live as long.
class SourceText {
 public:
  // A line that is not blank.
  struct Line {
    std::string_view text;    // without its end
    std::string_view end;     // "\n", "\r\n", or "" at the end of the text
    std::size_t number = 0;   // in the text, from 1
    std::string_view blanks;  // the blank lines before it
  };

  explicit SourceText(std::string_view text);

  const std::vector<Line>& lines() const { return m_lines; }

  // What a new line ends with: "\r\n" where the text's first line does, else "\n".
  std::string_view NewEnd() const { return m_new_end; }

  // The blank lines behind the last line.
  std::string_view TrailingBlanks() const { return m_trailing_blanks; }

  // Whether the text does not end in the middle of a line. An empty text does not.
  bool EndsWithLineEnd() const { return m_ends_with_line_end; }

 private:
  std::vector<Line> m_lines;
  std::string_view m_new_end = "\n";
  std::string_view m_trailing_blanks;
  bool m_ends_with_line_end = true;
};

// A line of the edited text, which it only refers to.
struct EditedLine {
  std::string_view text;                // the whole line, but for its end
  std::optional<std::size_t> original;  // its position among the lines of the source; none: new
};

// The edited text. Its lines are `lines`, of which those that have an original are in the order of
// the source. Blank lines stay before the line that they preceded; those between two lines that
// both are gone, go with them. Line ends and the end of the text are as they were.
std::string Written(const SourceText& source, const std::vector<EditedLine>& lines);

// Lines of a text that others stand for in the edited text.
struct TextEdit {
  std::size_t line = 1;            // the number of the first one, from 1
  std::size_t count = 0;           // how many; 0: the others come before that one
  std::string text;                // the others, with their line ends
  std::vector<std::size_t> lines;  // their positions among the edited lines
};

// What makes Written's text of the source: from the last to the first, put `text` in the place of
// `count` lines from number `line` on. They are in the order of the source and do not touch.
std::vector<TextEdit> EditsOf(const SourceText& source, const std::vector<EditedLine>& lines);

// The indentation of each line of `lines`, whose new ones get that of their neighbours in the
// block, or where there are none, one step more than the block's opening line. `depth_change` says
// of a line what it does: 1 opens a block, -1 closes one, 0 neither.
std::vector<std::string> Indentations(const std::vector<EditedLine>& lines,
                                      const std::function<int(std::string_view)>& depth_change);

}  // namespace cli
