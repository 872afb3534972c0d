// SPDX-License-Identifier: Apache-2.0

// Value places: ParseString fills in those of one kind, Parse makes a line's record.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/template_probe.h"
#include "template/nginx.h"
#include "template/template.h"

using tov_template::Nginx;
using tov_template::Template;

namespace {

using Values = std::map<std::string, std::string>;

TEST(ParseString, FillsInThePlaces) {
  const Values values = {{"a", "A"},       {"b", "B"},
                         {"A", "upper"},   {"two words", "W"},
                         {"", "nameless"}, {"$a", "dollar"},
                         {"empty", ""},    {"open", "{% $b %}"},
                         {"close", "%}"},  {"trailing", "[% $b %]"}};
  struct Case {
    const char* name;
    const char* text;
    const char* result;  // "(null)" for null
  };
  const Case cases[] = {
      {"no text", "", ""},
      {"no place", "  root /srv;  ", "  root /srv;  "},
      {"a place alone", "{% $a %}", "A"},
      {"text around it is kept, blanks too", "  x {% $a %} y  ", "  x A y  "},
      {"two places", "{% $a %} and {% $b %};", "A and B;"},
      {"side by side", "{% $a %}{% $b %}{% $a %}", "ABA"},
      {"without blanks", "{%$a%}", "A"},
      {"with more blanks", "{% \t $a \r %}", "A"},
      {"a blank behind the $ belongs to the name", "{% $ a %}", "(null)"},
      {"a name with a blank", "{% $two words %}", "W"},
      {"names are case-sensitive", "{% $A %}", "upper"},
      {"the empty name", "{% $ %}", "nameless"},
      {"one $ is removed", "{% $$a %}", "dollar"},
      {"an empty value", "x{% $empty %}y", "xy"},

      {"a missing value makes all null", "x {% $none %} y", "(null)"},
      {"also behind one that is found", "a {% $a %} b {% $none %}", "(null)"},
      {"also before one that is found", "a {% $none %} b {% $a %}", "(null)"},

      {"a place without $ is the whole result", "x {% text %} y", "text"},
      {"inner blanks are kept", "{%  if $a == 1  %}", "if $a == 1"},
      {"what was filled in is dropped", "x {% $a %} y {% text %} {% $b %} z", "text"},
      {"an empty place", "x {%%} y", ""},
      {"a place of blanks", "x {%  %} y", ""},
      {"$ elsewhere in the place", "x {% a$ %} y", "a$"},
      {"before a missing value", "{% text %} {% $none %}", "text"},
      {"behind a missing value", "{% $none %} {% text %}", "(null)"},

      {"a value is not scanned again", "{% $open %} x", "{% $b %} x"},
      {"nor is it a closing delimiter", "{% $close %} {% $a %}", "%} A"},
      {"other places are left alone", "[% $a %] {% $a %} [% $none %]", "[% $a %] A [% $none %]"},
      {"a value may bring one of them", "{% $trailing %}", "[% $b %]"},
      {"no nesting: the first closing delimiter counts", "{% $a {% $b %} %}", "(null)"},
      {"an opening delimiter in a place belongs to it", "{% x {% $b %} y", "x {% $b"},

      {"no closing delimiter: up to the end", "x {% $a", "x A"},
      {"no closing delimiter: blanks at the end", "x {% $a  ", "x A"},
      {"no closing delimiter: no $", "x {% if $a ", "if $a"},
      {"no closing delimiter: more of the line is the name", "x {% $a; y", "(null)"},
      {"half a closing delimiter", "{% $a }", "(null)"},
      {"an opening delimiter at the end", "x {%", ""},
      {"a closing delimiter before the place", "x %} {% $a", "x %} A"},
      {"before the place, with another behind it", "%} {% $a %} y", "(null)"},
      {"before the place, no $", "%} {% text %} y", "text %} y"},
      {"between two places", "{% $a %} %} {% $b %}", "(null)"},
      {"missing behind the second place only", "{% $a %} x {% $b", "A x B"},
      {"within the opening delimiter", "x {%} y", "} y"},
      {"a closing delimiter alone", "x %} y", "x %} y"},
  };
  const TemplateProbe probe = TemplateOn<Nginx>("");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(TemplateProbe::Shown(probe.ParseString(c.text, "{%", "%}", values)), c.result)
        << c.text;
  }
}

// The content runs to the end, but what is removed ends with the closing delimiter as ever.
TEST(ParseString, AClosingDelimiterBeforeThePlaceMakesALongName) {
  const TemplateProbe probe = TemplateOn<Nginx>("");
  const Values values = {{"a %} y", "long"}};
  EXPECT_EQ(TemplateProbe::Shown(probe.ParseString("%} {% $a %} y", "{%", "%}", values)),
            "%} long y");
}

TEST(ParseString, TakesTheDelimitersItIsGiven) {
  const TemplateProbe probe = TemplateOn<Nginx>("");
  const Values values = {{"a", "A"}};
  EXPECT_EQ(TemplateProbe::Shown(probe.ParseString("x [% $a %] {% $b %}", "[%", "%]", values)),
            "x A {% $b %}");
  EXPECT_EQ(TemplateProbe::Shown(probe.ParseString("x [% text %]", "[%", "%]", values)), "text");
  EXPECT_EQ(TemplateProbe::Shown(probe.ParseString("x [% $b %]", "[%", "%]", values)), "(null)");
  EXPECT_EQ(TemplateProbe::Shown(probe.ParseString("x <<$a>> y", "<<", ">>", values)), "x A y");
}

TEST(ParseString, NeedsNoValuesOfTheTemplate) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.new_values = probe.old_values = {{"a", "mine"}};
  EXPECT_TRUE(probe.ParseString("{% $a %}", "{%", "%}", {}).IsNull());
}

TEST(ParseString, TakesALineOfAHundredThousandPlaces) {
  const TemplateProbe probe = TemplateOn<Nginx>("");
  std::string text, expected;
  for (int i = 0; i < 100000; ++i) {
    text += "{% $a %},";
    expected += "A,";
  }
  EXPECT_TRUE(probe.ParseString(text, "{%", "%}", {{"a", "A"}}).Str() == expected);
}

struct ParseCase {
  const char* name;
  Values old_values, new_values;
  const char* line;
  const char* value;  // "(null)" for null, here and below
  const char* old_value;
  const char* key;
  bool part_key = false;
  bool is_const = false;
};

void ExpectParsed(const std::vector<ParseCase>& cases) {
  for (const ParseCase& c : cases) {
    SCOPED_TRACE(c.name);
    TemplateProbe probe = TemplateOn<Nginx>("");
    probe.old_values = c.old_values;
    probe.new_values = c.new_values;
    const Template::ParseValues parsed = probe.Parse(c.line);
    EXPECT_EQ(TemplateProbe::Shown(parsed.m_value), c.value);
    EXPECT_EQ(TemplateProbe::Shown(parsed.m_old_value), c.old_value);
    EXPECT_EQ(TemplateProbe::Shown(parsed.m_key), c.key);
    EXPECT_EQ(parsed.m_part_key, c.part_key);
    EXPECT_EQ(parsed.m_const, c.is_const);
  }
}

TEST(Parse, FindsTheLineByItsOldTextWhereThatIsKnown) {
  ExpectParsed({
      {"no place: the old text is the line, and the key is not trimmed",
       {},
       {},
       "  gzip on; ",
       "  gzip on; ",
       "  gzip on; ",
       "  gzip on; "},
      {"no text", {}, {}, "", "", "", ""},
      {"a new value only: the key is the new line, trimmed",
       {},
       {{"file", "a.html"}},
       "  index {% $file %};",
       "  index a.html;",
       "(null)",
       "index a.html;"},
      {"an old value, too: the key is the old line, untrimmed",
       {{"file", "b.html"}},
       {{"file", "a.html"}},
       "  index {% $file %};",
       "  index a.html;",
       "  index b.html;",
       "  index b.html;"},
      {"an old value only",
       {{"file", "b.html"}},
       {},
       " index {% $file %};",
       "(null)",
       " index b.html;",
       " index b.html;"},
      {"neither: no key, which is not null", {}, {}, "index {% $file %};", "(null)", "(null)", ""},
      {"one of two old values is missing",
       {{"a", "old"}},
       {{"a", "new"}, {"b", "B"}},
       "{% $a %} {% $b %};",
       "new B;",
       "(null)",
       "new B;"},
      {"a place without $", {}, {}, "x {% text %} y", "text", "text", "text"},
  });
}

TEST(Parse, CutsTheKeyAtTheFirstTrailingPlace) {
  ExpectParsed({
      {"a new value only",
       {},
       {{"dir", "/srv"}},
       "root [% $dir %];",
       "root /srv;",
       "(null)",
       "root ",
       true},
      {"both values",
       {{"dir", "/old"}},
       {{"dir", "/srv"}},
       "root [% $dir %];",
       "root /srv;",
       "root /old;",
       "root ",
       true},
      {"the line's indentation stays: without full places the old line is known",
       {},
       {{"dir", "/srv"}},
       "  root [% $dir %];",
       "  root /srv;",
       "(null)",
       "  root ",
       true},
      {"a trailing value that is missing leaves the key",
       {},
       {},
       "root [% $dir %];",
       "(null)",
       "(null)",
       "root ",
       true},
      {"the first of two counts",
       {},
       {{"a", "A"}, {"b", "B"}},
       "x [% $a %] y [% $b %];",
       "x A y B;",
       "(null)",
       "x ",
       true},
      {"at the start: the key is empty",
       {},
       {{"a", "A"}},
       "[% $a %] x;",
       "A x;",
       "(null)",
       "",
       true},
      {"behind a full place with a new value",
       {},
       {{"a", "A"}, {"b", "B"}},
       "  x {% $a %} [% $b %];",
       "  x A B;",
       "(null)",
       "x A ",
       true},
      {"behind a full place with an old value",
       {{"a", "old"}, {"b", "older"}},
       {{"a", "A"}, {"b", "B"}},
       "  x {% $a %} [% $b %];",
       "  x A B;",
       "  x old older;",
       "  x old ",
       true},
      {"before a full place",
       {},
       {{"a", "A"}, {"b", "B"}},
       "x [% $b %] {% $a %};",
       "x B A;",
       "(null)",
       "x ",
       true},
      {"a trailing place without $ is the whole line",
       {},
       {},
       "x [% text %] y",
       "text",
       "text",
       "x ",
       true},
      {"an opening delimiter alone", {}, {}, "x [% y", "y", "y", "x ", true},
  });
}

TEST(Parse, AFullPlaceMayBringTrailingPlaces) {
  ExpectParsed({
      {"they are filled in, and cut the key",
       {},
       {{"x", "a [% $z %]"}, {"z", "Z"}},
       "root {% $x %};",
       "root a Z;",
       "(null)",
       "root a ",
       true},
      {"also with old values",
       {{"x", "b [% $z %]"}, {"z", "Y"}},
       {{"x", "a [% $z %]"}, {"z", "Z"}},
       "root {% $x %};",
       "root a Z;",
       "root b Y;",
       "root b ",
       true},
      {"a missing one makes the line null and keeps the key",
       {},
       {{"x", "a [% $z %]"}},
       "root {% $x %};",
       "(null)",
       "(null)",
       "root a ",
       true},
      {"a trailing place brings nothing: it is not scanned again",
       {},
       {{"x", "[% $z %] {% $z %}"}, {"z", "Z"}},
       "root [% $x %];",
       "root [% $z %] {% $z %};",
       "(null)",
       "root ",
       true},
      {"a full place brings no full place",
       {},
       {{"x", "{% $z %}"}, {"z", "Z"}},
       "root {% $x %};",
       "root {% $z %};",
       "(null)",
       "root {% $z %};"},
  });
}

TEST(Parse, ADirectiveFoundByItsNameIsConst) {
  ExpectParsed({
      {"the key is the name",
       {},
       {{"c", "HIGH"}},
       "  ssl_ciphers {% $c %};",
       "  ssl_ciphers HIGH;",
       "(null)",
       "ssl_ciphers",
       false,
       true},
      {"also with an old value",
       {{"c", "LOW"}},
       {{"c", "HIGH"}},
       "  ssl_ciphers {% $c %};",
       "  ssl_ciphers HIGH;",
       "  ssl_ciphers LOW;",
       "ssl_ciphers",
       false,
       true},
      {"also without a place",
       {},
       {},
       "ssl_protocols TLSv1.3;",
       "ssl_protocols TLSv1.3;",
       "ssl_protocols TLSv1.3;",
       "ssl_protocols",
       false,
       true},
      {"a trailing place: the name stands before it",
       {},
       {{"c", "HIGH"}},
       "ssl_ciphers [% $c %];",
       "ssl_ciphers HIGH;",
       "(null)",
       "ssl_ciphers",
       false,
       true},
      {"both kinds of place: not const, and the key is cut",
       {},
       {{"c", "HIGH"}, {"d", "LOW"}},
       "  ssl_ciphers {% $c %}:[% $d %];",
       "  ssl_ciphers HIGH:LOW;",
       "(null)",
       "ssl_ciphers HIGH:",
       true,
       false},
      {"both kinds of opening delimiter are enough",
       {},
       {{"c", "HIGH"}},
       "ssl_ciphers [% {% $c %}",
       "HIGH",
       "(null)",
       "ssl_ciphers ",
       true,
       false},
      {"the line as it stands in the template decides",
       {},
       {{"n", "ssl_ciphers"}},
       "{% $n %} HIGH;",
       "ssl_ciphers HIGH;",
       "(null)",
       "ssl_ciphers HIGH;"},
      {"without a value there is no key",
       {},
       {},
       "ssl_ciphers {% $c %};",
       "(null)",
       "(null)",
       "",
       false,
       true},
      {"a place without $: the key is made of its text",
       {},
       {},
       "ssl_ciphers {% text %};",
       "text",
       "text",
       "text",
       false,
       true},
  });
}

TEST(Parse, YieldsTheTextOfAStatement) {
  ExpectParsed({
      {"elif", {}, {}, "{% elif $a == 2 %}", "elif $a == 2", "elif $a == 2", "elif $a == 2"},
      {"with a trailing place",
       {},
       {{"n", "port"}},
       "{% if [% $n %] == 80 %}",
       "if port == 80",
       "(null)",
       "if ",
       true},
  });
}

TEST(Parse, ReadsTheValuesHeldNow) {
  TemplateProbe probe = TemplateOn<Nginx>("");
  EXPECT_TRUE(probe.Parse("{% $a %}").m_value.IsNull());
  probe.new_values["a"] = "1";
  EXPECT_EQ(probe.Parse("{% $a %}").m_value.Str(), "1");
  probe.new_values["a"] = "2";
  EXPECT_EQ(probe.Parse("{% $a %}").m_value.Str(), "2");
}

}  // namespace
