// SPDX-License-Identifier: Apache-2.0

// What is found in templates, and where. The messages are in docs/warnings.md, of which tests/cli
// runs the examples.
#include "edit/lint.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

struct LintCase {
  std::string name;
  std::string text;
  std::string expected;  // the places and the names
};

std::string Found(const std::vector<Finding>& findings) {
  std::string found;
  for (const Finding& finding : findings) {
    EXPECT_EQ(finding.template_place.file, "site.template");
    found += std::to_string(finding.template_place.line) + ":" +
             std::to_string(finding.template_place.column) + " " + finding.name + "\n";
  }
  return found;
}

void ExpectFound(Dialect dialect, ValuesGiven given, const std::vector<LintCase>& cases) {
  for (const LintCase& c : cases) {
    SCOPED_TRACE(c.name);
    Request request;
    request.dialect = dialect;
    request.template_name = "site.template";
    request.template_text = c.text;
    request.values["new"] = {{}, "1"};
    request.values["both"] = {"1", "2"};
    request.values["none"] = {};
    const std::vector<Finding> findings = Lint(request, given);
    EXPECT_EQ(Found(findings), c.expected) << AllOf(findings);
  }
}

TEST(ATemplate, OfNginxIsLookedAtLineByLine) {
  ExpectFound(
      Dialect::kNginx, ValuesGiven::kNone,
      {
          {"a statement that there is none of", "x 1;\n{% foreach $x %}\n",
           "2:1 unknown-statement\n"},
          {"an elif by another name", "server {\n{% elseif $x %}\nx 1;\n}\n",
           "2:1 stray-else\n2:4 keyword-prefix\n"},
          {"an else with a condition", "{% if $x %}\nx 1;\n{% else if $y %}\nx 2;\n{% endif %}\n",
           "3:4 keyword-prefix\n"},
          {"an if without its endif", "{% if $x %}\nx 1;\n", "1:1 missing-endif\n"},
          {"an endif without its if", "x 1;\n{% endif %}\n", "2:1 extra-endif\n"},
          {"an else without its if", "x 1;\n{% else %}\nx 2;\n", "2:1 stray-else\n"},
          {"and with or", "{% if $x == a and $y == b or $z == c %}\nx 1;\n{% endif %}\n",
           "1:27 mixed-and-or\n"},
          {"and, or",
           "{% if $x == a and $y == b %}\nx 1;\n{% endif %}\n{% if $x == a or $y == b %}\nx 1;\n{% "
           "endif %}\n",
           ""},
          {"an if without a condition", "{% if %}\nx 1;\n{% endif %}\n", "1:1 unknown-operator\n"},
          {"another sign", "{% if $x = a %}\nx 1;\n{% endif %}\n", "1:10 unknown-operator\n"},
          {"a sign without an operand", "{% if $x == %}\nx 1;\n{% endif %}\n",
           "1:10 unknown-operator\n"},
          {"a sign without blanks", "{% if $x==a %}\nx 1;\n{% endif %}\n",
           "1:7 unknown-operator\n"},
          {"an operand in quotes", "{% if $x == \"a\" %}\nx 1;\n{% endif %}\n",
           "1:13 quoted-operand\n"},
          {"an empty operand in quotes", "{% if $x == \"\" %}\nx 1;\n{% endif %}\n", ""},
          {"a first operand in single quotes", "{% if 'a' != $x %}\nx 1;\n{% endif %}\n",
           "1:7 quoted-operand\n"},
          {"numbers", "{% if $x > 9 %}\nx 1;\n{% elif $x < 3 %}\nx 2;\n{% endif %}\n",
           "1:10 numeric-comparison\n3:12 numeric-comparison\n"},
          {"two words for one", "{% if $x == a b %}\nx 1;\n{% endif %}\n", "1:15 extra-words\n"},
          {"three elifs",
           "{% if $x == a %}\nx 1;\n{% elif $x == b %}\nx 2;\n{% elif $x == c %}\nx 3;\n{% elif $x "
           "== d %}\nx 4;\n{% endif %}\n",
           "5:1 third-branch\n"},
          {"an elif in an if with an elif",
           "{% if $a == 1 %}\nx 1;\n{% if $b == 1 %}\nx 2;\n{% elif $b == 2 %}\nx 3;\n{% endif %}\n"
           "{% elif $a == 2 %}\nx 4;\n{% endif %}\n",
           ""},
          {"an if that does not close", "{% if $x\nx 1;\n{% endif %}\n", "1:1 unclosed-place\n"},
          {"a place that does not close", "x {% $v ;\n", "1:3 unclosed-place\n"},
          {"a trailing place that does not close", "x [% $v ;\n", "1:3 unclosed-place\n"},
          {"a place without a dollar sign", "x {% v %};\n", "1:3 place-without-dollar\n"},
          {"a comment of another language", "x {% $v %}; {# note #}\n",
           "1:1 not-a-directive\n1:13 odd-comment\n"},
          {"... alone", "{# note #}\n", "1:1 odd-comment\n"},
          {"signs of one in a comment", "{#} note {# x\n", ""},
          {"signs of one behind a line", "x {% $v %}; {#} note {# x\n", ""},
          {"blank lines and comments", "\n  \n# a comment {% $v %}\n", ""},
          {"a closing line too many", "}\n", "1:1 extra-closing\n"},
          {"a block that does not close", "server {\nx 1;\n", "1:1 unclosed-block\n"},
          {"opening lines in branches",
           "server {\n{% if $x %}\nlocation / {\n{% else %}\nlocation /b {\n{% endif %}\ny "
           "1;\n}\n}\n",
           "3:1 branch-opening\n5:1 branch-opening\n"},
          {"... in one branch", "{% if $x %}\nserver {\n{% endif %}\ny 1;\n}\n",
           "2:1 branch-opening\n"},
          {"a closing line in a branch",
           "server {\nlocation / {\nlocation /b {\n{% if $x %}\n}\n{% endif %}\n}\n}\n",
           "3:1 branch-opening\n"},
          {"an opening line in the first branch of three",
           "{% if $x %}\nserver {\n{% elif $y %}\nx 1;\n{% else %}\nx 2;\n{% endif %}\n}\n",
           "2:1 branch-opening\n"},
          {"two blocks that do not close", "server {\n  location / {\n",
           "1:1 unclosed-block\n2:3 unclosed-block\n"},
          {"names in branches",
           "server {\n{% if $x %}\nserver_name a;\n{% else %}\nserver_name b;\n{% endif %}\n}\n",
           "3:1 branch-identity\n5:1 branch-identity\n"},
          {"names outside of all blocks",
           "server_name a;\n{% if $x %}\nserver_name b;\n{% endif %}\n", ""},
          {"more names in a branch, of a block that has one",
           "server {\nserver_name a;\n{% if $x %}\nserver_name b;\n{% endif %}\n}\n", ""},
          {"any name", "server {\nserver_name [% $n %];\n}\n", "2:13 any-name\n"},
          {"any name at a word's beginning", "server {\nserver_name [% $n %].a;\n}\n",
           "2:13 any-name\n"},
          {"a name, and any behind it", "server {\nserver_name {% $n %} [% $more %];\n}\n", ""},
          {"a name, and any on another line",
           "server {\nserver_name a;\nserver_name [% $n %];\n}\n", ""},
          {"a name that begins with a text", "server {\nserver_name www.[% $n %];\n}\n", ""},
          {"a line without its end", "x 1\n", "1:1 not-a-directive\n"},
          {"two directives", "x 1; y 2;\n", "1:1 not-a-directive\n"},
          {"a brace on its own line", "server\n{\n}\n",
           "1:1 not-a-directive\n2:1 not-a-directive\n3:1 extra-closing\n"},
          {"a block on one line", "server { listen 80; }\n", "1:1 not-a-directive\n"},
          {"nothing but a place", "{% $v %};\n", "1:1 empty-key\n"},
          {"nothing but a trailing place", "[% $v %];\n", "1:1 empty-key\n"},
          {"a place without an end", "{% $v %}\n", "1:1 not-a-directive\n"},
          {"indented lines", "  x 1\n\ty 2\n", "1:3 not-a-directive\n2:2 not-a-directive\n"},
      });
}

TEST(AKeyword, ThatIsNotWrittenAsItCountsIsSaidWithTheWayOut) {
  struct Said {
    const char* text;
    const char* message;
  };
  const Said cases[] = {
      {"{% if $x %}\nx 1;\n{% else if $y %}\nx 2;\n{% endif %}\n",
       "'else if $y' counts as 'else': its condition is not read. For another condition write {% "
       "elif ... %}"},
      {"{% if $x %}\nx 1;\n{% elsewhere %}\nx 2;\n{% endif %}\n",
       "'elsewhere' counts as 'else': its condition is not read. For another condition write {% "
       "elif ... %}"},
      {"{% ifx $x %}\nx 1;\n{% endif %}\n",
       "'ifx' counts as 'if': only the beginning of a keyword matters. Write a blank behind it"},
      {"{% if $x %}\nx 1;\n{% endifs %}\n",
       "'endifs' counts as 'endif': only the beginning of a keyword matters. Write a blank behind "
       "it"},
      {"{% if $x %}\nx 1;\n{% else %}\nx 2;\n{% endif %}\n", ""},
  };
  for (const Said& c : cases) {
    Request request;
    request.template_text = c.text;
    std::string said;
    for (const Finding& finding : Lint(request, ValuesGiven::kNone)) {
      if (finding.name != "keyword-prefix") continue;
      said += finding.message + (finding.hint.empty() ? "" : ". " + finding.hint);
    }
    EXPECT_EQ(said, c.message) << c.text;
  }
}

TEST(APlace, ThatDoesNotCloseIsSaidWithWhatClosesIt) {
  for (const std::string open : {"{%", "[%"}) {
    Request request;
    request.template_name = "site.template";
    request.template_text = "x " + open + " $new;\n";
    const std::vector<Finding> findings = Lint(request, ValuesGiven::kNone);
    ASSERT_EQ(Found(findings), "1:3 unclosed-place\n");
    const std::string close = open == "{%" ? "%}" : "%]";
    const std::string said = findings.front().message + findings.front().hint;
    EXPECT_NE(said.find("Write " + close + " behind the name"), std::string::npos) << said;
  }
}

TEST(ATemplate, OfApacheIsLookedAtLineByLine) {
  ExpectFound(
      Dialect::kApache, ValuesGiven::kNone,
      {
          {"words with and without a sign", "Options +A B\n", "1:1 mixed-options\n"},
          {"all with a sign", "Options +A -B\n", ""},
          {"all without a sign", "Options A B\n", ""},
          {"a value that is not known", "Options +A {% $v %}\n", ""},
          {"a comment behind Options", "Options A # x\n", "1:11 options-comment\n"},
          {"a comment of the template", "Options A {#} # x\n", ""},
          {"other directives", "Foo +A B # x\n", ""},
          {"a closing line before its block", "</X>\n<X>\n",
           "1:1 extra-closing\n2:1 unclosed-block\n"},
          {"nothing but a place", "{% $v %}\n", "1:1 empty-key\n"},
          {"a name in a branch",
           "<VirtualHost *>\n{% if $x %}\nServerName a\n{% endif %}\n</VirtualHost>\n",
           "3:1 branch-identity\n"},
          {"aliases in a branch, and of any name",
           "<VirtualHost *>\nServerName a\n{% if $x %}\nServerAlias b\n{% else %}\n"
           "ServerAlias [% $b %]\n{% endif %}\n</VirtualHost>\n",
           ""},
          {"any name", "<VirtualHost *>\nServerName [% $n %]\n</VirtualHost>\n", "2:12 any-name\n"},
      });
}

TEST(ATemplate, IsLookedAtWithItsValues) {
  ExpectFound(
      Dialect::kNginx, ValuesGiven::kAll,
      {
          {"a name without its old value", "server {\nserver_name {% $new %};\n}\n",
           "2:13 missing-old-value\n"},
          {"a name with it", "server {\nserver_name {% $both %};\n}\n", ""},
          {"a name without any", "server {\nserver_name {% $none %};\n}\n", ""},
          {"more names without their old value",
           "server {\nserver_name a;\nserver_name {% $new %};\n}\n", ""},
          {"any name without its old value", "server {\nserver_name [% $new %];\n}\n",
           "2:13 any-name\n"},
          {"a name outside of all blocks", "server_name {% $new %};\n", ""},
          {"an opening line", "location {% $new %} {\n}\n", "1:10 missing-old-value\n"},
          {"a line that names nothing", "server {\nx {% $new %};\n}\n", ""},
          {"values that nothing sets, each once", "x {% $new %} {% $a %} {% $a %} [% $b %];\n",
           "1:14 unset-value\n1:32 unset-value\n"},
          {"operands that nothing sets",
           "{% if $a == $new and b or $c != $d %}\nx 1;\n{% elif none %}\nx 2;\n{% endif %}\n",
           "1:7 unset-value\n1:22 unset-value\n1:24 mixed-and-or\n1:27 unset-value\n"
           "1:33 unset-value\n"},
      });
  ExpectFound(Dialect::kNginx, ValuesGiven::kNone,
              {{"values that are not known yet", "x {% $a %};\n{% if b %}\n{% endif %}\n", ""}});
}

// --- Imports ---

// By its name; none is there of others.
std::optional<ImportedFile> ImportedOf(const std::string& name, const FilePlace&) {
  const std::map<std::string, std::string> files = {{"inner", "x 1;\n"},
                                                    {"empty", ""},
                                                    {"outer", "x 1;\n{% import none %}\n"},
                                                    {"odd", "x 1;\n{% endif %}\n"}};
  if (name == "large") return ImportedFile{"/t/large", "", "'/t/large' is too large"};
  const auto file = files.find(name);
  if (file == files.end()) return std::nullopt;
  return ImportedFile{"/t/" + name, file->second};
}

TEST(AnImport, IsLookedInto) {
  struct ImportCase {
    std::string name;
    std::string text;
    std::string expected;  // what is said, and the line that it is about
  };
  const std::string missing =
      " 'none', and an edit is refused because of it. Correct its name, or take the import out";
  const ImportCase cases[] = {
      {"one that is there", "{% import inner %}\nx 2;\n", ""},
      {"two files", "{% import inner %}\n{% import empty %}\n", ""},
      {"no such file", "x 2;\n  {% import none %}\n",
       "site.template:2:6: there is no file" + missing + " [missing-import]   {% import none %}\n"},
      {"two in a row", "{% import none %}\n{% import inner %}\n{% import none %}\nx 2;\n",
       "site.template:1:4: there is no file" + missing + " [missing-import] {% import none %}\n" +
           "site.template:3:4: there is no file" + missing +
           " [missing-import] {% import none %}\n"},
      {"in an import", "{% import outer %}\n",
       "/t/outer:2:4: there is no file" + missing + " [missing-import] {% import none %}\n"},
      {"one that cannot be read", "{% import large %}\n",
       "site.template:1:4: '/t/large' is too large, and an edit is refused because of it "
       "[missing-import] {% import large %}\n"},
      {"one a second time", "{% import inner %}\nx 2;\n{% import inner %}\n",
       "site.template:3:4: '/t/inner' is imported a second time, which makes the template fail. "
       "Import each file once, before all lines that need it [repeated-import] "
       "{% import inner %}\n"},
  };
  for (const ImportCase& c : cases) {
    Request request;
    request.template_name = "site.template";
    request.template_text = c.text;
    request.importer = ImportedOf;
    std::string said;
    for (const Finding& finding : Lint(request, ValuesGiven::kNone)) {
      said += Shown(finding) + " [" + finding.name + "] " + finding.line_text + "\n";
    }
    EXPECT_EQ(said, c.expected) << c.name;
  }
}

TEST(AnImport, IsLookedAtLineByLine) {
  Request request;
  request.template_name = "site.template";
  request.template_text = "x 1;\n{% import odd %}\n{% else %}\n";
  request.importer = ImportedOf;
  const std::vector<Finding> findings = Lint(request, ValuesGiven::kNone);
  ASSERT_EQ(findings.size(), 2U) << AllOf(findings);
  EXPECT_EQ(Shown(findings[0].template_place), "/t/odd:2:1");
  EXPECT_EQ(findings[0].name, "extra-endif");
  EXPECT_EQ(Shown(findings[1].template_place), "site.template:3:1");
  EXPECT_EQ(findings[1].name, "stray-else");
}

}  // namespace
}  // namespace tov_edit
