// SPDX-License-Identifier: Apache-2.0

// The statements of a template: what is wrong with them as they are written, and which values make
// another statement of one.

#include "edit/tree/statements.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "edit/tree/statement_values.h"

namespace tov_edit {
namespace {

using Values = std::map<std::string, std::string>;

// --- As they are written ---

TEST(AStatement, IsOddWhereItDoesNotMeanWhatItSays) {
  struct OddCase {
    const char* text;
    const char* odd;  // the lines, and what is said of them up to a comma or colon
  };
  const OddCase cases[] = {
      {"", ""},
      {"x 1;\n{% if $a == 1 %}\ny [% $b %];\n{% elif $a == 2 %}\nz {% $c %};\n{% else %}\n"
       "{% import d %}\n{% endif %}\n{#} {% if %}\n",
       ""},
      {"{# x #}\n", "1 '{#' does not begin a comment"},
      {"x 1;\n  {# x\n", "2 '{#' does not begin a comment"},
      {"x 1; {# x\n", ""},
      {"x {#} {% y %}\n", ""},
      {"{% else if $a %}\n", "1 what stands behind 'else' does not count"},
      {"{% else %} x\n", ""},
      // Quotes.
      {"{% if $a == \"1\" %}\n", "1 the quotes are part of the word \"1\""},
      {"{% if '1' == $a %}\n", "1 the quotes are part of the word '1'"},
      {"{% elif $a == \"1\" %}\n", "1 the quotes are part of the word \"1\""},
      {"{% if $a == \"\" %}\n", ""},
      {"{% if $a == 1\" %}\n", ""},
      {"{% if \"a\" == \"b\" %}\n",
       "1 the quotes are part of the word \"a\", 1 the quotes are part of the word \"b\""},
      {"{% endif \"x\" %}\n", ""},
      // And, or.
      {"{% if $a == 1 and $b == 2 or $c == 3 %}\n",
       "1 with 'and' and 'or' in one condition only its beginning counts"},
      {"{% if $a == 1 or $b == 2 and $c == 3 %}\n",
       "1 with 'and' and 'or' in one condition only its beginning counts"},
      {"{% if $a == 1 or $b == 2 or $c == 3 %}\n", ""},
      {"{% if $a == 1 and $b == 2 and $c == 3 %}\n", ""},
      {"{% if $a == 1 or $b == android %}\n", ""},
      // A place that stands for no value.
      {"x {% y %};\n", "1 '{% y %}' is not a statement"},
      {"x [% y %];\n", "1 '[% y %]' is not a statement"},
      {"{% foreach $a %}\n", "1 '{% foreach $a %}' is not a statement"},
      {"{% iff $a %}\n", "1 '{% iff $a %}' is not a statement"},
      {"x {% \t$y %} {% z %};\n", "1 '{% z %}' is not a statement"},
      {"x {% y %} {% z %};\n", "1 '{% y %}' is not a statement"},
      {"x {% y ;\n", ""},
      {"x {% y ; {% $z %};\n", "1 '{% y ; {% $z %}' is not a statement"},
      {"x [% y %};\n", ""},
      {"x %} {% y\n", ""},
      {"x {%", ""},
      {"x {%%};\n", "1 '{%%}' is not a statement"},
  };
  for (const OddCase& c : cases) {
    SCOPED_TRACE(c.text);
    std::string found;
    for (const OddStatement& odd : OddStatements(c.text, {})) {
      // As much of what is said as tells it from the others.
      const std::size_t end = std::min(odd.what.find_first_of(",:"), odd.what.size());
      found +=
          (found.empty() ? "" : ", ") + std::to_string(odd.line) + " " + odd.what.substr(0, end);
    }
    EXPECT_EQ(found, c.odd);
  }
}

// Of the branches of an if only the one before counts for an elif.
TEST(ABranch, ThatIsTakenBesideAnEarlierOneIsSaid) {
  const std::string if_a = "{% if $a == 1 %}\n";
  const std::string if_none = "{% if $a == 2 %}\n";
  const std::string elif_a = "{% elif $a == 1 %}\n";
  const std::string elif_none = "{% elif $a == 2 %}\n";
  const std::string endif = "{% endif %}\n";
  const std::pair<std::string, std::vector<std::size_t>> cases[] = {
      {if_a + elif_a + endif, {}},
      {if_a + elif_a + elif_a + endif, {3}},
      {if_a + elif_none + elif_a + endif, {3}},
      {if_none + elif_a + elif_a + elif_a + endif, {4}},
      {if_none + elif_none + elif_a + endif, {}},
      {if_a + endif + if_none + elif_a + endif, {}},
      {elif_a + elif_a, {}},
      {endif + if_a + elif_none + elif_a, {4}},
      // In another if: as that is taken.
      {if_a + if_a + elif_none + elif_a + endif + endif, {4}},
      {if_none + if_a + elif_none + elif_a + endif + endif, {}},
      {if_none + elif_a + if_a + elif_none + elif_a + endif + endif, {5}},
      {if_a + if_none + endif + elif_none + elif_a + endif, {5}},
      {if_a + elif_none + if_a + endif + elif_a + endif, {5}},
  };
  for (const auto& [text, lines] : cases) {
    SCOPED_TRACE(text);
    std::vector<std::size_t> found;
    for (const OddStatement& odd : OddStatements(text, {{"a", "1"}})) {
      EXPECT_EQ(odd.what.find("this branch is taken, too"), 0U) << odd.what;
      found.push_back(odd.line);
    }
    EXPECT_EQ(found, lines);
  }
}

// --- With values ---

std::string Listed(const std::vector<std::string>& names) {
  std::string listed;
  for (const std::string& name : names) listed += name + " ";
  return listed;
}

TEST(AValue, OfAConditionIsOneWord) {
  for (const std::string word : {"x", "android", "orb", "a\"", "a'b", "a$b", "==", "\xc3\xa4"}) {
    EXPECT_EQ(Listed(OddOperands("{% if [% $a %] == 1 %}", {{"a", word}})), "") << word;
  }
  for (const std::string odd : {"", "and", "or", "$x", "\"x", "'x", "a\"\"b", "a b", "a\tb", "a\n",
                                " a", "a\x7f", "a\x01"}) {
    EXPECT_EQ(Listed(OddOperands("  {% if [% $a %] == 1 %}", {{"a", odd}})), "a ") << odd;
  }
  const Values values = {{"a", ""}, {"b", "x y"}, {"c", "z"}};
  EXPECT_EQ(Listed(OddOperands("{% if [% $a %] == [% $c %] and [% $b %] %}", values)), "a b ");
  EXPECT_EQ(Listed(OddOperands("{% if $a == {% $b %]", values)), "");
  EXPECT_EQ(Listed(OddOperands("{% if [% $d %] == [% b %] %}", values)), "");
  EXPECT_EQ(Listed(OddOperands("{% if $c %} [% $a %]", values)), "");
}

TEST(AValue, OfAPathIsAPartThatLeadsNoFurtherUp) {
  for (const std::string part : {"x", "a b", "x/y", ".", "..x", "x..", "a. .b", "\xc3\xa4"}) {
    EXPECT_EQ(Listed(OddPathParts("{% import [% $a %]/x %}", {{"a", part}})), "") << part;
  }
  for (const std::string odd : {"", " a", "a ", "a\tb", "a\n", "a\x7f", "..", "x/..", "../x",
                                "x/../y", "x/ .. /y", "../.."}) {
    EXPECT_EQ(Listed(OddPathParts("{% import [% $a %]/x %}", {{"a", odd}})), "a ") << odd;
  }
  // The author may go up, and two values may make up what neither does alone.
  const Values values = {{"a", "."}, {"b", "."}, {"c", "x"}, {"d", ".."}};
  EXPECT_EQ(Listed(OddPathParts("{% import ../[% $c %] %}", values)), "");
  EXPECT_EQ(Listed(OddPathParts("{% import ../[% $d %] %}", values)), "d ");
  EXPECT_EQ(Listed(OddPathParts("{% import [% $a %][% $b %]/x %}", values)), "a b ");
  EXPECT_EQ(Listed(OddPathParts("{% import [% $a %][% $c %][% $b %]/x %}", values)), "");
  EXPECT_EQ(Listed(OddPathParts("{% import [% $a %]./x %}", values)), "a ");
  EXPECT_EQ(Listed(OddPathParts("{% import [% $c %]/[% $d %] %}", values)), "d ");
  EXPECT_EQ(Listed(OddPathParts("{% import [% $e %]/x %}", values)), "");
}

}  // namespace
}  // namespace tov_edit
