// SPDX-License-Identifier: Apache-2.0

#include "template/section_path.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "support/all_strings.h"
#include "template/framework/str.h"

namespace {

using tov_template::JoinSection;
using tov_template::kSectionSeparator;
using tov_template::ParentSection;
using tov_template::SectionDepth;

const std::string& kSep = kSectionSeparator;

TEST(SectionPath, TheSeparatorIsTwoBytes) {
  ASSERT_EQ(kSep.size(), 2U);
  EXPECT_EQ(kSep[0], 0x18);
  EXPECT_EQ(kSep[1], 0x19);
}

TEST(SectionPath, LevelsAreJoinedBelowAParent) {
  EXPECT_EQ(JoinSection("http {", "server {"), "http {" + kSep + "server {");
  EXPECT_EQ(JoinSection("http {" + kSep + "server {", "location / {"),
            "http {" + kSep + "server {" + kSep + "location / {");
  EXPECT_EQ(JoinSection("", "server {"), "server {");
  EXPECT_EQ(JoinSection("http {", ""), "http {");
  EXPECT_EQ(JoinSection("", ""), "");
}

TEST(SectionPath, AParentLacksTheLastLevel) {
  EXPECT_EQ(ParentSection("a" + kSep + "b" + kSep + "c"), "a" + kSep + "b");
  EXPECT_EQ(ParentSection("a" + kSep + "b"), "a");
  EXPECT_EQ(ParentSection("a"), "") << "a path of one level";
  EXPECT_EQ(ParentSection(""), "");
}

TEST(SectionPath, DepthIsTheNumberOfLevels) {
  EXPECT_EQ(SectionDepth(""), 0U);
  EXPECT_EQ(SectionDepth("stream {"), 1U);
  EXPECT_EQ(SectionDepth("stream {" + kSep + "server {"), 2U);
  EXPECT_EQ(SectionDepth("a" + kSep + "b" + kSep + "c"), 3U);
  EXPECT_EQ(SectionDepth("a" + kSep), 1U) << "a separator at the end opens no level";
  EXPECT_EQ(SectionDepth(kSep + "a"), 2U);
  EXPECT_EQ(SectionDepth("a" + kSep + kSep + "b"), 3U);
}

TEST(SectionPath, PathsAreCutAsWordsAreOverAllShortStrings) {
  for (const std::string& path : AllStrings("a\x18\x19", 7)) {
    SCOPED_TRACE(testing::PrintToString(path));
    std::string parent = path;
    str::RGetWord(parent, kSep);
    ASSERT_EQ(ParentSection(path), parent);

    std::size_t depth = 0;
    for (std::string rest = path; !rest.empty(); ++depth) str::GetWord(rest, kSep);
    ASSERT_EQ(SectionDepth(path), depth);
  }
}

TEST(SectionPath, ALevelJoinedIsTheLevelCutOff) {
  for (const std::string& parent : AllStrings("a {", 3)) {
    for (const std::string& level : AllStrings("a {", 3)) {
      if (level.empty()) continue;
      SCOPED_TRACE(testing::PrintToString(parent) + " below " + testing::PrintToString(level));
      std::string path = JoinSection(parent, level);
      ASSERT_EQ(ParentSection(path), parent);
      ASSERT_EQ(SectionDepth(path), parent.empty() ? 1U : 2U);
      ASSERT_EQ(str::RGetWord(path, kSep), level);
      ASSERT_EQ(path, parent);
    }
  }
}

}  // namespace
