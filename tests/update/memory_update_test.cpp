// SPDX-License-Identifier: Apache-2.0

// An update whose allocations fail: each of them once, and all from each of them on.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <new>
#include <string>
#include <vector>

#include "support/failing_allocations.h"
#include "update/update_test.h"

namespace {

using tov_update::FileUpdate;
using tov_update::UpdateOptions;

struct Case {
  const char* name;
  UpdateOptions options;
};

// Where there is memory for it, files of no disk: there are thousands of updates.
class MemoryOfUpdates : public testing::Test {
 protected:
  static UpdateSandbox InMemory() {
    if (std::filesystem::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 0);
    return {};
  }

  // Both files get a line, or stay as they are. Whether so many allocations have been enough.
  bool SufficesFor(const UpdateOptions& options, long allocations) const {
    m_sandbox.Write("a", "old\n");
    m_sandbox.Write("b", "old\n");
    std::filesystem::remove(m_sandbox.PathOf("a~"));
    m_sandbox.Write("b~", "earlier\n");
    const std::vector<std::string> names = {m_sandbox.PathOf("a"), m_sandbox.PathOf("b")};
    bool succeeded = true;
    failing_allocations::left = allocations;
    try {
      FileUpdate update(names, std::chrono::milliseconds(0));
      for (std::size_t i = 0; i < update.Size(); ++i) update.Replace(i, update.Read(i) + "new\n");
      update.Commit(options);
    } catch (const std::exception&) {
      succeeded = false;
    }
    const bool suffices = failing_allocations::left > 0;
    failing_allocations::left = failing_allocations::kNone;
    ExpectAllOrNone(succeeded, options.backup_suffix.has_value());
    return suffices;
  }

  void ExpectAllOrNone(bool all, bool has_backup) const {
    EXPECT_EQ(m_sandbox.Read("a"), all ? "old\nnew\n" : "old\n");
    EXPECT_EQ(m_sandbox.Read("b"), all ? "old\nnew\n" : "old\n");
    EXPECT_EQ(m_sandbox.Read("b~"), all && has_backup ? "old\n" : "earlier\n");
    std::vector<std::string> names = {"a", "b", "b~"};
    if (all && has_backup) names.insert(names.begin() + 1, "a~");
    EXPECT_EQ(m_sandbox.Names(), names);
  }

  const UpdateSandbox m_sandbox = InMemory();
};

TEST_F(MemoryOfUpdates, MayEndAnywhere) {
  const Case cases[] = {{"plain", {}},
                        {"with a backup, a check and a reload", {"~", "true", "true"}},
                        {"with a check of the staged text", {std::nullopt, "true {}", ""}},
                        {"refused by the check", {"~", "echo no; false", ""}},
                        {"refused by the reload", {"~", "", "false"}}};
  for (const Case& c : cases) {
    for (const bool for_good : {false, true}) {
      failing_allocations::fail_on = for_good;
      long number = 0;
      do {
        SCOPED_TRACE(testing::Message() << c.name << ", allocation " << number
                                        << (for_good ? " and all that follow fail" : " fails"));
        if (SufficesFor(c.options, number++)) break;
      } while (!HasFailure());
      EXPECT_GT(number, 50);
    }
  }
}

}  // namespace
