// SPDX-License-Identifier: Apache-2.0

#include "template/nginx.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/all_strings.h"
#include "template/config_view.h"

namespace {

using namespace std::string_literals;
using tov_template::BaseConfig;
using tov_template::ConfigView;
using tov_template::LineIterator;
using tov_template::Nginx;

class NginxProbe : public Nginx {
 public:
  using Nginx::m_const_params;
  using Nginx::m_lines;
  using Nginx::m_listen;
  using Nginx::Nginx;
};

// The first and the last byte of `line` that is no blank, 0 without one.
struct Ends {
  char first = 0;
  char last = 0;
};

Ends EndsOf(const std::string& line) {
  Ends ends;
  for (const char c : line) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f') continue;
    if (ends.first == 0) ends.first = c;
    ends.last = c;
  }
  return ends;
}

// Reading and writing back

TEST(Nginx, TextIsCutIntoItsNonEmptyLines) {
  struct Case {
    const char* name;
    const char* text;
    std::list<std::string> lines;
    const char* written;
  };
  const Case cases[] = {
      {"empty", "", {}, ""},
      {"blank line and last line end vanish", "a;\n\nb;\n", {"a;", "b;"}, "a;\nb;"},
      {"a line of blanks stays", "a;\n  \nb;", {"a;", "  ", "b;"}, "a;\n  \nb;"},
      {"carriage returns stay", "a;\r\n\r\n", {"a;\r", "\r"}, "a;\r\n\r"},
      {"a block",
       "server {\n    listen 80;\n}\n",
       {"server {", "    listen 80;", "}"},
       "server {\n    listen 80;\n}"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    NginxProbe config(c.text);
    EXPECT_EQ(config.m_lines, c.lines);
    EXPECT_EQ(config.GetList(), &config.m_lines);
    EXPECT_EQ(config.Str(), c.written);
    EXPECT_TRUE(config.m_listen.empty()) << "registered by the view only";
  }
}

TEST(Nginx, LinesAreEditedWithoutAddingAnything) {
  NginxProbe config("server {\n    root /srv;\n}");
  const LineIterator root = std::next(config.m_lines.begin());

  const LineIterator gzip = config.AppendParam(root, "gzip on");
  EXPECT_EQ(*gzip, "gzip on");
  EXPECT_EQ(config.Str(), "server {\ngzip on\n    root /srv;\n}");

  config.AppendParam(config.m_lines.end(), "# end");
  EXPECT_EQ(config.Str(), "server {\ngzip on\n    root /srv;\n}\n# end");

  config.ChangeParam(root, "root /data");
  config.ChangeParam(config.m_lines.end(), "lost");
  EXPECT_EQ(config.Str(), "server {\ngzip on\nroot /data\n}\n# end");

  EXPECT_TRUE(config.RemoveParam(gzip) == root);
  EXPECT_EQ(config.Str(), "server {\nroot /data\n}\n# end");

  EXPECT_TRUE(config.RemoveParam(root, root) == root);
  EXPECT_EQ(config.Str(), "server {\nroot /data\n}\n# end");

  const LineIterator last = std::prev(config.m_lines.end());
  EXPECT_TRUE(config.RemoveParam(root, last) == last);
  EXPECT_EQ(config.Str(), "server {\n# end");
  EXPECT_TRUE(config.RemoveParam(config.m_lines.begin(), config.m_lines.end()) ==
              config.m_lines.end());
  EXPECT_EQ(config.Str(), "");
}

// Lines

TEST(Nginx, CommentsAndTerminators) {
  const Nginx config("");
  EXPECT_EQ(config.GetCommentChar(), "#");
  EXPECT_EQ(config.GetTermChar(), ";");
}

TEST(Nginx, BlocksOpenAndClose) {
  struct Case {
    std::string line;
    bool opens;
    bool closes;
  };
  const Case cases[] = {
      {"server {", true, false},
      {"  server {  ", true, false},
      {"events {\r", true, false},
      {"location ~ \\.php$ {", true, false},
      {"server{", true, false},
      {"{", true, false},
      {"if ($a = \"}\") {", true, false},
      {"server { # main", false, false},
      {"server {#", false, false},
      {"# server {", false, false},
      {"location /#a {", false, false},
      {"location / { return 404; }", false, false},
      {"server", false, false},
      {"server { ;", false, false},
      {"}", false, true},
      {" \t}", false, true},
      {"}}", false, true},
      {"} # end", false, true},
      {"}\r", false, true},
      {"} else {", true, true},
      {"};", false, true},
      {"return 404; }", false, false},
      {"# }", false, false},
      {"", false, false},
      {"   ", false, false},
  };
  const Nginx config("");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(config.StartsSection(c.line), c.opens);
    EXPECT_EQ(config.EndedSection(c.line), c.closes);
  }
}

TEST(Nginx, LinesThatBeginWithListenAreUnique) {
  struct Case {
    const char* line;
    bool unique;
  };
  const Case cases[] = {
      {"listen 80;", true},
      {"  listen [::]:443 ssl;", true},
      {"\tlisten 80;\r", true},
      {"listen", true},
      {"listener x;", true},
      {"listening;", true},
      {"listen;", true},
      {"listen{", true},
      {"# listen 80;", false},
      {"#listen 80;", false},
      {"Listen 80;", false},
      {"liste n", false},
      {"x listen 80;", false},
      {"xlisten 80;", false},
      {"", false},
      {"    ", false},
  };
  const Nginx config("");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(config.IsUniqueParam(c.line), c.unique);
  }
}

TEST(Nginx, AllShortLinesAreToldApartByTheirEnds) {
  const Nginx config("");
  for (const std::string& line : AllStrings(" a{};#\n\t", 4)) {
    SCOPED_TRACE(testing::PrintToString(line));
    const Ends ends = EndsOf(line);
    const bool hash = line.find('#') != std::string::npos;
    ASSERT_EQ(config.StartsSection(line), ends.last == '{' && !hash);
    ASSERT_EQ(config.EndedSection(line), ends.first == '}');
    ASSERT_FALSE(config.IsUniqueParam(line));
    ASSERT_FALSE(config.IsConstExpression(line));
    ASSERT_EQ(config.GetKeyFieldConstParam(line), line);
  }
}

TEST(Nginx, AllShortSurroundingsOfListen) {
  const Nginx config("");
  const std::vector<std::string> texts = AllStrings(" a{};#\n\t", 2);
  for (const std::string& before : texts) {
    for (const std::string& after : texts) {
      const std::string line = before + "listen" + after;
      SCOPED_TRACE(testing::PrintToString(line));
      ASSERT_EQ(config.IsUniqueParam(line), EndsOf(before).first == 0);
      ASSERT_FALSE(config.IsUniqueParam(before + "liste" + after));
    }
  }
}

TEST(Nginx, AllShortLinesAreCutAtTheLastComment) {
  const std::string marker = Nginx("").GetCommentChar();
  for (const std::string& line : AllStrings(" a{};#\n\t", 4)) {
    SCOPED_TRACE(testing::PrintToString(line));
    std::string text;
    std::string comment;
    bool found = false;
    for (auto c = line.rbegin(); c != line.rend(); ++c) {
      if (*c == '#' && !found) {
        found = true;
      } else {
        std::string& part = found ? text : comment;
        part.insert(part.begin(), *c);
      }
    }
    if (!found) text.swap(comment);
    const ConfigView::Line parts = ConfigView::SeparateParam(line, marker);
    ASSERT_EQ(parts.m_text, text);
    ASSERT_EQ(parts.m_comment, comment);
  }
}

// Identity of a block

TEST(Nginx, IdentifyingDirectivesAreAddedToThoseThere) {
  const Nginx config("");
  std::set<std::string> names{"kept"};
  config.GetIdentParams(names);
  EXPECT_EQ(names,
            (std::set<std::string>{"kept", "server_name", "ssl", "ssl_prefer_server_ciphers"}));
}

TEST(Nginx, APathIsTheBlockItsFirstNameAndWhetherThereIsSsl) {
  struct Case {
    const char* name;
    const char* block;
    std::map<std::string, std::string> idents;
    const char* path;
  };
  const Case cases[] = {
      {"none", "server {", {}, "server {"},
      {"a location", "location / {", {}, "location / {"},
      {"first name and ssl",
       "server {",
       {{"server_name", "server_name primary secondary;"}, {"ssl", "ssl on;"}},
       "server { server_name primary ssl on"},
      {"first name",
       "server {",
       {{"server_name", "server_name primary secondary;"}},
       "server { server_name primary"},
      {"ssl off counts", "server {", {{"ssl", "ssl off;"}}, "server { ssl on"},
      {"ssl without a value", "server {", {{"ssl", ""}}, "server { ssl on"},
      {"ciphers",
       "server {",
       {{"ssl_prefer_server_ciphers", "ssl_prefer_server_ciphers on;"}},
       "server { ssl on"},
      {"ssl and ciphers count once",
       "server {",
       {{"ssl", "ssl on;"}, {"ssl_prefer_server_ciphers", "ssl_prefer_server_ciphers on;"}},
       "server { ssl on"},
      {"ciphers and a name",
       "server {",
       {{"server_name", "server_name a;"}, {"ssl_prefer_server_ciphers", "x"}},
       "server { server_name a ssl on"},
      {"listen plays no part",
       "server {",
       {{"listen", "listen 80;"}, {"server_name", "server_name a;"}},
       "server { server_name a"},
      {"an unevaluated statement",
       "server {",
       {{"server_name", "server_name {% if x %}a{% endif %};"}},
       "server {"},
      {"an unevaluated statement behind the first name, with ssl",
       "server {",
       {{"server_name", "server_name a {%b;"}, {"ssl", "ssl on;"}},
       "server { ssl on"},
      {"a statement that appears as ; goes",
       "server {",
       {{"server_name", "server_name a {;%;"}},
       "server {"},
      {"a value place is a name",
       "server {",
       {{"server_name", "server_name {$name};"}},
       "server { server_name {$name}"},
      {"more blanks between the words",
       "server {",
       {{"server_name", " server_name \t  a  b ; "}},
       "server { server_name a"},
      {"every terminator goes",
       "server {",
       {{"server_name", "server_name ;a;b; c;;"}},
       "server { server_name ab"},
      {"no name", "server {", {{"server_name", "server_name;"}}, "server { server_name"},
      {"no name but a blank",
       "server {",
       {{"server_name", "server_name ;"}},
       "server { server_name"},
      {"an empty line", "server {", {{"server_name", ""}}, "server {"},
      {"a terminator alone", "server {", {{"server_name", ";"}}, "server {"},
      {"an empty block name",
       "",
       {{"server_name", "server_name a;"}, {"ssl", "ssl on;"}},
       "server_name a ssl on"},
  };
  const Nginx config("");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(config.MakeSectionPath(c.block, c.idents), c.path);
  }
}

// Const expressions

TEST(Nginx, DirectivesFoundByTheirNameAlone) {
  struct Case {
    std::string line;
    bool is_const;
    std::string key;
  };
  const Case cases[] = {
      {"ssl_protocols TLSv1.2 TLSv1.3;", true, "ssl_protocols"},
      {"  ssl_ciphers HIGH:!aNULL;", true, "ssl_ciphers"},
      {"\tssl_ciphers\tHIGH;\r", true, "ssl_ciphers"},
      {"ssl_protocols", true, "ssl_protocols"},
      {"ssl_protocols ;", true, "ssl_protocols"},
      {"ssl_protocols;", false, "ssl_protocols;"},
      {"  gzip on;", false, "  gzip on;"},
      {"SSL_protocols TLSv1.2;", false, "SSL_protocols TLSv1.2;"},
      {"ssl_protocol TLSv1.2;", false, "ssl_protocol TLSv1.2;"},
      {"ssl_ciphers_x a;", false, "ssl_ciphers_x a;"},
      {"# ssl_ciphers a;", false, "# ssl_ciphers a;"},
      {"ssl_prefer_server_ciphers on;", false, "ssl_prefer_server_ciphers on;"},
      {"", false, ""},
      {"  ", false, "  "},
  };
  const Nginx config("ssl_other x;");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(config.IsConstExpression(c.line), c.is_const);
    EXPECT_EQ(config.GetKeyFieldConstParam(c.line), c.key);
  }
}

TEST(Nginx, ThereAreExactlyTwoOfThem) {
  EXPECT_EQ(NginxProbe("ssl_session_cache x;").m_const_params,
            (std::set<std::string>{"ssl_ciphers", "ssl_protocols"}));
}

// Lines cut off by the caller's own comment rules or not: a NUL byte is a byte like any other.
TEST(Nginx, NulBytesAreText) {
  const Nginx config("a\0b;\nserver\0{\n"s);
  EXPECT_EQ(config.Str(), "a\0b;\nserver\0{"s);
  EXPECT_TRUE(config.StartsSection("server\0{"s));
  EXPECT_FALSE(config.StartsSection("server {\0"s));
  EXPECT_FALSE(config.EndedSection("\0}"s));
  EXPECT_FALSE(config.IsUniqueParam("\0listen"s));
  EXPECT_TRUE(config.IsUniqueParam("listen\0"s));
  EXPECT_FALSE(config.IsConstExpression("ssl_ciphers\0 x"s));
}

}  // namespace
