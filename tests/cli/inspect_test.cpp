// SPDX-License-Identifier: Apache-2.0

// qeltemplate inspect and qeltemplate lint: their output and their options. What each warning is
// about is tested with the page that explains them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "cli/program.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

class Inspect : public Program {
 protected:
  // What is said of `text` as site.conf.
  Outcome Say(const std::string& dialect, const std::string& text, const Words& more = {}) const {
    m_sandbox.Write("site.conf", text);
    Words words = {"inspect", "--dialect", dialect};
    words.insert(words.end(), more.begin(), more.end());
    words.emplace_back("site.conf");
    return Run(words);
  }
};
class Lint : public Program {};

struct Shown {
  const char* name;
  const char* dialect;
  std::string text;
  std::string tree;  // what is shown; "@" stands for "site.conf:"
};

std::string Full(const std::string& tree) {
  std::string full;
  for (const char c : tree) full += c == '@' ? "site.conf:" : std::string(1, c);
  return full;
}

const Shown kShown[] = {
    {"each node behind its place", "nginx",
     "# sites\n\nserver { # main\n\tserver_name a.example;\n  listen   80;\n"
     "location / {\n etag off; # none\n}\n}\n",
     "@1: # sites\n"
     "@3: server {  = a.example on *:80  # main\n"
     "@4:   server_name a.example;\n"
     "@5:   listen 80;\n"
     "@6:   location / {\n"
     "@7:     etag off;  # none\n"},
    {"all numbers of a file are as wide", "nginx", "a;" + std::string(9, '\n') + "b {\nc;\n}\n",
     "@1:  a;\n"
     "@10: b {\n"
     "@11:   c;\n"},
    {"only those of lines with something count", "nginx", "a;\nb {" + std::string(9, '\n') + "}\n",
     "@1: a;\n"
     "@2: b {\n"},
    {"something stands far behind the last block", "nginx",
     "a {\n}" + std::string(9, '\n') + "b;\n",
     "@1:  a {\n"
     "@11: b;\n"},
    {"blocks on one line", "nginx", "events {} http { server { listen 80; } } # done\n",
     "@1: events {\n"
     "@1: http {\n"
     "@1:   server {  = on *:80\n"
     "@1:     listen 80;\n"
     "@1: # done\n"},
    {"a brace on the next line", "nginx", "server\n{\n\tserver_name A.example;\n}\n",
     "@1: server {  = a.example\n"
     "@3:   server_name A.example;\n"},
    {"quoted words", "nginx",
     "\"server\" { \"listen\" '8080'; add_header X 'a; }\n  b {'; server_name \"\"; }\n",
     "@1: \"server\" {  = \"\" on *:8080\n"
     "@1:   \"listen\" '8080';\n"
     "@1:   add_header X 'a; } b {';\n"
     "@2:   server_name \"\";\n"},
    {"comments between words", "nginx", "location # which\n  /img/ # where\n{\nroot # ;\n /a;\n}\n",
     "@1: location /img/ {\n"
     "@4:   root /a;\n"},
    {"Lua", "nginx",
     "location / {\ncontent_by_lua_block {\n  -- }\n  ngx.say(\"}\")\n}\n"
     "access_by_lua_block { x() }\nlog_by_lua_block {\n}\netag on;\n}\n",
     "@1: location / {\n"
     "@2:   content_by_lua_block {\n"
     "@3:     (lines 3 to 4: Lua, which is not looked into)\n"
     "@6:   access_by_lua_block {\n"
     "@6:     (line 6: Lua, which is not looked into)\n"
     "@7:   log_by_lua_block {\n"
     "@9:   etag on;\n"},
    {"several directives on a line", "nginx", "a 1;b 2; c\n3;", "@1: a 1;\n@1: b 2;\n@1: c 3;\n"},
    {"variables with braces", "nginx", "set $a ${b}c; map $x $y { default ${z}; }\n",
     "@1: set $a ${b}c;\n"
     "@1: map $x $y {\n"
     "@1:   default ${z};\n"},
    {"line ends with CR", "nginx", "server {\r\n  listen 1;\r\n  # x\r\n}\r\n",
     "@1: server {  = on *:1\n"
     "@2:   listen 1;\n"
     "@3:   # x\n"},
    {"a long directive", "nginx", "types { " + std::string(98, 'a') + "\xc3\xa9 b; }",
     "@1: types {\n"
     "@1:   " +
         std::string(98, 'a') + "\xc3\xa9...\n"},
    {"a long directive that is cut within a character", "nginx", std::string(99, 'a') + "\xc3\xa9;",
     "@1: " + std::string(99, 'a') + "...\n"},
    {"sections of Apache", "apache",
     "<IfModule mod_ssl.c>\n<VirtualHost *:443 _default_:80>\n  ServerName A.example:443\n"
     "  ServerAlias b.example \"c d\"\n</VirtualHost>\n</IfModule>\n",
     "@1: <IfModule mod_ssl.c>\n"
     "@2:   <VirtualHost *:443 _default_:80>  = a.example b.example c d on *:443 *:80\n"
     "@3:     ServerName A.example:443\n"
     "@4:     ServerAlias b.example \"c d\"\n"},
    {"sections in other case, with blanks", "apache",
     "<virtualhost  *:80 >\n  servername   a\n</VIRTUALHOST>\n<Directory \"/a "
     "b\">\n</directory>\n",
     "@1: <virtualhost *:80>  = a on *:80\n"
     "@2:   servername a\n"
     "@4: <Directory \"/a b\">\n"},
    {"continuation lines", "apache",
     "# a \\\nb\nRequire ip \\\n  192.0.2.1 192.\\\n0.2.2\n<Location \\\r\n /a>\n</Location>\n",
     "@1: # a b\n"
     "@3: Require ip 192.0.2.1 192.0.2.2\n"
     "@6: <Location /a>\n"},
    {"expressions", "apache", "<If \"%{HTTP_HOST} == 'a>b'\">\nHeader set X \"a \\\" b\"\n</If>\n",
     "@1: <If \"%{HTTP_HOST} == 'a>b'\">\n"
     "@2:   Header set X \"a \\\" b\"\n"},
    {"Perl", "apache", "<Perl>\n\n  <x>\n  1 # }\n</Perl>\nUse A\n",
     "@1: <Perl>\n"
     "@3:   (lines 3 to 4: Perl, which is not looked into)\n"
     "@6: Use A\n"},
    {"nothing", "nginx", "\n \n", ""},
};

TEST_F(Inspect, ShowsWhatTheServerReads) {
  for (const Shown& c : kShown) {
    SCOPED_TRACE(c.name);
    ExpectText(Say(c.dialect, c.text), Full(c.tree));
  }
}

TEST_F(Inspect, ShowsLargeTextsWhole) {
  constexpr int kServers = 3000;
  std::string text;
  std::string tree;
  for (int i = 0; i < kServers; ++i) {
    const std::string name = "s" + std::to_string(i) + ".example";
    const std::string line = std::to_string(3 * i + 1);
    const std::string next = std::to_string(3 * i + 2);
    const auto blanks = [](const std::string& number) {
      return std::string(5 - number.size(), ' ');
    };
    text += "server {\nserver_name " + name + "; # " + std::to_string(i) + "\n}\n";
    tree += "@" + line + ":" + blanks(line) + "server {  = " + name + "\n";
    tree += "@" + next + ":" + blanks(next) + "  server_name " + name + ";  # " +
            std::to_string(i) + "\n";
  }
  ExpectText(Say("nginx", text), Full(tree));
  const Words inspect = {"inspect", "--dialect", "nginx", "site.conf"};
  ExpectFailure(Run(inspect, "", "/dev/full"), "(standard output): No space left on device");
}

TEST_F(Inspect, ShowsHowFarTheServerReads) {
  const std::string out = Say("nginx", "a {\nb 1; c\n\nd\n").out;
  EXPECT_EQ(out.substr(0, out.find("\n\n") + 1), Full("@1: a {\n"
                                                      "@2:   b 1;\n"
                                                      "@2:   (lines 2 to 4: not read)\n"));
}

TEST_F(Inspect, SaysWhatTheServerCannotRead) {
  struct Case {
    const char* name;
    const char* dialect;
    std::string text;
    std::string said;
  };
  const Case cases[] = {
      {"a brace of an expression", "nginx", "http {\n  rewrite ^/a{2}$ /;\n}\n",
       "@2:14: error: this brace opens a block: an expression with braces needs quotes; 'http {' "
       "is open since line 1 [syntax-error]\n"
       "      rewrite ^/a{2}$ /;\n"
       "                 ^\n"},
      {"a block that does not close", "nginx", "http {\n  server {\n    listen 80;\n",
       "@2:3: error: the block that begins here does not close [syntax-error]\n"
       "      server {\n"
       "      ^\n"},
      {"a brace too many", "nginx", "http {\n}\n}\n",
       "@3:1: error: nothing is open that this would close [syntax-error]\n    }\n    ^\n"},
      {"a directive without its end", "nginx", "http {\n\troot /a\n}\n",
       "@3:1: error: this brace stands inside of a directive, which needs a \";\" before it; "
       "'http {' is open since line 1 [syntax-error]\n    }\n    ^\n"},
      {"a quote without its end", "nginx", "server {\nlocation /a { root 'a;\n}\n}\n",
       "@2:20: error: this quote does not close; 'location /a {' is open since line 2 "
       "[syntax-error]\n    location /a { root 'a;\n                       ^\n"},
      {"code without its end", "nginx", "a_by_lua_block { '\n",
       "@1:1: error: the code of the block that begins here does not end [syntax-error]\n"
       "    a_by_lua_block { '\n    ^\n"},
      {"another section closes", "apache", "<VirtualHost *:80>\n<IfModule x>\n</VirtualHost>\n",
       "@3:1: error: this does not close the section that is open; '<IfModule x>' is open since "
       "line 2 [syntax-error]\n    </VirtualHost>\n    ^\n"},
      {"a section without its bracket", "apache", "A\n  <VirtualHost *:80\n",
       "@2:3: error: this line needs a \">\" [syntax-error]\n"
       "      <VirtualHost *:80\n      ^\n"},
      {"warnings stand before it", "apache", "<Location /a>\n\tOptions A +B # c\n",
       "@2:2: warning: httpd refuses words with a sign beside words without one. Write all of them "
       "with a sign, or none [mixed-options]\n    \tOptions A +B # c\n    \t^\n"
       "@2:15: warning: httpd knows no comments behind a directive, and refuses these words as "
       "options. Put the comment on a line of its own [options-comment]\n"
       "    \tOptions A +B # c\n    \t             ^\n2 warnings\n"
       "@1:1: error: the block that begins here does not close [syntax-error]\n"
       "    <Location /a>\n    ^\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome outcome = Say(c.dialect, c.text);
    EXPECT_EQ(outcome.out.substr(outcome.out.find("\n\n") + 2), Full(c.said));
    EXPECT_EQ(outcome.exit_code, 6);
  }
}

// By what the real httpd says of each.
TEST_F(Inspect, KnowsWhichOptionsGoTogether) {
  struct Case {
    const char* words;
    bool refused;
  };
  const Case cases[] = {
      {"+ExecCGI Indexes", true},     {"Indexes +ExecCGI", true},  {"Indexes -ExecCGI", true},
      {"+ExecCGI None", true},        {"Indexes ExecCGI", false},  {"+ExecCGI -Indexes", false},
      {"None +ExecCGI", false},       {"all -Indexes", false},     {"None Indexes +ExecCGI", false},
      {"All +ExecCGI Indexes", true}, {"+ExecCGI ${MORE}", false}, {"", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.words);
    const std::string line = std::string("options ") + c.words + "\n";
    EXPECT_EQ(Say("apache", line).exit_code, c.refused ? 6 : 0);
  }
}

TEST_F(Inspect, KeepsTheTerminalAsItIs) {
  const Outcome outcome = Say("nginx", "server {\nserver_name \x1b[2J; # \x1b\n\x1b {");
  EXPECT_EQ(outcome.out.find('\x1b'), std::string::npos);
}

TEST_F(Inspect, IsNotLostInDeepBlocks) {
  constexpr std::size_t kDepth = 3000;
  constexpr std::size_t kMostForALine = 200;
  std::string text;
  for (std::size_t i = 0; i < kDepth; ++i) text += "server{listen 1;";
  const std::string open = text;
  text.append(kDepth, '}');
  const Outcome outcome = Say("nginx", text);
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_LT(outcome.out.size(), kMostForALine * 2 * kDepth);
  EXPECT_EQ(Say("nginx", open, {"--json"}).exit_code, 6);
}

TEST_F(Inspect, WritesJson) {
  const Outcome outcome =
      Say("nginx",
          "http {\n server {\n  server_name 'A' b;\n  listen 80 ssl;\n }\n gzip\n  on;\n}\n"
          "a_by_lua_block { x }\n",
          {"--json"});
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(json::parse(outcome.out), json::parse(R"({
      "config": "site.conf", "dialect": "nginx",
      "blocks": [
        {"name": "http", "arguments": [], "line": 1, "column": 1, "end_line": 8, "depth": 0},
        {"name": "server", "arguments": [], "line": 2, "column": 2, "end_line": 5, "parent": 0,
         "depth": 1, "server": {"names": ["a", "b"], "addresses": ["*:80"]}},
        {"name": "a_by_lua_block", "arguments": [], "line": 9, "column": 1, "end_line": 9,
         "depth": 0, "opaque": true}],
      "directives": [
        {"name": "server_name", "arguments": ["A", "b"], "line": 3, "column": 3, "end_line": 3,
         "block": 1},
        {"name": "listen", "arguments": ["80", "ssl"], "line": 4, "column": 3, "end_line": 4,
         "block": 1},
        {"name": "gzip", "arguments": ["on"], "line": 6, "column": 2, "end_line": 7, "block": 0}],
      "warnings": []})"));
}

TEST_F(Inspect, WritesTheErrorAsJson) {
  const Outcome outcome = Say("apache", "<IfModule x>\nOptions A # b\n</If>\n", {"--json"});
  const json inspected = json::parse(outcome.out);
  EXPECT_EQ(outcome.exit_code, 6);
  EXPECT_EQ(inspected["error"], json::parse(R"({
      "name": "syntax-error",
      "message": "this does not close the section that is open; '<IfModule x>' is open since line 1",
      "said": "site.conf:3:1: this does not close the section that is open; '<IfModule x>' is open since line 1",
      "config_places": [{"file": "site.conf", "line": 3, "column": 1},
                        {"file": "site.conf", "line": 1, "column": 1}],
      "line_text": "</If>"})"));
  EXPECT_EQ(inspected["blocks"][0].count("end_line"), 0U);
  EXPECT_EQ(inspected["warnings"][0]["name"], "options-comment");
  EXPECT_EQ(inspected["warnings"][0]["config_places"][0],
            json::parse(R"({"file": "site.conf", "line": 2, "column": 11})"));
}

TEST_F(Inspect, ReadsStandardInput) {
  const Outcome outcome = Run({"inspect", "-"}, "events {\n\n");
  EXPECT_THAT(outcome.out, HasSubstr("(standard input):1: events {\n"));
  EXPECT_THAT(outcome.out, HasSubstr("(standard input):1:1: error: the block that begins here"));
  EXPECT_THAT(outcome.err, HasSubstr("(standard input): taken for nginx"));
  EXPECT_EQ(outcome.exit_code, 6);
}

TEST_F(Inspect, HasAnOptionForEachThing) {
  const Words ignore = {"--ignore", "options-comment"};
  EXPECT_EQ(Say("apache", "Options A # b\n", ignore).exit_code, 0);
  EXPECT_EQ(Say("apache", "<A>\nOptions A # b\n", ignore).exit_code, 6);
  EXPECT_EQ(Say("apache", "", {"--ignore", "syntax-error"}).exit_code, 2);
  EXPECT_THAT(Say("nginx", "a {\n", {"--color", "always"}).out,
              AllOf(HasSubstr("\x1b[1ma {\x1b[0m"), HasSubstr("\x1b[31merror")));
  ExpectFailure(Run({"inspect", "--dialect", "nginx", "missing"}),
                "missing: No such file or directory");
}

TEST_F(Lint, SaysWhereAndWhat) {
  m_sandbox.Write("site.template", "server {\n\tlisten [% $port;\n\t{# x #}\n}\n");
  const Outcome outcome = Run({"lint", "site.template"});
  EXPECT_EQ(
      outcome.out,
      "site.template:2:9: warning: this place does not close: the rest of the line is taken "
      "for the name. Write %] behind the name [unclosed-place]\n"
      "    \tlisten [% $port;\n"
      "    \t       ^\n"
      "site.template:3:2: warning: this is not a comment: it becomes part of the configuration. "
      "A comment begins with {#} and ends with the line [odd-comment]\n"
      "    \t{# x #}\n"
      "    \t^\n"
      "2 warnings\n");
  EXPECT_EQ(outcome.exit_code, 6);
}

TEST_F(Lint, LooksIntoImports) {
  m_sandbox.Write("part.template", "gzip on;\n{% foreach %}\n");
  m_sandbox.Write("site.template", "server {\n{% import part.template %}\n}\n");
  EXPECT_THAT(
      Run({"lint", "site.template"}).out,
      HasSubstr(m_sandbox.PathOf("part.template") + ":2:1: warning: there is no statement"));
}

TEST_F(Lint, TakesSeveralTemplates) {
  m_sandbox.Write("other.template", "server {\n{% endif %}\n}\n");
  m_sandbox.Write("site.template", "server {\n{% if $x %}\n}\n");
  const Outcome outcome = Run({"lint", "site.template", "other.template", "-"}, "server {\n");
  EXPECT_THAT(outcome.out, HasSubstr("site.template:2:1: warning: this if has no endif"));
  EXPECT_THAT(outcome.out, HasSubstr("other.template:2:1: warning: there is no if"));
  EXPECT_THAT(outcome.out, HasSubstr("(standard input):1:1: warning: this block does not close"));
}

TEST_F(Lint, KnowsTheValuesThatAreGiven) {
  m_sandbox.Write("site.template", "server {\nroot {% $root %};\nindex [% $index %];\n}\n");
  m_sandbox.Write("values.json", R"({"index": null})");
  ExpectText(Run({"lint", "site.template"}), "");
  EXPECT_THAT(Run({"lint", "--set", "index=x", "site.template"}).out,
              HasSubstr("site.template:2:6: warning: nothing sets the value 'root'"));
  EXPECT_THAT(Run({"lint", "--old", "root=/a", "site.template"}).out,
              HasSubstr("nothing sets the value 'index'"));
  ExpectText(Run({"lint", "--values", "values.json", "--unset", "root", "site.template"}), "");
}

TEST_F(Lint, HasAnOptionForEachThing) {
  m_sandbox.Write("site.template", "<Directory /a>\n{% endif %}\n</Directory>\n");
  EXPECT_EQ(Run({"lint", "--ignore", "extra-endif", "site.template"}).exit_code, 0);
  EXPECT_THAT(Run({"lint", "--color", "always", "site.template"}).out, HasSubstr("\x1b[1m"));
  EXPECT_EQ(json::parse(Run({"lint", "--json", "site.template"}).out)["warnings"][0]["name"],
            "extra-endif");
  EXPECT_THAT(Run({"lint", "--dialect", "nginx", "site.template"}).out,
              HasSubstr("[not-a-directive]"));
  EXPECT_EQ(Run({"lint"}).exit_code, 2);
  m_sandbox.Write("empty", "");
  ExpectFailure(Run({"lint", "empty"}),
                "empty: its language cannot be told from the text; name it with --dialect (apache, "
                "nginx)");
}

}  // namespace
