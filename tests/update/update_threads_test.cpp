// SPDX-License-Identifier: Apache-2.0

// Updates in several threads. Run under ThreadSanitizer by `make tsan`.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "update/update.h"
#include "update/update_test.h"

namespace {

using std::chrono::milliseconds;
using testing::Each;
using tov_update::Cancellation;
using tov_update::Cancelled;
using tov_update::FileUpdate;
using tov_update::UpdateOptions;

constexpr int kThreads = 6;
constexpr int kRounds = 5;

class UpdateThreads : public UpdateTest {
 protected:
  // Each with its own number.
  template <typename Step>
  static void InThreads(const Step& step) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back([&step, i] { step(i); });
    for (std::thread& thread : threads) thread.join();
  }

  // Adds a line to each of the files.
  static void AddLine(const std::vector<std::string>& paths, const UpdateOptions& options) {
    FileUpdate update(paths);
    for (std::size_t i = 0; i < update.Size(); ++i) update.Replace(i, update.Read(i) + "new\n");
    update.Commit(options);
  }

  std::size_t LinesOf(const std::string& name) const {
    const std::string text = m_sandbox.Read(name);
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  }
};

TEST_F(UpdateThreads, DoNotDisturbOneAnother) {
  const auto name = [](int thread) { return "site" + std::to_string(thread); };
  for (int i = 0; i < kThreads; ++i) m_sandbox.Write(name(i), "");
  InThreads([&](int thread) {
    const std::string path = PathOf(name(thread));
    for (int round = 0; round < kRounds; ++round) {
      const bool accepted = round % 2 == 0;
      const std::string check = "echo " + path + "; exit " + (accepted ? "0" : "1");
      try {
        AddLine({path}, {"~", check, "true"});
        EXPECT_TRUE(accepted);
      } catch (const tov_update::ServerRefusal& refusal) {
        EXPECT_FALSE(accepted);
        EXPECT_EQ(refusal.Data().output, path);
      }
    }
  });
  for (int i = 0; i < kThreads; ++i) EXPECT_EQ(LinesOf(name(i)), (kRounds + 1) / 2) << i;
}

TEST_F(UpdateThreads, LoseNoEditOfTheSameFiles) {
  m_sandbox.Write("a", "");
  m_sandbox.Write("b", "");
  InThreads([&](int thread) {
    std::vector<std::string> paths = {PathOf("a"), PathOf("b")};
    if (thread % 2 == 0) std::reverse(paths.begin(), paths.end());
    for (int round = 0; round < kRounds; ++round) AddLine(paths, {});
  });
  EXPECT_EQ(LinesOf("a"), kThreads * kRounds);
  EXPECT_EQ(LinesOf("b"), kThreads * kRounds);
}

TEST_F(UpdateThreads, ReplaceDifferentFilesOfOneUpdate) {
  std::vector<std::string> paths;
  for (int i = 0; i < kThreads; ++i) {
    m_sandbox.Write("site" + std::to_string(i), "old\n");
    paths.push_back(PathOf("site" + std::to_string(i)));
  }
  FileUpdate update(paths);
  InThreads([&](int thread) {
    const auto file = static_cast<std::size_t>(thread);
    update.Replace(file, update.Read(file) + std::to_string(thread) + '\n');
  });
  update.Commit({});
  for (int i = 0; i < kThreads; ++i) {
    EXPECT_EQ(m_sandbox.Read("site" + std::to_string(i)), "old\n" + std::to_string(i) + '\n');
  }
}

TEST_F(UpdateThreads, AreCancelledTogether) {
  for (int i = 0; i < kThreads; ++i) m_sandbox.Write("site" + std::to_string(i), "old\n");
  const Cancellation cancellation;
  std::atomic<int> cancelled{0};
  std::thread other([&] {
    std::this_thread::sleep_for(milliseconds(300));
    cancellation.Cancel();
  });
  InThreads([&](int thread) {
    try {
      FileUpdate update({PathOf("site" + std::to_string(thread))}, std::chrono::seconds(30),
                        cancellation);
      update.Replace(0, "new\n");
      update.Commit(WithCheck("sleep 60"));
    } catch (const Cancelled&) {
      ++cancelled;
    }
  });
  other.join();
  EXPECT_EQ(cancelled, kThreads);
  for (int i = 0; i < kThreads; ++i) {
    EXPECT_EQ(m_sandbox.Read("site" + std::to_string(i)), "old\n");
  }
}

}  // namespace
