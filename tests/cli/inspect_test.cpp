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
using testing::HasSubstr;

class Inspect : public Program {};
class Lint : public Program {};

TEST_F(Inspect, ShowsTheBlocksByTheirIdentity) {
  m_sandbox.Write("site.conf",
                  "# sites\n\nserver { # main\n\tserver_name a.example;\n  listen 80;\n"
                  "location / {\n etag off;\n}\n}\n");
  ExpectText(Run({"inspect", "--dialect", "nginx", "site.conf"}),
             "1   # sites\n"
             "3   server { # main  = server { server_name a.example\n"
             "4     server_name a.example;\n"
             "5 *   listen 80;\n"
             "6     location / {\n"
             "7       etag off;\n"
             "8     }\n"
             "9   }\n");
}

TEST_F(Inspect, KeepsTheTerminalAsItIs) {
  m_sandbox.Write("site.conf", "server {\nserver_name \x1b[2J;\n}\n");
  EXPECT_EQ(Run({"inspect", "site.conf"}).out.find('\x1b'), std::string::npos);
}

TEST_F(Inspect, WritesJson) {
  m_sandbox.Write("site.conf", "http {\nserver {\nserver_name a;\n}\ngzip on;\n}\n");
  const Outcome outcome = Run({"inspect", "--json", "--dialect", "nginx", "site.conf"});
  const json inspected = json::parse(outcome.out);
  EXPECT_EQ(outcome.exit_code, 6);
  EXPECT_EQ(inspected["blocks"][1],
            json::parse(R"({"path": "http { > server { server_name a", "line": 2, "end": 4,
                            "level": "server { server_name a", "parent": 0})"));
  EXPECT_EQ(inspected["lines"][4],
            json::parse(R"({"line": 5, "text": "gzip on;", "block": 0, "library_path": "",
                            "unique": false, "identifies": false})"));
  EXPECT_EQ(inspected["warnings"][0]["name"], "shifted-path");
  EXPECT_EQ(inspected["warnings"][0]["place"],
            json::parse(R"({"file": "site.conf", "line": 5, "column": 1})"));
}

TEST_F(Inspect, ReadsStandardInput) {
  const Outcome outcome = Run({"inspect", "-"}, "events {\n}\n");
  EXPECT_THAT(outcome.out, HasSubstr("(standard input):1:1: warning: this block is empty"));
  EXPECT_THAT(outcome.err, HasSubstr("(standard input): taken for nginx"));
  EXPECT_EQ(outcome.exit_code, 6);
}

TEST_F(Inspect, HasAnOptionForEachThing) {
  m_sandbox.Write("site.conf", "events {\n}\n");
  EXPECT_EQ(Run({"inspect", "--ignore", "empty-block", "site.conf"}).exit_code, 0);
  EXPECT_THAT(Run({"inspect", "--color", "always", "site.conf"}).out, HasSubstr("\x1b[33mwarning"));
  EXPECT_EQ(Run({"inspect", "--ignore", "none", "site.conf"}).exit_code, 2);
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
      "site.template:3:2: warning: this is no comment, but becomes part of the configuration. "
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
  EXPECT_THAT(Run({"lint", "--dialect", "nginx", "site.template"}).out, HasSubstr("[outside]"));
  EXPECT_EQ(Run({"lint"}).exit_code, 2);
  m_sandbox.Write("empty", "");
  ExpectFailure(Run({"lint", "empty"}),
                "empty: its language cannot be told from the text; name it by --dialect (apache, "
                "nginx)");
}

}  // namespace
