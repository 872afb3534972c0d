// SPDX-License-Identifier: Apache-2.0

#include "cli/parallel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace {

TEST(Parallel, DoesEachNumberOnce) {
  for (const std::size_t count : {0U, 1U, 2U, 1000U}) {
    for (const unsigned jobs : {0U, 1U, 2U, 5000U}) {
      SCOPED_TRACE(testing::Message() << count << " numbers, " << jobs << " jobs");
      std::vector<std::atomic<int>> done(count);
      std::size_t watched = count < 2 ? count : 0;  // too few for threads are not watched
      cli::ForEachInParallel(
          count, jobs, [&](std::size_t number) { ++done[number]; },
          [&](std::size_t sum) {
            EXPECT_GE(sum, watched);
            watched = sum;
          });
      EXPECT_TRUE(std::all_of(done.begin(), done.end(), [](int times) { return times == 1; }));
      EXPECT_EQ(watched, count);
    }
  }
}

// Would wait for ever with one thread.
TEST(Parallel, WorksOnSeveralAtATime) {
  std::atomic<int> here = 0;
  cli::ForEachInParallel(
      3, 3,
      [&](std::size_t /*number*/) {
        ++here;
        while (here < 3) std::this_thread::yield();
      },
      [](std::size_t /*done*/) {});
  EXPECT_EQ(here, 3);
}

}  // namespace
