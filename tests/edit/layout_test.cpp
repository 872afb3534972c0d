// SPDX-License-Identifier: Apache-2.0

// How changes look in the text: what is not changed keeps its bytes, what is new looks like what
// stands around it.

#include "edit/layout/layout.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

std::string Untaken(const std::string& lines) {
  return "{% if $none %}\n" + lines + "{% endif %}\n";
}

std::string InServer(const std::string& lines) {
  return "server {\nserver_name a;\n" + lines + "}\n";
}

const NamedValues kRoot = {{"r", "/a", "/b"}};
const std::string kRootLine = InServer("root {% $r %};\n");

TEST(BytesThatNothingIsFor, StayAsTheyAre) {
  const auto edited = [](const std::string& name, const std::string& config) {
    return Case{name, config, kRootLine, kRoot, With(config, "/a", "/b")};
  };
  ExpectEdits(
      Dialect::kNginx,
      {edited("blank lines, tabs and comments",
              "# sites\n\nserver {\n\n    server_name a;\n\n    root /a;  # here\n\n\n}\n\n"),
       edited("blanks at the ends of lines",
              "server { \n\tserver_name a; \n\troot /a;\t\n \t\n}\n   \n"),
       edited("blanks between words", "server  {\n\tserver_name\ta ;\n\troot     /a;\n}\n"),
       edited("columns", "server {\n\tserver_name   a;\n\troot          /a ;  # disk 2\n}\n"),
       edited("a comment behind the opening line",
              "server { # main\n\tserver_name a;\n\troot /a;\n}\n"),
       edited("a comment behind the closing line",
              "server {\n\tserver_name a;\n\troot /a;\n} # main\n"),
       edited("a comment between the words",
              "server {\n\tserver_name a;\n\troot # disk\n\t\t/a # or not\n\t;\n}\n"),
       edited("a brace on the next line", "server\n{\n\tserver_name a;\n\troot /a;\n}\n"),
       edited("all on one line", "server{server_name a;root /a;}"),
       edited("a brace in quotes",
              "server {\n\tserver_name a;\n\tset $x \"}{\";\n\troot /a;\n\tset $y '}';\n}\n"),
       edited("no line end at the end", "server {\n\tserver_name a;\n\troot /a;\n}"),
       edited("CRLF", "server {\r\n\tserver_name a;\r\n\r\n\troot /a;\r\n}\r\n"),
       edited("both kinds of line ends", "server {\n\tserver_name a;\r\n\troot /a;\r\n}\n"),
       edited("empty blocks of others",
              "events {\n}\nserver {\nserver_name a;\nlocation /x { }\nroot /a;\n}\n"),
       edited(
           "code in another language",
           "init_by_lua_block {\n  x = \"}\" -- }\n}\nserver {\n\tserver_name a;\n\troot /a;\n}\n"),
       edited("blocks behind others",
              "server {\nserver_name a;\nif ($x) {\n} location /y {\n}\n"
              "root /a;\n}\n")});
  const std::string odd = "server {\n\n server_name a;\n root /b;}\n";
  ExpectEdits(Dialect::kNginx, {{"an empty template", odd, "", {}, odd},
                                {"nothing to do", odd, InServer("root /b;\n"), {}, odd}});
}

// --- Words ---

TEST(AWordThatChanges, KeepsItsQuotesWhereItMay) {
  const auto edited = [](const std::string& name, const std::string& there,
                         const std::string& wanted, const std::string& old_value,
                         const std::string& new_value, const std::string& becomes) {
    return Case{name,
                "server {\n\tserver_name a;\n\tset $x " + there + ";\n}\n",
                InServer("set $x " + wanted + ";\n"),
                {{"v", old_value, new_value}},
                "server {\n\tserver_name a;\n\tset $x " + becomes + ";\n}\n"};
  };
  ExpectEdits(
      Dialect::kNginx,
      {edited("double ones", "\"o\"", "{% $v %}", "o", "n", "\"n\""),
       edited("single ones", "'o'", "{% $v %}", "o", "n", "'n'"),
       edited("none", "o", "\"{% $v %}\"", "o", "n", "n"),
       edited("none, and the new word needs some", "o", "\"{% $v %}\"", "o", "n m", "\"n m\""),
       edited("others than in the template", "'o'", "\"{% $v %}\"", "o", "n m", "'n m'"),
       edited("some that the new word holds", "'o'", "\"{% $v %}\"", "o", "n's", "\"n's\""),
       edited("a word with an escape", "'o'", "\"{% $v %}\"", "o", "n\\\\m", "\"n\\\\m\"")});
}

TEST(AWordThatStays, KeepsItsBytes) {
  const auto edited = [](const std::string& name, const std::string& there,
                         const std::string& becomes, const std::string& old_words,
                         const std::string& new_words) {
    return Case{name,
                InServer("\tindex " + there + ";\n"),
                InServer("index [% $v %];\n"),
                {{"v", old_words, new_words}},
                InServer("\tindex " + becomes + ";\n")};
  };
  ExpectEdits(
      Dialect::kNginx,
      {edited("an escaped quote", "a\\\"b c", "a\\\"b d", "'a\"b' c", "'a\"b' d"),
       edited("an escaped letter, behind", "c \"a\\'b\"", "d \"a\\'b\"", "c \"a'b\"", "d \"a'b\""),
       edited("of words alike the first ones", "a\n\t\ta", "a", "a a", "a"),
       edited("at both ends", "a  c   a", "a  d   a", "a c a", "a d a"),
       edited("around one that goes", "a\n\t\tb\n\t\tc", "a\n\t\tc", "a b c", "a c"),
       edited("around one that comes", "a\n\t\tc", "a b\n\t\tc", "a c", "a b c")});
}

TEST(AnOpeningLineThatChanges, KeepsItsLayout) {
  const auto edited = [](const std::string& name, const std::string& config) {
    return Case{name,
                config,
                InServer("location {% $p %} {\n}\n"),
                {{"p", "/a", "/b"}},
                With(config, "/a", "/b")};
  };
  ExpectEdits(Dialect::kNginx,
              {edited("blanks", "server {\n\tserver_name a;\n\tlocation   /a   {  # x\n\t}\n}\n"),
               edited("a brace on the next line",
                      "server {\n\tserver_name a;\n\tlocation /a # x\n\t{\n\t}\n}\n"),
               edited("quotes", "server {\n\tserver_name a;\n\tlocation \"/a\" {\n\t}\n}\n"),
               edited("one line", "server { server_name a; location /a { return 404; } }\n")});
  const auto host = [](const std::string& name, const std::string& head) {
    const std::string config = head + "\n  ServerName a\n</VirtualHost>\n";
    return Case{name,
                config,
                "<VirtualHost {% $a %}>\nServerName a\n</VirtualHost>\n",
                {{"a", "10.0.0.1:80", "10.0.0.2:80"}},
                With(config, "10.0.0.1", "10.0.0.2")};
  };
  ExpectEdits(Dialect::kApache, {host("a virtual host", "<VirtualHost 10.0.0.1:80>"),
                                 host("blanks", "<virtualhost   10.0.0.1:80  >"),
                                 host("quotes", "<VirtualHost \"10.0.0.1:80\">"),
                                 host("another address", "<VirtualHost *:81 10.0.0.1:80>")});
  const auto named = [](const std::string& name) {
    return "<VirtualHost *:80>\n  ServerName a\n  <" + name + " /a>\n    Options None\n  </" +
           name + ">\n</VirtualHost>\n";
  };
  ExpectEdits(Dialect::kApache,
              {{"its name, at both ends",
                named("Directory"),
                "<VirtualHost *:80>\nServerName a\n<{% $n %} /a>\n</{% $n %}>\n</VirtualHost>\n",
                {{"n", "Directory", "Location"}},
                named("Location")}});
}

// --- New lines ---

TEST(NewLines, AreIndentedLikeTheirNeighbours) {
  const std::string text = InServer("gzip on;\nlocation /x {\nreturn 404;\n}\n");
  ExpectEdits(
      Dialect::kNginx,
      {{"blanks",
        "server {\n   server_name a;\n}\n",
        text,
        {},
        "server {\n   server_name a;\n   gzip on;\n   location /x {\n      return 404;\n   }\n}\n"},
       {"tabs",
        "server {\n\tserver_name a;\n}\n",
        text,
        {},
        "server {\n\tserver_name a;\n\tgzip on;\n\tlocation /x {\n\t\treturn 404;\n\t}\n}\n"},
       {"nothing",
        "server {\nserver_name a;\nlocation / {\nreturn 200;\n}\n}\n",
        text,
        {},
        "server {\nserver_name a;\ngzip on;\nlocation / {\nreturn 200;\n}\n"
        "location /x {\n\treturn 404;\n}\n}\n"},
       {"whatever the template does",
        "server {\n  server_name a;\n}\n",
        "server {\n\tserver_name a;\n\t\t\tgzip on;\n}\n",
        {},
        "server {\n  server_name a;\n  gzip on;\n}\n"},
       {"a block's own way",
        "http {\n  server {\n      server_name a;\n  }\n}\n",
        InServer("gzip on;\n"),
        {},
        "http {\n  server {\n      server_name a;\n      gzip on;\n  }\n}\n"},
       {"an empty block, by the default, whatever the braces of empty ones do",
        "types\n   {\n   }\nserver {\nserver_name a;\n}\n",
        text,
        {},
        "types\n   {\n   }\nserver {\nserver_name a;\ngzip on;\nlocation /x {\n\treturn "
        "404;\n}\n}\n"},
       {"an empty block, by the way of most others",
        "http {\n    server {\n        server_name a;\n        location /x {\n        }\n    "
        "}\n}\n",
        InServer("location /x {\nreturn 404;\n}\n"),
        {},
        "http {\n    server {\n        server_name a;\n        location /x {\n"
        "            return 404;\n        }\n    }\n}\n"}});
}

TEST(NewLines, EndLikeTheOthers) {
  ExpectEdits(
      Dialect::kNginx,
      {{"CRLF",
        "server {\r\n  server_name a;\r\n\r\n}\r\n",
        InServer("gzip on;\nlocation /x {\nreturn 404;\n}\n"),
        {},
        "server {\r\n  server_name a;\r\n  gzip on;\r\n\r\n  location /x {\r\n    return 404;\r\n"
        "  }\r\n\r\n}\r\n"},
       {"a template with CRLF",
        "server {\n  server_name a;\n}\n",
        "server {\r\nserver_name a;\r\ngzip on;\r\n}\r\n",
        {},
        "server {\n  server_name a;\n  gzip on;\n}\n"},
       {"an empty line before all",
        "\nuser www;\n",
        "worker_processes 2;\n",
        {},
        "\nuser www;\nworker_processes 2;\n"},
       {"a text that does not end its last line",
        "user www;",
        "worker_processes 2;\n",
        {},
        "user www;\nworker_processes 2;"},
       {"... which is a comment", "# x", "user www;\n", {}, "# x\nuser www;"},
       {"... with CRLF",
        "user www;\r\npid x;",
        "worker_processes 2;\n",
        {},
        "user www;\r\npid x;\r\nworker_processes 2;"},
       {"... a comment with CRLF", "# x\r\n# y", "user www;\n", {}, "# x\r\n# y\r\nuser www;"},
       {"... that ends with a block",
        "server {\n  server_name b;\n}",
        InServer(""),
        {},
        "server {\n  server_name b;\n}\nserver {\n  server_name a;\n}"}});
}

TEST(NewDirectives, FitIntoLinesThatHoldMore) {
  ExpectEdits(Dialect::kNginx, {{"a block on one line",
                                 "server { server_name a; }\n",
                                 InServer("gzip on;\n"),
                                 {},
                                 "server { server_name a; gzip on; }\n"},
                                {"a block without blanks",
                                 "server{server_name a;}\n",
                                 InServer("gzip on;\n"),
                                 {},
                                 "server{server_name a; gzip on;}\n"},
                                {"two directives",
                                 "server { server_name a; }\n",
                                 InServer("gzip on;\netag on;\n"),
                                 {},
                                 "server { server_name a; gzip on; etag on; }\n"},
                                {"before a block on that line",
                                 "server { location / { } server_name a; }\n",
                                 "server {\nserver_name a;\nroot /a;\nlocation / {\n}\n}\n",
                                 {},
                                 "server { root /a; location / { } server_name a; }\n"},
                                {"an empty block on one line",
                                 "server {\n\tserver_name a;\n\tlocation /x {}\n}\n",
                                 InServer("location /x {\nreturn 404;\n}\n"),
                                 {},
                                 "server {\n\tserver_name a;\n\tlocation /x { return 404; }\n}\n"},
                                {"an empty block with a blank",
                                 "server {\n\tserver_name a;\n\tlocation /x { }\n}\n",
                                 InServer("location /x {\nreturn 404;\n}\n"),
                                 {},
                                 "server {\n\tserver_name a;\n\tlocation /x { return 404; }\n}\n"},
                                {"the closing brace on the last line",
                                 "server {\n\tserver_name a;\n\troot /a; }\n",
                                 InServer("gzip on;\n"),
                                 {},
                                 "server {\n\tserver_name a;\n\troot /a; gzip on; }\n"},
                                {"the first directive on the opening line",
                                 "server { server_name a;\n\troot /a;\n}\n",
                                 InServer("gzip on;\n"),
                                 {},
                                 "server { server_name a;\n\troot /a;\n\tgzip on;\n}\n"},
                                {"a block in a block on one line",
                                 "server { server_name a; }\n",
                                 InServer("location /x {\nreturn 404;\n}\n"),
                                 {},
                                 "server { server_name a; location /x { return 404; } }\n"},
                                {"behind a comment on the line",
                                 "server {\n\tserver_name a; # main\n}\n",
                                 InServer("gzip on;\n"),
                                 {},
                                 "server {\n\tserver_name a; # main\n\tgzip on;\n}\n"},
                                {"a comment of the template",
                                 "server {\n\tserver_name a;\n}\n",
                                 InServer("gzip on; # as asked\n"),
                                 {},
                                 "server {\n\tserver_name a;\n\tgzip on; # as asked\n}\n"}});
}

TEST(ANewLine, EndsAsTheFirstLineDoes) {
  const std::string text = InServer("gzip on;\n");
  ExpectEdits(Dialect::kNginx, {{"CRLF before LF",
                                 "# x\r\nserver {\n\tserver_name a;\n}\n",
                                 text,
                                 {},
                                 "# x\r\nserver {\n\tserver_name a;\n\tgzip on;\r\n}\n"},
                                {"LF before CRLF",
                                 "# x\nserver {\r\n\tserver_name a;\r\n}\r\n",
                                 text,
                                 {},
                                 "# x\nserver {\r\n\tserver_name a;\r\n\tgzip on;\n}\r\n"}});
}

TEST(ACommentThatIsNew, DoesNotHideWhatFollowsIt) {
  ExpectEdits(
      Dialect::kNginx,
      {{"a comment in a block on one line",
        "server { server_name a; }\n",
        InServer("# managed\n"),
        {},
        "server { server_name a;\n# managed\n }\n"},
       {"a comment behind a new directive",
        "server { server_name a; root /a; }\n",
        InServer("gzip on; # as asked\n"),
        {},
        "server { server_name a; root /a;\ngzip on; # as asked\n }\n"},
       {"a comment before a directive of the line",
        "server {\n\tserver_name a; root /a;\n}\n",
        InServer("# note\nroot /a;\n"),
        {},
        "server {\n\tserver_name a; \n\t# note\n\troot /a;\n}\n"},
       {"a comment of a directive before others",
        "server {\n\tserver_name a;\n\tallow 1.1.1.1; root /a;\n}\n",
        InServer("allow 2.2.2.2; # x\n"),
        {},
        "server {\n\tserver_name a;\n\tallow 1.1.1.1;\n\tallow 2.2.2.2; # x\n\t root /a;\n}\n"}});
}

// --- New blocks ---

TEST(ANewBlock, StandsBehindABlankLineWhereItsSiblingsDo) {
  const std::string block = "server {\n\tserver_name a;\n}\n";
  const auto named = [](const std::string& name) {
    return "server {\n\tserver_name " + name + ";\n}\n";
  };
  ExpectEdits(Dialect::kNginx,
              {{"they do",
                named("b") + "\n" + named("c"),
                block,
                {},
                named("b") + "\n" + named("c") + "\n" + block},
               {"they do not", named("b") + named("c"), block, {}, named("b") + named("c") + block},
               {"with comments between",
                named("b") + "\n# c\n" + named("c"),
                block,
                {},
                named("b") + "\n# c\n" + named("c") + "\n" + block},
               {"there is one, behind a directive and a blank line",
                "user www;\n\n" + named("b"),
                block,
                {},
                "user www;\n\n" + named("b") + "\n" + block},
               {"there is one, at the beginning", named("b"), block, {}, named("b") + block},
               {"there is one with comments at its front",
                "# b\n" + named("b"),
                block,
                {},
                "# b\n" + named("b") + block},
               {"there is nothing", "", block, {}, block},
               {"with two new ones",
                named("b") + "\n" + named("c"),
                block + named("d"),
                {},
                named("b") + "\n" + named("c") + "\n" + block + "\n" + named("d")},
               {"in front of a blank line",
                named("b") + "\n" + named("c") + "\n",
                block,
                {},
                named("b") + "\n" + named("c") + "\n" + block + "\n"},
               {"behind a comment on the line before",
                "server {\n\tserver_name a; # main\n\n\tlocation /x {\n\t}\n}\n",
                InServer("location /z {\nreturn 404;\n}\n"),
                {},
                "server {\n\tserver_name a; # main\n\n\tlocation /x {\n\t}\n\n\tlocation /z {\n"
                "\t\treturn 404;\n\t}\n}\n"},
               {"inside of a block",
                "server {\n\tserver_name a;\n\n\tlocation /x {\n\t}\n\n\tlocation /y "
                "{\n\t}\n\tetag on;\n}\n",
                InServer("location /z {\nreturn 404;\n}\n"),
                {},
                "server {\n\tserver_name a;\n\n\tlocation /x {\n\t}\n\n\tlocation /y {\n\t}\n"
                "\n\tlocation /z {\n\t\treturn 404;\n\t}\n\tetag on;\n}\n"}});
}

// --- What goes ---

TEST(ADirectiveThatGoes, TakesItsLineAlong) {
  const auto edited = [](const std::string& name, const std::string& config,
                         const std::string& expected) {
    return Case{name, config, InServer(Untaken("root /a;\n")), {}, expected};
  };
  ExpectEdits(
      Dialect::kNginx,
      {edited("with its blanks and comment", "server {\n\tserver_name a;\n  root /a; # x  \n}\n",
              "server {\n\tserver_name a;\n}\n"),
       edited("blank lines around it stay",
              "server {\n\tserver_name a;\n\n\troot /a;\n\n\tetag on;\n}\n",
              "server {\n\tserver_name a;\n\n\n\tetag on;\n}\n"),
       edited("with CRLF", "server {\r\n\tserver_name a;\r\n\troot /a;\r\n}\r\n",
              "server {\r\n\tserver_name a;\r\n}\r\n"),
       edited("over several lines", "server {\n\tserver_name a;\n\troot\n\t\t/a\n\t;\n}\n",
              "server {\n\tserver_name a;\n}\n"),
       edited("beside the closing brace", "server {\n\tserver_name a;\n\troot /a; }\n",
              "server {\n\tserver_name a;\n\t}\n"),
       edited("in a block on one line", "server { server_name a; root /a; }\n",
              "server { server_name a; }\n"),
       edited("in a block without blanks", "server{server_name a;root /a;}\n",
              "server{server_name a;}\n"),
       edited("behind the opening brace", "server { root /a;\n\tserver_name a;\n}\n",
              "server {\n\tserver_name a;\n}\n")});
  ExpectEdits(Dialect::kNginx, {{"the last line of a text that does not end it",
                                 "user www;\npid x;",
                                 Untaken("pid x;\n"),
                                 {},
                                 "user www;"},
                                {"all of a text", "pid x;\n", Untaken("pid x;\n"), {}, ""}});
}

TEST(ABlockThatGoes, TakesTheBlankLineAlongThatItWouldLeave) {
  const std::string gone = Untaken("server {\nserver_name a;\n}\n");
  const std::string a = "server {\n\tserver_name a;\n\troot /a;\n}\n";
  const std::string b = "server {\n\tserver_name b;\n}\n";
  const std::string c = "server {\n\tserver_name c;\n}\n";
  const std::string n = "\n";
  ExpectEdits(Dialect::kNginx,
              {{"between two", b + n + a + n + c, gone, {}, b + n + c},
               {"behind the last one", b + n + a, gone, {}, b},
               {"before the first one", a + n + b, gone, {}, b},
               {"without blank lines", b + a + c, gone, {}, b + c},
               {"with one before it only", b + n + a + c, gone, {}, b + n + c},
               {"with one behind it only", b + a + n + c, gone, {}, b + n + c},
               {"the only one", a, gone, {}, ""},
               {"the only one behind a line", "user www;\n\n" + a, gone, {}, "user www;\n"},
               {"a comment above it stays",
                b + n + "# site a\n" + a + n + c,
                gone,
                {},
                b + n + "# site a\n" + n + c},
               {"with a comment behind its brace",
                b + n + Without(a, "}\n") + "} # a\n" + n + c,
                gone,
                {},
                b + n + c},
               {"the last one of a text that does not end its last line",
                b + n + a.substr(0, a.size() - 1),
                gone,
                {},
                b.substr(0, b.size() - 1)},
               {"with CRLF",
                "server {\r\n\tserver_name b;\r\n}\r\n\r\nserver {\r\n\tserver_name a;\r\n}\r\n\r\n"
                "server {\r\n\tserver_name c;\r\n}\r\n",
                gone,
                {},
                "server {\r\n\tserver_name b;\r\n}\r\n\r\nserver {\r\n\tserver_name c;\r\n}\r\n"},
               {"with CRLF, behind a comment, of a text that does not end its last line",
                "# b\r\nserver {\r\n\tserver_name a;\r\n}",
                gone,
                {},
                "# b"},
               {"on one line",
                "server { server_name a; }\nserver { server_name b; }\n",
                gone,
                {},
                "server { server_name b; }\n"},
               {"beside another one on its line",
                "server { server_name a; } server { server_name b; }\n",
                gone,
                {},
                "server { server_name b; }\n"}});
  const std::string location = InServer(Untaken("location /x {\n}\n"));
  ExpectEdits(Dialect::kNginx, {{"the last one inside of a block",
                                 "server {\n\tserver_name a;\n\n\tlocation /x {\n\t}\n}\n",
                                 location,
                                 {},
                                 "server {\n\tserver_name a;\n}\n"},
                                {"the first one inside of a block",
                                 "server {\n\tlocation /x {\n\t}\n\n\tserver_name a;\n}\n",
                                 location,
                                 {},
                                 "server {\n\tserver_name a;\n}\n"},
                                {"on the line of its enclosing block",
                                 "server { server_name a; location /x { return 404; } }\n",
                                 location,
                                 {},
                                 "server { server_name a; }\n"}});
}

TEST(SeveralChanges, OfOneTextDoNotDisturbEachOther) {
  ExpectEdits(
      Dialect::kNginx,
      {{"one goes, one comes, one changes",
        "server {\n\tserver_name a;\n\tgzip on; # fast\n\troot /a; etag on; index i;\n}\n",
        InServer("root {% $r %};\n" + Untaken("etag on;\n") + "gzip_vary on;\n"), kRoot,
        "server {\n\tserver_name a;\n\tgzip on; # fast\n\troot /b; index i;\n\tgzip_vary on;\n}\n"},
       {"the neighbour of a new one goes",
        "server {\n\tserver_name a;\n\tallow 1.1.1.1;\n}\n",
        InServer("allow 2.2.2.2;\n" + Untaken("allow 1.1.1.1;\n")),
        {},
        "server {\n\tserver_name a;\n\tallow 2.2.2.2;\n}\n"},
       {"the last line goes, which does not end, and one comes before it",
        "env A;\npid x;",
        "env B;\n" + Untaken("pid x;\n"),
        {},
        "env A;\nenv B;"},
       {"... with CRLF",
        "env A;\r\npid x;",
        "env B;\n" + Untaken("pid x;\n"),
        {},
        "env A;\r\nenv B;"},
       {"a block goes, its like comes",
        "server {\n\tserver_name a;\n\n\tlocation /x {\n\t}\n}\n",
        InServer(Untaken("location /x {\n}\n") + "location /y {\nreturn 404;\n}\n"),
        {},
        "server {\n\tserver_name a;\n\n\tlocation /y {\n\t\treturn 404;\n\t}\n}\n"},
       {"on one line", "server { server_name a; allow 1.1.1.1; root /a; }\n",
        InServer("root {% $r %};\n" + Untaken("allow 1.1.1.1;\n") + "gzip on;\n"), kRoot,
        "server { server_name a; root /b; gzip on; }\n"}});
}

// --- Changes by themselves ---

// Each edit of lines: the first line, how many, what stands there then, and the template's lines.
std::string Shown(const std::vector<TextEdit>& edits) {
  std::string shown;
  for (const TextEdit& edit : edits) {
    shown += std::to_string(edit.line) + "+" + std::to_string(edit.count) + " [" + edit.text + "]";
    for (const std::size_t line : edit.lines) shown += " " + std::to_string(line);
    shown += ";";
  }
  return shown;
}

const Writer::Place kFront = {tov_document::kWholeText, Writer::Place::Kind::kBefore, 0};
const Writer::Place kSecond = {tov_document::kWholeText, Writer::Place::Kind::kBehind, 0};
const Writer::Place kEnd = {tov_document::kWholeText, Writer::Place::Kind::kAtEnd, 0};

// Of a text with a directive on each line, by their numbers from 0.
struct Changes {
  const char* name;
  std::string config;
  void (*make)(Layout& layout, const std::vector<Child>& children);
  std::string expected;
  std::string edits;
};

void ExpectChanges(const std::vector<Changes>& cases) {
  for (const Changes& c : cases) {
    SCOPED_TRACE(c.name);
    const Document document(Dialect::kNginx, c.config);
    Contents contents(document);
    Layout layout(contents);
    EXPECT_FALSE(layout.IsChanged());
    c.make(layout, contents.Of(tov_document::kWholeText));
    EXPECT_TRUE(layout.IsChanged());
    EXPECT_EQ(layout.Text(), c.expected);
    EXPECT_EQ(Shown(layout.Edits()), c.edits);
  }
}

using Children = std::vector<Child>;

TEST(ChangesAtOnePlace, StandInTheOrderOfTheirMaking) {
  ExpectChanges({{"two new lines", "a 1;\nb 2;\n",
                  [](Layout& layout, const Children&) {
                    layout.Add(kSecond, {"x 1;"}, {0}, false, 5);
                    layout.Add(kSecond, {"y 1;"}, {0}, false, 4);
                  },
                  "a 1;\nx 1;\ny 1;\nb 2;\n", "2+0 [x 1;\ny 1;\n] 4 5;"},
                 {"before one that changes", "a 1;\nb 2;\n",
                  [](Layout& layout, const Children& children) {
                    layout.Replace(children[1].bytes, "c 3;", 6);
                    layout.Add(kSecond, {"x 1;"}, {0}, false, 5);
                    layout.Add(kSecond, {"y 1;"}, {0}, false, 6);
                  },
                  "a 1;\nx 1;\ny 1;\nc 3;\n", "2+1 [x 1;\ny 1;\nc 3;\n] 5 6;"},
                 {"before one that goes", "a 1;\nb 2;\nc 3;\n",
                  [](Layout& layout, const Children& children) {
                    layout.Remove(children[1], 6, false);
                    layout.Add(kSecond, {"x 1;"}, {0}, false, 5);
                  },
                  "a 1;\nx 1;\nc 3;\n", "2+1 [x 1;\n] 5 6;"},
                 {"before a block that goes with its blank line", "a 1;\n\nb {\n}\nc 3;\n",
                  [](Layout& layout, const Children& children) {
                    layout.Remove(children[1], 6, true);
                    layout.Add({tov_document::kWholeText, Writer::Place::Kind::kBefore, 1},
                               {"x 1;"}, {0}, false, 5);
                  },
                  "a 1;\nx 1;\nc 3;\n", "2+3 [x 1;\n] 5 6;"},
                 {"behind all others that are added there", "a 1;\n",
                  [](Layout& layout, const Children&) {
                    layout.Add(kEnd, {"x 1;"}, {0}, false, 1);
                    layout.Add(kSecond, {"y 1;"}, {0}, false, 2);
                    layout.Add(kEnd, {"z 1;"}, {0}, false, 3);
                  },
                  "a 1;\nx 1;\ny 1;\nz 1;\n", "2+0 [x 1;\ny 1;\nz 1;\n] 1 2 3;"}});
}

TEST(Changes, AreToldAsEditsOfWholeLines) {
  ExpectChanges(
      {{"a word", "a 1;\nb 2;\nc 3;\n",
        [](Layout& layout, const Children& children) {
          layout.ChangeWords(children[1], {{"b", "b"}, {"4", "4"}}, 7);
        },
        "a 1;\nb 4;\nc 3;\n", "2+1 [b 4;\n] 7;"},
       {"a name in quotes", "\"a\" \"b c\";\n",
        [](Layout& layout, const Children& children) {
          layout.ChangeWords(children[0], {{"x", "x"}, {"b c", "'b c'"}}, 7);
        },
        "\"x\" \"b c\";\n", "1+1 [\"x\" \"b c\";\n] 7;"},
       {"two lines apart", "a 1;\nb 2;\nc 3;\n",
        [](Layout& layout, const Children& children) {
          layout.Replace(children[2].bytes, "z;", 8);
          layout.Replace(children[0].bytes, "x;", 9);
        },
        "x;\nb 2;\nz;\n", "1+1 [x;\n] 9;3+1 [z;\n] 8;"},
       {"two lines that follow each other", "a 1;\nb 2;\nc 3;\n",
        [](Layout& layout, const Children& children) {
          layout.Replace(children[1].bytes, "y;", 8);
          layout.Replace(children[0].bytes, "x;", 9);
        },
        "x;\ny;\nc 3;\n", "1+2 [x;\ny;\n] 8 9;"},
       {"two on one line, by one line of the template", "a 1; b 2; # x\nc 3;\n",
        [](Layout& layout, const Children& children) {
          layout.Replace(children[0].bytes, "x;", 9);
          layout.Replace(children[1].bytes, "y;", 9);
        },
        "x; y; # x\nc 3;\n", "1+1 [x; y; # x\n] 9;"},
       {"a line goes", "a 1;\nb 2;\nc 3;\n",
        [](Layout& layout, const Children& children) { layout.Remove(children[1], 3, false); },
        "a 1;\nc 3;\n", "2+1 [] 3;"},
       {"a line comes, before all", "a 1;\nb 2;\n",
        [](Layout& layout, const Children&) { layout.Add(kFront, {"x 1;"}, {0}, false, 3); },
        "x 1;\na 1;\nb 2;\n", "1+0 [x 1;\n] 3;"},
       {"... with a blank line behind it", "a 1;\n",
        [](Layout& layout, const Children&) { layout.Add(kFront, {"x 1;"}, {0}, true, 3); },
        "x 1;\n\na 1;\n", "1+0 [x 1;\n\n] 3;"},
       {"... behind all, with one before it", "a 1;\nb 2;\n",
        [](Layout& layout, const Children&) { layout.Add(kEnd, {"x 1;"}, {0}, true, 3); },
        "a 1;\nb 2;\n\nx 1;\n", "3+0 [\nx 1;\n] 3;"},
       {"behind a last line that does not end", "a 1;\nb 2;",
        [](Layout& layout, const Children&) { layout.Add(kEnd, {"x 1;"}, {0}, false, 3); },
        "a 1;\nb 2;\nx 1;", "2+1 [b 2;\nx 1;] 3;"},
       {"such a line itself", "a 1;\nb 2;",
        [](Layout& layout, const Children& children) {
          layout.Replace(children[1].bytes, "y;", 3);
        },
        "a 1;\ny;", "2+1 [y;] 3;"},
       {"such a line goes", "a 1;\nb 2;\nc 3;",
        [](Layout& layout, const Children& children) { layout.Remove(children[2], 3, false); },
        "a 1;\nb 2;", "2+2 [b 2;] 3;"},
       {"a directive of several lines", "a 1;\nb\n2\n;\nc 3;\n",
        [](Layout& layout, const Children& children) {
          layout.Replace(children[2].bytes, "z;", 4);
          layout.Replace(children[1].bytes, "y\n;", 3);
        },
        "a 1;\ny\n;\nz;\n", "2+4 [y\n;\nz;\n] 3 4;"},
       {"far apart, counted from the first line on", "a 1;\n\n\nb 2;\n\n\nc 3;\n\nd 4;\n",
        [](Layout& layout, const Children& children) {
          layout.Replace(children[3].bytes, "z;", 1);
          layout.Remove(children[2], 2, false);
          layout.Replace(children[1].bytes, "y;", 3);
        },
        "a 1;\n\n\ny;\n\n\n\nz;\n", "4+1 [y;\n] 3;7+1 [] 2;9+1 [z;\n] 1;"}});
}

}  // namespace
}  // namespace tov_edit
