// SPDX-License-Identifier: Apache-2.0

// How a template is read: its lines, its statements, its values, and what is wrong with them.

#include "edit/tree/template_tree.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

using Kind = TemplateLine::Kind;

std::string Server(const std::string& lines) {
  return "server {\nserver_name a;\n" + lines + "}\n";
}

// A template that is refused, whatever the configuration.
struct Refused {
  std::string name;
  std::string template_text;
  NamedValues values;
  std::string finding;
  std::string place;
  std::string part;
  Ask ask = nullptr;
};

// The first reason counts: what follows from it may be said, too.
void ExpectRefused(Dialect dialect, const std::string& config, const std::vector<Refused>& cases) {
  for (const Refused& c : cases) {
    SCOPED_TRACE(c.name);
    const Result result = Edit(RequestOf(dialect, c), config, "site.conf");
    EXPECT_EQ(result.text, config);
    ASSERT_FALSE(result.refusals.empty());
    ExpectFinding({result.refusals.front()}, {"", "", "", {}, c.finding, c.place, c.part});
  }
}

const std::string kSite = "server {\n\tserver_name a;\n}\n";

TEST(ACommentOfNginx, MayEndWithABackslash) {
  EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, Case{"", "", Server("# x \\\n"), {}, ""}), kSite),
            "server {\n\tserver_name a;\n\t# x \\\n}\n");
}

// --- The tree ---

std::string KindName(Kind kind) {
  switch (kind) {
    case Kind::kBlank:
      return "blank";
    case Kind::kComment:
      return "comment";
    case Kind::kDirective:
      return "directive";
    case Kind::kOpening:
      return "opening";
    case Kind::kClosing:
      return "closing";
  }
  return "";
}

std::string Listed(const WrittenPtr& written) {
  if (!written) return "-";
  std::string listed;
  for (const std::string& word : written->words) listed += (listed.empty() ? "" : "|") + word;
  return listed;
}

// A line of a template per line: where it is, what it is, in which block, and how it reads.
std::string TreeOf(const Request& request) {
  Findings findings;
  const TemplateTree tree = ReadTemplate(request, findings);
  EXPECT_EQ(AllOf(findings.refusals), "");
  std::string text;
  for (const TemplateLine& line : tree.lines) {
    text += Shown(line.place) + " " + KindName(line.kind) + " in " + std::to_string(line.block) +
            (line.enabled ? "" : " untaken") + ": " + Listed(line.was) + " -> " + Listed(line.now);
    if (line.beginning) {
      text += ", begins";
      for (const std::string& word : line.beginning->words) text += " " + word;
      if (!line.beginning->next.empty()) text += " and " + line.beginning->next;
    }
    text += "\n";
  }
  return text;
}

TEST(ATemplate, BecomesATree) {
  const Case c = {
      "",
      "",
      R"(user {% $user %};

# managed
server {
  server_name "{% $name %}" 'b c';
{% if $x %}
  access_log /var/[% $log %].log main;
  location /x {
    return [% $code %];
  }
{% else %}
	ssl_protocols {% $user %}; # which
{% endif %}
}
)",
      {{"user", "www", "nginx"}, {"name", kNone, "a"}, {"log", kNone, "l"}, {"code", kNone, "404"}},
      ""};
  EXPECT_EQ(TreeOf(RequestOf(Dialect::kNginx, c)),
            "site.template:1:1 directive in 0: user|www -> user|nginx\n"
            "site.template:2 blank in 0: - -> -\n"
            "site.template:3:1 comment in 0:  -> \n"
            "site.template:4:1 opening in 1: server -> server\n"
            "site.template:5:3 directive in 1: server_name|a|b c -> server_name|a|b c\n"
            "site.template:7:3 directive in 1 untaken: access_log|/var/l.log|main -> "
            "access_log|/var/l.log|main, begins access_log and /var/\n"
            "site.template:8:3 opening in 2 untaken: location|/x -> location|/x\n"
            "site.template:9:5 directive in 2 untaken: return|404 -> return|404, begins return\n"
            "site.template:10:3 closing in 2 untaken:  -> \n"
            "site.template:12:2 directive in 1: ssl_protocols|www -> ssl_protocols|nginx, begins "
            "ssl_protocols\n"
            "site.template:14:1 closing in 1:  -> \n");
}

TEST(ATemplate, OfApacheIsReadByItsOwnGrammar) {
  const Case c = {"",
                  "",
                  "<VirtualHost {% $a %} *:81 >\n  servername \"a b\"\n<if \"%{X} == 'y'\">\n"
                  "Define X \\\"\n</IF>\n</virtualhost>\n",
                  {{"a", "*:80", "*:82"}},
                  ""};
  EXPECT_EQ(TreeOf(RequestOf(Dialect::kApache, c)),
            "site.template:1:1 opening in 1: VirtualHost|*:80|*:81 -> VirtualHost|*:82|*:81\n"
            "site.template:2:3 directive in 1: servername|a b -> servername|a b\n"
            "site.template:3:1 opening in 2: if|%{X} == 'y' -> if|%{X} == 'y'\n"
            "site.template:4:1 directive in 2: Define|X|\\\" -> Define|X|\\\"\n"
            "site.template:5:1 closing in 2:  -> \n"
            "site.template:6:1 closing in 1:  -> \n");
}

// --- Lines ---

TEST(ALineThatIsNotOneDirective, IsRefused) {
  const auto refused = [](const std::string& name, const std::string& line,
                          const std::string& part) {
    return Refused{name, Server("  " + line + "\n"), {}, "template", "site.template:3:3:", part};
  };
  ExpectRefused(
      Dialect::kNginx, kSite,
      {refused("no terminator", "root /a",
               "this directive does not end. Write the whole of it on this line, with a \";\" at "
               "its end; an opening brace stands behind the name of its block: 'root /a'"),
       refused("two directives", "gzip on; etag on;",
               "this line holds more than one directive. Write each on a line of its own"),
       refused("a block on one line", "location / { return 404; }",
               "this line holds more than one directive"),
       refused("an opening and a directive", "location / { return 404;",
               "this line holds more than one directive"),
       refused("nothing but a terminator", ";", "there is no directive before this: ';'"),
       refused("nothing but an opening brace", "{", "there is no directive before this: '{'"),
       refused("a quote that does not close", "set $x \"a;", "this quote does not close"),
       refused("text behind a quote", "set $x \"a\"b;", "a quoted word ends with its quote"),
       refused("a block without the brace", "location /", "this directive does not end"),
       refused("code of another language", "content_by_lua_block {",
               "code in another language cannot stand in a template"),
       refused("a control byte", "root /\x01;",
               "this line holds a control byte, which no server reads as part of a word")});
  ExpectRefused(Dialect::kApache, "<VirtualHost *:80>\n</VirtualHost>\n",
                {{"a continued line",
                  "<VirtualHost *:80>\nServerAlias a \\\nb\n</VirtualHost>\n",
                  {},
                  "template",
                  "site.template:2:1:",
                  "'ServerAlias a \\'"},
                 {"a comment that is continued",
                  "<VirtualHost *:80>\n# a \\\nServerAlias b\n</VirtualHost>\n",
                  {},
                  "template",
                  "site.template:2:1:",
                  "this comment does not end with its line: '# a \\'"},
                 {"a bracket that is missing",
                  "<VirtualHost *:80\n</VirtualHost>\n",
                  {},
                  "template",
                  "site.template:1:1:",
                  "this line needs a \">\""}});
}

TEST(BlocksThatDoNotFitTogether, AreRefused) {
  ExpectRefused(
      Dialect::kNginx, kSite,
      {{"a closing line too many",
        Server("") + "}\n",
        {},
        "template",
        "site.template:4:1:",
        "there is no block that this line closes. Take it out"},
       {"a block that does not close",
        "server {\nserver_name a;\n",
        {},
        "template",
        "site.template:1:1:",
        "this block does not close"},
       {"opening lines in two branches, one closing line",
        "{% if $x %}\nserver {\n{% else %}\nserver {\n{% endif %}\nserver_name a;\n}\n",
        {},
        "template",
        "site.template:2:1:",
        "put the whole block into each branch"},
       {"a closing line in another branch",
        Server("{% if $x %}\nlocation / {\n{% endif %}\n}\n"),
        {},
        "template",
        "site.template:6:1:",
        "this line closes the block of site.template:4:1, which stands in another branch"},
       {"an if that does not end",
        "server {\nserver_name a;\n{% if $x %}\ngzip on;\n}\n",
        {},
        "template",
        "site.template:5:1:",
        "which stands in another branch"},
       {"text behind a closing brace",
        "server {\nserver_name a;\n} gzip on;\n",
        {},
        "template",
        "site.template:3:1:",
        "nothing may stand behind a closing brace"}});
  ExpectRefused(
      Dialect::kApache, "",
      {{"a closing line of another section",
        "<VirtualHost *:80>\nServerName a\n</Directory>\n",
        {},
        "template",
        "site.template:3:1:",
        "this line does not close the block of site.template:1:1, '<VirtualHost *:80>'"}});
}

TEST(TwoLinesForOneDirectiveThatStandsOnce, AreRefused) {
  ExpectRefused(Dialect::kNginx, kSite,
                {{"two values",
                  Server("root /a;\nroot {% $r %};\n"),
                  {{"r", "/a", "/b"}},
                  "template",
                  "site.template:4:1:",
                  "'root /b;' and 'root /a;' (site.template:3:1) are in one block, and the server "
                  "allows only one"},
                 {"a trailing place beside a full line",
                  Server("root /x;\nroot [% $r %];\n"),
                  {{"r", kNone, "/b"}},
                  "template",
                  "site.template:4:1:",
                  "'root /x;'"}});
  ExpectRefused(Dialect::kApache, "<VirtualHost *:80>\n</VirtualHost>\n",
                {{"in other letters",
                  "<VirtualHost *:80>\nDocumentRoot /a\ndocumentroot /b\n</VirtualHost>\n",
                  {},
                  "template",
                  "site.template:3:1:",
                  "'DocumentRoot /a' (site.template:2:1)"}});
  ExpectEdits(Dialect::kNginx,
              {{"in branches of which one is taken",
                "server {\n\tserver_name a;\n\troot /x;\n}\n",
                Server("{% if $r %}\nroot [% $r %];\n{% else %}\nroot /x;\n{% endif %}\n"),
                {{"r", kNone, "/b"}},
                "server {\n\tserver_name a;\n\troot /b;\n}\n"}});
}

TEST(LinesThatLookOdd, AreTaken) {
  ExpectEdits(Dialect::kNginx, {{"comments behind braces and directives",
                                 kSite,
                                 "server { # a\nserver_name a; # b\ngzip on; # c\n} # d\n",
                                 {},
                                 "server {\n\tserver_name a;\n\tgzip on; # c\n}\n"},
                                {"indentation and CRLF",
                                 kSite,
                                 "\tserver {\r\n   server_name a ;\r\n\tgzip  on;\r\n  }\r\n",
                                 {},
                                 "server {\n\tserver_name a;\n\tgzip  on;\n}\n"},
                                {"no blank before the brace",
                                 kSite,
                                 "server{\nserver_name a;\ngzip on;\n}\n",
                                 {},
                                 "server {\n\tserver_name a;\n\tgzip on;\n}\n"},
                                {"braces and a number sign in quotes",
                                 kSite,
                                 Server("set $x \"{;}#\";\n"),
                                 {},
                                 "server {\n\tserver_name a;\n\tset $x \"{;}#\";\n}\n"},
                                {"an access rule without its address",
                                 kSite,
                                 Server("allow;\n"),
                                 {},
                                 "server {\n\tserver_name a;\n\tallow;\n}\n"},
                                {"a brace of a variable",
                                 kSite,
                                 Server("set $x ${y};\n"),
                                 {},
                                 "server {\n\tserver_name a;\n\tset $x ${y};\n}\n"}});
}

// --- Values ---

TEST(AValueThatIsMoreThanItsPlace, IsRefused) {
  const std::string config = "server {\n\tserver_name a;\n\tindex a;\n}\n";
  const auto refused = [](const std::string& name, const std::string& value) {
    return Refused{
        name,    Server("index {% $v %};\n"), {{"v", "a", value}},
        "value", "site.template:3:1:",        "the value 'v' does not stay in its place"};
  };
  ExpectRefused(Dialect::kNginx, config,
                {refused("a terminator", "b; etag on"), refused("a terminator alone", "b;"),
                 refused("a closing brace", "b; } evil {"), refused("an opening brace", "b {"),
                 refused("a comment", "b #"), refused("an open quote", "\"b"),
                 refused("an open single quote", "'b"), refused("a blank", "b c"),
                 refused("a tab", "b\tc"), refused("nothing", ""), refused("blanks", "  ")});
}

// Each of them alone would stay in its place.
TEST(ValuesThatLeaveTheirPlacesTogether, AreRefused) {
  const std::string config = "server {\n\tserver_name a;\n\tindex a b;\n}\n";
  const auto refused = [](const std::string& name, const std::string& line, const std::string& v,
                          const std::string& w, const std::string& part) {
    return Refused{name,    Server(line + "\n"),  {{"v", kNone, v}, {"w", kNone, w}},
                   "value", "site.template:3:1:", part};
  };
  const std::string attack = "1.1.1.1; location /x { alias /etc/; } #";
  ExpectRefused(
      Dialect::kNginx, config,
      {refused("two directives each", "allow {% $v %}; # {% $w %}", attack, attack,
               "'v' does not stay"),
       refused("the same in one line", "index {% $v %} {% $w %};", attack, attack,
               "'v', 'w' do not stay"),
       refused("a quote that the other one closes", "index {% $v %} {% $w %};", "\"x", "y\"",
               "the value 'v' does not stay"),
       refused("an escape before the end of the quotes", "index \"{% $v %}\" \"{% $w %}\";", "x\\",
               " evil", "the value 'v' does not stay")});
}

TEST(AValueInAQuotedText, MayNotEndTheQuotes) {
  const auto refused = [](const std::string& name, const std::string& line,
                          const std::string& value) {
    return Refused{name,    Server(line + "\n"),  {{"v", kNone, value}},
                   "value", "site.template:3:1:", "the value 'v' does not stay in its place"};
  };
  ExpectRefused(
      Dialect::kNginx, kSite,
      {refused("a directive more", "add_header X \"{% $v %}\";",
               "\"; autoindex on; add_header Z \"y"),
       refused("a word more", "server_name \"{% $v %}\";", "a\" \"victim.example"),
       refused("an escape of the closing quote", "add_header X \"{% $v %}\";", "x\\"),
       refused("an escape of the author's text", "add_header X \"{% $v %}\\n\";", "x\\")});
  ExpectRefused(Dialect::kApache, "<VirtualHost *:80>\n\tServerName a\n</VirtualHost>\n",
                {{"a word more",
                  "<VirtualHost *:80>\nServerName a\nHeader set X \"{% $v %}\"\n</VirtualHost>\n",
                  {{"v", kNone, "a\" \"expr=true"}},
                  "value",
                  "site.template:3:1:",
                  "the value 'v' does not stay in its place"}});
}

// httpd takes a quote that nothing closes for one that the line's end closes: of this one nothing
// is left.
TEST(AValueThatIsAQuote, IsNoEmptyWord) {
  const std::string config = "<VirtualHost *:80>\n\tServerName a\n</VirtualHost>\n";
  for (const std::string quote : {"\"", "'"}) {
    ExpectRefused(Dialect::kApache, config,
                  {{quote,
                    "<VirtualHost *:80>\nServerName a\nDocumentRoot {% $v %}\n</VirtualHost>\n",
                    {{"v", kNone, quote}},
                    "value",
                    "site.template:3:1:",
                    "the value 'v' does not stay in its place"}});
  }
}

// The blanks at its end would go, and the backslash would stand at the end of the line.
TEST(AValueThatEndsInABackslash, DoesNotTakeTheNextLineAlong) {
  const std::string config = "<VirtualHost *:80>\n\tServerName a\n</VirtualHost>\n";
  const auto refused = [](const std::string& name, const std::string& line,
                          const std::string& value) {
    return Refused{name,
                   "<VirtualHost *:80>\nServerName a\n" + line + "\nHeader x\n</VirtualHost>\n",
                   {{"v", kNone, value}},
                   "value",
                   "site.template:3:1:",
                   ""};
  };
  ExpectRefused(Dialect::kApache, config,
                {refused("alone", "SetEnv x {% $v %}", "y\\"),
                 refused("with a blank", "SetEnv x {% $v %}", "y\\ "),
                 refused("in a trailing place", "SetEnv [% $v %]", "x y\\ "),
                 refused("in a comment", "# {% $v %}", "y\\")});
}

TEST(TheTemplatesOwnDelimiters, AreTextInAValue) {
  const std::string config = "server {\n\tserver_name a;\n\treturn 200 \"x\";\n}\n";
  std::vector<Case> cases;
  for (const std::string value :
       {"[% alias /etc/; %]", "{% $v %}", "{% endif %}", "{#}", "[% $w"}) {
    cases.push_back({value,
                     config,
                     Server("return 200 \"{% $v %}\";\n"),
                     {{"v", "x", value}},
                     With(config, "\"x\"", "\"" + value + "\"")});
  }
  ExpectEdits(Dialect::kNginx, cases);
  ExpectRefused(Dialect::kNginx, config,
                {{"a directive in a place",
                  Server("root {% $v %};\n"),
                  {{"v", kNone, "[% alias /etc/; %]"}},
                  "value",
                  "site.template:3:1:",
                  "'root [% alias /etc/; %];'"},
                 {"an old one",
                  Server("# {% $w %} {% $v %}\n"),
                  {{"v", "[% alias /etc/; %]", "x\ny"}, {"w", "x", kNone}},
                  "value",
                  "site.template:3:1:",
                  "holds a control character"}});
  ExpectRefused(Dialect::kApache, "",
                {{"in Apache",
                  "DocumentRoot {% $v %}\n",
                  {{"v", kNone, "[% Alias / /etc/ %]"}},
                  "value",
                  "site.template:1:1:",
                  "'DocumentRoot [% Alias / /etc/ %]'"}});
}

TEST(AValueInACondition, IsOneOperand) {
  const std::string text = Server("{% if [% $v %] == on %}\ngzip on;\n{% endif %}\n");
  std::vector<Refused> cases;
  for (const std::string value : {"", "x or on", "or", "x\ny", "$w", "\"\"", "on\"\"", "a == a"}) {
    cases.push_back({value,
                     text,
                     {{"v", kNone, value}, {"w", kNone, "on"}},
                     "value",
                     "site.template:3:1:",
                     "with the value 'v' this statement is not what its author wrote"});
    cases.push_back(
        {value + " in an elif",
         Server("{% if $u %}\ngzip on;\n{% elif on == [% $v %] %}\netag on;\n{% endif %}\n"),
         {{"v", kNone, value}, {"w", kNone, "on"}},
         "value",
         "site.template:5:1:",
         "with the value 'v' this statement is not what its author wrote"});
  }
  ExpectRefused(Dialect::kNginx, kSite, cases);
  ExpectEdits(
      Dialect::kNginx,
      {{"taken", kSite, text, {{"v", kNone, "on"}}, With(kSite, "a;\n", "a;\n\tgzip on;\n")},
       {"not taken", kSite, text, {{"v", kNone, "{%"}}, kSite}});
}

TEST(AValueInAnImport, IsAPartOfItsPath) {
  std::vector<std::string> asked;
  const auto outcome = [&](const std::string& path, const std::string& v, const std::string& w) {
    Request request = RequestOf(Dialect::kNginx, Case{"",
                                                      kSite,
                                                      Server("{% import " + path + " %}\n"),
                                                      {{"v", kNone, v}, {"w", kNone, w}},
                                                      ""});
    request.importer = [&](const std::string& name, const FilePlace&) {
      asked.push_back(name);
      return ImportedFile{name, "gzip on;\n"};
    };
    const Result result = Edit(request, kSite, "site.conf");
    return result.refusals.empty() ? "" : result.refusals.front().name;
  };
  EXPECT_EQ(outcome("sites/[% $v %].part", "a b", ""), "");
  EXPECT_EQ(outcome("../[% $v %]/[% $w %]", "a", "b..c"), "");
  EXPECT_EQ(asked, (std::vector<std::string>{"sites/a b.part", "../a/b..c"}));
  asked.clear();
  EXPECT_EQ(outcome("sites/[% $v %].part", "../../etc/shadow", ""), "value");
  EXPECT_EQ(outcome("sites/[% $v %]", "..", ""), "value");
  EXPECT_EQ(outcome("sites/[% $v %][% $w %]/x", ".", "."), "value");
  EXPECT_EQ(outcome("sites/.[% $v %]x", "./", ""), "value");
  EXPECT_EQ(outcome("sites/[% $v %]", "", ""), "value");
  EXPECT_EQ(outcome("sites/[% $v %]", " a", ""), "value");
  EXPECT_EQ(outcome("sites/[% $v %]", "a\nb", ""), "value");
  EXPECT_TRUE(asked.empty());
}

TEST(ANewBlock, IsNotMadeWhileTheOpeningOfOneInsideIsMissing) {
  ExpectRefused(Dialect::kNginx, "",
                {{"",
                  Server("location {% $v %} {\nroot /x;\n}\n"),
                  {{"v", "/old", kNone}},
                  "missing-value",
                  "site.template:3:1:",
                  "a value of this opening line is missing"}});
}

TEST(AValueOfATrailingPlace, MayBeSeveralWordsButNoMore) {
  const std::string config = "server {\n\tserver_name a;\n\tindex a;\n}\n";
  const auto refused = [](const std::string& name, const std::string& value) {
    return Refused{name,    Server("index [% $v %];\n"), {{"v", kNone, value}},
                   "value", "site.template:3:1:",        "'v'"};
  };
  ExpectRefused(Dialect::kNginx, config,
                {refused("a terminator", "b; etag on"), refused("a closing brace", "b; } evil {"),
                 refused("an opening brace", "b {"), refused("a comment", "b #"),
                 refused("an open quote", "\"b"), refused("a place of the template", "{% $x %}"),
                 refused("a quote that swallows the rest", "b \"c")});
  const auto edited = [&](const std::string& name, const std::string& value) {
    return Case{name,
                config,
                Server("index [% $v %];\n"),
                {{"v", kNone, value}},
                With(config, "index a", "index " + value)};
  };
  ExpectEdits(Dialect::kNginx,
              {edited("one word", "b"), edited("two words", "b c"),
               edited("a word in quotes", "\"b; } c\""), edited("a number sign in a word", "b#c")});
}

TEST(AnEmptyTrailingPlace, IsNoPartOfAValueBeforeIt) {
  const std::string config = "<VirtualHost *>\nServerName a\n</VirtualHost>\n";
  const auto host = [](const std::string& line) {
    return "<VirtualHost *>\nServerName a\n" + line + "\n</VirtualHost>\n";
  };
  const auto refused = [&](const std::string& name, const std::string& line,
                           const std::string& rest) {
    return Refused{name,    host(line),           {{"a", kNone, "'b"}, {"rest", kNone, rest}},
                   "value", "site.template:3:1:", "the value 'a' does not stay in its place"};
  };
  ExpectRefused(Dialect::kApache, config,
                {refused("an open quote", "SetEnv {% $a %} [% $rest %]", ""),
                 refused("before a blank", "SetEnv {% $a %} [% $rest %]", " "),
                 refused("inside of a word", "SetEnv x {% $a %} [% $rest %]", ""),
                 refused("before text", "SetEnv {% $a %} [% $rest %]", "c")});
  ExpectEdits(Dialect::kApache, {{"a quote that closes",
                                  config,
                                  host("SetEnv {% $a %} [% $rest %]"),
                                  {{"a", kNone, "'b'"}, {"rest", kNone, ""}},
                                  host("SetEnv 'b'")},
                                 {"an open quote at the end, where httpd closes it",
                                  config,
                                  host("SetEnv x {% $a %}"),
                                  {{"a", kNone, "'b"}},
                                  host("SetEnv x 'b")}});
}

TEST(TheAuthorsText, AroundATrailingPlaceStaysWhatItIs) {
  const std::string line = "add_header X-[% $v %]n on;\n";
  const std::string message = "the value 'v' does not stay in its place";
  ExpectRefused(Dialect::kNginx, kSite,
                {{"an escape in nginx",
                  Server(line),
                  {{"v", kNone, "a \\"}},
                  "value",
                  "site.template:3:1:",
                  message},
                 {"a quote that takes the next word along",
                  Server("add_header X-[% $v %] \"on\";\n"),
                  {{"v", kNone, "a \""}},
                  "value",
                  "site.template:3:1:",
                  message}});
  ExpectRefused(Dialect::kApache, "<VirtualHost *:80>\n</VirtualHost>\n",
                {{"a quote that takes the next word along, in httpd",
                  "<VirtualHost *:80>\nHeader X-[% $v %]n \"on\"\n</VirtualHost>\n",
                  {{"v", kNone, "a \""}},
                  "value",
                  "site.template:2:1:",
                  message}});
  ExpectEdits(Dialect::kNginx, {{"words",
                                 kSite,
                                 Server(line),
                                 {{"v", kNone, "a b"}},
                                 With(kSite, "a;\n", "a;\n\tadd_header X-a bn on;\n")},
                                {"words by themselves",
                                 kSite,
                                 Server(line),
                                 {{"v", kNone, " b "}},
                                 With(kSite, "a;\n", "a;\n\tadd_header X- b n on;\n")},
                                {"nothing",
                                 kSite,
                                 Server(line),
                                 {{"v", kNone, ""}},
                                 With(kSite, "a;\n", "a;\n\tadd_header X-n on;\n")},
                                {"nothing of an opening line",
                                 kSite,
                                 "server [% $v %] {\nserver_name a;\nroot /a;\n}\n",
                                 {{"v", kNone, ""}},
                                 With(kSite, "a;\n", "a;\n\troot /a;\n")}});
}

TEST(AFullPlaceBesideATrailingOne, IsStillAPartOfAWord) {
  const std::string line = "add_header X-{% $a %}-[% $rest %];\n";
  ExpectRefused(Dialect::kNginx, kSite,
                {{"two words",
                  Server(line),
                  {{"a", kNone, "b c"}, {"rest", kNone, "d e"}},
                  "value",
                  "site.template:3:1:",
                  "the value 'a' does not stay in its place"},
                 {"two words, to be quoted",
                  Server(line),
                  {{"a", kNone, "b c"}, {"rest", kNone, "d e"}},
                  "value",
                  "site.template:3:1:",
                  "the value 'a' does not stay in its place",
                  [](Request& request) { request.quote = true; }}});
  ExpectEdits(Dialect::kNginx, {{"one word",
                                 kSite,
                                 Server(line),
                                 {{"a", kNone, "b"}, {"rest", kNone, "d e"}},
                                 With(kSite, "a;\n", "a;\n\tadd_header X-b-d e;\n")},
                                {"nothing",
                                 kSite,
                                 Server(line),
                                 {{"a", kNone, ""}, {"rest", kNone, "d e"}},
                                 With(kSite, "a;\n", "a;\n\tadd_header X--d e;\n")}});
}

TEST(AnEmptyValueOfATrailingPlace, MayNotLeaveTheNameAlone) {
  const std::string config = "server {\n\tserver_name a;\n\tlisten 80 default_server;\n}\n";
  const auto refused = [](const std::string& name, const std::string& line,
                          const std::string& value) {
    return Refused{name,
                   Server(line + "\n"),
                   {{"v", kNone, value}},
                   "value",
                   "site.template:3:1:",
                   "the value 'v' is empty, and nothing but the name is left of " +
                       std::string("'") + line + "'"};
  };
  ExpectRefused(Dialect::kNginx, config,
                {refused("a path", "root [% $v %];", ""), refused("blanks", "root [% $v %];", " "),
                 refused("an address", "listen [% $v %];", "")});
  const auto edited = [&](const std::string& name, const std::string& lines,
                          const std::string& value, const std::string& expected) {
    return Case{name, config, Server(lines), {{"v", kNone, value}}, expected};
  };
  const auto with = [&](const std::string& line) {
    return With(config, "server;\n", "server;\n\t" + line + "\n");
  };
  ExpectEdits(Dialect::kNginx,
              {edited("options behind an address", "listen 80 [% $v %];\n", "",
                      With(config, " default_server", "")),
               edited("a directive without arguments", "internal;\n", "", with("internal;")),
               edited("an empty word", "set $x \"[% $v %]\";\n", "", with("set $x \"\";")),
               edited("a line that is to go", "{% if $none %}\nroot [% $v %];\n{% endif %}\n", "",
                      config)});
  Request request = RequestOf(Dialect::kNginx, edited("", "internal [% $v %];\n", "", ""));
  request.raw = {"v"};
  EXPECT_EQ(EditedText(request, config), with("internal ;")) << "allowed by name";
}

TEST(AValueWithAControlCharacter, IsRefused) {
  const auto refused = [](const std::string& name, const std::string& line,
                          const std::string& value) {
    return Refused{name,
                   Server(line + "\n"),
                   {{"v", kNone, value}},
                   "value",
                   "site.template:3:1:",
                   "the value 'v' holds a control character, which would begin a line of its own "
                   "or hide text"};
  };
  ExpectRefused(Dialect::kNginx, kSite,
                {refused("a line end in a comment", "# by {% $v %}", "x\nevil on;"),
                 refused("a carriage return in a comment", "# by {% $v %}", "x\revil on;"),
                 refused("a line end in quotes", "set $x \"{% $v %}\";", "x\ny"),
                 refused("an escape sequence", "set $x \"{% $v %}\";", "x\x1b[2J"),
                 refused("a NUL byte", "set $x \"{% $v %}\";", std::string("x\0y", 3))});
}

TEST(AByteOrderMark, OfATemplateIsNoText) {
  const std::string text = "server {\nserver_name a;\nx 1;\n}\n";
  const std::string edited = "server {\n\tserver_name a;\n\tx 1;\n}\n";
  ExpectEdits(
      Dialect::kNginx,
      {{"at its beginning", kSite, "\xEF\xBB\xBF" + text, {}, edited},
       {"at that of an import", kSite, "{% import part %}\n", {}, edited, [](Request& request) {
          request.importer = [](const std::string& name, const FilePlace&) {
            return ImportedFile{name, "\xEF\xBB\xBFserver {\nserver_name a;\nx 1;\n}\n"};
          };
        }}});
}

// The file might use it.
TEST(AValueThatNothingUses, IsNotSaidWhereAnImportCannotBeRead) {
  const auto refusals = [](const std::string& problem, bool found) {
    Request request;
    request.template_name = "site.template";
    request.template_text = "{% import part %}\n";
    request.values["v"] = {kNone, "1"};
    request.must_be_used = {"v"};
    request.importer = [&](const std::string& name, const FilePlace&) {
      return found ? std::optional(ImportedFile{name, "", problem}) : std::nullopt;
    };
    return AllOf(Edit(request, kSite, "site.conf").refusals);
  };
  EXPECT_EQ(refusals("", true),
            "site.template: no line of the template uses the value 'v'. Correct the name, or leave "
            "the value out [unused-value]\n");
  EXPECT_EQ(refusals("cannot be read", true), "site.template:1:4: cannot be read [import]\n");
  EXPECT_EQ(refusals("", false),
            "site.template:1:4: there is no file 'part'. Correct its name, or take the import out "
            "[import]\n");
}

// nginx reads no longer ones.
TEST(ACommentOfATemplate, IsAsLongAsTheServerTakesIt) {
  const auto refused = [](const std::string& name, const std::string& line,
                          const std::string& value, const std::string& finding) {
    return Refused{name,    Server(line + "\n"),  {{"v", kNone, value}},
                   finding, "site.template:3:1:", "comment"};
  };
  const std::string longer(4096, 'x');
  ExpectRefused(Dialect::kNginx, kSite,
                {refused("the author's", "# " + longer + "{% $v %}", "", "template"),
                 refused("with its value", "# {% $v %}", longer, "value")});
  const std::string host = "<VirtualHost *:80>\nServerName a\n</VirtualHost>\n";
  ExpectEdits(Dialect::kApache,
              {{"httpd's",
                host,
                "<VirtualHost *:80>\nServerName a\n# {% $v %}\n</VirtualHost>\n",
                {{"v", kNone, longer}},
                "<VirtualHost *:80>\nServerName a\n# " + longer + "\n</VirtualHost>\n"}});
}

TEST(ADirectivesName, IsNotEmpty) {
  const auto refused = [](const std::string& name, const std::string& line,
                          const std::string& value) {
    return Refused{name,    line + "\n",          {{"v", kNone, value}},
                   "value", "site.template:1:1:", "the value 'v' does not stay in its place: "};
  };
  ExpectRefused(Dialect::kNginx, "x 1;\n",
                {refused("nothing in quotes", "\"{% $v %}\" 1;", ""),
                 refused("empty quotes", "{% $v %} 1;", "\"\"")});
  ExpectRefused(Dialect::kApache, "X 1\n",
                {refused("a bracket in quotes", "\"{% $v %}\" 1", ">"),
                 refused("nothing before a bracket", "\"{% $v %}>\" 1", ""),
                 refused("a quoted bracket", "{% $v %} 1", "\">\"")});
}

TEST(AValueInQuotes, MayHoldWhatTheyProtect) {
  const std::string config = "server {\n\tserver_name a;\n\treturn 200 \"x\";\n}\n";
  const std::string text = Server("return 200 \"{% $v %}\";\n");
  const auto edited = [&](const std::string& name, const std::string& value) {
    return Case{
        name, config, text, {{"v", "x", value}}, With(config, "\"x\"", "\"" + value + "\"")};
  };
  ExpectEdits(Dialect::kNginx,
              {edited("all sorts of signs", "a; b { c } # d"), edited("another quote", "it's"),
               edited("nothing", ""), edited("a variable", "${x}$y")});
  const auto refused = [&](const std::string& name, const std::string& value) {
    return Refused{name, text, {{"v", "x", value}}, "value", "site.template:3:1:", "'v'"};
  };
  ExpectRefused(Dialect::kNginx, config,
                {refused("their own quote", "a\"b"), refused("their end", "a\"; evil \"b"),
                 refused("a backslash at the end", "a\\")});
}

TEST(AValueOfAnOpeningLine, IsOneWordOfIt) {
  const auto refused = [](const std::string& name, const std::string& value) {
    return Refused{name,
                   Server("location {% $v %} {\n}\n"),
                   {{"v", kNone, value}},
                   "value",
                   "site.template:3:1:",
                   "'v'"};
  };
  ExpectRefused(Dialect::kNginx, kSite,
                {refused("a block of its own", "/x { } location /y"), refused("a sign", "= /x"),
                 refused("a terminator", "/x;")});
  ExpectRefused(Dialect::kApache, "",
                {{"the end of the bracket",
                  "<VirtualHost {% $v %}>\nServerName a\n</VirtualHost>\n",
                  {{"v", kNone, "*:80> evil"}},
                  "value",
                  "site.template:1:1:",
                  "'v'"},
                 {"two addresses",
                  "<VirtualHost {% $v %}>\nServerName a\n</VirtualHost>\n",
                  {{"v", kNone, "*:80 *:81"}},
                  "value",
                  "site.template:1:1:",
                  "'v'"}});
}

TEST(ARawValue, MayLeaveNothingOfALine) {
  const auto raw = [](Request& request) { request.raw = {"v"}; };
  const auto edited = [&](const std::string& there, const std::string& line,
                          const std::string& expected) {
    return Case{line,
                With(kSite, "a;\n", "a;\n\t" + there + "\n"),
                Server(line + "\n"),
                {{"v", "b", ""}, {"w", kNone, ""}},
                With(kSite, "a;\n", "a;\n\t" + expected + "\n"),
                raw};
  };
  // The same once more does not find what has no argument any more.
  for (const Case& c : {edited("listen b;", "listen {% $v %};", "listen;"),
                        edited("listen bb;", "listen {% $v %}{% $v %};", "listen;"),
                        edited("set b;", "set {% $v %};", "set;")}) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(EditedText(RequestOf(Dialect::kNginx, c), c.config), c.expected);
  }
  for (const std::string line :
       {"listen {% $v %} [% $w %];", "server_name {% $v %} [% $w %];", "server_name {% $v %};"}) {
    for (const std::string there : {"listen b;", "server_name b;", "listen b ssl;"}) {
      SCOPED_TRACE(line + there);
      const Case c = edited(there, line, "");
      const Result result = Edit(RequestOf(Dialect::kNginx, c), c.config, "site.conf");
      if (!result.refusals.empty()) {
        EXPECT_EQ(result.text, c.config);
      }
      EXPECT_EQ(Explain(RequestOf(Dialect::kNginx, c), c.config, "site.conf").result.text,
                result.text);
    }
  }
}

TEST(ARawValueOfAnOpeningLine, LeavesItOne) {
  const auto raw = [](Request& request) { request.raw = {"v"}; };
  const auto refused = [&](const std::string& name, const std::string& text,
                           const std::string& old_value, const std::string& value) {
    return Refused{name,
                   text,
                   {{"v", old_value, value}},
                   "value",
                   "site.template:1:1:",
                   "with the value 'v' this line does not open one block: ",
                   raw};
  };
  const std::string location = "location {% $v %} {\ngzip on;\n}\n";
  ExpectRefused(Dialect::kNginx, "gzip on;\n",
                {refused("two blocks", location, "/", "/a { gzip off; } location /b"),
                 refused("none", location, "/", "/a; #"),
                 refused("two blocks before", location, "/a { } location /b", "/")});
  ExpectRefused(
      Dialect::kApache, "Listen 80\n",
      {refused("a closing line", "<{% $v %}>\nX 1\n</Location>\n", "Location", "/x"),
       refused("two lines", "<Location {% $v %}>\nX 1\n</Location>\n", "/", "/>\nX 2\n#")});
  ExpectEdits(Dialect::kNginx, {{"another sign",
                                 "location / {\n}\n",
                                 location,
                                 {{"v", "/", "= /a"}},
                                 "location = /a {\n\tgzip on;\n}\n",
                                 raw}});
}

TEST(AValueOfApache, IsReadByItsOwnGrammar) {
  const std::string config = "<VirtualHost *:80>\n\tServerName a\n</VirtualHost>\n";
  const auto host = [](const std::string& line) {
    return "<VirtualHost *:80>\nServerName a\n" + line + "\n</VirtualHost>\n";
  };
  const auto refused = [&](const std::string& name, const std::string& line,
                           const std::string& value) {
    return Refused{name, host(line), {{"v", kNone, value}}, "value", "site.template:3:1:", "'v'"};
  };
  ExpectRefused(Dialect::kApache, config,
                {refused("a tag", "Protocols {% $v %}", "h2</VirtualHost>\n<VirtualHost *:81>"),
                 refused("a blank", "DocumentRoot {% $v %}", "/a b"),
                 refused("a line that goes on", "DocumentRoot {% $v %}", "/a\\"),
                 refused("nothing", "DocumentRoot {% $v %}", ""),
                 refused("an end of its quotes", "DocumentRoot \"{% $v %}\"", "/a\" \"/b")});
  ExpectEdits(Dialect::kApache,
              {{"a blank in quotes",
                config,
                host("DocumentRoot \"{% $v %}\""),
                {{"v", kNone, "/a b; {c} #d"}},
                "<VirtualHost *:80>\n\tServerName a\n\tDocumentRoot \"/a b; {c} #d\"\n"
                "</VirtualHost>\n"}});
}

TEST(AValueThatIsNotPutIn, MayBeAnything) {
  const std::string config = "server {\n\tserver_name a;\n\tindex b;\n}\n";
  ExpectEdits(Dialect::kNginx, {{"of a line that is not taken",
                                 config,
                                 Server("{% if $none %}\nroot {% $v %};\n{% endif %}\n"),
                                 {{"v", kNone, "/a; evil"}},
                                 config},
                                {"of a condition",
                                 config,
                                 Server("{% if $v == x %}\nroot /a;\n{% endif %}\n"),
                                 {{"v", kNone, "a; evil"}},
                                 config}});
}

// It cannot be what the configuration holds there.
TEST(AnOldValueThatDoesNotFitItsPlace, IsRefused) {
  ExpectRefused(Dialect::kNginx, kSite,
                {{"two directives",
                  Server("index {% $v %};\n"),
                  {{"v", "a; evil", "b"}},
                  "value",
                  "site.template:3:1:",
                  "the old value 'v' does not stay in its place"},
                 {"two words",
                  Server("index {% $v %};\n"),
                  {{"v", "a b", "c"}},
                  "value",
                  "site.template:3:1:",
                  "'index a b;'"}});
}

TEST(AValueThatNothingUses, IsRefusedWhenItIsNamedByHand) {
  const auto by_hand = [](Request& request) { request.must_be_used = {"v"}; };
  const auto forced = [](Request& request) {
    request.must_be_used = {"v"};
    request.forced = {"unused-value"};
  };
  const NamedValues values = {{"v", kNone, "x"}};
  ExpectRefused(Dialect::kNginx, kSite,
                {{"no line has it", Server(""), values, "unused-value", "site.template:",
                  "no line of the template uses the value 'v'. Correct the name, or leave the "
                  "value out",
                  by_hand},
                 {"a name in other letters", Server("{% if $V %}\n{% endif %}\n"), values,
                  "unused-value", "site.template:", "'v'", by_hand},
                 {"only a comment has it", Server("{#} {% $v %}\n"), values, "unused-value",
                  "site.template:", "'v'", by_hand}});
  ExpectEdits(Dialect::kNginx,
              {{"a line has it", kSite, Server("set $x {% $v %};\n"), values,
                "server {\n\tserver_name a;\n\tset $x x;\n}\n", by_hand},
               {"a line that is not taken", kSite,
                Server("{% if $none %}\nset $x {% $v %};\n{% endif %}\n"), values, kSite, by_hand},
               {"a condition has it", kSite, Server("{% if $v != x %}\netag on;\n{% endif %}\n"),
                values, kSite, by_hand},
               {"a condition without the sign", kSite,
                Server("{% if v != x %}\netag on;\n{% endif %}\n"), values, kSite, by_hand},
               {"it is not named by hand", kSite, Server(""), values, kSite},
               {"it does not matter", kSite, Server(""), values, kSite, forced}});
}

TEST(AnOpeningLineWithoutItsValue, IsRefused) {
  ExpectRefused(Dialect::kNginx, kSite,
                {{"no value",
                  Server("location {% $p %} {\nroot /x;\n}\n"),
                  {},
                  "missing-value",
                  "site.template:3:1:",
                  "a value of this opening line is missing: its block cannot be found. Set it"},
                 {"no new value, and the block is not there",
                  Server("location {% $p %} {\nroot /x;\n}\n"),
                  {{"p", "/x", kNone}},
                  "missing-value",
                  "site.template:3:1:",
                  "a value of this opening line is missing, and its block is not there"}});
}

// --- Statements ---

std::string Taken(const std::string& condition) {
  return Server("{% if " + condition + " %}\netag on;\n{% endif %}\n");
}

TEST(AnIf, IsTakenWhenItsConditionHolds) {
  const NamedValues values = {{"on", kNone, "yes"},   {"empty", kNone, ""},
                              {"old", "x", kNone},    {"ten", kNone, "10"},
                              {"same", kNone, "yes"}, {"two words", kNone, "x"}};
  const std::string with = "server {\n\tserver_name a;\n\tetag on;\n}\n";
  const auto taken = [&](const std::string& condition) {
    return Case{condition, kSite, Taken(condition), values, with};
  };
  const auto untaken = [&](const std::string& condition) {
    return Case{condition, with, Taken(condition), values, kSite};
  };
  ExpectEdits(Dialect::kNginx, {taken("$on"),
                                taken("on"),
                                taken("$empty"),
                                untaken("$none"),
                                untaken(""),
                                taken("$on == yes"),
                                untaken("$on == no"),
                                taken("$on != no"),
                                untaken("$on != yes"),
                                taken("yes == $on"),
                                taken("$on == $same"),
                                taken("$empty == \"\""),
                                untaken("$none == \"\""),
                                taken("none == none"),
                                taken("$none == none"),
                                taken("$ten < 9"),
                                untaken("$ten > 9"),
                                untaken("$on =~ yes"),
                                taken("$on == yes and $ten == 10"),
                                untaken("$on == yes and $ten == 9"),
                                taken("$on == no or $ten == 10"),
                                untaken("$on == no or $ten == 9"),
                                untaken("$On"),
                                taken("$on == yes anything"),
                                taken("$on == yes and $ten =~ 3"),
                                untaken("$on == no and $ten =~ 10"),
                                untaken("$on {#} as asked"),
                                untaken("\"\" == $on")});
}

TEST(Branches, AreTakenOneAtATime) {
  const std::string text = Server(
      "{% if $level == high %}\ngzip_comp_level 9;\n{% elif $level == middle %}\n"
      "gzip_comp_level 5;\n{% elif $level == low %}\ngzip_comp_level 2;\n{% else %}\n"
      "gzip_comp_level 1;\n{% endif %}\n");
  const auto site = [](const std::string& level) {
    return "server {\n\tserver_name a;\n\tgzip_comp_level " + level + ";\n\tetag on;\n}\n";
  };
  const auto edited = [&](const std::string& value, const std::string& from,
                          const std::string& to) {
    return Case{value + " after " + from, site(from), text, {{"level", kNone, value}}, site(to)};
  };
  ExpectEdits(Dialect::kNginx,
              {edited("high", "1", "9"), edited("middle", "9", "5"), edited("low", "5", "2"),
               edited("none", "2", "1"), edited("high", "9", "9")});
}

TEST(Branches, StandInBranchesAndAroundBlocks) {
  const std::string text = Server(
      "{% if $a %}\n{% if $b %}\netag on;\n{% else %}\netag off;\n{% endif %}\n{% endif %}\n"
      "{% if $c %}\nlocation /x {\n{% if $b %}\nexpires 1d;\n{% endif %}\nreturn 404;\n}\n"
      "{% endif %}\n");
  ExpectEdits(
      Dialect::kNginx,
      {{"inner and outer",
        kSite,
        text,
        {{"a", kNone, "1"}, {"b", kNone, "1"}},
        "server {\n\tserver_name a;\n\tetag on;\n}\n"},
       {"the other inner one",
        kSite,
        text,
        {{"a", kNone, "1"}},
        "server {\n\tserver_name a;\n\tetag off;\n}\n"},
       {"no outer one",
        "server {\n\tserver_name a;\n\tetag on;\n}\n",
        text,
        {{"b", kNone, "1"}},
        kSite},
       {"in a new block",
        kSite,
        text,
        {{"b", kNone, "1"}, {"c", kNone, "1"}},
        "server {\n\tserver_name a;\n\tlocation /x {\n\t\texpires 1d;\n\t\treturn 404;\n\t}\n}\n"},
       {"... which goes",
        "server {\n\tserver_name a;\n\tlocation /x {\n\t\treturn 404;\n\t}\n}\n",
        text,
        {},
        kSite}});
}

TEST(StatementsThatAreNotWhatTheyLook, AreRefused) {
  const auto refused = [](const std::string& name, const std::string& lines,
                          const NamedValues& values, const std::string& place,
                          const std::string& part) {
    return Refused{name, Server(lines), values, "template", place, part};
  };
  ExpectRefused(
      Dialect::kNginx, kSite,
      {refused("a word in quotes", "{% if $x == \"yes\" %}\ngzip on;\n{% endif %}\n",
               {{"x", kNone, "yes"}},
               "site.template:3:", "the quotes are part of the word \"yes\""),
       refused("a word in single quotes", "{% if $x == 'yes' %}\ngzip on;\n{% endif %}\n",
               {{"x", kNone, "yes"}}, "site.template:3:", "the quotes are part of the word 'yes'"),
       refused("else if", "{% if $x %}\ngzip on;\n{% else if $y %}\netag on;\n{% endif %}\n",
               {{"x", kNone, "yes"}}, "site.template:5:", "Write 'elif'"),
       refused("a third branch beside the first",
               "{% if $x %}\ngzip on;\n{% elif $y %}\netag on;\n{% elif $x %}\nroot /x;\n"
               "{% endif %}\n",
               {{"x", kNone, "1"}}, "site.template:7:", "Let the conditions exclude each other"),
       refused("a fourth branch beside the second",
               "{% if $y %}\ngzip on;\n{% elif $x %}\netag on;\n{% elif $x %}\nroot /x;\n"
               "{% elif $x %}\nindex x;\n{% endif %}\n",
               {{"x", kNone, "1"}}, "site.template:9:", "Let the conditions exclude each other"),
       refused("a place that is no value", "root {% gzip %};\n", {}, "site.template:3:",
               "'{% gzip %}' is not a statement, and without '$' it is not a value"),
       refused("a trailing place that is no value", "root [% gzip %];\n", {}, "site.template:3:",
               "'[% gzip %]' is not a statement, and without '$' it is not a value"),
       refused("a comment that is none", "{# gzip #}\n", {},
               "site.template:3:", "'{#' does not begin a comment"),
       refused(
           "and beside or", "{% if $x and $y or $z %}\ngzip on;\n{% endif %}\n", {},
           "site.template:3:", "with 'and' and 'or' in one condition only its beginning counts"),
       refused("a keyword with more letters",
               "{% if $x %}\ngzip on;\n{% elseif $y %}\netag on;\n{% endif %}\n",
               {{"x", kNone, "1"}}, "site.template:5:", "'{% elseif $y %}' is not a statement"),
       refused("a keyword that is none", "{% iff $x %}\n", {},
               "site.template:3:", "'{% iff $x %}' is not a statement, and"),
       refused("a statement behind a directive", "gzip on; {% if $x %}\n", {},
               "site.template:3:", "'{% if $x %}' is not a statement, and")});
}

TEST(Statements, MayBeWrittenInOtherWays) {
  const std::string with = "server {\n\tserver_name a;\n\tetag on;\n}\n";
  const auto written = [&](const std::string& name, const std::string& lines) {
    return Case{
        name, kSite, Server(lines), {{"on", kNone, "yes"}, {"Two words", kNone, "on"}}, with};
  };
  ExpectEdits(Dialect::kNginx,
              {written("without blanks", "{%if $on%}\netag on;\n{%else%}\netag off;\n{%endif%}\n"),
               written("indented", "\t {%  if   $on  %}\netag on;\n  {%\tendif %}\n"),
               written("without their ends", "{% if $on\netag on;\n{% endif\n"),
               written("with CRLF", "{% if $on == yes %}\r\netag on;\r\n{% endif %}\r\n"),
               written("between comments of the template",
                       "{#} {% if $none %}\n   {#} on\netag on;{#} as asked\n"),
               written("names with blanks, in either case", "etag {% $Two words %};\n"),
               written("places with many blanks", "etag {%   $Two words   %};\n"),
               written("places with none", "etag {%$Two words%};\n")});
  ExpectEdits(Dialect::kNginx, {{"a template that does not end its last line",
                                 kSite,
                                 "server {\nserver_name a;\netag on;\n}",
                                 {},
                                 with}});
}

TEST(StatementsThatFitNothing, ChangeNothing) {
  ExpectEdits(Dialect::kNginx, {{"a lonely else",
                                 kSite,
                                 "{% else %}\n" + Server("etag on;\n"),
                                 {},
                                 "server {\n\tserver_name a;\n\tetag on;\n}\n"},
                                {"a lonely elif",
                                 kSite,
                                 "{% elif $x %}\n" + Server("etag on;\n"),
                                 {},
                                 "server {\n\tserver_name a;\n\tetag on;\n}\n"},
                                {"a lonely endif",
                                 kSite,
                                 Server("etag on;\n{% endif %}\n"),
                                 {},
                                 "server {\n\tserver_name a;\n\tetag on;\n}\n"},
                                {"an if at the end",
                                 kSite,
                                 Server("etag on;\n") + "{% if $x %}\n",
                                 {},
                                 "server {\n\tserver_name a;\n\tetag on;\n}\n"}});
}

// --- Imports ---

// Files that may be imported, by name.
void AddFiles(Request& request) {
  request.importer = [](const std::string& name,
                        const FilePlace& from) -> std::optional<ImportedFile> {
    static const std::map<std::string, std::string> kFiles = {
        {"limits.template", "send_timeout 30s;\nclient_max_body_size {% $size %};\n"},
        {"outer.template", "etag on;\n{% import inner.template %}\nindex i;\n"},
        {"inner.template", "expires 1d;"},
        {"circle.template", "etag on;\n{% import circle.template %}\n"},
        {"broken.template", "etag on;\n  root /a\n"},
        {"lost.template", "{% import none.template %}\n"},
        {"empty.template", ""}};
    const auto file = kFiles.find(name);
    if (file == kFiles.end() || from.line == 0) return std::nullopt;
    return ImportedFile{"/t/" + name, file->second};
  };
}

TEST(AnImport, IsTheLinesOfItsFile) {
  const NamedValues size = {{"size", kNone, "8m"}, {"what", kNone, "limits"}};
  const std::string limited =
      "server {\n\tserver_name a;\n\tsend_timeout 30s;\n\tclient_max_body_size 8m;\n}\n";
  ExpectEdits(
      Dialect::kNginx,
      {{"by its name", kSite, Server("{% import limits.template %}\n"), size, limited, AddFiles},
       {"by a value", kSite, Server("{% import [% $what %].template %}\n"), size, limited,
        AddFiles},
       {"in a branch that is not taken", limited,
        Server("{% if $none %}\n{% import limits.template %}\n{% endif %}\n"), size, kSite,
        AddFiles},
       {"an import in an import",
        kSite,
        Server("{% import outer.template %}\nroot /a;\n"),
        {},
        "server {\n\tserver_name a;\n\tetag on;\n\texpires 1d;\n\tindex i;\n\troot /a;\n}\n",
        AddFiles},
       {"an empty file", kSite, Server("{% import empty.template %}\n"), {}, kSite, AddFiles}});
}

TEST(AnImport, ThatCannotBeMadeIsRefused) {
  ExpectRefused(Dialect::kNginx, kSite,
                {{"no such file",
                  Server("  {% import none.template %}\n"),
                  {},
                  "import",
                  "site.template:3:6:",
                  "there is no file 'none.template'",
                  AddFiles},
                 {"nothing to import from",
                  Server("{% import limits.template %}\n"),
                  {},
                  "import",
                  "site.template:3:4:",
                  "there is no file 'limits.template'"},
                 {"no name",
                  Server("{% import %}\n"),
                  {},
                  "import",
                  "site.template:3:4:",
                  "there is no file ''",
                  AddFiles},
                 {"a missing value for a name",
                  Server("{% import [% $what %] %}\n"),
                  {},
                  "import",
                  "site.template:3:4:",
                  "there is no file",
                  AddFiles},
                 {"in a branch that is not taken",
                  Server("{% if $none %}\n{% import none.template %}\n{% endif %}\n"),
                  {},
                  "import",
                  "site.template:4:4:",
                  "there is no file 'none.template'",
                  AddFiles},
                 {"in an import",
                  Server("{% import lost.template %}\n"),
                  {},
                  "import",
                  "/t/lost.template:1:4:",
                  "there is no file 'none.template'",
                  AddFiles},
                 {"a second time",
                  Server("{% import inner.template %}\n{% import inner.template %}\n"),
                  {},
                  "import",
                  "site.template:4:4:",
                  "'/t/inner.template' is imported a second time",
                  AddFiles},
                 {"by itself",
                  Server("{% import circle.template %}\n"),
                  {},
                  "import",
                  "/t/circle.template:2:4:",
                  "is imported a second time",
                  AddFiles}});
}

TEST(TheLinesOfAnImport, ArePlacedInTheirFile) {
  const Case c = {"", kSite, Server("{% import broken.template %}\n"), {}, "", AddFiles};
  const Result result = Edit(RequestOf(Dialect::kNginx, c), kSite, "site.conf");
  ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
  EXPECT_EQ(Shown(result.refusals[0]).substr(0, 22), "/t/broken.template:2:3");
}

TEST(WhatTheImporterThrows, PassesThrough) {
  Request request = RequestOf(Dialect::kNginx, Case{"", "", "{% import x %}\n", {}, ""});
  request.importer = [](const std::string&, const FilePlace&) -> std::optional<ImportedFile> {
    throw std::runtime_error("no disk");
  };
  EXPECT_THROW(Edit(request, "", "site.conf"), std::runtime_error);
}

// --- The prototype ---

TEST(ThePrototype, IsTheSkeletonWithTheNewValues) {
  const Case c = {"",
                  "",
                  "server {\n\tserver_name {% $name %};\n\troot [% $root %];\n{% if $x %}\n"
                  "\tlocation /img/ {\n\t\texpires 30d;\n\t}\n{% endif %}\n\tlocation / {\n"
                  "\t\tgzip on;\n\t}\n}\n",
                  {{"name", "a", "b"}, {"root", kNone, "/srv/b"}},
                  ""};
  Findings findings;
  EXPECT_EQ(Prototype(RequestOf(Dialect::kNginx, c), findings),
            "server {\n\tserver_name b;\n\tlocation / {\n\t}\n}");
  EXPECT_EQ(AllOf(findings.refusals), "");
  Request evil = RequestOf(Dialect::kNginx, c);
  evil.values["name"].new_value = "b; evil on";
  Prototype(evil, findings);
  ASSERT_EQ(findings.refusals.size(), 1U);
  EXPECT_EQ(findings.refusals[0].name, "value");
}

}  // namespace
}  // namespace tov_edit
