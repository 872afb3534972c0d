// SPDX-License-Identifier: Apache-2.0

#include "template/line_index.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using tov_template::LineIndex;

template <class Holder>
std::vector<Holder> Sorted(std::vector<Holder> holders) {
  std::sort(holders.begin(), holders.end());
  return holders;
}

// Lines and ids are addresses only.
class LineIndexTest : public testing::Test {
 protected:
  const std::string* Line(std::size_t i) const { return &m_lines[i]; }
  const void* Id(std::size_t i) const { return &m_ids[i]; }

  std::string m_lines[4];
  char m_ids[4] = {};
  LineIndex<int> m_index;
};

TEST_F(LineIndexTest, AnUnknownLineHasNoHolders) {
  EXPECT_TRUE(m_index.Take(Line(0)).empty());
  m_index.Add(Line(0), Id(0), 1);
  EXPECT_TRUE(m_index.Take(Line(1)).empty());
  EXPECT_TRUE(m_index.Take(nullptr).empty());
}

TEST_F(LineIndexTest, TakeReturnsTheHoldersOfOneLine) {
  m_index.Add(Line(1), Id(0), 10);
  m_index.Add(Line(0), Id(1), 20);
  m_index.Add(Line(1), Id(2), 30);
  m_index.Add(Line(2), Id(0), 40);
  EXPECT_EQ(Sorted(m_index.Take(Line(1))), (std::vector<int>{10, 30}));
  EXPECT_EQ(m_index.Take(Line(0)), (std::vector<int>{20}));
  EXPECT_EQ(m_index.Take(Line(2)), (std::vector<int>{40}));
}

TEST_F(LineIndexTest, TakenHoldersAreGone) {
  m_index.Add(Line(0), Id(0), 1);
  EXPECT_EQ(m_index.Take(Line(0)).size(), 1U);
  EXPECT_TRUE(m_index.Take(Line(0)).empty());
  m_index.Add(Line(0), Id(0), 2);
  EXPECT_EQ(m_index.Take(Line(0)), (std::vector<int>{2}));
}

TEST_F(LineIndexTest, AnIdIsAddedToALineOnce) {
  m_index.Add(Line(0), Id(0), 1);
  m_index.Add(Line(0), Id(0), 2);
  EXPECT_EQ(m_index.Take(Line(0)), (std::vector<int>{1}));
}

TEST_F(LineIndexTest, RemoveForgetsOneHolderOfOneLine) {
  m_index.Add(Line(0), Id(0), 1);
  m_index.Add(Line(0), Id(1), 2);
  m_index.Add(Line(1), Id(0), 3);
  m_index.Remove(Line(0), Id(0));
  EXPECT_EQ(m_index.Take(Line(0)), (std::vector<int>{2}));
  EXPECT_EQ(m_index.Take(Line(1)), (std::vector<int>{3}));
}

TEST_F(LineIndexTest, RemovingWhatIsNotThereDoesNothing) {
  m_index.Remove(Line(0), Id(0));
  m_index.Add(Line(0), Id(0), 1);
  m_index.Remove(Line(0), Id(1));
  m_index.Remove(Line(1), Id(0));
  EXPECT_EQ(m_index.Take(Line(0)), (std::vector<int>{1}));
}

TEST_F(LineIndexTest, HoldersAreMoved) {
  LineIndex<std::unique_ptr<int>> index;
  index.Add(Line(0), Id(0), std::make_unique<int>(7));
  const auto holders = index.Take(Line(0));
  ASSERT_EQ(holders.size(), 1U);
  EXPECT_EQ(*holders.front(), 7);
}

// The line is never looked at, so the address of one that is gone will do.
TEST_F(LineIndexTest, LinesMayBeGone) {
  std::vector<std::string> lines = {"gone"};
  const std::string* const address = lines.data();
  m_index.Add(address, Id(0), 1);
  m_index.Add(address, Id(1), 2);
  lines.clear();
  m_index.Remove(address, Id(1));
  EXPECT_EQ(m_index.Take(address), (std::vector<int>{1}));
}

TEST_F(LineIndexTest, DoesWhatAPlainListDoes) {
  std::mt19937 random(7);
  std::map<std::pair<std::size_t, std::size_t>, int> plain;
  for (int step = 0; step < 20000; ++step) {
    SCOPED_TRACE(step);
    const std::size_t line = random() % std::size(m_lines);
    const std::size_t id = random() % std::size(m_ids);
    switch (random() % 4) {
      case 0:
      case 1:
        m_index.Add(Line(line), Id(id), step);
        plain.insert({{line, id}, step});
        break;
      case 2:
        m_index.Remove(Line(line), Id(id));
        plain.erase({line, id});
        break;
      default:
        std::vector<int> expected;
        for (std::size_t i = 0; i < std::size(m_ids); ++i) {
          const auto held = plain.find({line, i});
          if (held == plain.end()) continue;
          expected.push_back(held->second);
          plain.erase(held);
        }
        ASSERT_EQ(Sorted(m_index.Take(Line(line))), Sorted(expected));
    }
  }
}

}  // namespace
