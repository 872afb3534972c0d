// SPDX-License-Identifier: Apache-2.0

#include "cli/source_text.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace cli {
namespace {

// What a text is made of, as "NUMBER:BLANKS|TEXT|END" for each line and the blanks at the end.
std::string Shown(const std::string& text) {
  const auto escaped = [](std::string_view part) {
    std::string result;
    for (const char c : part) {
      result += c == '\n' ? "\\n" : c == '\r' ? "\\r" : c == '\t' ? "\\t" : std::string(1, c);
    }
    return result;
  };
  const SourceText source(text);
  std::string shown;
  for (const SourceText::Line& line : source.lines()) {
    shown += std::to_string(line.number) + ":" + escaped(line.blanks) + "|" + escaped(line.text) +
             "|" + escaped(line.end) + " ";
  }
  return shown + escaped(source.TrailingBlanks());
}

TEST(SourceText, TellsLinesFromBlanks) {
  struct Case {
    const char* name;
    std::string text;
    std::string expected;
  };
  const Case cases[] = {
      {"nothing", "", ""},
      {"a line", "a\n", "1:|a|\\n "},
      {"a line without an end", "a", "1:|a| "},
      {"blank lines before, between and behind", "\n \na\n\t\nb\n\n",
       "3:\\n \\n|a|\\n 5:\\t\\n|b|\\n \\n"},
      {"both kinds of ends", "a\r\n\r\nb\n", "1:|a|\\r\\n 3:\\r\\n|b|\\n "},
      {"blanks only", " \n\t", " \\n\\t"},
      {"a carriage return without a newline", "a\r", "1:|a\\r| "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Shown(c.text), c.expected);
  }
}

TEST(SourceText, KnowsHowNewLinesEnd) {
  EXPECT_EQ(SourceText("a\nb\r\n").NewEnd(), "\n");
  EXPECT_EQ(SourceText("\r\nb\n").NewEnd(), "\r\n");
  EXPECT_EQ(SourceText("a").NewEnd(), "\n");
}

// A line of the result: an original by its position, or a new text.
struct Part {
  std::optional<std::size_t> original;
  std::string text;
};

std::string Rewritten(const std::string& text, const std::vector<Part>& parts) {
  const SourceText source(text);
  std::vector<EditedLine> lines;
  for (const Part& part : parts) {
    const bool kept = part.original && part.text.empty();
    lines.push_back({kept ? source.lines()[*part.original].text : part.text, part.original});
  }
  return Written(source, lines);
}

TEST(Written, KeepsBlanksAndEnds) {
  struct Case {
    const char* name;
    std::string text;
    std::vector<Part> parts;
    std::string expected;
  };
  const Case cases[] = {
      {"all lines stay", "\na\r\n\n b\n\t\n", {{0, ""}, {1, ""}}, "\na\r\n\n b\n\t\n"},
      {"a changed line keeps its end", "a\r\nb\n", {{0, "x"}, {1, ""}}, "x\r\nb\n"},
      {"a new line at the end", "a\n", {{0, ""}, {{}, "n"}}, "a\nn\n"},
      {"... of a text without a line end", "a", {{0, ""}, {{}, "n"}}, "a\nn"},
      {"... of a CRLF text without one", "a\r\nb", {{0, ""}, {1, ""}, {{}, "n"}}, "a\r\nb\r\nn"},
      {"a new line goes before the blanks of the next one",
       "a\n\nb\n",
       {{0, ""}, {{}, "n"}, {1, ""}},
       "a\nn\n\nb\n"},
      {"blanks stay when one neighbour goes", "a\n\nb\n\nc\n", {{0, ""}, {2, ""}}, "a\n\n\nc\n"},
      {"blanks between two that go go with them", "a\nb\n\nc\nd\n", {{0, ""}, {3, ""}}, "a\nd\n"},
      {"all lines go", "a\n\nb\n", {}, ""},
      {"nothing but a new line", "", {{{}, "n"}}, "n\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Rewritten(c.text, c.parts), c.expected);
  }
}

TEST(Indentations, FollowTheNeighboursInTheBlock) {
  struct Case {
    const char* name;
    std::vector<std::string> lines;  // new ones begin with "+"
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {"beside old lines", {"a {", "  b", "+c", "}"}, {"", "  ", "  ", ""}},
      {"in a block without any", {"a {", "+c", "}"}, {"", "\t", ""}},
      {"... where other blocks show the step",
       {"a {", "   b", "}", "  d {", "+c", "  }"},
       {"", "   ", "", "  ", "     ", "  "}},
      {"a new block", {"a {", "  b", "+d {", "+e", "+}", "}"}, {"", "  ", "  ", "    ", "  ", ""}},
      {"outside every block", {"+a {", "+b", "+}"}, {"", "\t", ""}},
  };
  const auto depth_change = [](std::string_view line) {
    return line.back() == '{' ? 1 : line.back() == '}' ? -1 : 0;
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<EditedLine> lines;
    for (std::size_t i = 0; i < c.lines.size(); ++i) {
      const std::string_view line = c.lines[i];
      const bool is_new = line.front() == '+';
      lines.push_back(
          {is_new ? line.substr(1) : line, is_new ? std::nullopt : std::optional<std::size_t>(i)});
    }
    EXPECT_EQ(Indentations(lines, depth_change), c.expected);
  }
}

}  // namespace
}  // namespace cli
