// SPDX-License-Identifier: Apache-2.0

#include "cli/syntax.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace cli {
namespace {

struct Case {
  Syntax syntax;
  std::string line;
  std::string expected;
};

TEST(TrailingComment, IsWhatTheServerTakesForOne) {
  const Case cases[] = {
      {Syntax::kNginx, "root /a; # b", " # b"},
      {Syntax::kNginx, "root /a;#b", "#b"},
      {Syntax::kNginx, "  # all of it", ""},
      {Syntax::kNginx, "return 301 /x#y;", ""},
      {Syntax::kNginx, "add_header X \"#fff\";", ""},
      {Syntax::kNginx, "add_header X '#'; \t# c", " \t# c"},
      {Syntax::kNginx, "add_header X \"\\\" # \";", ""},
      {Syntax::kNginx, "} # end", " # end"},
      {Syntax::kApache, "ServerName a # b", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(TrailingComment(c.syntax, c.line), c.expected);
  }
}

TEST(NormalForm, LeavesOutWhatMeansNothing) {
  const Case cases[] = {
      {Syntax::kNginx, "\troot   /srv ;  # note", "root /srv;"},
      {Syntax::kNginx, "server{", "server {"},
      {Syntax::kNginx, "server\t {", "server {"},
      {Syntax::kNginx, "return 200 \"a  b\" ;", "return 200 \"a  b\";"},
      {Syntax::kNginx, "set $a ${b}  c;", "set $a ${b} c;"},
      {Syntax::kNginx, " # note", ""},
      {Syntax::kNginx, "", ""},
      {Syntax::kApache, "  ServerAlias  a \t b ", "ServerAlias a b"},
      {Syntax::kApache, "Header set X \"a  b\"", "Header set X \"a  b\""},
      {Syntax::kApache, "ServerName a # b", "ServerName a # b"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    const std::string normal = NormalForm(c.syntax, c.line);
    EXPECT_EQ(normal, c.expected);
    EXPECT_EQ(NormalForm(c.syntax, normal), normal) << "its own normal form";
  }
}

TEST(WithBlanksOf, KeepsTheColumnsOfALine) {
  struct {
    Syntax syntax;
    const char* line;
    const char* model;
    const char* expected;
  } const cases[] = {
      {Syntax::kNginx, "root /b;", "root", "root /b;"},
      {Syntax::kNginx, "root /b;", "", "root /b;"},
      {Syntax::kNginx, " root /b; ", "\troot\t\t/a ;", "root\t\t/b ;"},
      {Syntax::kNginx, "server_name b;", "server_name   a  www.a;", "server_name   b;"},
      {Syntax::kNginx, "server_name b c d;", "server_name   a;", "server_name   b c d;"},
      {Syntax::kNginx, "server_name b c;", "server_name   a ;", "server_name   b c ;"},
      {Syntax::kNginx, "location /b {", "location   /a{", "location   /b{"},
      {Syntax::kNginx, "server_name ;", "server_name a;", "server_name ;"},
      {Syntax::kNginx, "location $ {", "location /a{", "location $ {"},
      {Syntax::kNginx, "return 200 \"a  b\";", "return   200 \"a b\";", "return   200 \"a  b\";"},
      {Syntax::kNginx, "return 200 a b;", "return 200 \"a   b\";", "return 200 a b;"},
      {Syntax::kNginx, "set $a ${b};", "set  $a   c;", "set  $a   ${b};"},
      {Syntax::kApache, "ServerName b", " ServerName \ta ", "ServerName \tb"},
      {Syntax::kApache, "Header set X \"a  b\"", "Header  set  X  c", "Header  set  X  \"a  b\""},
      {Syntax::kApache, "<Directory /b>", "<Directory  /a >", "<Directory  /b>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.line) + " like " + c.model);
    EXPECT_EQ(WithBlanksOf(c.syntax, c.line, c.model), c.expected);
  }
}

TEST(Shape, IsWhatALineDoesToOthers) {
  const Case cases[] = {
      {Syntax::kNginx, "root /a;", ";"},
      {Syntax::kNginx, "root /a; index b;", ";;"},
      {Syntax::kNginx, "location / { return 404; }", "{;}"},
      {Syntax::kNginx, "return 200 \"a; { }\"; # ; {", ";#"},
      {Syntax::kNginx, "set $a ${b};", ";"},
      {Syntax::kNginx, "return 200 \"open", "\""},
      {Syntax::kNginx, "rewrite a\\;b c;", ";"},
      {Syntax::kApache, "<Directory />", "<"},
      {Syntax::kApache, " </Directory>", "</"},
      {Syntax::kApache, "# <x>", "#"},
      {Syntax::kApache, "RewriteRule a \\", "\\"},
      {Syntax::kApache, "ServerName <a>", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(Shape(c.syntax, c.line), c.expected);
  }
}

TEST(FirstUnbalanced, IsWhereBlocksDoNotFit) {
  struct Text {
    const char* name;
    Syntax syntax;
    std::vector<std::string_view> lines;
    std::optional<std::size_t> expected;
  };
  const Text cases[] = {
      {"they fit", Syntax::kNginx, {"a {", "b { c; }", "}"}, {}},
      {"one closes too often", Syntax::kNginx, {"a {", "}", "}", "b {"}, 2},
      {"one never closes", Syntax::kNginx, {"a {", "}", "b {", "c;"}, 2},
      {"a quoted brace over two lines", Syntax::kNginx, {"a \"x {", "y }\";"}, {}},
      {"a comment ends with its line", Syntax::kNginx, {"a { # {", "}"}, {}},
      {"tags fit in any case", Syntax::kApache, {"<Directory />", "</directory>"}, {}},
      {"another tag closes", Syntax::kApache, {"<Directory />", "</Location>"}, 1},
      {"a tag never closes", Syntax::kApache, {"<A>", "<B>", "</B>"}, 0},
  };
  for (const Text& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(FirstUnbalanced(c.syntax, c.lines), c.expected);
  }
}

}  // namespace
}  // namespace cli
