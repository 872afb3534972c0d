// SPDX-License-Identifier: Apache-2.0

// The Document and the plain reader on all short texts.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "document/nginx/plain_reader.h"

namespace {

// With checked containers and sanitizers, which come together, a text takes about ten times as
// long.
#ifdef _GLIBCXX_DEBUG
constexpr std::size_t kLongest = 5;
#else
constexpr std::size_t kLongest = 6;
#endif

// `text` becomes the next one over `alphabet` of the same length; false: it was the last one.
// `digits` are its bytes as numbers.
bool Next(const std::string& alphabet, std::vector<std::size_t>& digits) {
  for (std::size_t& digit : digits) {
    if (++digit < alphabet.size()) return true;
    digit = 0;
  }
  return false;
}

// How many texts were compared: `before`, a text over `alphabet` of at most `longest` bytes,
// `after`.
std::size_t CompareAll(const std::string& alphabet, std::size_t longest, const std::string& before,
                       const std::string& after) {
  std::size_t compared = 0;
  std::size_t differences = 0;
  for (std::size_t length = 0; length <= longest; ++length) {
    std::vector<std::size_t> digits(length);
    do {
      std::string text = before;
      for (const std::size_t digit : digits) text += alphabet[digit];
      text += after;
      const tov_document::Document document(tov_document::Dialect::kNginx, text);
      const std::string difference =
          nginx_judge::Difference(document, nginx_judge::ReadPlainly(text));
      ++compared;
      if (difference.empty()) continue;
      EXPECT_EQ(difference, "") << testing::PrintToString(text);
      if (++differences == 20) return compared;  // enough to see what is wrong
    } while (Next(alphabet, digits));
  }
  return compared;
}

std::size_t CountOfTexts(std::size_t letters, std::size_t longest) {
  std::size_t count = 1;
  for (std::size_t length = 0; length < longest; ++length) count = count * letters + 1;
  return count;
}

TEST(NginxShortTexts, AreReadAlike) {
  const std::string alphabet = "a {};\"'#\\\n";
  EXPECT_EQ(CompareAll(alphabet, kLongest, "", ""), CountOfTexts(alphabet.size(), kLongest));
}

struct Inside {
  const char* name;
  const char* alphabet;
  const char* before;
  const char* after;
};

const Inside kInside[] = {
    {"Variables", "a ${}\\\";", "", ";"},
    {"BehindQuotes", "a )\"';{\t\r", "\"", ""},
    {"Head", "a$ {}\"#\n", "a {b ", "{}}"},
    {"Map", "a {};\"#\n", "map a b {", "}"},
    {"QuotedTypes", "a {};'\\\n", "x{\"types\" {", "}}"},
    {"Escapes", "a\\tnr;\" ", "\"", "\";"},
    {"LuaStrings", "}{\"'\\a\n", "content_by_lua_block {", "}"},
    {"LuaBrackets", "}[]=-\"\n", "content_by_lua_block {", "}"},
    {"LuaComments", "}{-[]a\n", "a{set_by_lua_block $a {--", "}}"},
};

TEST(NginxShortTextsInside, AreReadAlike) {
  const std::size_t longest = kLongest - 1;
  for (const auto& [name, alphabet, before, after] : kInside) {
    SCOPED_TRACE(name);
    EXPECT_EQ(CompareAll(alphabet, longest, before, after),
              CountOfTexts(std::string(alphabet).size(), longest));
  }
}

}  // namespace
