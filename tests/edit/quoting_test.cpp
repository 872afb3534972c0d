// SPDX-License-Identifier: Apache-2.0

// Values that are written in quotes: the server reads just them, an edit that is made twice changes
// nothing, and one that is taken back gives the bytes back.

#include "edit/tree/quoting.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit_case.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {
namespace {

struct Written {
  const char* name;
  std::string line;  // of the template
  std::string value;
  std::string expected;  // the line
};

class Quoting : public testing::Test {
 protected:
  static std::string Site(Dialect dialect, const std::string& line) {
    return dialect == Dialect::kNginx
               ? "server {\n\tserver_name a;\n\t" + line + "\n}\n"
               : "<VirtualHost *:80>\n\tServerName a\n\t" + line + "\n</VirtualHost>\n";
  }

  static Request RequestFor(Dialect dialect, const std::string& line, const std::string& old_value,
                            const std::string& new_value) {
    Request request =
        RequestOf(dialect, Case{"", "", Site(dialect, line), {{"v", old_value, new_value}}, ""});
    request.quote = true;
    return request;
  }

  // From a harmless value to the one that is asked for, once more, and back.
  static void ExpectWritten(Dialect dialect, const std::vector<Written>& cases) {
    for (const Written& c : cases) {
      SCOPED_TRACE(c.name);
      const std::string config = Site(dialect, With(c.line, "{% $v %}", "old"));
      const std::string expected = Site(dialect, c.expected);
      EXPECT_EQ(EditedText(RequestFor(dialect, c.line, "old", c.value), config), expected);
      EXPECT_EQ(EditedText(RequestFor(dialect, c.line, "old", c.value), expected), expected);
      EXPECT_EQ(EditedText(RequestFor(dialect, c.line, c.value, c.value), expected), expected);
      EXPECT_EQ(EditedText(RequestFor(dialect, c.line, c.value, "old"), expected), config);
      if (c.line.find('\n') != std::string::npos) continue;  // the opening of a block
      const std::string none = With(config, "\t" + With(c.line, "{% $v %}", "old") + "\n", "");
      EXPECT_EQ(EditedText(RequestFor(dialect, c.line, "old", c.value), none), expected);
    }
  }

  static void ExpectRefused(Dialect dialect, const std::string& line, const std::string& value,
                            const std::string& part) {
    SCOPED_TRACE(value);
    const std::string config = Site(dialect, "");
    const Result result =
        RecordedEdit(RequestFor(dialect, line, "old", value), config, "site.conf");
    EXPECT_EQ(result.text, config);
    ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
    EXPECT_EQ(result.refusals[0].name, "value");
    EXPECT_NE(Shown(result.refusals[0]).find(part), std::string::npos) << Shown(result.refusals[0]);
  }
};

TEST_F(Quoting, OfNginx) {
  ExpectWritten(
      Dialect::kNginx,
      {{"nothing needed", "root {% $v %};", "/srv/b", "root /srv/b;"},
       {"a blank", "root {% $v %};", "/my site", "root \"/my site\";"},
       {"nothing at all", "root {% $v %};", "", "root \"\";"},
       {"in the middle of a word", "root /srv/{% $v %}/www;", "a b", "root \"/srv/a b/www\";"},
       {"a terminator", "root {% $v %};", "/a; evil on", "root \"/a; evil on\";"},
       {"braces", "root {% $v %};", "} evil {", "root \"} evil {\";"},
       {"a comment", "root {% $v %};", "#a", "root \"#a\";"},
       {"a number sign in a word", "root {% $v %};", "a#b", "root a#b;"},
       {"double quotes", "root {% $v %};", "\"a\"", "root '\"a\"';"},
       {"both quotes", "root {% $v %};", "\"it's\"", "root \"\\\"it's\\\"\";"},
       {"a backslash at the end", "root {% $v %};", "a\\", "root \"a\\\\\";"},
       {"backslashes that mean nothing", "root {% $v %};", "\\.php$", "root \\.php$;"},
       {"a backslash before a letter", "root {% $v %};", "a\\nb", "root \"a\\\\nb\";"},
       {"a line end", "add_header X {% $v %};", "a\nb", "add_header X \"a\\nb\";"},
       {"a tab", "add_header X {% $v %};", "a\tb", "add_header X \"a\\tb\";"},
       {"a backslash before a line end", "add_header X {% $v %};", "a\\\nb",
        "add_header X \"a\\\\\\nb\";"},
       {"a backslash before a tab", "add_header X \"{% $v %}\";", "a\\\tb",
        "add_header X \"a\\\\\\tb\";"},
       {"the template's delimiters", "root {% $v %};", "[% x %]", "root \"[% x %]\";"},
       {"in double quotes", "root \"x {% $v %}\";", "\"; evil", "root \"x \\\"; evil\";"},
       {"in single quotes", "root 'x {% $v %}';", "it's", "root 'x it\\'s';"},
       {"a backslash in quotes", "root \"{% $v %}\";", "a\\", "root \"a\\\\\";"},
       {"behind an escape in quotes", "root \"\\{% $v %}\";", "n", "root \"\\\\n\";"},
       {"in the opening of a block", "if ($x = {% $v %}) {\n\t}", "a b",
        "if ($x = \"a b)\" {\n\t}"}});
  for (const std::string line : {"root {% $v %};", "root \"{% $v %}\";"}) {
    ExpectRefused(Dialect::kNginx, line, std::string("a\0b", 3), "control");
    ExpectRefused(Dialect::kNginx, line, "a\x1b[2J", "control");
    ExpectRefused(Dialect::kNginx, line, "a\x7f", "control");
    ExpectRefused(Dialect::kNginx, line, "/srv/$host", "a variable");
    ExpectRefused(Dialect::kNginx, line, "/srv/${host}", "a variable");
    ExpectRefused(Dialect::kNginx, line, "$Host", "a variable");
    ExpectRefused(Dialect::kNginx, line, "$_host", "a variable");
    ExpectRefused(Dialect::kNginx, line, "$1", "a variable");
  }
  ExpectRefused(Dialect::kNginx, "root {% $v %}host;", "$", "a variable");
  ExpectRefused(Dialect::kNginx, "root [% $v %];", "/a; evil on", "does not stay in its place");
}

TEST_F(Quoting, OfApache) {
  ExpectWritten(
      Dialect::kApache,
      {{"nothing needed", "DocumentRoot {% $v %}", "/srv/b", "DocumentRoot /srv/b"},
       {"a blank", "DocumentRoot {% $v %}", "/my site", "DocumentRoot \"/my site\""},
       {"nothing at all", "SetEnv X {% $v %}", "", "SetEnv X \"\""},
       {"in the middle of a word", "DocumentRoot /srv/{% $v %}/www", "a b",
        "DocumentRoot \"/srv/a b/www\""},
       {"a number sign", "SetEnv X {% $v %}", "#fff", "SetEnv X \"#fff\""},
       {"double quotes", "SetEnv X {% $v %}", "\"a\"", "SetEnv X '\"a\"'"},
       {"both quotes", "SetEnv X {% $v %}", "\"it's\"", "SetEnv X \"\\\"it's\\\"\""},
       {"a backslash at the end", "SetEnv X {% $v %}", "a\\", "SetEnv X \"a\\\\\""},
       {"two backslashes", "SetEnv X {% $v %}", "a\\\\b", "SetEnv X \"a\\\\\\b\""},
       {"backslashes that mean nothing", "SetEnv X {% $v %}", "a\\nb", "SetEnv X a\\nb"},
       {"... in quotes", "SetEnv X {% $v %}", "a b\\nc", "SetEnv X \"a b\\nc\""},
       {"a backslash before such a quote", "SetEnv X {% $v %}", "it's \\\" x",
        "SetEnv X \"it's \\\\\\\" x\""},
       {"a backslash before another quote", "SetEnv X {% $v %}", "a\\' b", "SetEnv X \"a\\' b\""},
       {"a tab", "SetEnv X {% $v %}", "a\tb", "SetEnv X \"a\tb\""},
       {"a variable of nginx", "SetEnv X {% $v %}", "$host", "SetEnv X $host"},
       {"in double quotes", "SetEnv X \"x {% $v %}\"", "a\" \"b", "SetEnv X \"x a\\\" \\\"b\""},
       {"in single quotes", "SetEnv X 'x {% $v %}'", "it's", "SetEnv X 'x it\\'s'"},
       {"in the opening of a block", "<Location {% $v %}>\n\t</Location>", "/a b",
        "<Location \"/a b\">\n\t</Location>"},
       {"a bracket in there", "<Location {% $v %}>\n\t</Location>", "/a> b",
        "<Location \"/a> b\">\n\t</Location>"}});
  for (const std::string line : {"SetEnv X {% $v %}", "SetEnv X \"{% $v %}\""}) {
    ExpectRefused(Dialect::kApache, line, "a\nEvil on", "control");
    ExpectRefused(Dialect::kApache, line, "a\rb", "control");
    ExpectRefused(Dialect::kApache, line, std::string("a\0b", 3), "control");
    ExpectRefused(Dialect::kApache, line, "a${HOME}", "a variable");
  }
  ExpectRefused(Dialect::kApache, "SetEnv X ${% $v %}", "{HOME}", "a variable");
}

// Before the first byte that may not, nor behind the last one.
TEST_F(Quoting, KnowsTheBytesThatAVariablesNameMayHave) {
  for (const char byte : std::string("azAZ09_")) {
    ExpectRefused(Dialect::kNginx, "add_header X {% $v %};", std::string("b $") + byte,
                  "a variable");
  }
}

TEST_F(Quoting, LeavesTheQuotesOfTheFileWhereTheyAreStyle) {
  const std::string line = "root {% $v %};";
  const auto edited = [&](const std::string& from, const std::string& old_value,
                          const std::string& new_value) {
    return EditedText(RequestFor(Dialect::kNginx, line, old_value, new_value),
                      Site(Dialect::kNginx, from));
  };
  EXPECT_EQ(edited("root \"/a\";", "/a", "/b"), Site(Dialect::kNginx, "root \"/b\";"));
  EXPECT_EQ(edited("root '/a';", "/a", "/b c"), Site(Dialect::kNginx, "root '/b c';"));
  EXPECT_EQ(edited("root '/a';", "/a", "it's"), Site(Dialect::kNginx, "root it's;"));
  EXPECT_EQ(edited("root '/a b';", "/a b", "/c"), Site(Dialect::kNginx, "root /c;"));
  EXPECT_EQ(edited("root /a\\ b;", "/a\\ b", "/c"), Site(Dialect::kNginx, "root /c;"));
}

TEST_F(Quoting, IsSuggestedWhereItHelps) {
  struct Suggestion {
    const char* name;
    std::string line;
    std::string value;
    bool quote;
    std::vector<Remedy> expected;
  };
  const std::vector<Remedy> raw = {Remedy::kRaw};
  const std::vector<Remedy> quote_or_raw = {Remedy::kQuote, Remedy::kRaw};
  const Suggestion cases[] = {
      {"a word", "index {% $v %};", "b c", false, quote_or_raw},
      {"a part of one", "index x/{% $v %}/y;", "b c", false, quote_or_raw},
      {"a trailing place", "index [% $v %];", "b {", false, raw},
      {"behind a harmless one", "index {% $w %} {% $v %};", "b c", false, quote_or_raw},
      {"a trailing place behind a harmless one", "index {% $w %} [% $v %];", "b {", false, raw},
      {"what quotes do not help", "index {% $v %};", "b\x1b", true, raw},
  };
  for (const Suggestion& c : cases) {
    SCOPED_TRACE(c.name);
    Request request = RequestFor(Dialect::kNginx, c.line, "old", c.value);
    request.values["w"] = {"w", "w"};
    request.quote = c.quote;
    const Result result = Edit(request, Site(Dialect::kNginx, ""), "site.conf");
    ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
    EXPECT_EQ(result.refusals[0].remedies, c.expected) << Shown(result.refusals[0]);
  }
}

TEST_F(Quoting, LetsARawValueIn) {
  Request request = RequestFor(Dialect::kNginx, "add_header X {% $v %};", "old", "a always");
  request.raw = {"v"};
  EXPECT_EQ(EditedText(request, Site(Dialect::kNginx, "add_header X old;")),
            Site(Dialect::kNginx, "add_header X a always;"));
}

TEST_F(Quoting, IsForThePrototypeToo) {
  Request request =
      RequestOf(Dialect::kNginx,
                Case{"", "", "server {\n\tserver_name {% $v %};\n}\n", {{"v", kNone, "a; b"}}, ""});
  request.quote = true;
  Findings findings;
  EXPECT_EQ(Prototype(request, findings), "server {\n\tserver_name \"a; b\";\n}");
  EXPECT_EQ(AllOf(findings.refusals), "");
}

}  // namespace
}  // namespace tov_edit
