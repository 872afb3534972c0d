// SPDX-License-Identifier: Apache-2.0

// Random texts over the bytes that mean something to nginx.
#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>

#include "document/nginx/one_reading.h"

namespace {

using nginx_judge::ExpectOneReading;

struct Alphabet {
  const char* name;
  std::string letters;
  const char* before;
  const char* after;
};

using namespace std::string_literals;

const Alphabet kAlphabets[] = {
    {"Plain", "aa {};;\"'#\\\n", "", "\n"},
    {"Variables", "aa ${}\\\";;", "", ";"},
    {"Bytes", "aa \r\t\0\v\f\xEF\"')#\n;;"s, "", ""},
    {"Values", "aa {};;\"'#\n", "map $a $b {", "}"},
    {"Lua", "{{}}\"'\\a\n[]=--", "content_by_lua_block {", "}\n"},
};

std::string RandomText(const std::string& letters, std::mt19937& random) {
  std::string text;
  for (std::size_t size = 1 + random() % 10; size > 0; --size) {
    text += letters[random() % letters.size()];
  }
  return text;
}

TEST(NginxRandomTexts, AreReadAsTheServerReadsThem) {
  std::mt19937 random(1);
  for (const Alphabet& alphabet : kAlphabets) {
    SCOPED_TRACE(alphabet.name);
    for (std::size_t i = 0; i < 30; ++i) {
      ExpectOneReading(alphabet.before + RandomText(alphabet.letters, random) + alphabet.after);
    }
  }
}

}  // namespace
