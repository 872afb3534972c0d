// SPDX-License-Identifier: Apache-2.0

#include "report/json_writer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace report {
namespace {

using nlohmann::ordered_json;

std::string TextJson(const std::string& text) {
  JsonWriter json;
  json.Value(text);
  return std::move(json).Text();
}

// As another library writes the same text.
std::string JudgesJson(const ordered_json& value) {
  return value.dump(2, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

TEST(JsonWriter, EscapesWhatJsonDoes) {
  struct Case {
    std::string text;
    std::string expected;
  };
  const Case cases[] = {
      {"", R"("")"},
      {"a b/c", R"("a b/c")"},
      {"say \"a\\b\"", R"("say \"a\\b\"")"},
      {"\b\f\n\r\t", R"("\b\f\n\r\t")"},
      {std::string(1, '\0') + "\x1f\x7f", "\"\\u0000\\u001f\x7f\""},
      {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",
       "\"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80\""},
      {"caf\xE9!", "\"caf\xEF\xBF\xBD!\""},
      {"\xE2\x82", "\"\xEF\xBF\xBD\""},                              // not whole
      {"\xE2\x82\xE9", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},              // the same, and a byte alone
      {"\xC0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},                  // a longer way to write U+0000
      {"\xED\xA0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},  // a surrogate
  };
  for (const Case& c : cases) EXPECT_EQ(TextJson(c.text), c.expected + '\n') << c.text;
}

// All of one and two bytes, and random ones: what makes and breaks a character is frequent in them.
TEST(JsonWriter, WritesTextsAsAnotherLibrary) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const std::string text = {static_cast<char>(first), static_cast<char>(second)};
      ASSERT_EQ(TextJson(text), JudgesJson(text)) << first << ' ' << second;
    }
  }
  const std::string bytes =
      "a\"\x7f\x80\x8f\x90\x9f\xa0\xbf\xc0\xc1\xc2\xdf\xe0\xe1\xec\xed\xee\xef\xf0\xf1\xf3\xf4\xf5"
      "\xff";
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    std::string text(random() % 8, ' ');
    for (char& c : text) c = bytes[random() % bytes.size()];
    ASSERT_EQ(TextJson(text), JudgesJson(text)) << i;
  }
}

TEST(JsonWriter, GivesTheSameInPieces) {
  constexpr std::size_t kTexts = 3000;
  const auto write_all = [](JsonWriter& json) {
    json.Begin('[');
    for (std::size_t i = 0; i < kTexts; ++i) {
      json.Begin('{');
      json.Member("number", i);
      json.Member("text", std::string(50, 'x'));
      json.End('}');
    }
    json.End(']');
  };
  JsonWriter whole;
  write_all(whole);
  std::vector<std::string> pieces;
  JsonWriter in_pieces([&pieces](std::string_view piece) { pieces.emplace_back(piece); });
  write_all(in_pieces);
  EXPECT_GT(pieces.size(), 2U);
  pieces.push_back(std::move(in_pieces).Text());
  std::string joined;
  for (const std::string& piece : pieces) joined += piece;
  EXPECT_EQ(joined, std::move(whole).Text());
}

TEST(JsonWriter, WritesValuesOfAllKindsAsAnotherLibrary) {
  JsonWriter json;
  json.Begin('{');
  json.Member("yes", true);
  json.Member("no", false);
  json.Member("number", std::size_t{18446744073709551615U});
  json.Member("zero", 0U);
  json.Member("text", "a\nb");
  json.Member("texts", std::vector<std::string>{"a", ""});
  json.Member("none", std::vector<std::string>{});
  json.Name("odd \xE9 \"name\"");
  json.Begin('[');
  json.Begin('{');
  json.End('}');
  json.Begin('{');
  json.Member("deep", 1U);
  json.End('}');
  json.End(']');
  json.End('}');
  const ordered_json expected = {{"yes", true},
                                 {"no", false},
                                 {"number", 18446744073709551615U},
                                 {"zero", 0},
                                 {"text", "a\nb"},
                                 {"texts", {"a", ""}},
                                 {"none", ordered_json::array()},
                                 {"odd \xE9 \"name\"", {ordered_json::object(), {{"deep", 1}}}}};
  EXPECT_EQ(std::move(json).Text(), JudgesJson(expected));
}

}  // namespace
}  // namespace report
