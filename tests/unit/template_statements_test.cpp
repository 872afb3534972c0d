// SPDX-License-Identifier: Apache-2.0

// The statements of a template, and the items that its other lines become.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/template_probe.h"
#include "template/framework/tov_err.h"
#include "template/nginx.h"
#include "template/template.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using tov_template::Nginx;
using tov_template::Template;

namespace {

using Lines = std::vector<std::string>;
using Values = std::map<std::string, std::string>;

// The items of the template `text`: "+" or "-" for taken or not, then the line.
Lines ItemsOf(const std::string& text, const Values& new_values = {}) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.new_values = new_values;
  probe.SetTemplate(text);
  return probe.Items();
}

std::string Text(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

struct Case {
  const char* name;
  Values new_values;
  Lines text;
  Lines items;
};

void ExpectItems(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ItemsOf(Text(c.text), c.new_values), c.items);
  }
}

TEST(TemplateLines, BecomeItems) {
  struct LineCase {
    const char* name;
    const char* text;
    Lines items;
  };
  const LineCase cases[] = {
      {"no text", "", {}},
      {"a line end alone", "\n", {"+"}},
      {"one line", "a", {"+a"}},
      {"a line end at the end makes no further line", "a\n", {"+a"}},
      {"the last line needs no line end", "a\nb", {"+a", "+b"}},
      {"an empty line is a line", "a\n\nb", {"+a", "+", "+b"}},
      {"blanks are kept", "  a \n \t\nb\r\n", {"+  a ", "+ \t", "+b\r"}},
  };
  for (const LineCase& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ItemsOf(c.text), c.items);
  }
}

TEST(TemplateLines, LoseTheirComments) {
  ExpectItems({
      {"behind a line, its blanks are kept", {}, {"root /srv; {#} note"}, {"+root /srv; "}},
      {"from the first marker on", {}, {"a {#} b {#} c"}, {"+a "}},
      {"without blanks", {}, {"a{#}b"}, {"+a"}},
      {"a comment line is dropped", {}, {"a", "   {#} note", "{#}", "b"}, {"+a", "+b"}},
      {"not part of a marker", {}, {"{# a", "# b"}, {"+{# a", "+# b"}},
      {"a value may hold the marker", {{"v", "x {#} y"}}, {"a {% $v %}"}, {"+a x {#} y"}},
      {"a place behind the marker is no place", {}, {"a {#} {% $none %}"}, {"+a "}},
      {"a statement behind the marker is none", {}, {"{#} {% if $no %}", "a"}, {"+a"}},
  });
}

TEST(TemplateLines, OpenBlocksByTheDialect) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.SetTemplate("\t server {  {#} main\nroot /srv;\nlocation / { return 404; }\nif { # no");
  std::vector<std::string> sections;
  for (const auto& item : probe.m_actions) {
    sections.push_back(TemplateProbe::Shown(item.m_section));
  }
  const std::string none = "{new '' old '' key ''}";
  EXPECT_THAT(sections,
              ElementsAre("{new 'server {' old 'server {' key 'server {'}", none, none, none));
}

TEST(Statements, KeywordTable) {
  struct LineCase {
    const char* line;
    bool is_if, is_import;
    const char* statement;  // what it does; "" for an ordinary line
  };
  const LineCase cases[] = {
      {"{% endif %}", false, false, "endif"},
      {"{%endif", false, false, "endif"},
      {"{% endifs %}", false, false, "endif"},
      {"  {%\tendif x y z", false, false, "endif"},
      {"{% endif %} text", false, false, "endif"},
      {"{% endif {#} %}", false, false, "endif"},
      {"{% else %}", false, false, "else"},
      {"{%else", false, false, "else"},
      {"{% elseif $a %}", false, false, "else"},
      {"{% elsewhere", false, false, "else"},
      {"{% elif $a %}", false, false, "elif"},
      {"{%elif", false, false, "elif"},
      {"{% elif%}", false, false, "elif"},
      {"{% if $a == 1 %}", true, false, "if"},
      {"\t{%if $a", true, false, "if"},
      {"{% iffy %}", true, false, "if"},
      {"{%   if", true, false, "if"},
      {"{% import /no/such/file %}", false, true, "import"},
      {"{%import", false, true, "import"},
      {"{% importance %}", false, true, "import"},
      {"{% foreach %}", false, false, ""},
      {"{% If $a %}", false, false, ""},
      {"{% ENDIF %}", false, false, ""},
      {"{% end %}", false, false, ""},
      {"{% el if %}", false, false, ""},
      {"{ % if $a %}", false, false, ""},
      {"{%% if $a %}", false, false, ""},
      {"[% if $a %]", false, false, ""},
      {"x {% endif %}", false, false, ""},
      {"if $a", false, false, ""},
      {"{%", false, false, ""},
      {"", false, false, ""},
  };
  const std::map<std::string, std::string> effects = {
      {"endif", "+++ +++ "}, {"else", "+-+ +-+ "},   {"elif", "+-+ -++ "},
      {"if", "--- --- "},    {"import", "-++ -++ "}, {"", "--++ --++ "},
  };
  for (const LineCase& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(Template::IsIf(c.line), c.is_if);
    EXPECT_EQ(Template::IsImport(c.line), c.is_import);

    // In a chain whose first branch was not taken, with an else behind it: what becomes of the
    // lines around that, with and without the values, tells the statements apart.
    const std::string text =
        std::string("{% if $no %}\n") + c.line + "\nx\n{% else %}\ny\n{% endif %}\nz";
    std::string taken;
    for (const Values& values : {Values{{"a", "1"}, {"", "1"}}, Values{}}) {
      for (const std::string& item : ItemsOf(text, values)) taken += item.front();
      taken += ' ';
    }
    EXPECT_EQ(taken, effects.at(c.statement));
  }
}

TEST(Statements, AnUnknownKeywordMakesAnOrdinaryLine) {
  ExpectItems({
      {"its place is the whole line", {}, {"{% foreach $x %}"}, {"+foreach $x"}},
      {"text before a statement", {}, {"x {% endif %} y"}, {"+endif"}},
      {"a value's place", {{"if", "v"}}, {"{% $if %}"}, {"+v"}},
  });
}

TEST(IfStatement, TakesOneOfTwoBranches) {
  const Lines text = {"{% if $a == 1 %}", "x", "{% else %}", "y", "{% endif %}", "z"};
  ExpectItems({
      {"the first", {{"a", "1"}}, text, {"+x", "-y", "+z"}},
      {"the second", {{"a", "2"}}, text, {"-x", "+y", "+z"}},
      {"not set", {}, text, {"-x", "+y", "+z"}},
  });
}

TEST(IfStatement, LooksAtNewValuesOnly) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.old_values["a"] = "1";
  probe.SetTemplate("{% if $a %}\nx\n{% endif %}\n{% if $b %}\ny\n{% elif $a %}\nz");
  EXPECT_THAT(probe.Items(), ElementsAre("-x", "-y", "-z"));
}

TEST(IfStatement, WithinABranchNotTakenIsNeverTaken) {
  ExpectItems({
      {"nor is its else",
       {{"a", "1"}},
       {"{% if $no %}", "{% if $a %}", "x", "{% else %}", "y", "{% endif %}", "z", "{% endif %}"},
       {"-x", "-y", "-z"}},
      {"nor is its elif",
       {{"a", "1"}},
       {"{% if $no %}", "{% if $no %}", "x", "{% elif $a %}", "y", "{% endif %}"},
       {"-x", "-y"}},
      {"in an else not taken",
       {{"a", "1"}},
       {"{% if $a %}", "{% else %}", "{% if $a %}", "x", "{% else %}", "y", "{% endif %}"},
       {"-x", "-y"}},
      {"in the elif behind the branch taken",
       {{"a", "1"}},
       {"{% if $a %}", "{% elif $a %}", "{% if $a %}", "x", "{% endif %}", "{% endif %}", "y"},
       {"-x", "+y"}},
      {"three levels down",
       {{"a", "1"}},
       {"{% if $no %}", "{% if $a %}", "{% if $a %}", "x", "{% elif $a %}", "y", "{% else %}", "z"},
       {"-x", "-y", "-z"}},
  });
}

TEST(IfStatement, WithinABranchTakenStandsForItself) {
  ExpectItems({
      {"taken, not taken, and what follows",
       {{"a", "1"}},
       {"{% if $a %}", "{% if $a %}", "x", "{% else %}", "y", "{% endif %}", "{% if $no %}", "z",
        "{% else %}", "u", "{% endif %}", "v", "{% endif %}", "w"},
       {"+x", "-y", "-z", "+u", "+v", "+w"}},
      {"in an else",
       {{"a", "1"}},
       {"{% if $no %}", "{% else %}", "{% if $a %}", "x", "{% else %}", "y"},
       {"+x", "-y"}},
      {"its elif",
       {{"a", "1"}},
       {"{% if $a %}", "{% if $no %}", "x", "{% elif $a %}", "y", "{% else %}", "z"},
       {"-x", "+y", "-z"}},
  });
}

TEST(IfStatement, NeedsNoEndif) {
  ExpectItems({
      {"not taken", {}, {"x", "{% if $no %}", "y"}, {"+x", "-y"}},
      {"two open", {{"a", "1"}}, {"{% if $a %}", "{% if $no %}", "y"}, {"-y"}},
  });
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.SetTemplate("{% if $no %}\nx");
  probe.SetTemplate("y");
  EXPECT_THAT(probe.Items(), ElementsAre("+y")) << "the chain ends with its template";
}

TEST(IfStatement, ReadsItsConditionFromThePlace) {
  ExpectItems({
      {"without an end", {{"a", "1"}}, {"{% if $a == 1", "x"}, {"+x"}},
      {"what follows does not count", {{"a", "1"}}, {"{% if $a %} == 2 %}", "x"}, {"+x"}},
      {"filled in by a trailing place",
       {{"n", "port"}, {"port", "80"}},
       {"{% if [% $n %] == 80 %}", "x"},
       {"+x"}},
      {"a trailing place without its value: the empty condition",
       {{"n", "1"}},
       {"{% if [% $none %] != 1 %}", "x"},
       {"-x"}},
      {"a trailing place without $ is the whole statement, with its first word for the keyword",
       {{"n", "1"}},
       {"{% if [% n %] %}", "x", "{% endif %}", "{% if [% is $n %] %}", "y"},
       {"-x", "+y"}},
      {"the comment marker is a word like any other",
       {{"a", "{#}"}},
       {"{% if $a == {#} %}", "x"},
       {"+x"}},
      {"the keyword goes on: no condition is left", {{"iffy", "1"}}, {"{% iffy %}", "x"}, {"-x"}},
  });
}

TEST(ElifStatement, LooksAtTheBranchJustBefore) {
  const Values a = {{"a", "1"}};
  ExpectItems({
      {"behind if", a, {"{% if $a %}", "x", "{% elif $a %}", "y"}, {"+x", "-y"}},
      {"behind if not taken", a, {"{% if $no %}", "x", "{% elif $a %}", "y"}, {"-x", "+y"}},
      {"its condition counts", a, {"{% if $no %}", "x", "{% elif $no %}", "y"}, {"-x", "-y"}},
      {"true, true, true: the third is taken again",
       a,
       {"{% if $a %}", "x", "{% elif $a %}", "y", "{% elif $a %}", "z"},
       {"+x", "-y", "+z"}},
      {"and the fourth is not",
       a,
       {"{% if $a %}", "x", "{% elif $a %}", "y", "{% elif $a %}", "z", "{% elif $a %}", "u"},
       {"+x", "-y", "+z", "-u"}},
      {"behind else not taken",
       a,
       {"{% if $a %}", "x", "{% else %}", "y", "{% elif $a %}", "z"},
       {"+x", "-y", "+z"}},
      {"behind else taken",
       a,
       {"{% if $no %}", "x", "{% else %}", "y", "{% elif $a %}", "z"},
       {"-x", "+y", "-z"}},
      {"of the enclosing chain the latest branch counts",
       a,
       {"{% if $no %}", "{% elif $a %}", "{% if $no %}", "x", "{% elif $a %}", "y"},
       {"-x", "+y"}},
  });
}

TEST(ElseStatement, LooksAtTheWholeChain) {
  const Values a = {{"a", "1"}};
  ExpectItems({
      {"no branch taken",
       a,
       {"{% if $no %}", "x", "{% elif $no %}", "y", "{% else %}", "z"},
       {"-x", "-y", "+z"}},
      {"the first taken, the one before not",
       a,
       {"{% if $a %}", "x", "{% elif $no %}", "y", "{% else %}", "z"},
       {"+x", "-y", "-z"}},
      {"one in the middle taken",
       a,
       {"{% if $no %}", "{% elif $a %}", "x", "{% elif $no %}", "{% else %}", "y"},
       {"+x", "-y"}},
      {"a second else behind one that was taken",
       a,
       {"{% if $no %}", "{% else %}", "x", "{% else %}", "y", "{% else %}", "z"},
       {"+x", "-y", "-z"}},
      {"an enclosing branch that is the second of its chain",
       a,
       {"{% if $a %}", "{% elif $no %}", "{% if $no %}", "x", "{% else %}", "y"},
       {"-x", "-y"}},
  });
}

TEST(Statements, LonelyElse) {
  const Values a = {{"a", "1"}};
  ExpectItems({
      {"at the start", a, {"{% else %}", "x"}, {"+x"}},
      {"behind a closed chain", a, {"{% if $a %}", "{% endif %}", "{% else %}", "x"}, {"+x"}},
      {"opens no chain", a, {"{% else %}", "{% if $no %}", "x", "{% endif %}", "y"}, {"-x", "+y"}},
      {"twice", a, {"{% else %}", "{% else %}", "x"}, {"+x"}},
  });
  TemplateProbe probe = TemplateOn<Nginx>("");
  LogCapture log;
  probe.SetTemplate("{% else %}");
  EXPECT_THAT(log.Messages(), ElementsAre("Create tapestack"));
}

TEST(Statements, WithoutAChainEndifAndElifChangeNothing) {
  const Values a = {{"a", "1"}};
  ExpectItems({
      {"endif", a, {"{% endif %}", "x"}, {"+x"}},
      {"one endif too many",
       a,
       {"{% if $no %}", "x", "{% endif %}", "{% endif %}", "y", "{% if $no %}", "z"},
       {"-x", "+y", "-z"}},
      {"elif not taken", a, {"{% elif $no %}", "x"}, {"+x"}},
      {"elif taken", a, {"{% elif $a %}", "x", "{% elif $a %}", "y"}, {"+x", "+y"}},
      {"elif is no chain for an else", a, {"{% elif $no %}", "{% else %}", "x"}, {"+x"}},
      {"endif closes all branches of a chain",
       a,
       {"{% if $a %}", "{% elif $no %}", "{% else %}", "{% endif %}", "x"},
       {"+x"}},
  });
}

TEST(Statements, EmptyCondition) {
  const Lines text = {"{% if %}", "x", "{% elif %}", "y", "{% endif %}"};
  ExpectItems({
      {"not taken", {{"a", "1"}}, text, {"-x", "-y"}},
      {"taken where a value has the empty name", {{"", "1"}}, text, {"+x", "-y"}},
  });
}

TEST(Statements, AreLogged) {
  struct LogCase {
    const char* name;
    Values new_values;
    Lines text;
    Lines messages;
  };
  const LogCase cases[] = {
      {"no text", {}, {}, {"Create tapestack"}},
      {"lines leave no record", {}, {"a", "", "{#} b", "{% foreach %}"}, {"Create tapestack"}},
      {"if and else",
       {{"a", "1"}},
       {"{% if $a == 1 %}", "x", " {% else %} ", "y", "{% endif %}"},
       {"Create tapestack", "lvalue 1, m_sign ==, rvalue 1", "'if $a == 1' with result 'true'",
        "Append 'false' into stack", "' {% else %} ' with result 'false'"}},
      {"if, elif and else",
       {{"a", "1"}},
       {"{% if $no %}", "{% elif $a %}", "{% elif $a %}", "{% else %}"},
       {"Create tapestack",                                             //
        "lvalue no, m_sign , rvalue ", "'if $no' with result 'false'",  //
        "lvalue a, m_sign , rvalue ", "Append 'true' into stack",       //
        "'elif $a' with result 'true'",                                 //
        "lvalue a, m_sign , rvalue ", "Append 'false' into stack",      //
        "'elif $a' with result 'false'",                                //
        "Append 'false' into stack", "'{% else %}' with result 'false'"}},
      {"the result takes the enclosing branch into account",
       {{"a", "1"}},
       {"{% if $no %}", "{% if $a %}", "{% elif $a %}", "{% else %}"},
       {"Create tapestack", "lvalue no, m_sign , rvalue ", "'if $no' with result 'false'",
        "lvalue a, m_sign , rvalue ", "'if $a' with result 'false'", "lvalue a, m_sign , rvalue ",
        "Append 'false' into stack", "'elif $a' with result 'false'", "Prev-stack value 'false'",
        "Append 'false' into stack", "'{% else %}' with result 'false'"}},
      {"an else within a branch taken",
       {{"a", "1"}},
       {"{% if $a %}", "{% if $no %}", "{% else %}"},
       {"Create tapestack", "lvalue a, m_sign , rvalue ", "'if $a' with result 'true'",
        "lvalue no, m_sign , rvalue ", "'if $no' with result 'false'", "Prev-stack value 'true'",
        "Append 'true' into stack", "'{% else %}' with result 'true'"}},
      {"an elif without a chain",
       {{"a", "1"}},
       {"{% elif $a %}", "{% elif $no %}"},
       {"Create tapestack", "lvalue a, m_sign , rvalue ", "Append 'true' into stack",
        "'elif $a' with result 'true'", "lvalue no, m_sign , rvalue ", "Append 'false' into stack",
        "'elif $no' with result 'false'"}},
      {"the statement is shown with its trailing places filled in",
       {{"n", "a"}},
       {"  {% if [% $n %] == x %} y"},
       {"Create tapestack", "lvalue a, m_sign ==, rvalue x", "'if a == x' with result 'false'"}},
      {"an endif without a chain", {}, {"{% endif %}"}, {"Create tapestack"}},
      {"an import of a missing file", {}, {"{% import /no/such/file %}"}, {"Create tapestack"}},
  };
  for (const LogCase& c : cases) {
    SCOPED_TRACE(c.name);
    TemplateProbe probe = TemplateOn<Nginx>("");
    probe.new_values = c.new_values;
    LogCapture log;
    probe.SetTemplate(Text(c.text));
    EXPECT_EQ(log.Messages(), c.messages);
    for (const LogCapture::Record& record : log.Records()) {
      EXPECT_EQ(record.level, 9);
      EXPECT_THAT(record.text, StartsWith("template.cpp:"));
    }
  }
}

TEST(SetTemplate, ReplacesTheItems) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.SetTemplate("a\nb");
  probe.SetTemplate("c");
  EXPECT_THAT(probe.Items(), ElementsAre("+c"));
  probe.SetTemplate("");
  EXPECT_THAT(probe.Items(), IsEmpty());
}

TEST(SetTemplate, EvaluatesOnce) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.new_values = {{"a", "1"}, {"v", "old"}};
  probe.SetTemplate("{% if $a %}\n{% $v %}\n{% endif %}");
  probe.new_values = {{"v", "new"}};
  EXPECT_THAT(probe.Items(), ElementsAre("+old"));
}

TEST(SetTemplate, LeavesTheConfigurationAlone) {
  const std::string config = "server {\nroot /a;\n}";
  TemplateProbe probe = TemplateOn<Nginx>(config);
  probe.SetTemplate("{% if $no %}\nserver {\nroot /a;\n}\n{% endif %}\nserver {\nroot /b;\n}");
  EXPECT_EQ(probe.Text(), config);
}

TEST(ImportStatement, PutsTheFilesLinesInItsPlace) {
  const TemplateFiles files;
  const std::string import = files.Import("x", "one\n\n  two  \nthree\n");
  EXPECT_THAT(ItemsOf("before\n" + import + "\nafter"),
              ElementsAre("+before", "+one", "+", "+  two  ", "+three", "+after"));
  EXPECT_THAT(ItemsOf("before\n" + import),
              ElementsAre("+before", "+one", "+", "+  two  ", "+three"))
      << "as the last line";
  EXPECT_THAT(ItemsOf(import + "\n\n\nafter"),
              ElementsAre("+one", "+", "+  two  ", "+three", "+", "+", "+after"))
      << "empty lines behind it stay";
}

TEST(ImportStatement, TrimsTheFile) {
  const TemplateFiles files;
  struct FileCase {
    const char* name;
    const char* content;
    Lines items;
  };
  const FileCase cases[] = {
      {"blanks and line ends around it",
       "\n\n \t one\n two \n\n \n",
       {"+a", "+one", "+ two", "+b"}},
      {"an empty file", "", {"+a", "+b"}},
      {"a file of blanks and line ends", " \n\n\t\n", {"+a", "+b"}},
      {"no line end at its end", "one", {"+a", "+one", "+b"}},
  };
  for (const FileCase& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ItemsOf("a\n" + files.Import("x", c.content) + "\nb"), c.items);
  }
}

TEST(ImportStatement, Nests) {
  const TemplateFiles files;
  const std::string deepest = files.Import("deepest", "five");
  const std::string deep = files.Import("deep", "four\n" + deepest + "\nsix");
  const std::string second = files.Import("second", "eight\n");
  const std::string first = files.Import("first", "two\nthree\n" + deep + "\n" + second + "\nnine");
  EXPECT_THAT(
      ItemsOf("one\n" + first + "\nten"),
      ElementsAre("+one", "+two", "+three", "+four", "+five", "+six", "+eight", "+nine", "+ten"));
}

TEST(ImportStatement, AFileMayHoldNothingButAnImport) {
  const TemplateFiles files;
  const std::string inner = files.Import("inner", "x");
  const std::string outer = files.Import("outer", inner);
  EXPECT_THAT(ItemsOf(outer + "\n" + "y"), ElementsAre("+x", "+y"));
}

TEST(ImportStatement, NestsDeeply) {
  const TemplateFiles files;
  std::string import = files.Import("0", "x");
  for (int i = 1; i < 500; ++i) import = files.Import(std::to_string(i), import + "\ny");
  const Lines items = ItemsOf(import);
  ASSERT_EQ(items.size(), 500u);
  EXPECT_EQ(items.front(), "+x");
}

TEST(ImportStatement, ReadsStatementsAndPlacesOfTheFile) {
  const TemplateFiles files;
  const std::string import =
      files.Import("x", "{% if $a %}\n{% $v %}\n{% else %}\nno\n{% endif %}\nlast {#} note");
  EXPECT_THAT(ItemsOf(import, {{"a", "1"}, {"v", "V"}}), ElementsAre("+V", "-no", "+last "));
}

TEST(ImportStatement, AFileMayOpenAndCloseTheChainsAroundIt) {
  const TemplateFiles files;
  const std::string opening = files.Import("open", "{% if $no %}\nx");
  EXPECT_THAT(ItemsOf(opening + "\ny\n{% endif %}\nz"), ElementsAre("-x", "-y", "+z"));
  const std::string closing = files.Import("close", "x\n{% endif %}");
  EXPECT_THAT(ItemsOf("{% if $no %}\n" + closing + "\ny"), ElementsAre("-x", "+y"));
}

TEST(ImportStatement, InABranchNotTakenIsCarriedOut) {
  const TemplateFiles files;
  const std::string import = files.Import("x", "one\n{% if $a %}\ntwo\n{% endif %}\nthree");
  EXPECT_THAT(ItemsOf("{% if $no %}\n" + import + "\nfour\n{% endif %}\nfive", {{"a", "1"}}),
              ElementsAre("-one", "-two", "-three", "-four", "+five"));
}

TEST(ImportStatement, FindsThePath) {
  const TemplateFiles files;
  const std::string path = files.Write("with blank.conf", "x");
  const std::string relative = std::filesystem::relative(path).string();
  ASSERT_NE(relative.front(), '/');
  struct PathCase {
    const char* name;
    Values new_values;
    std::string line;
  };
  const PathCase cases[] = {
      {"with a blank in it", {}, "{% import " + path + " %}"},
      {"blanks around it", {}, "  {%  import \t  " + path + "  %}  "},
      {"without an end", {}, "{% import " + path},
      {"what follows does not count", {}, "{% import " + path + " %} {#} note"},
      {"relative to the current directory", {}, "{% import " + relative + " %}"},
      {"with dots",
       {},
       "{% import " + files.Path(".") + "/../" +
           std::filesystem::path(files.Path("")).parent_path().filename().string() +
           "/with blank.conf %}"},
      {"made of a trailing place", {{"path", path}}, "{% import [% $path %] %}"},
      {"made of two",
       {{"dir", files.Path("")}, {"name", "with blank"}},
       "{% import [% $dir %][% $name %].conf %}"},
  };
  for (const PathCase& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_THAT(ItemsOf(c.line + "\ny", c.new_values), ElementsAre("+x", "+y"));
  }
}

TEST(ImportStatement, OfAMissingFileIsDropped) {
  const TemplateFiles files;
  TemplateProbe probe = TemplateOn<Nginx>("");
  LogCapture log;
  const std::string import = "{% import " + files.Path("none") + " %}";
  probe.SetTemplate("a\n" + import + "\n" + import + "\nb");
  EXPECT_THAT(probe.Items(), ElementsAre("+a", "+b"));
  EXPECT_THAT(log.Messages(), ElementsAre("Create tapestack"));
}

TEST(Statements, ImportPath) {
  const TemplateFiles files;
  files.Write("x", "x");
  const Values values = {{"empty", ""}, {"path", files.Path("x")}};
  const std::string lines[] = {
      "{% import %}",
      "{% import",
      "{% import   %}",
      "{% importance %}",
      "{% import" + files.Path("x") + " %}",  // one word with the keyword
      "{% import [% $none %] %}",
      "{% import [% $empty %] %}",
      "{% import [% $path %] [% $none %] %}",
      "{% import {% $path %} %}",  // ends at the first "%}", and full places are not filled in
  };
  for (const std::string& line : lines) {
    SCOPED_TRACE(line);
    EXPECT_THAT(ItemsOf("a\n" + line + "\nb", values), ElementsAre("+a", "+b"));
  }
}

TEST(ImportStatement, IsLogged) {
  const TemplateFiles files;
  const std::string import = files.Import("x", "{% if $a %}");
  TemplateProbe probe = TemplateOn<Nginx>("");
  LogCapture log;
  probe.SetTemplate(import);
  EXPECT_THAT(log.Messages(),
              ElementsAre("Create tapestack", "Importing file '" + files.Path("x") + "'",
                          "lvalue a, m_sign , rvalue ", "'if $a' with result 'false'"));
}

// What SetTemplate throws for `text`, as "type: object (name=value mask)", and the items it leaves.
std::string ErrorOf(TemplateProbe& probe, const std::string& text) {
  try {
    probe.SetTemplate(text);
  } catch (const tov_err::Error& error) {
    std::string shown = error.type() + ": " + error.object();
    for (const auto& param : error.params()) {
      shown += " (" + param.name + "=" + param.value + " " + std::to_string(param.mask) + ")";
    }
    return shown;
  }
  return "nothing thrown";
}

std::string CircularImport(const std::string& path) {
  return "template: circular_import (filename=" + path + " 3758096384)";  // 0xE0000000
}

TEST(ImportStatement, OfAFileAlreadyImportedIsRefused) {
  const TemplateFiles files;
  const std::string path = files.Path("x");
  const std::string import = files.Import("x", "x");
  std::filesystem::create_symlink(path, files.Path("link"));
  const std::string itself = files.Import("self", "s\n{% import " + files.Path("self") + " %}\nt");
  files.Write("there", "there\n{% import " + files.Path("back") + " %}");
  const std::string back =
      files.Import("back", "back\n{% import " + files.Path("there") + " %}\nend");
  const std::string empty = files.Import("empty", "");

  struct RefusedCase {
    const char* name;
    std::string text;
    std::string path;
    Lines items;
  };
  const RefusedCase cases[] = {
      {"twice, side by side", "a\n" + import + "\nb\n" + import + "\nc", path, {"+a", "+x", "+b"}},
      {"by a link", import + "\n{% import " + files.Path("link") + " %}", path, {"+x"}},
      {"by another spelling",
       import + "\n{% import " + files.Path("./../") +
           std::filesystem::path(path).parent_path().filename().string() + "//x %}",
       path,
       {"+x"}},
      {"itself", itself, files.Path("self"), {"+s"}},
      {"there and back", back, files.Path("back"), {"+back", "+there"}},
      {"in branches not taken",
       "{% if $no %}\n" + import + "\n{% else %}\n" + import,
       path,
       {"-x"}},
      {"an empty one", empty + "\n" + empty, files.Path("empty"), {}},
  };
  for (const RefusedCase& c : cases) {
    SCOPED_TRACE(c.name);
    TemplateProbe probe = TemplateOn<Nginx>("");
    probe.SetTemplate("earlier");
    EXPECT_EQ(ErrorOf(probe, c.text), CircularImport(c.path));
    EXPECT_EQ(probe.Items(), c.items);
  }
}

TEST(ImportStatement, RefusedIsLoggedBefore) {
  const TemplateFiles files;
  const std::string import = files.Import("x", "x");
  TemplateProbe probe = TemplateOn<Nginx>("");
  LogCapture log;
  EXPECT_THROW(probe.SetTemplate(import + "\n" + import), tov_err::Error);
  const std::string importing = "Importing file '" + files.Path("x") + "'";
  EXPECT_THAT(log.Messages(), ElementsAre("Create tapestack", importing, importing));
}

TEST(ImportStatement, MayNameAFileOfAnEarlierTemplate) {
  const TemplateFiles files;
  const std::string import = files.Import("x", "x");
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.SetTemplate(import);
  probe.SetTemplate(import + "\ny");
  EXPECT_THAT(probe.Items(), ElementsAre("+x", "+y"));
  EXPECT_THROW(probe.SetTemplate(import + "\n" + import), tov_err::Error);
  probe.SetTemplate(import);
  EXPECT_THAT(probe.Items(), ElementsAre("+x")) << "also after an error";
}

TEST(ImportStatement, OfADirectoryIsTheReadError) {
  const TemplateFiles files;
  const std::string directory = files.Path(".");
  const std::string path = std::filesystem::canonical(directory).string();
  TemplateProbe probe = TemplateOn<Nginx>("");
  LogCapture log;
  const std::string error = ErrorOf(probe, "a\n{% import " + directory + " %}\nb");
  EXPECT_THAT(error, StartsWith("file: read (filename=" + path + " "));
  EXPECT_THAT(probe.Items(), ElementsAre("+a"));
  EXPECT_THAT(log.Messages(), ElementsAre("Create tapestack", "Importing file '" + path + "'"));
}

// An error ends the reading before blocks get their identities.
TEST(ImportStatement, RefusedLeavesTheItemsUntuned) {
  const TemplateFiles files;
  const std::string import = files.Import("x", "");
  TemplateProbe probe = TemplateOn<Nginx>("");
  const std::string block = "server {\nserver_name a;\n}\n";
  EXPECT_THROW(probe.SetTemplate(block + import + "\n" + import), tov_err::Error);
  EXPECT_THAT(probe.Sections(), ElementsAre("server {"));
  probe.SetTemplate(block + import);
  EXPECT_THAT(probe.Sections(), ElementsAre("server { server_name a"));
}

TEST(SetTemplate, TakesTwoHundredThousandLines) {
  constexpr int kBlocks = 50000;
  std::string text;
  for (int i = 0; i < kBlocks; ++i) {
    text += "location /" + std::to_string(i) + " {\n{% if $a %}\nroot {% $a %};\n}\n";
    text += "{% endif %}\n";
  }
  const Lines items = ItemsOf(text, {{"a", "/srv"}});
  ASSERT_EQ(items.size(), 3u * kBlocks);
  EXPECT_EQ(items[items.size() - 2], "+root /srv;");

  std::string plain;
  for (int i = 0; i < 200000; ++i) plain += "x\n";
  EXPECT_EQ(ItemsOf(plain).size(), 200000u);
}

TEST(SetTemplate, TakesAHundredThousandElsesOfAChain) {
  std::string text = "{% if $no %}\n";
  for (int i = 0; i < 50000; ++i) text += "{% elif $no %}\n";
  for (int i = 0; i < 100000; ++i) text += "{% else %}\n";
  EXPECT_THAT(ItemsOf(text + "x"), ElementsAre("-x"));
}

TEST(SetTemplate, RecordsItsStatements) {
  TemplateProbe probe(std::make_shared<Nginx>(""));
  probe.new_values = {{"a", "1"}};
  const std::string text =
      "x\n{% if $a == 2 %}\ny\n{% if $a %}\n{% endif %}\n{% elif $a == 1 %}\n{% else %}\nz\n"
      "{% endif %}\n{% import nowhere %}\n";
  for (int i = 0; i < 2; ++i) {  // the second time the same, not more
    probe.SetTemplate(text);
    std::vector<std::string> records;
    for (const auto& record : probe.m_statements) {
      records.push_back(std::to_string(record.m_place.line) + ": " + record.m_text +
                        (record.m_result ? " +" : " -") + std::to_string(record.m_next_item));
    }
    EXPECT_THAT(records,
                ElementsAre("2: if $a == 2 -1", "4: if $a -2", "5: endif +2", "6: elif $a == 1 +2",
                            "7: else -2", "9: endif +3", "10: import nowhere -3"));
  }
  EXPECT_EQ(probe.m_actions.front().m_text, "x");
}

TEST(SetTemplate, TakesTwentyThousandNestedIfs) {
  constexpr int kDepth = 20000;
  std::string text;
  for (int i = 0; i < kDepth; ++i) text += "{% if $a %}\n";
  text += "{% if $no %}\nx\n{% else %}\ny\n{% endif %}\n";
  for (int i = 0; i < kDepth; ++i) text += "{% endif %}\n";
  text += "z";
  EXPECT_THAT(ItemsOf(text, {{"a", "1"}}), ElementsAre("-x", "+y", "+z"));
  EXPECT_THAT(ItemsOf(text), ElementsAre("-x", "-y", "+z"));
}

TEST(SetTemplate, TakesAChainOfFiftyThousandElifs) {
  constexpr int kCount = 50000;
  std::string text = "{% if $no %}\nfirst\n";
  for (int i = 0; i < kCount; ++i) text += "{% elif $no %}\n";
  text += "{% elif $a %}\nlast\n{% else %}\nelse\n{% endif %}\nend";
  EXPECT_THAT(ItemsOf(text, {{"a", "1"}}), ElementsAre("-first", "+last", "-else", "+end"));
  EXPECT_THAT(ItemsOf(text), ElementsAre("-first", "-last", "+else", "+end"));
}

TEST(SetTemplate, TakesAConditionOfAHundredThousandComparisons) {
  std::string text = "{% if $no";
  for (int i = 1; i < 100000; ++i) text += " or $no";
  EXPECT_THAT(ItemsOf(text + " %}\nx"), ElementsAre("-x"));
  EXPECT_THAT(ItemsOf(text + " or $a %}\nx", {{"a", "1"}}), ElementsAre("+x"));
}

}  // namespace
