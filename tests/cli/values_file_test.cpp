// SPDX-License-Identifier: Apache-2.0

#include "cli/values_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "cli/failure.h"
#include "cli/sandbox.h"

namespace {

using cli::Failure;
using cli::ParseValues;
using cli::ReadValuesFile;
using cli::Values;
using std::string_literals::operator""s;

std::string Shown(const std::optional<std::string>& value) {
  return value ? "'" + *value + "'" : "null";
}

// "name: old -> new" for each value.
std::string Shown(const Values& values) {
  std::string text;
  for (const auto& [name, value] : values) {
    const std::string old_text = value.read_old ? "read" : Shown(value.old_value);
    text += name + ": " + old_text + " -> " + Shown(value.new_value) + "\n";
  }
  return text;
}

// The message that `text` is refused with, "" when it is not.
std::string Refusal(const std::string& text, const std::string& file = "v.json") {
  try {
    ParseValues(text, file);
    return std::string();
  } catch (const Failure& failure) {
    return failure.what();
  }
}

TEST(ValuesFile, HoldsOldAndNewValues) {
  struct Case {
    const char* name;
    std::string json;
    std::string values;
  };
  const Case cases[] = {
      {"no values", "{}", ""},
      {"a string is the new value", R"({"a": "1"})", "a: null -> '1'\n"},
      {"null is no new value", R"({"a": null})", "a: null -> null\n"},
      {"both sides", R"({"a": {"old": "1", "new": "2"}})", "a: '1' -> '2'\n"},
      {"a side left out is null", R"({"a": {"old": "1"}, "b": {"new": "2"}, "c": {}})",
       "a: '1' -> null\nb: null -> '2'\nc: null -> null\n"},
      {"a null side", R"({"a": {"old": null, "new": "2"}, "b": {"old": "1", "new": null}})",
       "a: null -> '2'\nb: '1' -> null\n"},
      {"empty is not null", R"({"a": "", "b": {"old": "", "new": ""}})",
       "a: null -> ''\nb: '' -> ''\n"},
      {"an old value that the configuration says", R"({"a": {"read_old": true, "new": "2"}})",
       "a: read -> '2'\n"},
      {"one that it does not say", R"({"a": {"read_old": false, "new": "2"}})", "a: null -> '2'\n"},
      {"the empty name", R"({"": "1"})", ": null -> '1'\n"},
      {"in name order", R"({"b": "2", "a": "1", "B": "3"})",
       "B: null -> '3'\na: null -> '1'\nb: null -> '2'\n"},
      {"escapes", R"({"a\u0041": "x\n\u0000\u00fc"})", "aA: null -> 'x\n\0\xc3\xbc'\n"s},
      {"the same name on two levels", R"({"old": {"old": "1", "new": "2"}, "new": "3"})",
       "new: null -> '3'\nold: '1' -> '2'\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Shown(ParseValues(c.json, "v.json")), c.values);
  }
}

TEST(ValuesFile, RefusesWhatIsNoValue) {
  struct Case {
    const char* name;
    const char* json;
    const char* message;
  };
  const Case cases[] = {
      {"a list at the top", R"(["a"])", "v.json:1:1: the values must be an object, not array"},
      {"null at the top", "null", "v.json:1:4: the values must be an object, not null"},
      {"a string at the top", R"("a")", "v.json:1:3: the values must be an object, not string"},
      {"a number", R"({"port": 80})",
       R"(v.json:1:12: "port" must be a string, null or an object, not number)"},
      {"a bool", R"({"ssl": true})",
       R"(v.json:1:12: "ssl" must be a string, null or an object, not boolean)"},
      {"a list", R"({"names": ["a"]})",
       R"(v.json:1:11: "names" must be a string, null or an object, not array)"},
      {"a number as old value", R"({"port": {"old": 80, "new": "81"}})",
       R"(v.json:1:20: "old" of "port" must be a string or null, not number)"},
      {"an object as new value", R"({"port": {"new": {}}})",
       R"(v.json:1:18: "new" of "port" must be a string or null, not object)"},
      {"another member", R"({"port": {"old": "1", "New": "2"}})",
       R"(v.json:1:27: "port" has a member "New": only "old", "new" and "read_old" may be)"},
      {"a text where true or false should be", R"({"a": {"read_old": "true"}})",
       R"(v.json:1:25: "read_old" of "a" must be true or false, not string)"},
      {"a name twice", R"({"a": "1", "b": "2", "a": "1"})", R"(v.json:1:24: "a" is given twice)"},
      {"a name twice, spelled otherwise", R"({"a": "1", "\u0061": "1"})",
       R"(v.json:1:19: "a" is given twice)"},
      {"a side twice", R"({"a": {"old": "1", "old": "2"}})",
       R"(v.json:1:24: "old" is given twice)"},
      {"a name with a line break", R"({"a\nb": 1})",
       R"(v.json:1:11: "a\nb" must be a string, null or an object, not number)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Refusal(c.json), c.message);
  }
}

// What follows the position is in the words of the JSON parser.
TEST(ValuesFile, SaysWhereTheSyntaxIsWrong) {
  struct Case {
    const char* name;
    std::string json;
    const char* message_start;
  };
  const Case cases[] = {
      {"empty", "", "v.json:1:1: syntax error"},
      {"not closed", "{\n  \"a\": \"1\"\n", "v.json:3:1: syntax error"},
      {"no quotes", "{\n  a: \"1\"\n}\n", "v.json:2:3: syntax error"},
      {"a comma too many", "{\"a\": \"1\",}", "v.json:1:11: syntax error"},
      {"more behind the end", "{}\n{}", "v.json:2:1: syntax error"},
      {"a line break in a string", "{\"a\": \"1\n\"}", "v.json:1:9: syntax error"},
      {"not UTF-8", "{\"a\": \"\xff\"}", "v.json:1:8: syntax error"},
      {"a comment", "{} // none", "v.json:1:4: syntax error"},
      {"a number too large", "{\"a\": 1e999}", "v.json:1:11: number overflow parsing '1e999'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_THAT(Refusal(c.json), testing::StartsWith(c.message_start));
  }
}

TEST(ValuesFile, SurvivesDeepNesting) {
  const std::size_t depth = 200000;
  EXPECT_EQ(Refusal("{\"a\": " + std::string(depth, '[') + std::string(depth, ']') + "}"),
            R"(v.json:1:7: "a" must be a string, null or an object, not array)");
}

TEST(ValuesFile, MayBeYaml) {
  struct Case {
    const char* name;
    const char* yaml;
    const char* values;
  };
  const Case cases[] = {
      {"no values", "{}", ""},
      {"nothing", "", ""},
      {"comments", "# none\n", ""},
      {"null at the top, which is nothing", "~\n", ""},
      {"strings in each style", "a: 1 2\nb: '1: 2'\nc: \"1\\t2\"\nd: |\n  x\n  y\n",
       "a: null -> '1 2'\nb: null -> '1: 2'\nc: null -> '1\t2'\nd: null -> 'x\ny\n'\n"},
      {"scalars as they are written", "a: 080\nb: on\nc: 1e999\nd: !!int 7\n",
       "a: null -> '080'\nb: null -> 'on'\nc: null -> '1e999'\nd: null -> '7'\n"},
      {"null", "a:\nb: ~\nc: null\nd: Null\n",
       "a: null -> null\nb: null -> null\nc: null -> null\nd: null -> null\n"},
      {"quoted, it is a string", "a: ''\nb: '~'\nc: \"null\"\n",
       "a: null -> ''\nb: null -> '~'\nc: null -> 'null'\n"},
      {"both sides", "a: {old: 1, new: 2}\nb:\n  new: 3\nc: {}\n",
       "a: '1' -> '2'\nb: null -> '3'\nc: null -> null\n"},
      {"an old value that the configuration says", "a: {read_old: true, new: 2}\n",
       "a: read -> '2'\n"},
      {"the same name on two levels", "old: {old: 1, new: 2}\nnew: 3\n",
       "new: null -> '3'\nold: '1' -> '2'\n"},
      {"a document with its marks", "---\na: 1\n...\n", "a: null -> '1'\n"},
      {"carriage returns", "a: 1\r\nb: 2\r\n", "a: null -> '1'\nb: null -> '2'\n"},
      {"UTF-8", "gr\xc3\xbc\xc3\x9f: \xc3\xbc\n", "gr\xc3\xbc\xc3\x9f: null -> '\xc3\xbc'\n"},
      {"JSON", R"({"a": {"old": "1", "new": null}})", "a: '1' -> null\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Shown(ParseValues(c.yaml, "v.yaml")), c.values);
  }
}

TEST(ValuesFile, RefusesYamlThatIsNoValue) {
  struct Case {
    const char* name;
    std::string yaml;
    const char* message;
  };
  const Case cases[] = {
      {"a list at the top", "- a\n", "v.yml:1:1: the values must be an object, not array"},
      {"a string at the top", "a\n", "v.yml:1:1: the values must be an object, not string"},
      {"a list", "a:\n  - b\n", R"(v.yml:2:3: "a" must be a string, null or an object, not array)"},
      {"a list as old value", "a: {old: [], new: x}\n",
       R"(v.yml:1:10: "old" of "a" must be a string or null, not array)"},
      {"an object as new value", "a:\n  new: {}\n",
       R"(v.yml:2:8: "new" of "a" must be a string or null, not object)"},
      {"another member", "a:\n  New: x\n",
       R"(v.yml:2:3: "a" has a member "New": only "old", "new" and "read_old" may be)"},
      {"a text where true or false should be", "a: {read_old: yes}\n",
       R"(v.yml:1:15: "read_old" of "a" must be true or false, not string)"},
      {"a name twice", "a: 1\nb: 2\na: 1\n", R"(v.yml:3:1: "a" is given twice)"},
      {"a name twice, spelled otherwise", "a: 1\n\"\\x61\": 1\n",
       R"(v.yml:2:1: "a" is given twice)"},
      {"a side twice", "a: {old: 1, old: 2}\n", R"(v.yml:1:13: "old" is given twice)"},
      {"an alias", "a: &x 1\nb: *x\n",
       "v.yml:2:4: an alias, which is not followed; write the value itself"},
      {"a list as name", "[a]: 1\n", "v.yml:1:1: a name must be a string"},
      {"an object as name", "{a: 1}: 1\n", "v.yml:1:1: a name must be a string"},
      {"null as name", "~: 1\n",
       "v.yml:1:1: a name is missing; quote it if it is \"null\" or empty"},
      {"two documents", "a: 1\n---\nb: 1\n",
       "v.yml:2:1: a second document begins, there may be one"},
      {"not UTF-8", "a: 1\nb: \xff\n",
       "v.yml:2:4: a byte that is not UTF-8; write it as an escape in double quotes"},
      {"a control character", "a: \x04\nb: 1\n",
       "v.yml:1:4: a byte that is not UTF-8; write it as an escape in double quotes"},
      {"NUL", "a: \0\n"s,
       "v.yml:1:4: a byte that is not UTF-8; write it as an escape in double quotes"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Refusal(c.yaml, "v.yml"), c.message);
  }
}

// What follows the position is in the words of the YAML parser.
TEST(ValuesFile, SaysWhereTheYamlIsWrong) {
  struct Case {
    const char* name;
    const char* yaml;
    const char* message_start;
  };
  const Case cases[] = {
      {"not closed", "a: {old: 1\n", "v.yml:2:1: "},
      {"a tab as indentation", "a:\n\told: 1\n", "v.yml:2:5: "},
      {"a colon too many", "a: b: c\n", "v.yml:1:5: "},
      {"a string not closed", "a: 'x\n", "v.yml:2:1: "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_THAT(Refusal(c.yaml, "v.yml"), testing::StartsWith(c.message_start));
  }
}

TEST(ValuesFile, SurvivesDeeplyNestedYaml) {
  EXPECT_EQ(Refusal("a: " + std::string(200000, '['), "v.yml"),
            R"(v.yml:1:4: "a" must be a string, null or an object, not array)");
  EXPECT_THAT(Refusal(std::string(200000, '{'), "v.yml"), testing::StartsWith("v.yml:1:"));
}

TEST(ValuesFile, IsReadAsItsNameSays) {
  struct Case {
    const char* file;
    const char* text;
    const char* values;  // "": refused
  };
  const Case cases[] = {
      {"v.json", "a: 1", ""},
      {"v.yaml", "a: 1", "a: null -> '1'\n"},
      {"v.yml", "a: 1", "a: null -> '1'\n"},
      {"v.yaml", R"({"a": 1})", "a: null -> '1'\n"},
      {"values", "a: 1", "a: null -> '1'\n"},
      {"values", " \n{\"a\": \"1\"}", "a: null -> '1'\n"},
      {"values", "{a: 1}", ""},
      {".yaml", "a: 1", "a: null -> '1'\n"},
      {"yaml", R"({"a": 1})", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.file) + ": " + c.text);
    if (std::string(c.values).empty()) {
      EXPECT_NE(Refusal(c.text, c.file), "");
    } else {
      EXPECT_EQ(Shown(ParseValues(c.text, c.file)), c.values);
    }
  }
}

TEST(ValuesFile, IsPutOverEarlierOnes) {
  const Values earlier = ParseValues(
      R"({"a": {"old": "1", "new": "2"}, "b": "3", "c": {"old": "4", "new": "5"}})", "v.json");
  EXPECT_EQ(Shown(ParseValues("a: 6\nc: {old: ~}\nd: 7\n", "v.yaml", earlier)),
            "a: '1' -> '6'\nb: null -> '3'\nc: null -> '5'\nd: null -> '7'\n");
}

TEST(ValuesFile, IsReadFromItsFile) {
  const Sandbox sandbox;
  sandbox.Write("v.json", R"({"a": "1"})");
  EXPECT_EQ(Shown(ReadValuesFile(sandbox.PathOf("v.json"))), "a: null -> '1'\n");
}

}  // namespace
