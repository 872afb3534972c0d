// SPDX-License-Identifier: Apache-2.0

#include "cli/one_line_diff.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>

namespace {

using cli::OneLineHunk;

constexpr std::size_t kContext = 3;

// "1\n2\n...", `count` lines, one of which reads otherwise.
std::string Numbers(int count, int changed = 0, const std::string& to = "") {
  std::string text;
  for (int i = 1; i <= count; ++i) {
    text += i == changed ? to : std::to_string(i) + '\n';
  }
  return text;
}

TEST(OneLineHunk, ShowsTheLineAndThoseAroundIt) {
  struct Case {
    const char* name;
    std::string before, after;
    const char* hunk;
  };
  const Case cases[] = {
      {"the only line", "a\n", "b\n", "@@ -1 +1 @@\n-a\n+b\n"},
      {"in the middle", Numbers(9), Numbers(9, 5, "five\n"),
       "@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+five\n 6\n 7\n 8\n"},
      {"the first one", Numbers(9), Numbers(9, 1, "one\n"),
       "@@ -1,4 +1,4 @@\n-1\n+one\n 2\n 3\n 4\n"},
      {"the last one", Numbers(9), Numbers(9, 9, "nine\n"),
       "@@ -6,4 +6,4 @@\n 6\n 7\n 8\n-9\n+nine\n"},
      {"one that has gone", Numbers(9), Numbers(9, 5),
       "@@ -2,7 +2,6 @@\n 2\n 3\n 4\n-5\n 6\n 7\n 8\n"},
      {"one that has come", Numbers(9, 5), Numbers(9),
       "@@ -2,6 +2,7 @@\n 2\n 3\n 4\n+5\n 6\n 7\n 8\n"},
      {"one that has grown", "ab\nc\n", "aab\nc\n", "@@ -1,2 +1,2 @@\n-ab\n+aab\n c\n"},
      {"one that ends like the next begins", "a\nb\n", "a\nbb\n", "@@ -1,2 +1,2 @@\n a\n-b\n+bb\n"},
      {"a blank one that has come", "a\nb\n", "a\n\nb\n", "@@ -1,2 +1,3 @@\n a\n+\n b\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(OneLineHunk(c.before, c.after, kContext), std::optional<std::string>(c.hunk));
  }
}

TEST(OneLineHunk, IsLeftToOthersWhereThereIsMoreToIt) {
  struct Case {
    const char* name;
    std::string before, after;
  };
  const Case cases[] = {
      {"two lines", "a\nb\nc\n", "x\nb\ny\n"},
      {"two new lines", "a\nb\n", "a\nx\ny\nb\n"},
      {"one of two that are alike", "a\na\n", "a\n"},
      {"it becomes like the one before it", "a\nb\nc\n", "a\na\nc\n"},
      {"it was like the one behind it", "a\nb\nb\n", "a\nc\nb\n"},
      {"no line end at the end", "a\nb", "a\nc"},
      {"a line end has come", "a\nb", "a\nb\n"},
      {"from nothing", "", "a\n"},
      {"to nothing", "a\n", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(OneLineHunk(c.before, c.after, kContext), std::nullopt);
  }
}

TEST(OneLineHunk, FindsTheLineInALongText) {
  constexpr int kLines = 100000;
  for (const int line : {4, 777, 50000, 99990}) {
    SCOPED_TRACE(line);
    const auto number = [line](int more) { return std::to_string(line + more); };
    EXPECT_EQ(OneLineHunk(Numbers(kLines), Numbers(kLines, line, "other\n"), 1),
              "@@ -" + number(-1) + ",3 +" + number(-1) + ",3 @@\n " + number(-1) + "\n-" +
                  number(0) + "\n+other\n " + number(1) + "\n");
  }
}

}  // namespace
