// SPDX-License-Identifier: Apache-2.0

#include "cli/diff.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

using cli::UnifiedDiff;
using std::string_literals::operator""s;

// What patch(1) makes of `before` by `diff`.
std::string Patched(const Sandbox& sandbox, const std::string& before, const std::string& diff) {
  sandbox.Write("before", before);
  sandbox.Write("diff", diff);
  sandbox.Write("after", "");
  const Outcome outcome =
      sandbox.Run({"patch", "--silent", "--batch", "--output=after", "before", "diff"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.out << outcome.err;
  return sandbox.Read("after");
}

TEST(UnifiedDiff, IsWhatPatchReads) {
  struct Case {
    const char* name;
    std::string before;
    std::string after;
    std::string diff;
  };
  const Case cases[] = {
      {"a changed line between three lines of context", "1\n2\n3\n4\n5\n6\n7\n8\n9\n",
       "1\n2\n3\n4\nfive\n6\n7\n8\n9\n", "@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+five\n 6\n 7\n 8\n"},
      {"changes seven lines apart have a hunk each", "a\n1\n2\n3\n4\n5\n6\n7\nb\n",
       "A\n1\n2\n3\n4\n5\n6\n7\nB\n",
       "@@ -1,4 +1,4 @@\n-a\n+A\n 1\n 2\n 3\n@@ -6,4 +6,4 @@\n 5\n 6\n 7\n-b\n+B\n"},
      {"changes six lines apart share a hunk", "a\n1\n2\n3\n4\n5\n6\nb\n",
       "A\n1\n2\n3\n4\n5\n6\nB\n", "@@ -1,8 +1,8 @@\n-a\n+A\n 1\n 2\n 3\n 4\n 5\n 6\n-b\n+B\n"},
      {"a range of one line has no length", "a\n", "b\n", "@@ -1 +1 @@\n-a\n+b\n"},
      {"from nothing", "", "a\nb\n", "@@ -0,0 +1,2 @@\n+a\n+b\n"},
      {"to nothing", "a\nb\n", "", "@@ -1,2 +0,0 @@\n-a\n-b\n"},
      {"no newline at the end of both", "a\nx", "b\nx",
       "@@ -1,2 +1,2 @@\n-a\n+b\n x\n\\ No newline at end of file\n"},
      {"the newline at the end goes", "a\n", "a",
       "@@ -1 +1 @@\n-a\n+a\n\\ No newline at end of file\n"},
      {"the newline at the end comes", "a", "a\n",
       "@@ -1 +1 @@\n-a\n\\ No newline at end of file\n+a\n"},
      {"other last lines, both without newline", "a", "b",
       "@@ -1 +1 @@\n-a\n\\ No newline at end of file\n+b\n\\ No newline at end of file\n"},
      {"a carriage return belongs to its line", "a\r\nb\r\n", "a\r\nc\n",
       "@@ -1,2 +1,2 @@\n a\r\n-b\r\n+c\n"},
      {"NUL bytes are text", "a\0b\nx\n"s, "a\0c\nx\n"s, "@@ -1,2 +1,2 @@\n-a\0b\n+a\0c\n x\n"s},
      {"bytes that are no UTF-8 are text", "\xff\n", "\xfe\n", "@@ -1 +1 @@\n-\xff\n+\xfe\n"},
      {"lines that look like a diff's own", "--- a\n", "+++ b\n", "@@ -1 +1 @@\n---- a\n++++ b\n"},
  };
  const Sandbox sandbox;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string diff = UnifiedDiff(c.before, c.after, "f");
    EXPECT_EQ(diff, "--- f\n+++ f\n" + c.diff);
    EXPECT_EQ(Patched(sandbox, c.before, diff), c.after);
  }
}

TEST(UnifiedDiff, IsEmptyWhenNothingDiffers) {
  for (const std::string& text : {""s, "a"s, "a\nb\n"s, "\0"s}) {
    EXPECT_EQ(UnifiedDiff(text, text, "f"), "");
  }
}

// patch(1) is given the diff alone here and finds the file by the header.
TEST(UnifiedDiff, NamesTheFileSoThatPatchFindsIt) {
  struct Case {
    const char* name;
    std::string file;
    std::string in_header;
  };
  const Case cases[] = {
      {"plain", "site.conf", "site.conf"},
      {"spaces", "my own site.conf", "my own site.conf\t"},
      {"a quote", "a\"b", R"("a\"b")"},
      {"a backslash", "a\\b c", R"("a\\b c")"},
      {"a newline and a tab", "a\nb\tc", R"("a\012b\011c")"},
      {"UTF-8", "gr\xc3\xbc\xc3\x9f", "gr\xc3\xbc\xc3\x9f"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Sandbox sandbox;
    const std::string diff = UnifiedDiff("a\n", "b\n", c.file);
    EXPECT_EQ(diff, "--- " + c.in_header + "\n+++ " + c.in_header + "\n@@ -1 +1 @@\n-a\n+b\n");
    sandbox.Write(c.file, "a\n");
    const Outcome outcome = sandbox.Run({"patch", "--silent", "--batch"}, diff);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.out << outcome.err;
    EXPECT_EQ(sandbox.Read(c.file), "b\n");
  }
}

TEST(UnifiedDiff, NamesStandardInputAsItIs) {
  EXPECT_EQ(UnifiedDiff("a\n", "b\n", "(standard input)"),
            "--- (standard input)\n+++ (standard input)\n@@ -1 +1 @@\n-a\n+b\n");
}

std::string AnyText(std::mt19937& random) {
  const std::string lines[] = {"a", "b", "c\r", "", "\0"s, "  }", "-- x", "\\ No newline"};
  std::string text;
  for (auto count = random() % 12; count > 0; --count) {
    text += lines[random() % std::size(lines)];
    if (count > 1 || random() % 2 == 0) text += '\n';
  }
  return text;
}

TEST(UnifiedDiff, MakesTheSecondTextOfTheFirst) {
  std::mt19937 random(20240229);
  const Sandbox sandbox;
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    const std::string before = AnyText(random);
    const std::string after = AnyText(random);
    if (before == after) continue;
    ASSERT_EQ(Patched(sandbox, before, UnifiedDiff(before, after, "f")), after);
  }
}

}  // namespace
