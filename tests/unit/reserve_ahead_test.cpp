// SPDX-License-Identifier: Apache-2.0

// Room for long texts that the system has given before it is written to.

#include "text/reserve_ahead.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using tov_text::ReserveAhead;

constexpr std::size_t kLong = std::size_t{1} << 22;

// How many of the pages that lie in `text`'s room as a whole are in memory.
struct PagesInMemory {
  explicit PagesInMemory(const std::string& text) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(text.data());
    const std::uintptr_t first = (begin + page - 1) / page * page;
    const std::uintptr_t last = (begin + text.capacity()) / page * page;
    std::vector<unsigned char> pages((last - first) / page);
    EXPECT_EQ(mincore(reinterpret_cast<void*>(first), last - first, pages.data()), 0);
    all = pages.size();
    present = static_cast<std::size_t>(std::count_if(
        pages.begin(), pages.end(), [](unsigned char one) { return (one & 1U) != 0; }));
  }

  std::size_t all;
  std::size_t present;
};

TEST(RoomAhead, IsInMemoryBeforeItIsWrittenTo) {
  std::string text;
  text.reserve(kLong);
  const PagesInMemory before(text);
  ASSERT_LT(before.present, before.all) << "there is nothing to gain";
  ReserveAhead(text, kLong);
  const PagesInMemory pages(text);
  EXPECT_GE(pages.all, kLong / 65536);
  EXPECT_EQ(pages.present, pages.all);
}

TEST(RoomAhead, LeavesTheTextAndTheLastErrorAsTheyAre) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{3}, kLong - 1, kLong}) {
    std::string text = "text";
    errno = EXDEV;
    ReserveAhead(text, size);
    EXPECT_EQ(errno, EXDEV) << size;
    EXPECT_EQ(text, "text") << size;
    EXPECT_GE(text.capacity(), size);
  }
}

TEST(RoomAhead, LeavesWhatIsInIt) {
  std::string text(kLong, 'a');
  ReserveAhead(text, kLong);
  EXPECT_EQ(text, std::string(kLong, 'a'));
}

}  // namespace
