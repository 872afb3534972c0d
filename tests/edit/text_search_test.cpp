// SPDX-License-Identifier: Apache-2.0

#include "edit/match/text_search.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace {

using testing::UnorderedElementsAreArray;
using tov_edit::TextsIn;
using Texts = std::vector<std::string_view>;

struct Case {
  const char* what;
  std::string_view body;
  Texts texts;
  Texts found;
};

const Case kCases[] = {
    {"nothing is sought", "a b", {}, {}},
    {"nothing is there", "", {"a", ""}, {""}},
    {"at the begin, in the middle, at the end",
     "one two three",
     {"one", "wo t", "three"},
     {"one", "wo t", "three"}},
    {"the whole", "abc", {"abc", "abcd", "bcd"}, {"abc"}},
    {"others of the same length",
     "add a; add b;",
     {"add a;", "add c;", "add b;"},
     {"add a;", "add b;"}},
    {"one text several times", "a a a", {"a", "a", "a", "b"}, {"a"}},
    {"over line ends", "a {\n b;\n}\n", {"{\n b", "b;\n}", "b; }"}, {"{\n b", "b;\n}"}},
    {"any bytes",
     std::string_view("\0\xff\0", 3),
     {std::string_view("\xff\0", 2), "\xfe"},
     {std::string_view("\xff\0", 2)}},
};

TEST(TextSearch, FindsTheTextsThatStandInAnother) {
  for (const Case& c : kCases) {
    EXPECT_THAT(TextsIn(c.body, c.texts), UnorderedElementsAreArray(c.found)) << c.what;
  }
}

// Of few letters, so that many texts are there, and many nearly.
TEST(TextSearch, FindsWhatALookForEachFinds) {
  std::mt19937 random(7);
  const auto text = [&random](std::size_t most) {
    std::string made(random() % (most + 1), 'a');
    for (char& byte : made) byte = static_cast<char>('a' + random() % 2);
    return made;
  };
  for (int round = 0; round < 500; ++round) {
    const std::string body = text(60);
    std::vector<std::string> sought;
    for (int i = 0; i < 40; ++i) sought.push_back(text(12));
    std::unordered_set<std::string_view> expected;
    for (const std::string& each : sought) {
      if (body.find(each) != std::string::npos) expected.insert(each);
    }
    EXPECT_EQ(TextsIn(body, Texts(sought.begin(), sought.end())), expected) << body;
  }
}

}  // namespace
