// SPDX-License-Identifier: Apache-2.0

// An update that its caller cancels, and commands that take too long. Run under ThreadSanitizer,
// too.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "update/update.h"
#include "update/update_test.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using tov_update::Cancellation;
using tov_update::Cancelled;
using tov_update::Failure;
using tov_update::FileUpdate;
using tov_update::ServerRefusal;
using tov_update::UpdateOptions;

// What happens before each exchange of names, by its number from 1.
std::function<void(int)> before_exchange;
int exchanges = 0;

}  // namespace

// In the place of the C library's.
extern "C" int renameat2(int from_folder, const char* from, int to_folder, const char* to,
                         unsigned flags) noexcept {
  if (flags == RENAME_EXCHANGE && before_exchange) before_exchange(++exchanges);
  return static_cast<int>(syscall(SYS_renameat2, from_folder, from, to_folder, to, flags));
}

namespace {

class CancelledUpdates : public UpdateTest {
 protected:
  CancelledUpdates() {
    exchanges = 0;
    m_sandbox.Write("b", "old b\n");
  }
  ~CancelledUpdates() override { before_exchange = nullptr; }

  std::string Here(const std::string& command) const { return "cd " + PathOf("") + "; " + command; }

  // The update of both files, with new texts.
  FileUpdate Prepared(const std::optional<Cancellation>& cancellation) const {
    FileUpdate update({PathOf("a"), PathOf("b")}, milliseconds(0), cancellation);
    update.Replace(0, "new\n");
    update.Replace(1, "new\n");
    return update;
  }

  // Cancels as soon as there is a file of that name.
  std::thread CancelWhenThereIs(const std::string& file, const Cancellation& cancellation) const {
    return std::thread([cancellation, path = PathOf(file)] {
      const auto end = std::chrono::steady_clock::now() + seconds(20);
      while (!std::filesystem::exists(path) && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(milliseconds(5));
      }
      cancellation.Cancel();
    });
  }

  // The failure of an update of both files that is cancelled as soon as a command has made "begun".
  Cancelled CancelledWhenBegun(const UpdateOptions& options) const {
    const Cancellation cancellation;
    FileUpdate update = Prepared(cancellation);
    std::thread other = CancelWhenThereIs("begun", cancellation);
    std::optional<Cancelled> caught;
    try {
      update.Commit(options);
    } catch (const Cancelled& cancelled) {
      caught = cancelled;
    }
    other.join();
    return caught.value_or(Cancelled("nothing was thrown"));
  }

  void ExpectAllOld() const {
    EXPECT_EQ(m_sandbox.Read("a"), "old\n");
    EXPECT_EQ(m_sandbox.Read("b"), "old b\n");
    for (const std::string& name : m_sandbox.Names()) {
      EXPECT_THAT(name, Not(HasSubstr("qeltemplate")));
    }
  }

  // The process whose number a command has written to "pid": whether it does not end, though what
  // has been told to end takes a moment. One that nobody waits for any more has ended.
  bool StaysRunning() const {
    const std::string status =
        "/proc/" + std::to_string(std::stoi(m_sandbox.Read("pid"))) + "/stat";
    for (int tries = 0; tries < 1000; ++tries) {
      std::ifstream file(status);
      const std::string text(std::istreambuf_iterator<char>(file), {});
      if (text.empty() || text.find(") Z ") != std::string::npos) return false;
      std::this_thread::sleep_for(milliseconds(10));
    }
    return true;
  }
};

template <typename Step>
std::chrono::nanoseconds TimeOf(const Step& step) {
  const auto start = std::chrono::steady_clock::now();
  step();
  return std::chrono::steady_clock::now() - start;
}

// --- When ---

TEST_F(CancelledUpdates, BeforeItBeginsNothingIsLocked) {
  const Cancellation cancellation;
  cancellation.Cancel();
  EXPECT_EQ(MessageOf<Cancelled>([&] { Prepared(cancellation); }), "cancelled, nothing is changed");
  EXPECT_NO_THROW(Prepared(std::nullopt));
}

TEST_F(CancelledUpdates, BeforeCommitNoFileIsTouchedAndNoCommandRun) {
  const Cancellation cancellation;
  FileUpdate update = Prepared(cancellation);
  cancellation.Cancel();
  const UpdateOptions options = {"~", Here("touch c"), Here("touch r"),
                                 tov_update::NewWarnings::kTold};
  EXPECT_EQ(MessageOf<Cancelled>([&] { update.Commit(options); }), "cancelled, nothing is changed");
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "b"));
  ExpectAllOld();
}

TEST_F(CancelledUpdates, WaitingForALockEndsAtOnce) {
  const FileUpdate holder({PathOf("a")});
  const Cancellation cancellation;
  std::thread other([&cancellation] {
    std::this_thread::sleep_for(milliseconds(50));
    cancellation.Cancel();
  });
  const auto time = TimeOf([&] {
    EXPECT_EQ(MessageOf<Cancelled>([&] { FileUpdate({PathOf("a")}, seconds(60), cancellation); }),
              "a: cancelled while it is locked by another update");
  });
  other.join();
  EXPECT_LT(time, seconds(20));
}

TEST_F(CancelledUpdates, AtEachExchangeOfNamesAllFilesBecomeTheOldOnes) {
  for (int number = 1; number <= 2; ++number) {
    SCOPED_TRACE(number);
    const Cancellation cancellation;
    FileUpdate update = Prepared(cancellation);
    exchanges = 0;
    before_exchange = [&](int exchange) {
      if (exchange == number) cancellation.Cancel();
    };
    EXPECT_EQ(MessageOf<Cancelled>([&] { update.Commit({}); }),
              "cancelled, the old files are back");
    EXPECT_EQ(exchanges, 4);
    ExpectAllOld();
  }
}

TEST_F(CancelledUpdates, WhenAllIsCommittedNothingHappens) {
  const Cancellation cancellation;
  FileUpdate update = Prepared(cancellation);
  update.Commit({std::nullopt, "true", "true"});
  cancellation.Cancel();
  EXPECT_EQ(m_sandbox.Read("a"), "new\n");
  EXPECT_EQ(m_sandbox.Read("b"), "new\n");
}

// --- During commands ---

TEST_F(CancelledUpdates, ACheckIsStoppedAndTheOldFilesComeBack) {
  struct Case {
    const char* name;
    const char* check;
  };
  const Case cases[] = {
      {"a program", "echo $$ >pid; touch begun; exec sleep 60"},
      {"a shell that waits", "sleep 60 & echo $! >pid; touch begun; wait"},
      {"a shell and its child", "sh -c 'echo $$ >pid; touch begun; sleep 60; true'; true"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove(PathOf("begun"));
    const std::string check = Here(c.check);
    const auto time = TimeOf([&] {
      const Cancelled cancelled = CancelledWhenBegun({"~", check, Here("touch reloaded")});
      EXPECT_EQ(cancelled.what(), check + ": cancelled, the old files are back");
      EXPECT_EQ(cancelled.Data().command, check);
      EXPECT_EQ(cancelled.Data().exit_status, std::nullopt);
      EXPECT_FALSE(cancelled.Data().timed_out);
    });
    EXPECT_LT(time, seconds(20));
    EXPECT_FALSE(StaysRunning());
    EXPECT_FALSE(m_sandbox.Exists("reloaded"));
    EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "b", "begun", "pid"));
    ExpectAllOld();
  }
}

TEST_F(CancelledUpdates, ACheckMayCleanUp) {
  const std::string check =
      Here("trap 'echo cleaned >log; exit 1' TERM; touch begun; sleep 60 & wait");
  CancelledWhenBegun(WithCheck(check));
  EXPECT_EQ(m_sandbox.Read("log"), "cleaned\n");
  ExpectAllOld();
}

TEST_F(CancelledUpdates, WhatDoesNotEndWhenAskedToIsKilled) {
  struct Case {
    const char* name;
    const char* check;
  };
  const Case cases[] = {
      {"the command", "trap '' TERM; echo $$ >pid; touch begun; while :; do sleep 1; done"},
      {"what it has left behind",
       "(trap '' TERM; exec sleep 60) & echo $! >pid; sleep 0.2; touch begun; sleep 60"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove(PathOf("begun"));
    EXPECT_LT(TimeOf([&] { CancelledWhenBegun(WithCheck(Here(c.check))); }), seconds(20));
    EXPECT_FALSE(StaysRunning());
    ExpectAllOld();
  }
}

TEST_F(CancelledUpdates, NothingIsChangedByACheckThatComesBefore) {
  struct Case {
    const char* name;
    const char* check;
    tov_update::NewWarnings warnings;
  };
  const Case cases[] = {
      {"of the staged files", "touch begun; sleep 60; : {}",
       tov_update::NewWarnings::kNotLookedFor},
      {"of the old files", "touch begun; sleep 60", tov_update::NewWarnings::kTold},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove(PathOf("begun"));
    const ino_t before = m_sandbox.Status("a").st_ino;
    const std::string check = Here(c.check);
    EXPECT_EQ(CancelledWhenBegun(WithCheck(check, c.warnings)).what(),
              check + ": cancelled, nothing is changed");
    EXPECT_EQ(m_sandbox.Status("a").st_ino, before);
    ExpectAllOld();
  }
}

TEST_F(CancelledUpdates, AReloadIsStoppedAndRunOnceMoreWithTheOldFiles) {
  struct Case {
    const char* reload;
    const char* outcome;
  };
  const Case cases[] = {
      {"cat a >>log; touch begun; grep -q old a || sleep 60", " and it succeeds with them"},
      {"cat a >>log; touch begun; grep -q old a && exit 3; sleep 60",
       " but it fails with them, too (exit status 3)"},
  };
  for (const Case& c : cases) {
    std::filesystem::remove(PathOf("begun"));
    std::filesystem::remove(PathOf("log"));
    const std::string reload = Here(c.reload);
    const Cancelled cancelled = CancelledWhenBegun(WithReload(reload));
    EXPECT_EQ(cancelled.what(), reload + ": cancelled, the old files are back" + c.outcome);
    EXPECT_EQ(m_sandbox.Read("log"), "new\nold\n");
    ExpectAllOld();
  }
}

// --- From where ---

std::optional<Cancellation> of_handler;

TEST_F(CancelledUpdates, FromASignalHandler) {
  of_handler.emplace();
  FileUpdate update = Prepared(of_handler);
  struct sigaction cancels = {};
  struct sigaction before = {};
  cancels.sa_handler = [](int /*signal*/) { of_handler->Cancel(); };
  ASSERT_EQ(sigaction(SIGUSR1, &cancels, &before), 0);
  const std::string check = "kill -s USR1 " + std::to_string(getpid()) + "; sleep 60";
  EXPECT_THROW(update.Commit(WithCheck(check)), Cancelled);
  sigaction(SIGUSR1, &before, nullptr);
  ExpectAllOld();
}

TEST(Cancellations, AllCopiesAreOne) {
  Cancellation one;
  const Cancellation copy = one;
  const Cancellation another;
  EXPECT_FALSE(one.IsCancelled());
  errno = EDOM;
  copy.Cancel();
  copy.Cancel();
  EXPECT_EQ(errno, EDOM);
  EXPECT_TRUE(one.IsCancelled());
  EXPECT_TRUE(Cancellation(copy).IsCancelled());
  EXPECT_FALSE(another.IsCancelled());
}

TEST(Cancellations, AreMadeOfDescriptorsThatAreNoStandardStreams) {
  const int kept = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 10);
  close(STDIN_FILENO);
  const Cancellation cancellation;
  EXPECT_GT(cancellation.PollDescriptor(), STDERR_FILENO);
  EXPECT_EQ(fcntl(cancellation.PollDescriptor(), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
  dup2(kept, STDIN_FILENO);
  close(kept);
}

TEST(Cancellations, AreNotMadeWhereThereIsNoDescriptor) {
  // UndefinedBehaviorSanitizer looks through a pipe at types that it meets for the first time.
  EXPECT_GE(Cancellation().PollDescriptor(), 0);
  EXPECT_STREQ(Failure("a", "b").what(), "a: b");
  struct rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const struct rlimit none = {0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  std::string message;
  try {
    const Cancellation cancellation;
  } catch (const Failure& failure) {
    message = failure.what();
  }
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(message, "cancellation: Too many open files");
}

TEST(Cancellations, OneThatHasBeenMovedFromDoesNothing) {
  Cancellation one;
  const Cancellation moved = std::move(one);
  one.Cancel();  // NOLINT(bugprone-use-after-move): as the header allows
  EXPECT_FALSE(one.IsCancelled());
  EXPECT_EQ(one.PollDescriptor(), -1);
  EXPECT_FALSE(moved.IsCancelled());
}

// --- Limits ---

UpdateOptions Limited(UpdateOptions options) {
  options.command_limit = milliseconds(100);
  return options;
}

class LimitedCommands : public CancelledUpdates {};

TEST_F(LimitedCommands, MayTakeSoLong) {
  UpdateOptions options = {std::nullopt, "true", "true"};
  for (const milliseconds limit : {milliseconds(60000), milliseconds::max()}) {
    options.command_limit = limit;
    EXPECT_TRUE(Prepared(std::nullopt).Commit(options).reloaded);
    m_sandbox.Write("a", "old\n");
    m_sandbox.Write("b", "old b\n");
  }
}

TEST_F(LimitedCommands, ACheckThatTakesLongerRefuses) {
  struct Case {
    const char* check;
    std::string message;
  };
  const Case cases[] = {
      {"echo said; sleep 60",
       "echo said; sleep 60: refuses the new files (not ended after 100 ms), "
       "the old ones are back:\nsaid"},
      {"echo said; sleep 60; : {}",
       "a: refused by 'echo said; sleep 60; : {}' (not ended after 100 "
       "ms), nothing is changed:\nsaid"},
  };
  for (const Case& c : cases) {
    FileUpdate update = Prepared(std::nullopt);
    try {
      update.Commit(Limited(WithCheck(c.check)));
      ADD_FAILURE() << c.check;
    } catch (const ServerRefusal& refusal) {
      EXPECT_EQ(WithoutDirectory(refusal.what()), c.message);
      EXPECT_EQ(refusal.Data().command, c.check);
      EXPECT_TRUE(refusal.Data().timed_out);
      EXPECT_EQ(refusal.Data().exit_status, std::nullopt);
      EXPECT_EQ(refusal.Data().output, "said");
    }
    ExpectAllOld();
  }
}

TEST_F(LimitedCommands, ACheckOfTheOldFilesThatTakesLongerEndsTheUpdate) {
  UpdateOptions options = Limited(WithCheck("sleep 60", tov_update::NewWarnings::kTold));
  EXPECT_EQ(MessageOf<Failure>([&] { Prepared(std::nullopt).Commit(options); }),
            "sleep 60: stopped (not ended after 100 ms), nothing is changed");
  ExpectAllOld();
}

TEST_F(LimitedCommands, AReloadThatTakesLongerIsRunOnceMoreWithTheOldFiles) {
  const std::string reload = Here("cat a >>log; sleep 60");
  EXPECT_EQ(
      MessageOf<ServerRefusal>([&] { Prepared(std::nullopt).Commit(Limited(WithReload(reload))); }),
      WithoutDirectory(reload) +
          ": fails with the new files (not ended after 100 ms), the old ones are back but it fails "
          "with them, too (not ended after 100 ms)");
  EXPECT_EQ(m_sandbox.Read("log"), "new\nold\n");
  ExpectAllOld();
}

}  // namespace
