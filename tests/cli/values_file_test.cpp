#include "cli/values_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "cli/failure.h"
#include "cli/sandbox.h"

namespace {

using cli::Failure;
using cli::ParseValues;
using cli::ReadValuesFile;
using cli::Values;
using std::string_literals::operator""s;

std::string Shown(const tov_template::Value& value) {
  return value.IsNull() ? "null" : "'" + value.Str() + "'";
}

// "name: old -> new" for each value.
std::string Shown(const Values& values) {
  std::string text;
  for (const auto& [name, value] : values) {
    text += name + ": " + Shown(value.old_value) + " -> " + Shown(value.new_value) + "\n";
  }
  return text;
}

// The message that `json` is refused with, "" when it is not.
std::string Refusal(const std::string& json) {
  try {
    ParseValues(json, "v.json");
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
      {"a list at the top", R"(["a"])", "v.json: the values must be an object, not array"},
      {"null at the top", "null", "v.json: the values must be an object, not null"},
      {"a string at the top", R"("a")", "v.json: the values must be an object, not string"},
      {"a number", R"({"port": 80})",
       R"(v.json: "port" must be a string, null or an object, not number)"},
      {"a bool", R"({"ssl": true})",
       R"(v.json: "ssl" must be a string, null or an object, not boolean)"},
      {"a list", R"({"names": ["a"]})",
       R"(v.json: "names" must be a string, null or an object, not array)"},
      {"a number as old value", R"({"port": {"old": 80, "new": "81"}})",
       R"(v.json: "old" of "port" must be a string or null, not number)"},
      {"an object as new value", R"({"port": {"new": {}}})",
       R"(v.json: "new" of "port" must be a string or null, not object)"},
      {"another member", R"({"port": {"old": "1", "New": "2"}})",
       R"(v.json: "port" has a member "New": only "old" and "new" may be)"},
      {"a name twice", R"({"a": "1", "b": "2", "a": "1"})", R"(v.json: "a" is given twice)"},
      {"a name twice, spelled otherwise", R"({"a": "1", "\u0061": "1"})",
       R"(v.json: "a" is given twice)"},
      {"a side twice", R"({"a": {"old": "1", "old": "2"}})", R"(v.json: "old" is given twice)"},
      {"a name with a line break", R"({"a\nb": 1})",
       R"(v.json: "a\nb" must be a string, null or an object, not number)"},
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
      {"empty", "", "v.json: line 1, column 1: syntax error"},
      {"not closed", "{\n  \"a\": \"1\"\n", "v.json: line 3, column 1: syntax error"},
      {"no quotes", "{\n  a: \"1\"\n}\n", "v.json: line 2, column 3: syntax error"},
      {"a comma too many", "{\"a\": \"1\",}", "v.json: line 1, column 11: syntax error"},
      {"more behind the end", "{}\n{}", "v.json: line 2, column 1: syntax error"},
      {"a line break in a string", "{\"a\": \"1\n\"}", "v.json: line 2, column 0: syntax error"},
      {"not UTF-8", "{\"a\": \"\xff\"}", "v.json: line 1, column 8: syntax error"},
      {"a comment", "{} // none", "v.json: line 1, column 4: syntax error"},
      {"a number too large", "{\"a\": 1e999}", "v.json: number overflow parsing '1e999'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_THAT(Refusal(c.json), testing::StartsWith(c.message_start));
  }
}

TEST(ValuesFile, SurvivesDeepNesting) {
  const std::size_t depth = 200000;
  EXPECT_EQ(Refusal("{\"a\": " + std::string(depth, '[') + std::string(depth, ']') + "}"),
            R"(v.json: "a" must be a string, null or an object, not array)");
}

TEST(ValuesFile, IsReadFromItsFile) {
  const Sandbox sandbox;
  sandbox.Write("v.json", R"({"a": "1"})");
  EXPECT_EQ(Shown(ReadValuesFile(sandbox.PathOf("v.json"))), "a: null -> '1'\n");
}

}  // namespace
