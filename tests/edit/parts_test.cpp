// SPDX-License-Identifier: Apache-2.0

// A text of several files, and where each of its bytes stands in them.
#include "edit/match/parts.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tov_edit {
namespace {

using Files = std::vector<Parts::File>;

constexpr char kMain[] = "a;\ninclude f;\nb;\n";
constexpr char kIncluded[] = "c;\n\nd;";

// The main file with another one where its include stands: "a;\n" "c;\n\nd;" (a line end) "b;\n".
Parts TwoFiles() {
  Parts parts(Files{{"main", kMain}, {"f", kIncluded}});
  parts.Append(0, 0, 3);
  parts.Append(1, 0, 6);
  parts.EndLine();
  parts.NoteInclude(0, 14);
  parts.Append(0, 14, 17);
  return parts;
}

TEST(Parts, MakeOneText) {
  EXPECT_EQ(TwoFiles().text(), "a;\nc;\n\nd;\nb;\n");
  EXPECT_EQ(Parts(Files{{"main", kMain}}).text(), "");
}

TEST(EndLine, AddsALineEndWhereNoneStands) {
  Parts parts(Files{{"main", "a\nb"}});
  parts.EndLine();
  EXPECT_EQ(parts.text(), "") << "of no text";
  parts.Append(0, 0, 1);
  parts.EndLine();
  EXPECT_EQ(parts.text(), "a\n");
  parts.EndLine();
  EXPECT_EQ(parts.text(), "a\n") << "once only";
  parts.Append(0, 2, 3);
  EXPECT_EQ(parts.text(), "a\nb");
}

TEST(ABytesPlace, IsThatInItsFile) {
  struct ByteCase {
    std::size_t offset;
    std::size_t file;
    std::size_t in_file;
    const char* place;
  };
  const ByteCase cases[] =
      {
          {0, 0, 0, "main:1:1"},   {2, 0, 2, "main:1:3"},   {3, 1, 0, "f:1:1"},
          {6, 1, 3, "f:2:1"},      {7, 1, 4, "f:3:1"},      {8, 1, 5, "f:3:2"},
          {9, 1, 6, "f:3:3"},  // the line end, which is of no file
          {10, 0, 14, "main:3:1"}, {12, 0, 16, "main:3:3"}, {13, 0, 17, "main:4:1"},  // the end
      };
  const Parts parts = TwoFiles();
  for (const ByteCase& c : cases) {
    SCOPED_TRACE(c.offset);
    EXPECT_EQ(parts.FileOf(c.offset), c.file);
    EXPECT_EQ(parts.InFile(c.offset), c.in_file);
    EXPECT_EQ(Shown(parts.PlaceOf(c.offset)), c.place);
  }
  EXPECT_EQ(Shown(parts.PlaceIn(0, 3)), "main:2:1") << "what is not in the text";
}

TEST(ABytesPlace, OfNoTextIsTheBeginOfTheFirstFile) {
  Parts parts(Files{{"main", ""}, {"f", ""}});
  parts.Append(1, 0, 0);
  EXPECT_EQ(parts.FileOf(0), 0U);
  EXPECT_EQ(parts.InFile(0), 0U);
  EXPECT_EQ(Shown(parts.PlaceOf(0)), "main:1:1");
}

// What is appended with no bytes holds no place of those that follow.
TEST(AnEmptyFile, HasNoByte) {
  Parts parts(Files{{"main", "ab"}, {"f", ""}});
  parts.Append(0, 0, 1);
  parts.Append(1, 0, 0);
  parts.Append(0, 1, 2);
  EXPECT_EQ(parts.FileOf(1), 0U);
  EXPECT_EQ(parts.InFile(1), 1U);
  EXPECT_TRUE(parts.IsOfOneFile({0, 2}));
}

TEST(Bytes, OfOneFileStandTogetherInIt) {
  struct BytesCase {
    tov_document::Span bytes;
    bool one_file;
    tov_document::Span in_file;  // of one file
  };
  const BytesCase cases[] = {
      {{0, 2}, true, {0, 2}},      // a;
      {{0, 3}, true, {0, 3}},      // with its line end
      {{3, 9}, true, {0, 6}},      // all of f
      {{7, 9}, true, {4, 6}},      // d;
      {{10, 12}, true, {14, 16}},  // b;
      {{3, 3}, true, {0, 0}},      // none
      {{2, 4}, false, {0, 0}},    {{0, 13}, false, {0, 0}},
      {{8, 11}, false, {0, 0}},   {{0, 4}, false, {0, 0}},
  };
  const Parts parts = TwoFiles();
  for (const BytesCase& c : cases) {
    SCOPED_TRACE(std::to_string(c.bytes.begin) + " to " + std::to_string(c.bytes.end));
    EXPECT_EQ(parts.IsOfOneFile(c.bytes), c.one_file);
    if (!c.one_file) continue;
    EXPECT_EQ(parts.InFile(c.bytes).begin, c.in_file.begin);
    EXPECT_EQ(parts.InFile(c.bytes).end, c.in_file.end);
  }
}

TEST(AnInclude, IsTheDirectiveThatBeginsThere) {
  const Parts parts = TwoFiles();
  EXPECT_TRUE(parts.IsInclude(10));
  for (const std::size_t offset : {0U, 3U, 9U, 11U, 13U}) EXPECT_FALSE(parts.IsInclude(offset));
}

}  // namespace
}  // namespace tov_edit
