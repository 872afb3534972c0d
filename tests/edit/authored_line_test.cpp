// SPDX-License-Identifier: Apache-2.0

// Single lines of a template: what they are, and what the values in their places make of them.

#include "edit/tree/authored_line.h"

#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tov_edit {
namespace {

constexpr Dialect kNginx = Dialect::kNginx;
constexpr Dialect kApache = Dialect::kApache;

using Names = std::vector<std::string>;
using Values = AuthoredLine::Values;

std::string Listed(const std::vector<std::string>& words) {
  std::string listed;
  for (const std::string& word : words) listed += (listed.empty() ? "" : "|") + word;
  return listed;
}

// --- What a line is ---

std::string NameOf(LineKind kind) {
  switch (kind) {
    case LineKind::kBlank:
      return "neither";
    case LineKind::kDirective:
      return "directive";
    case LineKind::kOpening:
      return "opening";
    default:
      return "another";
  }
}

TEST(ALine, IsOneDirectiveOrOneOpeningOrNeither) {
  struct LineCase {
    Dialect dialect;
    const char* text;
    const char* kind;
    const char* words;
  };
  const LineCase cases[] = {
      {kNginx, "root /a;", "directive", "root|/a"},
      {kNginx, "root /a; # x", "directive", "root|/a"},
      {kNginx, "root \"/a b\";", "directive", "root|/a b"},
      {kNginx, "root /a", "neither", ""},
      {kNginx, "root /a; index b;", "neither", ""},
      {kNginx, "root \"/a;", "neither", ""},
      {kNginx, "", "neither", ""},
      {kNginx, "# x", "neither", ""},
      {kNginx, "}", "neither", ""},
      {kNginx, "server {", "opening", "server"},
      {kNginx, "location = /a { # x", "opening", "location|=|/a"},
      {kNginx, "server { root /a;", "neither", ""},
      {kNginx, "server { location / {", "neither", ""},
      {kNginx, "server {}", "neither", ""},
      {kNginx, "root /a; server {", "neither", ""},
      {kNginx, "content_by_lua_block {", "neither", ""},
      {kApache, "DocumentRoot /a", "directive", "DocumentRoot|/a"},
      {kApache, "DocumentRoot /a \\", "neither", ""},
      {kApache, "DocumentRoot \"/a", "directive", "DocumentRoot|/a"},
      {kApache, "# x", "neither", ""},
      {kApache, "<VirtualHost *:80>", "opening", "VirtualHost|*:80"},
      {kApache, "<VirtualHost *:80 \\", "neither", ""},
      {kApache, "</VirtualHost>", "neither", ""},
      {kApache, "<Macro Site $name>", "opening", "Macro|Site|$name"},
  };
  for (const LineCase& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(NameOf(AuthoredLine(c.dialect, c.text).kind()), c.kind);
    LineKind kind = LineKind::kBlank;
    const std::optional<Written> written = ReadWritten(c.dialect, c.text, kind);
    EXPECT_EQ(NameOf(kind), c.kind);
    ASSERT_EQ(written.has_value(), *c.words != '\0');
    if (!written) continue;
    EXPECT_EQ(written->text, c.text);
    EXPECT_EQ(Listed(written->words), c.words);
  }
}

// --- Places ---

TEST(Places, AreFoundInTheirOrder) {
  struct PlacesCase {
    const char* line;
    const char* places;  // of each its text and name; "[": trailing, "?": none of a value
  };
  const PlacesCase cases[] = {
      {"", ""},
      {"root /a;", ""},
      {"root {% $a %};", "{% $a %}=a "},
      {"root {%$a%};", "{%$a%}=a "},
      {"{% $a %}{% $b %}", "{% $a %}=a {% $b %}=b "},
      {"x [% $a %] {% $b %} [% $c %]", "[% $a %]=[a {% $b %}=b [% $c %]=[c "},
      {"x {% $a %} [% $b %] {% $c %}", "{% $a %}=a [% $b %]=[b {% $c %}=c "},
      {"x {% if %} {% $a %}", "{% if %}=? {% $a %}=a "},
      {"x {% $a [% $b %} [% $c %]", "{% $a [% $b %}=a [% $b [% $c %]=[c "},
      {"x [% $a {% $b %] {% $c %}", "[% $a {% $b %]=[a {% $b {% $c %}=c "},
      {"x {% $a", "{% $a=a... "},
      {"x {% $a %] {% $b %}", "{% $a %] {% $b %}=a %] {% $b "},
      {"x {% $a %", "{% $a %=a %... "},
      {"x [%", "[%=[?... "},
  };
  for (const PlacesCase& c : cases) {
    SCOPED_TRACE(c.line);
    const std::string line = c.line;
    std::string places;
    for (const Place& place : PlacesIn(line)) {
      places += line.substr(place.begin, place.end - place.begin) + "=" +
                (place.trailing ? "[" : "") + (place.is_value ? place.name : "?") +
                (place.closed ? "" : "...") + " ";
    }
    EXPECT_EQ(places, c.places);
  }
}

TEST(Places, AreFilledWithWhateverTheirValuesAre) {
  const Values values = {{"a", "x; }"}, {"b", ""}};
  EXPECT_EQ(FilledIn("1{% $a %}2[% $b %]3{% $a %}", values), "1x; }23x; }");
  EXPECT_EQ(FilledIn("{% $a %}", values), "x; }");
  EXPECT_EQ(FilledIn("none", values), "none");
  EXPECT_EQ(FilledIn("{% $a %}{% $c %}", values), std::nullopt);
  EXPECT_EQ(FilledIn("{% a %}", values), std::nullopt);
}

// Whether each place of a line has to stay inside of its word.
TEST(APlace, StaysInItsWordUnlessItIsATrailingOneWithoutQuotes) {
  struct WordCase {
    Dialect dialect;
    const char* line;
    std::vector<bool> in_word;
  };
  const WordCase cases[] = {
      {kNginx, "root {% $a %};", {true}},
      {kNginx, "index x{% $a %}y [% $b %];", {true, false}},
      {kNginx, "index x{% $a %}[% $b %];", {false, false}},
      {kNginx, "index \"{% $a %} [% $b %]\";", {true, true}},
      {kNginx, "index '[% $a %]' [% $b %];", {true, false}},
      {kNginx, "root /a; # {% $a %}", {false}},
      {kNginx, "root {% $a %}; # {% $b %}", {true, false}},
      {kNginx, "{% $a %} /a;", {true}},
      {kNginx, "location [% $a %] {", {false}},
      {kNginx, "root {% $a %}", {false}},  // no directive
      {kApache, "<VirtualHost {% $a %} [% $b %]>", {true, false}},
      {kApache, "DocumentRoot \"{% $a %}", {true}},
  };
  for (const WordCase& c : cases) {
    SCOPED_TRACE(c.line);
    const AuthoredLine line(c.dialect, c.line);
    ASSERT_EQ(line.places().size(), c.in_word.size());
    for (std::size_t i = 0; i < c.in_word.size(); ++i) {
      EXPECT_EQ(line.IsInWord(i), c.in_word[i]) << i;
    }
  }
}

TEST(APlacedWord, IsWhatStandsAroundItsPlaces) {
  const AuthoredLine line(kNginx, "x \"a b{% $v %}\\\"c{% $w %}\" plain {% $v %}[% $w %]z;");
  const std::vector<AuthoredLine::PlacedWord> words = line.PlacedWords();
  ASSERT_EQ(words.size(), 4U);
  EXPECT_EQ(words[0].literals, Names({"x"}));
  EXPECT_EQ(words[0].names, Names());
  EXPECT_FALSE(words[0].open);
  EXPECT_EQ(words[1].literals, Names({"a b", "\"c", ""}));
  EXPECT_EQ(words[1].names, Names({"v", "w"}));
  EXPECT_FALSE(words[1].open);
  EXPECT_EQ(words[2].literals, Names({"plain"}));
  EXPECT_EQ(words[3].literals, Names({"", "", "z"}));
  EXPECT_EQ(words[3].names, Names({"v", "w"}));
  EXPECT_TRUE(words[3].open);
  EXPECT_EQ(line.Harmless(), "x \"a bx\\\"cx\" plain xxz;");
}

// --- Values ---

struct FillCase {
  Dialect dialect;
  const char* line;
  Values values;
  const char* text;   // the line with them
  const char* words;  // "": they are not in their places
  Names guilty = {};
  std::set<std::string> raw = {};
};

void ExpectFilled(bool quote, const std::vector<FillCase>& cases) {
  for (const FillCase& c : cases) {
    SCOPED_TRACE(std::string(c.line) + " as " + c.text);
    const auto filling = AuthoredLine(c.dialect, c.line).Fill(c.values, Handling{c.raw, quote});
    ASSERT_TRUE(filling);
    EXPECT_EQ(filling->text, c.text);
    EXPECT_EQ(filling->in_place, *c.words != '\0');
    EXPECT_EQ(filling->written ? Listed(filling->written->words) : "", c.words);
    EXPECT_EQ(filling->guilty, c.guilty);
    if (filling->written) {
      EXPECT_EQ(filling->written->text, c.text);
    }
  }
}

TEST(AValue, IsInItsPlaceWhereItIsAWordOrAPartOfOne) {
  ExpectFilled(
      false,
      {{kNginx, "root /{% $a %}/x;", {{"a", "b"}}, "root /b/x;", "root|/b/x"},
       {kNginx, "root /{% $a %}/x;", {{"a", ""}}, "root //x;", "root|//x"},
       {kNginx, "root /{% $a %}/x;", {{"a", "b c"}}, "root /b c/x;", "", {"a"}},
       {kNginx, "root {% $a %};", {{"a", ""}}, "root ;", "", {"a"}},
       {kNginx, "root {% $a %};", {{"a", "b; x on"}}, "root b; x on;", "", {"a"}},
       {kNginx, "root {% $a %};", {{"a", "# x"}}, "root # x;", "", {"a"}},
       {kNginx, "root {% $a %};", {{"a", "\"b c\""}}, "root \"b c\";", "root|b c"},
       {kNginx, "root \"{% $a %}\";", {{"a", "b c"}}, "root \"b c\";", "root|b c"},
       {kNginx, "root \"{% $a %}\";", {{"a", ""}}, "root \"\";", "root|"},
       {kNginx, "root \"{% $a %}\";", {{"a", "b\\"}}, "root \"b\\\";", "", {"a"}},
       {kNginx, "root \"{% $a %}\";", {{"a", "b\" \"c"}}, "root \"b\" \"c\";", "", {"a"}},
       // The author's text behind a value means what it meant.
       {kNginx, "x \"{% $a %}n\";", {{"a", "b\\"}}, "x \"b\\n\";", "", {"a"}},
       {kNginx, "x \"{% $a %}n{% $b %}\";", {{"a", "\\"}, {"b", "c"}}, "x \"\\nc\";", "", {"a"}},
       {kNginx, "x \"{% $a %}n{% $b %}\";", {{"a", "\\"}, {"b", "n"}}, "x \"\\nn\";", "", {"a"}},
       {kNginx, "x \"{% $a %}n{% $b %}\";", {{"a", "\\\\"}, {"b", "n"}}, "x \"\\\\nn\";", "x|\\nn"},
       {kNginx, "x {% $a %}-{% $b %};", {{"a", "\\"}, {"b", "c"}}, "x \\-c;", "x|\\-c"},
       {kNginx,
        "x {% $a %}n{% $b %}m{% $c %};",
        {{"a", "\\"}, {"b", "n"}, {"c", "m"}},
        "x \\nnmm;",
        "",
        {"a"}},
       {kNginx,
        "x {% $a %}n{% $b %}m{% $c %};",
        {{"a", "n"}, {"b", "\\"}, {"c", "m"}},
        "x nn\\mm;",
        "x|nn\\mm"},
       {kApache,
        "X \"{% $a %}\\\"{% $b %}\"",
        {{"a", "\\"}, {"b", "\\\""}},
        "X \"\\\\\"\\\"\"",
        "",
        {"a"}},
       {kNginx, "x \"\\{% $a %}\";", {{"a", "n"}}, "x \"\\n\";", "", {"a"}},
       {kNginx, "x \"\\{% $a %}\";", {{"a", "b"}}, "x \"\\b\";", "x|\\b"},
       {kNginx, "location {% $a %} {", {{"a", "/b"}}, "location /b {", "location|/b"},
       {kNginx, "location {% $a %} {", {{"a", "/ { x"}}, "location / { x {", "", {"a"}},
       {kNginx, "server_name {% $a %};", {{"a", "b {"}}, "server_name b {;", "", {"a"}},
       // The name of a directive is a word, too.
       {kNginx, "{% $a %} /b;", {{"a", "root"}}, "root /b;", "root|/b"},
       {kNginx, "\"{% $a %}\" /b;", {{"a", ""}}, "\"\" /b;", "", {"a"}},
       {kNginx, "\"{% $a %}\" {% $b %};", {{"a", ""}, {"b", "c"}}, "\"\" c;", "", {"a", "b"}},
       // Who is in place alone is not guilty.
       {kNginx, "x {% $a %} {% $b %};", {{"a", "c"}, {"b", "d e"}}, "x c d e;", "", {"b"}},
       {kNginx, "x {% $a %} {% $b %};", {{"a", "c;"}, {"b", "d e"}}, "x c; d e;", "", {"a", "b"}},
       {kNginx, "x {% $a %}{% $b %};", {{"a", ""}, {"b", ""}}, "x ;", "", {"a", "b"}},
       {kNginx, "x {% $a %}{% $a %}{% $b %};", {{"a", ""}, {"b", ""}}, "x ;", "", {"a", "b"}},
       {kNginx, "x {% $a %}{% $b %};", {{"a", ""}, {"b", "c"}}, "x c;", "x|c"},
       // httpd closes a quote at the end of the line.
       {kApache, "SetEnv X {% $a %}", {{"a", "\""}}, "SetEnv X \"", "", {"a"}},
       {kApache, "SetEnv X {% $a %}", {{"a", "\"b"}}, "SetEnv X \"b", "SetEnv|X|b"},
       {kApache, "SetEnv {% $a %} Y", {{"a", "\"b"}}, "SetEnv \"b Y", "", {"a"}},
       {kApache, "SetEnv X {% $a %}", {{"a", "b\\"}}, "SetEnv X b\\", "", {"a"}},
       {kApache, "SetEnv X {% $a %}", {{"a", "b\nEvil on"}}, "SetEnv X b\nEvil on", "", {"a"}},
       {kApache, "<Directory {% $a %}>", {{"a", "/b"}}, "<Directory /b>", "Directory|/b"},
       {kApache, "<Directory {% $a %}>", {{"a", "/b c"}}, "<Directory /b c>", "", {"a"}}});
}

TEST(AValue, OfATrailingPlaceIsAnyNumberOfWords) {
  ExpectFilled(
      false, {{kNginx, "index [% $a %];", {{"a", "b c"}}, "index b c;", "index|b|c"},
              {kNginx, "index [% $a %];", {{"a", ""}}, "index ;", "index"},
              {kNginx, "index [% $a %];", {{"a", "b; c on"}}, "index b; c on;", "", {"a"}},
              {kNginx, "index [% $a %];", {{"a", "b {"}}, "index b {;", "", {"a"}},
              {kNginx, "index [% $a %] c;", {{"a", "b"}}, "index b c;", "index|b|c"},
              {kNginx, "index [% $a %] c;", {{"a", ""}}, "index  c;", "index|c"},
              {kNginx, "index \"[% $a %]\";", {{"a", "b c"}}, "index \"b c\";", "index|b c"},
              {kNginx, "index \"[% $a %]\";", {{"a", "b\" \"c"}}, "index \"b\" \"c\";", "", {"a"}},
              // The author's text at its ends belongs to the first and the last of them.
              {kNginx, "index x[% $a %]y;", {{"a", "b c"}}, "index xb cy;", "index|xb|cy"},
              {kNginx, "index x[% $a %]y;", {{"a", ""}}, "index xy;", "index|xy"},
              {kNginx, "index x[% $a %];", {{"a", " b"}}, "index x b;", "index|x|b"},
              {kNginx, "index [% $a %]y;", {{"a", "b "}}, "index b y;", "index|b|y"},
              {kNginx, "index [% $a %]y;", {{"a", "b # "}}, "index b # y;", "", {"a"}},
              {kNginx, "index [% $a %]\\\"y;", {{"a", "b\\"}}, "index b\\\\\"y;", "index|b\\\"y"},
              // A full place beside it stays in one word.
              {kNginx, "x [% $a %]{% $b %};", {{"a", "c d"}, {"b", "e"}}, "x c de;", "x|c|de"},
              {kNginx, "x [% $a %]{% $b %};", {{"a", "c d"}, {"b", "e f"}}, "x c de f;", "", {"b"}},
              {kNginx, "x [% $a %]{% $b %};", {{"a", "c"}, {"b", ""}}, "x c;", "x|c"},
              {kNginx, "x {% $b %}[% $a %];", {{"a", "c d"}, {"b", "e f"}}, "x e fc d;", "", {"b"}},
              // None of the others may reach into what it may come to be.
              {kApache, "X {% $a %} [% $b %]", {{"a", "\"c"}, {"b", ""}}, "X \"c", "", {"a"}},
              {kApache, "X {% $a %} [% $b %]", {{"a", "\"c\""}, {"b", " "}}, "X \"c\"", "X|c"},
              {kApache, "X [% $a %]", {{"a", "c\\"}}, "X c\\", "", {"a"}},
              // A directive stays one.
              {kApache, "[% $a %]", {{"a", "X c"}}, "X c", "X|c"},
              {kApache, "[% $a %]", {{"a", "<If c>"}}, "<If c>", "", {"a"}},
              {kApache, "[% $a %] [% $b %]", {{"a", "<If c>"}, {"b", ""}}, "<If c>", "", {"a"}}});
}

TEST(AValue, ThatIsMissingLeavesNoLine) {
  const std::set<std::string> raw;
  const Handling handling{raw, false};
  EXPECT_FALSE(AuthoredLine(kNginx, "x {% $a %};").Fill({}, handling));
  EXPECT_FALSE(AuthoredLine(kNginx, "x {% $a %} {% $b %};").Fill({{"a", "c"}}, handling));
  EXPECT_FALSE(AuthoredLine(kNginx, "x {% a %};").Fill({{"a", "c"}, {"", "c"}}, handling));
  EXPECT_TRUE(AuthoredLine(kNginx, "x 1;").Fill({}, handling));
}

TEST(AValue, InALineThatIsNoDirectiveIsPutInAsItIs) {
  ExpectFilled(false, {{kNginx, "# by {% $a %}", {{"a", "b"}}, "# by b", ""},
                       {kNginx, "x {% $a %} \t", {{"a", "b"}}, "x b", ""},
                       {kNginx, "{% $a %}", {{"a", " \t b \t"}}, "b", ""}});
}

TEST(ARawValue, MayBeMoreThanAWord) {
  ExpectFilled(false, {{kNginx, "x {% $a %};", {{"a", "b c"}}, "x b c;", "x|b|c", {}, {"a"}},
                       // It leaves the others where they have to be.
                       {kNginx,
                        "x {% $a %} {% $b %};",
                        {{"a", "b c"}, {"b", "d e"}},
                        "x b c d e;",
                        "",
                        {"b"},
                        {"a"}}});
  // That the whole is no directive then is no fault of a place.
  const std::set<std::string> raw = {"a"};
  const auto filling =
      AuthoredLine(kNginx, "x {% $a %};").Fill({{"a", "b; y on"}}, Handling{raw, false});
  ASSERT_TRUE(filling);
  EXPECT_TRUE(filling->in_place);
  EXPECT_FALSE(filling->written);
  EXPECT_EQ(filling->text, "x b; y on;");
}

TEST(AQuotedValue, IsWrittenAsTheOneTextThatItIs) {
  ExpectFilled(
      true,
      {{kNginx, "x {% $a %};", {{"a", "b c"}}, "x \"b c\";", "x|b c"},
       {kNginx, "x {% $a %};", {{"a", ""}}, "x \"\";", "x|"},
       {kNginx, "x {% $a %}{% $b %} y;", {{"a", "; "}, {"b", "}"}}, "x \"; }\" y;", "x|; }|y"},
       {kNginx, "x '{% $a %}' {% $b %};", {{"a", "'"}, {"b", "d"}}, "x '\\'' d;", "x|'|d"},
       {kNginx,
        "x {% $a %} [% $b %];",
        {{"a", "c d"}, {"b", "e f"}},
        "x \"c d\" e f;",
        "x|c d|e|f"},
       {kNginx, "x {% $a %} [% $b %];", {{"a", "c d"}, {"b", "e;"}}, "x \"c d\" e;;", "", {"b"}},
       // A raw one beside it has the word stay as it is.
       {kNginx,
        "x {% $a %} {% $b %};",
        {{"a", "c d"}, {"b", "e f"}},
        "x c d \"e f\";",
        "x|c|d|e f",
        {},
        {"a"}},
       {kNginx, "x {% $a %}{% $b %};", {{"a", "c d"}, {"b", "e f"}}, "x c de f;", "", {"b"}, {"a"}},
       {kApache, "X {% $a %}", {{"a", "\""}}, "X '\"'", "X|\""},
       {kApache, "X {% $a %} y", {{"a", "b\\"}}, "X \"b\\\\\" y", "X|b\\|y"}});
}

// What stands around a value may make a variable of it, another value as well.
TEST(AQuotedValue, IsNotWrittenWhereTheServerWouldReadAVariable) {
  struct VariableCase {
    Dialect dialect;
    const char* line;
    Values values;
    Unwritable why;
    std::set<std::string> raw = {};
  };
  constexpr Unwritable kVariable = Unwritable::kVariable;
  constexpr Unwritable kNothing = Unwritable::kNothing;
  const VariableCase cases[] = {
      {kNginx, "x {% $a %};", {{"a", "$host"}}, kVariable},
      {kNginx, "x {% $a %};", {{"a", "$"}}, kNothing},
      {kNginx, "x {% $a %};", {{"a", "$-"}}, kNothing},
      {kNginx, "x {% $a %}y;", {{"a", "$"}}, kVariable},
      {kNginx, "x {% $a %}-y;", {{"a", "$"}}, kNothing},
      {kNginx, "x \"{% $a %} y\";", {{"a", "$"}}, kNothing},
      {kNginx, "x {% $a %}{% $b %};", {{"a", "$"}, {"b", "y"}}, kVariable},
      {kNginx, "x {% $a %}{% $b %};", {{"a", "$"}, {"b", "-y"}}, kNothing},
      {kNginx, "x {% $a %}-{% $b %};", {{"a", "$"}, {"b", "y"}}, kNothing},
      {kNginx, "x {% $a %}y{% $b %};", {{"a", "$"}, {"b", "-"}}, kVariable},
      {kNginx, "x {% $a %}{% $b %}{% $c %};", {{"a", "$"}, {"b", ""}, {"c", "y"}}, kVariable},
      {kNginx, "x {% $a %}{% $b %}{% $c %};", {{"a", "$"}, {"b", "-"}, {"c", "y"}}, kNothing},
      {kNginx, "x {% $a %}{% $b %}{% $c %};", {{"a", "$"}, {"b", ""}, {"c", "-"}}, kNothing},
      {kNginx, "x {% $a %}{% $b %}-{% $c %};", {{"a", "$"}, {"b", ""}, {"c", "y"}}, kNothing},
      {kNginx, "x {% $a %}{% $b %}y;", {{"a", "$"}, {"b", ""}}, kVariable},
      {kNginx, "x {% $a %}{% $b %}-;", {{"a", "$"}, {"b", ""}}, kNothing},
      {kNginx, "x {% $a %}{% $b %}y;", {{"a", "-"}, {"b", "$"}}, kVariable},
      {kNginx, "x ${% $a %};", {{"a", "{y}"}}, kVariable},
      {kNginx, "x {% $a %}${% $b %};", {{"a", "-"}, {"b", "{y}"}}, kVariable},
      {kNginx, "x {% $a %}-{% $b %};", {{"a", "$"}, {"b", "{y}"}}, kNothing},
      // In another word it is none.
      {kNginx, "x {% $a %} {% $b %};", {{"a", "$"}, {"b", "y"}}, kNothing},
      {kNginx, "x {% $b %} {% $a %};", {{"a", "$y"}, {"b", "c"}}, kVariable},
      // What is not quoted means what it says.
      {kNginx, "x {% $a %};", {{"a", "$y"}}, kNothing, {"a"}},
      {kNginx, "x [% $a %];", {{"a", "$y"}}, kNothing},
      {kNginx, "x {% $a %} {% $b %};", {{"a", "$y"}, {"b", "$z"}}, kVariable, {"a"}},
      {kNginx, "x $y {% $a %};", {{"a", "z"}}, kNothing},
      {kNginx, "x {% $a %};", {{"a", "\x01"}}, Unwritable::kControl},
      {kNginx, "x {% $b %}{% $a %};", {{"a", "\x01"}, {"b", "c"}}, Unwritable::kControl},
      {kApache, "X {% $a %}{% $b %}", {{"a", "$"}, {"b", "{y}"}}, kVariable},
      {kApache, "X {% $a %}{% $b %}", {{"a", "$"}, {"b", "y"}}, kNothing},
      {kApache, "X {% $a %}", {{"a", "a\nb"}}, Unwritable::kControl},
  };
  for (const VariableCase& c : cases) {
    std::string shown = c.line;
    for (const auto& [name, value] : c.values) shown.append(" ").append(name + "=" + value);
    SCOPED_TRACE(shown);
    const auto filling = AuthoredLine(c.dialect, c.line).Fill(c.values, Handling{c.raw, true});
    ASSERT_TRUE(filling);
    EXPECT_EQ(filling->unwritable, c.why);
    EXPECT_EQ(filling->in_place, c.why == kNothing);
  }
}

// Of values that are out of place only together, all are named; of very many the first ones.
TEST(GuiltyValues, AreTwentyAtMost) {
  const auto guilty = [](std::size_t count, std::size_t bad) {
    std::string line = "x ";
    Values values;
    for (std::size_t i = 0; i < count; ++i) {
      const std::string name = "v" + std::to_string(i);
      line += "{% $" + name + " %}{% $" + name + " %}";
      values[name] = i == bad ? ";" : "";
    }
    const std::set<std::string> raw;
    return AuthoredLine(kNginx, line + ";").Fill(values, Handling{raw, false})->guilty;
  };
  constexpr std::size_t kNone = 100;
  EXPECT_EQ(guilty(19, kNone).size(), 19U);
  EXPECT_EQ(guilty(20, kNone).size(), 20U);
  const Names of_many = guilty(21, kNone);
  ASSERT_EQ(of_many.size(), 20U);
  EXPECT_EQ(of_many.front(), "v0");
  EXPECT_EQ(of_many.back(), "v19");
  EXPECT_EQ(guilty(21, 19), Names({"v19"}));
}

// --- Beginnings ---

TEST(ABeginning, IsWhatStandsBeforeTheFirstTrailingPlace) {
  struct BeginningCase {
    Dialect dialect;
    const char* line;
    Values values;
    bool quote;
    const char* words;  // "": it has no beginning
    const char* next;
  };
  const BeginningCase cases[] = {
      {kNginx, "root [% $a %];", {}, false, "root", ""},
      {kNginx, "root /srv/[% $a %]/x;", {{"a", "b"}}, false, "root", "/srv/"},
      {kNginx, "root \"/srv/[% $a %]\";", {}, false, "root", "/srv/"},
      {kNginx, "x 1 2 [% $a %] 3 [% $b %];", {}, false, "x|1|2", ""},
      {kNginx, "x {% $b %} y{% $b %}[% $a %];", {{"b", "c"}}, false, "x|c", "yc"},
      {kNginx, "x {% $b %} [% $a %];", {}, false, "", ""},
      {kNginx, "x [% $a %] {% $b %};", {}, false, "", ""},
      {kNginx, "x {% b %} [% $a %];", {{"b", "c"}, {"", "c"}}, false, "", ""},
      {kNginx, "x {% $b %};", {{"b", "c"}}, false, "", ""},
      {kNginx, "x {% $b %} [% $a %];", {{"b", "c d"}}, false, "x|c|d", ""},
      {kNginx, "x {% $b %} [% $a %];", {{"b", "c d"}}, true, "x|c d", ""},
      {kNginx, "x {% $b %} [% $a %];", {{"b", "c;"}}, false, "", ""},
      {kNginx, "x {% $b %} [% $a %];", {{"b", "c;"}}, true, "x|c;", ""},
      {kNginx, "x [% $a %]", {}, false, "", ""},
      {kNginx, "x 1; # [% $a %]", {}, false, "x|1", ""},
      {kNginx, "location ~ [% $a %] {", {}, false, "location|~", ""},
      {kApache, "<Directory /srv/[% $a %]>", {}, false, "Directory", "/srv/"},
  };
  for (const BeginningCase& c : cases) {
    SCOPED_TRACE(c.line);
    const std::set<std::string> raw;
    const auto beginning =
        AuthoredLine(c.dialect, c.line).BeginningWith(c.values, Handling{raw, c.quote});
    ASSERT_EQ(beginning.has_value(), *c.words != '\0');
    if (!beginning) continue;
    EXPECT_EQ(Listed(beginning->words), c.words);
    EXPECT_EQ(beginning->next, c.next);
  }
}

}  // namespace
}  // namespace tov_edit
