// SPDX-License-Identifier: Apache-2.0

#include "template/apache.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <list>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "support/all_strings.h"
#include "support/view_probe.h"
#include "template/config_view.h"

namespace {

using namespace std::string_literals;
using tov_template::Apache;
using tov_template::BaseConfig;
using tov_template::ConfigView;
using tov_template::kSectionSeparator;
using tov_template::LineIterator;

static_assert(std::is_base_of_v<BaseConfig, Apache>);
static_assert(!std::is_copy_constructible_v<Apache>);
static_assert(Apache::kMaxPiece == 4096);

class ApacheProbe : public Apache {
 public:
  using Apache::Apache;
  using Apache::m_const_params;
  using Apache::m_lines;
};

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// The words of `line`, byte by byte.
std::vector<std::string> Words(const std::string& line) {
  std::vector<std::string> words;
  bool in_word = false;
  for (const char c : line) {
    if (!IsBlank(c)) {
      if (!in_word) words.emplace_back();
      words.back() += c;
    }
    in_word = !IsBlank(c);
  }
  return words;
}

// Reading and writing back

TEST(Apache, TextIsCutIntoItsNonEmptyLines) {
  struct Case {
    const char* name;
    const char* text;
    std::list<std::string> lines;
    const char* written;
  };
  const Case cases[] = {
      {"empty", "", {}, ""},
      {"a blank line vanishes", "a\n\nb", {"a", "b"}, "a\nb"},
      {"the last line end vanishes", "a\nb\n", {"a", "b"}, "a\nb"},
      {"line ends only", "\n\n", {}, ""},
      {"a line of blanks stays", "a\n \t\nb", {"a", " \t", "b"}, "a\n \t\nb"},
      {"carriage returns stay", "a\r\n\r\nb\r\n", {"a\r", "\r", "b\r"}, "a\r\n\r\nb\r"},
      {"a line that goes on in the next is two lines",
       "Require \\\n  all granted",
       {"Require \\", "  all granted"},
       "Require \\\n  all granted"},
      {"a block",
       "<VirtualHost *:80>\n    ServerName a\n</VirtualHost>\n",
       {"<VirtualHost *:80>", "    ServerName a", "</VirtualHost>"},
       "<VirtualHost *:80>\n    ServerName a\n</VirtualHost>"},
      {"nothing is merged before a view reads it",
       "<A>\nOptions a\nOptions b\n</A>",
       {"<A>", "Options a", "Options b", "</A>"},
       "<A>\nOptions a\nOptions b\n</A>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ApacheProbe config(c.text);
    EXPECT_EQ(config.m_lines, c.lines);
    EXPECT_EQ(config.GetList(), &config.m_lines);
    EXPECT_EQ(config.Str(), c.written);
  }
}

TEST(Apache, LinesAreEditedWithoutAddingAnything) {
  ApacheProbe config("<A>\n    Alias /a /b\n</A>");
  const LineIterator alias = std::next(config.m_lines.begin());

  const LineIterator user = config.AppendParam(alias, "User www  # c");
  EXPECT_EQ(*user, "User www  # c");
  EXPECT_EQ(config.Str(), "<A>\nUser www  # c\n    Alias /a /b\n</A>");

  const LineIterator comment = config.AppendParam(config.m_lines.end(), "# end");
  EXPECT_EQ(*comment, "# end");
  EXPECT_EQ(config.Str(), "<A>\nUser www  # c\n    Alias /a /b\n</A>\n# end");

  config.ChangeParam(alias, " Alias /c /d");
  config.ChangeParam(config.m_lines.end(), "lost");
  EXPECT_EQ(config.Str(), "<A>\nUser www  # c\n Alias /c /d\n</A>\n# end");

  EXPECT_TRUE(config.RemoveParam(user) == alias);
  EXPECT_EQ(config.Str(), "<A>\n Alias /c /d\n</A>\n# end");

  EXPECT_TRUE(config.RemoveParam(alias, alias) == alias);
  EXPECT_EQ(config.Str(), "<A>\n Alias /c /d\n</A>\n# end");

  EXPECT_TRUE(config.RemoveParam(alias, comment) == comment);
  EXPECT_EQ(config.Str(), "<A>\n# end");

  EXPECT_TRUE(config.RemoveParam(config.m_lines.begin(), config.m_lines.end()) ==
              config.m_lines.end());
  EXPECT_EQ(config.Str(), "");
}

// Lines

TEST(Apache, CommentsAndTerminators) {
  const Apache config("");
  EXPECT_EQ(config.GetCommentChar(), "#");
  EXPECT_EQ(config.GetTermChar(), "");
}

TEST(Apache, BlocksOpenAndClose) {
  struct Case {
    std::string line;
    bool opens;
    bool closes;
  };
  const Case cases[] = {
      {"<VirtualHost *:80>", true, false},
      {"  <VirtualHost *:443>", true, false},
      {"<Directory /var/www>", true, false},
      {"<IfModule mod_ssl.c>", true, false},
      {"\t<Location \"/a b\">  ", true, false},
      {"<Location />\r", true, false},
      {"<FilesMatch \"^</\">", true, false},
      {"<", true, false},
      {"< /VirtualHost>", true, false},
      {"<VirtualHost", true, false},
      {"<?xml", true, false},
      {"</VirtualHost>", false, true},
      {"  </Directory>", false, true},
      {"\v\f</IfModule>\r", false, true},
      {"</", false, true},
      {"</>", false, true},
      {"</VirtualHost> ServerName a", false, true},
      {"#<VirtualHost *:80>", false, false},
      {"# </VirtualHost>", false, false},
      {"SetEnvIf Request_URI < x", false, false},
      {"ErrorDocument 404 </missing>", false, false},
      {"VirtualHost>", false, false},
      {"server {", false, false},
      {"}", false, false},
      {"", false, false},
      {"   ", false, false},
      {"\0<A>"s, false, false},
  };
  const Apache config("");
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.line));
    EXPECT_EQ(config.StartsSection(c.line), c.opens);
    EXPECT_EQ(config.EndedSection(c.line), c.closes);
  }
}

TEST(Apache, AllShortLinesAreOpenersClosersOrNeither) {
  const Apache config("");
  for (const std::string& line : AllStrings("a< />#\n", 5)) {
    std::size_t first = 0;
    while (first < line.size() && IsBlank(line[first])) ++first;
    const bool tag = first < line.size() && line[first] == '<';
    const bool slash = tag && first + 1 < line.size() && line[first + 1] == '/';
    ASSERT_EQ(config.StartsSection(line), tag && !slash) << testing::PrintToString(line);
    ASSERT_EQ(config.EndedSection(line), slash) << testing::PrintToString(line);
  }
}

TEST(Apache, DirectivesThatCarryWordsAreUnique) {
  struct Case {
    std::string line;
    bool unique;
  };
  const Case cases[] = {
      {"Options -Indexes", true},
      {"ServerAlias alias1", true},
      {"DirectoryIndex index.php", true},
      {"\t  Options  -Indexes\r", true},
      {"\fServerAlias\va", true},
      {"DirectoryIndex", true},
      {"Options", true},
      {"Options # none", true},
      {"serveralias x", false},
      {"options -Indexes", false},
      {"OPTIONS -Indexes", false},
      {"Directoryindex index.php", false},
      {"ServerAdmin root", false},
      {"ServerName a", false},
      {"ServerAliases a", false},
      {"OptionsX a", false},
      {"Option a", false},
      {"Options;", false},
      {"#Options -Indexes", false},
      {"# ServerAlias a", false},
      {"AllowOverride Options", false},
      {"<Options>", false},
      {"Options\0 a"s, false},
      {"", false},
      {"  ", false},
  };
  const Apache config("");
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.line));
    EXPECT_EQ(config.IsUniqueParam(c.line), c.unique);
  }
}

// Identity of blocks

TEST(Apache, BlocksAreIdentifiedByTheirOpeningLineAlone) {
  const Apache config("");
  std::set<std::string> names{"kept"};
  config.GetIdentParams(names);
  EXPECT_EQ(names, std::set<std::string>{"kept"});
  EXPECT_EQ(config.MakeSectionPath("<VirtualHost *:80>", {}), "<VirtualHost *:80>");
  EXPECT_EQ(config.MakeSectionPath("<A>", {{"b", "b 1"}, {"a", "a 2"}}), "<A> a 2 b 1");
}

// Directives that are found by their name

TEST(Apache, ConstExpressionsAreExactlyThree) {
  const ApacheProbe config("SSLEngine on");
  EXPECT_EQ(config.m_const_params,
            (std::set<std::string>{"SSLProtocol", "SSLCipherSuite", "php_admin_value"}));
}

TEST(Apache, ConstExpressionsHaveAKey) {
  struct Case {
    std::string line;
    bool is_const;
    std::string key;
  };
  const Case cases[] = {
      {"  SSLProtocol all -SSLv3", true, "SSLProtocol"},
      {"SSLProtocol", true, "SSLProtocol"},
      {"SSLCipherSuite\tHIGH:!aNULL\r", true, "SSLCipherSuite"},
      {"php_admin_value memory_limit 128M", true, "php_admin_value memory_limit"},
      {"php_admin_value upload_max_filesize 64M", true, "php_admin_value upload_max_filesize"},
      {"\tphp_admin_value\tmemory_limit\t128M ", true, "php_admin_value memory_limit"},
      {"php_admin_value   memory_limit   128M", true, "php_admin_value memory_limit"},
      {"php_admin_value memory_limit", true, "php_admin_value memory_limit"},
      {"php_admin_value", true, "php_admin_value"},
      {" php_admin_value ", true, "php_admin_value"},
      {"DocumentRoot /var/www", false, "DocumentRoot /var/www"},
      {"  DocumentRoot /var/www \r", false, "  DocumentRoot /var/www \r"},
      {"php_admin_flag engine on", false, "php_admin_flag engine on"},
      {"php_value memory_limit 1", false, "php_value memory_limit 1"},
      {"PHP_ADMIN_VALUE memory_limit 1", false, "PHP_ADMIN_VALUE memory_limit 1"},
      {"sslprotocol all", false, "sslprotocol all"},
      {"SSLProtocols all", false, "SSLProtocols all"},
      {"#SSLProtocol all", false, "#SSLProtocol all"},
      {" # SSLProtocol all", false, " # SSLProtocol all"},
      {"SSLProxyProtocol all", false, "SSLProxyProtocol all"},
      {"", false, ""},
      {"  ", false, "  "},
  };
  const Apache config("");
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.line));
    EXPECT_EQ(config.IsConstExpression(c.line), c.is_const);
    EXPECT_EQ(config.GetKeyFieldConstParam(c.line), c.key);
  }
}

TEST(Apache, KeysOfAllShortSettings) {
  const Apache config("");
  for (const std::string& rest : AllStrings("a \t", 6)) {
    const std::string line = "php_admin_value" + rest;
    const std::vector<std::string> words = Words(line);
    if (words.front() != "php_admin_value") {
      ASSERT_EQ(config.GetKeyFieldConstParam(line), line);
    } else {
      ASSERT_EQ(config.GetKeyFieldConstParam(line),
                words.size() == 1 ? words.front() : words[0] + " " + words[1])
          << testing::PrintToString(line);
    }
  }
}

// Writing lines

TEST(Apache, LinesArePreparedForTheirBlock) {
  const std::string& s = kSectionSeparator;
  struct Case {
    const char* name;
    std::string section;
    std::string text;
    std::string line;
  };
  const Case cases[] = {
      {"two levels", "<A>" + s + "<B>", "  Options -Indexes  ", "\t\tOptions -Indexes"},
      {"one level", "<A>", "Options", "\tOptions"},
      {"no level", "", "  Options -Indexes\r", "Options -Indexes"},
      {"a blank path has no level", " \t ", "\tOptions", "Options"},
      {"an indented path", "  <A>" + s + "  <B>  ", "Options", "\t\tOptions"},
      {"an old indentation is not kept", "<A>", "\t\t\t  Options", "\tOptions"},
      {"blanks within the text stay", "<A>", "Options  a \t b", "\tOptions  a \t b"},
      {"an empty text", "<A>", "", "\t"},
      {"an empty level counts", s + "<A>", "Options", "\t\tOptions"},
      {"a separator at the end opens no level", "<A>" + s, "Options", "\tOptions"},
  };
  const Apache config("");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(config.PrepareLine(c.section, c.text), c.line);
  }
}

// The dialect as the view reads it

TEST(Apache, AnyClosingTagClosesTheInnermostBlock) {
  const ViewProbe view = ViewOf<Apache>("<A>\n<B>\nb\n</Other>\na\n</>\nc");
  EXPECT_EQ(view.Dump(),
            "<A>: <A> | a | </>\n"
            "<A> > <B>: <B> | b | </Other>\n"
            "end <A>: </>\n"
            "end <A> > <B>: </Other>\n");
}

TEST(Apache, BlocksAreNotRekeyedWhenTheyClose) {
  const ViewProbe view = ViewOf<Apache>("<A>\n  <B>\n  ServerName b\n  </B>\n  ServerName a\n</A>");
  EXPECT_EQ(view.Dump(),
            "<A>: <A> | ServerName a | </A>\n"
            "<A> > <B>: <B> | ServerName b | </B>\n"
            "end <A>: </A>\n"
            "end <A> > <B>: </B>\n");
}

TEST(Apache, BlocksOpenedByTheSameLineShareAnEntry) {
  const ViewProbe view = ViewOf<Apache>("<A>\na\n</A>\n<A>\nb\n</A>");
  EXPECT_EQ(view.Dump(), "<A>: <A> | a | </A> | b | </A>\nend <A>: </A>\n");
}

TEST(Apache, CommentsAreCutOffAtTheLastMarker) {
  const ConfigView::Line parts =
      ConfigView::SeparateParam("A # b # c", Apache("").GetCommentChar());
  EXPECT_EQ(parts.m_text, "A # b ");
  EXPECT_EQ(parts.m_comment, " c");
  // A comment behind an opening line is no part of the block's path; a tag in a comment is no tag.
  const ViewProbe view = ViewOf<Apache>("<A> # one\na\n# </A>\n# <B>\n</A>");
  EXPECT_EQ(view.Dump(), "<A>: <A> # one | a | # </A> | # <B> | </A>\nend <A>: </A>\n");
}

}  // namespace
