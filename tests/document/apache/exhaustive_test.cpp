// SPDX-License-Identifier: Apache-2.0

// All small texts: does the Document read them as the second reader does?
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "document/apache/document_events.h"

namespace {

#ifdef _GLIBCXX_DEBUG
constexpr std::size_t longest_text = 4;  // with checked containers each costs many times as much
#else
constexpr std::size_t longest_text = 6;
#endif

// Calls `check` for all sequences of at most `longest` pieces, and counts them.
template <class Check>
std::size_t ForAllTexts(const std::vector<std::string>& pieces, std::size_t longest, Check check) {
  std::size_t count = 0;
  std::vector<std::size_t> chosen;
  for (;;) {
    std::string text;
    for (const std::size_t piece : chosen) text += pieces[piece];
    check(text);
    ++count;
    std::size_t i = 0;
    while (i < chosen.size() && ++chosen[i] == pieces.size()) chosen[i++] = 0;
    if (i < chosen.size()) continue;
    if (chosen.size() == longest) return count;
    chosen.assign(chosen.size() + 1, 0);
  }
}

// Fails for a few of them, for there may be a hundred thousand.
std::size_t ExpectNoDifference(const std::vector<std::string>& pieces, std::size_t longest) {
  std::size_t differences = 0;
  const std::size_t count = ForAllTexts(pieces, longest, [&](const std::string& text) {
    const std::string difference = Difference(text);
    if (difference.empty()) return;
    if (++differences <= 10) ADD_FAILURE() << "[" << difference << "]";
  });
  EXPECT_EQ(differences, 0U);
  return count;
}

std::size_t Sum(std::size_t pieces, std::size_t longest) {
  std::size_t sum = 1;
  std::size_t power = 1;
  for (std::size_t i = 0; i < longest; ++i) sum += power *= pieces;
  return sum;
}

TEST(SmallTexts, AreReadAsTheSecondReaderReadsThem) {
  const std::vector<std::string> bytes = {"a", " ", "<", ">", "/", "\"", "'", "#", "\\", "\n"};
  EXPECT_EQ(ExpectNoDifference(bytes, longest_text), Sum(bytes.size(), longest_text));
}

// Sections of which httpd reads the end in its own way.
TEST(SmallTexts, OfSectionsAreReadAsTheSecondReaderReadsThem) {
  const std::vector<std::string> pieces = {
      "<IfModule a>", "</IfModule>", "<a>",  "</A>\n", "<Macro m>", "</Macro> ", "<Perl>",
      "</Perl>",      "\n",          "\\\n", "\"",     " ",         "x",         "#"};
  const std::size_t longest = longest_text - 1;
  EXPECT_EQ(ExpectNoDifference(pieces, longest), Sum(pieces.size(), longest));
}

// Bytes that count as blanks, or do so in the right place.
TEST(SmallTexts, OfUnusualBlanksAreReadAsTheSecondReaderReadsThem) {
  const std::vector<std::string> pieces = {"a",  "<a>", "</a>", "\n", "\r", "\f",
                                           "\v", "\t",  "\\",   "#",  "\"", std::string(1, '\0')};
  const std::size_t longest = longest_text - 1;
  EXPECT_EQ(ExpectNoDifference(pieces, longest), Sum(pieces.size(), longest));
}

TEST(SmallTexts, OfCodeInOtherLanguagesAreReadAsTheSecondReaderReadsThem) {
  const std::vector<std::string> pieces = {"<LuaHookFixups>",
                                           "</LuaHookFixups",
                                           "</luahookfixups>",
                                           "<LuaHookFixups x",
                                           "<a>",
                                           "</a>",
                                           "\n",
                                           "\\\n",
                                           " "};
  const std::size_t longest = longest_text - 1;
  EXPECT_EQ(ExpectNoDifference(pieces, longest), Sum(pieces.size(), longest));
}

}  // namespace
