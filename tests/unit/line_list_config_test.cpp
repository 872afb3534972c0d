// SPDX-License-Identifier: Apache-2.0

#include "template/line_list_config.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "template/section_path.h"

namespace {

using namespace std::string_literals;
using tov_template::kSectionSeparator;
using tov_template::LineIterator;
using tov_template::LineListConfig;

using Lines = std::list<std::string>;

// Tells which lines it was asked to forget.
class ListProbe : public LineListConfig {
 public:
  explicit ListProbe(const std::string& text, const std::set<std::string>& const_params = {})
      : LineListConfig(text, const_params) {}

  using LineListConfig::Indented;
  using LineListConfig::m_lines;

  bool StartsSection(const std::string&) const override { return false; }
  bool EndedSection(const std::string&) const override { return false; }
  std::string GetCommentChar() const override { return "#"; }
  std::string GetKeyFieldConstParam(const std::string& line) const override { return line; }

  bool IsUniqueParam(const std::string& line) const override { return line == "unique;"; }

  LineIterator Line(std::ptrdiff_t i) { return std::next(m_lines.begin(), i); }

  std::vector<std::string> m_forgotten;
  std::vector<std::string> m_changed;

 protected:
  void ForgetLine(const LineIterator& line) override { m_forgotten.push_back(*line); }
  void LineChanged(const LineIterator& line) override {
    LineListConfig::LineChanged(line);
    m_changed.push_back(*line);
  }
};

using Forgotten = std::vector<std::string>;

TEST(LineListConfig, TextIsCutIntoItsNonEmptyLines) {
  struct Case {
    const char* name;
    std::string text;
    Lines lines;
    std::string written;
  };
  const Case cases[] = {
      {"empty", "", {}, ""},
      {"no line end", "a;", {"a;"}, "a;"},
      {"line end at the end", "a;\n", {"a;"}, "a;"},
      {"blank lines vanish", "a;\n\nb;\n", {"a;", "b;"}, "a;\nb;"},
      {"line ends only", "\n\n\n", {}, ""},
      {"line ends in front", "\n\na;", {"a;"}, "a;"},
      {"a line of blanks stays", "a;\n \t\nb;", {"a;", " \t", "b;"}, "a;\n \t\nb;"},
      {"carriage returns stay", "a;\r\n\r\nb;\r", {"a;\r", "\r", "b;\r"}, "a;\r\n\r\nb;\r"},
      {"indentation stays", "  a;  \n\tb;", {"  a;  ", "\tb;"}, "  a;  \n\tb;"},
      {"other line breaks do not count", "a\fb\vc", {"a\fb\vc"}, "a\fb\vc"},
      {"NUL bytes are text", "a\0b\n\0"s, {"a\0b"s, "\0"s}, "a\0b\n\0"s},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ListProbe config(c.text);
    EXPECT_EQ(*config.GetList(), c.lines);
    EXPECT_EQ(config.Str(), c.written);
    EXPECT_EQ(ListProbe(config.Str()).m_lines, c.lines) << "written text reads the same";
  }
}

TEST(LineListConfig, TheListIsTheSameForLife) {
  ListProbe config("a;\nb;");
  Lines* const list = config.GetList();
  config.AppendParam(list->end(), "c;");
  config.RemoveParam(list->begin());
  EXPECT_EQ(config.GetList(), list);
  EXPECT_EQ(list, &config.m_lines);
}

TEST(LineListConfig, AppendParamInsertsBeforeThePosition) {
  struct Case {
    const char* name;
    const char* before;
    std::ptrdiff_t pos;
    std::string text;
    std::string after;
  };
  const Case cases[] = {
      {"in front", "a;\nb;", 0, "x;", "x;\na;\nb;"},
      {"between", "a;\nb;", 1, "x;", "a;\nx;\nb;"},
      {"the end appends", "a;\nb;", 2, "x;", "a;\nb;\nx;"},
      {"into nothing", "", 0, "x;", "x;"},
      {"the text as it is", "a;", 1, "  x # c \r", "a;\n  x # c \r"},
      {"an empty text is a line but leaves no trace", "a;\nb;", 1, "", "a;\nb;"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ListProbe config(c.before);
    const std::size_t count = config.m_lines.size();
    const LineIterator line = config.AppendParam(config.Line(c.pos), c.text);
    EXPECT_EQ(*line, c.text);
    EXPECT_TRUE(line == config.Line(c.pos));
    EXPECT_EQ(config.m_lines.size(), count + 1);
    EXPECT_EQ(config.Str(), c.after);
  }
}

TEST(LineListConfig, RemoveParamErasesOneLineAndReturnsTheNext) {
  ListProbe config("a;\nb;\nc;");
  LineIterator next = config.RemoveParam(config.Line(1));
  EXPECT_EQ(*next, "c;");
  EXPECT_EQ(config.Str(), "a;\nc;");
  next = config.RemoveParam(next);
  EXPECT_TRUE(next == config.m_lines.end());
  next = config.RemoveParam(config.Line(0));
  EXPECT_TRUE(next == config.m_lines.end());
  EXPECT_EQ(config.Str(), "");
  EXPECT_EQ(config.m_forgotten, (Forgotten{"b;", "c;", "a;"}));
}

TEST(LineListConfig, RemoveParamErasesARangeAndReturnsItsEnd) {
  struct Case {
    const char* name;
    std::ptrdiff_t first;
    std::ptrdiff_t last;
    std::string after;
    Forgotten forgotten;
  };
  const Case cases[] = {
      {"nothing", 1, 1, "a;\nb;\nc;", {}},          {"nothing at the end", 3, 3, "a;\nb;\nc;", {}},
      {"one line", 1, 2, "a;\nc;", {"b;"}},         {"to the end", 1, 3, "a;", {"b;", "c;"}},
      {"everything", 0, 3, "", {"a;", "b;", "c;"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ListProbe config("a;\nb;\nc;");
    const LineIterator last = config.Line(c.last);
    EXPECT_TRUE(config.RemoveParam(config.Line(c.first), last) == last);
    EXPECT_EQ(config.Str(), c.after);
    EXPECT_EQ(config.m_forgotten, c.forgotten);
  }
}

TEST(LineListConfig, ChangeParamReplacesTheText) {
  ListProbe config("a;\nb;");
  const LineIterator line = config.Line(1);
  config.ChangeParam(line, "\tx; # c");
  EXPECT_EQ(config.Str(), "a;\n\tx; # c");
  EXPECT_TRUE(line == config.Line(1)) << "in place";
  config.ChangeParam(line, "");
  EXPECT_EQ(config.m_lines, (Lines{"a;", ""}));
  EXPECT_EQ(config.Str(), "a;");
  EXPECT_TRUE(config.m_forgotten.empty());
}

TEST(LineListConfig, ADialectIsToldThatALineHasChanged) {
  ListProbe config("a;\nunique;");
  config.ChangeParam(config.Line(0), "b;");
  config.ChangeParam(config.Line(1), "c;");
  config.ChangeParam(config.Line(0), "unique;");
  EXPECT_EQ(config.m_changed, (std::vector<std::string>{"b;", "c;", "unique;"}));
  EXPECT_EQ(config.Str(), "unique;\nc;");
}

TEST(LineListConfig, ChangeParamOfNoLineDoesNothing) {
  ListProbe config("a;\nb;");
  config.ChangeParam(config.m_lines.end(), "x;");
  EXPECT_EQ(config.Str(), "a;\nb;");
  ListProbe empty("");
  empty.ChangeParam(empty.m_lines.end(), "x;");
  EXPECT_TRUE(empty.m_lines.empty());
}

TEST(LineListConfig, EditsLeaveOtherLinesInPlace) {
  ListProbe config("a;\nb;\nc;\nd;\ne;");
  std::map<std::string, const std::string*> places;
  for (const std::string& line : config.m_lines) places[line] = &line;

  config.AppendParam(config.Line(0), "x;");
  config.RemoveParam(config.Line(2));                  // b;
  config.RemoveParam(config.Line(3), config.Line(4));  // d;
  config.ChangeParam(config.Line(0), "y;");
  ASSERT_EQ(config.Str(), "y;\na;\nc;\ne;");
  for (std::ptrdiff_t i = 1; i < 4; ++i) {
    EXPECT_EQ(&*config.Line(i), places[*config.Line(i)]);
  }
}

TEST(LineListConfig, ConstExpressionsAreFoundByTheirFirstWord) {
  struct Case {
    std::string line;
    bool is_const;
  };
  const Case cases[] = {
      {"php_admin_value open_basedir /srv", true},
      {"  SSLProtocol\tall", true},
      {"SSLProtocol", true},
      {"SSLProtocol;", false},
      {"sslprotocol all", false},
      {"SSLProtocols all", false},
      {"#SSLProtocol all", false},
      {"x SSLProtocol", false},
      {"", false},
      {"   ", false},
  };
  const ListProbe config("", {"SSLProtocol", "php_admin_value"});
  const ListProbe none("");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(config.IsConstExpression(c.line), c.is_const);
    EXPECT_FALSE(none.IsConstExpression(c.line));
  }
}

TEST(LineListConfig, LinesAreIndentedByTheDepthOfTheirBlock) {
  EXPECT_EQ(ListProbe::Indented("", "a;"), "a;");
  EXPECT_EQ(ListProbe::Indented("server {", "a;"), "\ta;");
  EXPECT_EQ(ListProbe::Indented("http {" + kSectionSeparator + "server {", "a;"), "\t\ta;");
  EXPECT_EQ(ListProbe::Indented("server {", " a;"), "\t a;");
  EXPECT_EQ(ListProbe::Indented("server {", ""), "\t");
}

// Were the remaining text moved for every line, this would take minutes.
TEST(LineListConfig, LongTextsAreReadAndWrittenInLinearTime) {
  std::string text;
  for (int i = 0; i < 500000; ++i) text += "a;\n";
  const auto start = std::chrono::steady_clock::now();
  ListProbe config(text);
  EXPECT_EQ(config.m_lines.size(), 500000U);
  EXPECT_TRUE(config.Str() + "\n" == text);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
