// SPDX-License-Identifier: Apache-2.0

// Commands for the shell.

#include "update/shell_command.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include "update/failure.h"
#include "update/stop_signals.h"

namespace {

// The function of the system that fails, and how.
std::string failing;
int failing_error = 0;

bool Fails(const char* function) {
  if (failing != function) return false;
  errno = failing_error;
  return true;
}

}  // namespace

// In the place of the C library's.
extern "C" int memfd_create(const char* name, unsigned flags) noexcept {
  return Fails("memfd_create") ? -1 : static_cast<int>(syscall(SYS_memfd_create, name, flags));
}

extern "C" int pipe2(int* ends, int flags) noexcept {
  return Fails("pipe2") ? -1 : static_cast<int>(syscall(SYS_pipe2, ends, flags));
}

extern "C" int posix_spawnattr_setflags(posix_spawnattr_t* attributes, short flags) noexcept {
  if (Fails("posix_spawnattr_setflags")) return failing_error;
  using Function = int (*)(posix_spawnattr_t*, short);
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "posix_spawnattr_setflags"))(attributes,
                                                                                  flags);
}

extern "C" int posix_spawn(pid_t* child, const char* path,
                           const posix_spawn_file_actions_t* actions,
                           const posix_spawnattr_t* attributes, char* const arguments[],
                           char* const environment[]) {
  if (Fails("posix_spawn")) return failing_error;
  return posix_spawnp(child, path, actions, attributes, arguments, environment);
}

extern "C" pid_t waitpid(pid_t child, int* status, int options) {
  const pid_t ended = static_cast<pid_t>(syscall(SYS_wait4, child, status, options, nullptr));
  return Fails("waitpid") ? -1 : ended;
}

namespace {

sigset_t NoSignals() {
  sigset_t none;
  sigemptyset(&none);
  return none;
}

TEST(ShellCommand, TellsHowItEndsAndWhatItSays) {
  struct Case {
    const char* command;
    const char* end;
    std::optional<int> exit_status;
    std::optional<int> signal;
    const char* output;
  };
  const Case cases[] = {
      {"true", "", 0, std::nullopt, ""},
      {"", "", 0, std::nullopt, ""},
      {"echo out; echo err >&2; echo out", "", 0, std::nullopt, "out\nerr\nout"},
      {"printf '\\nline ends\\r\\n\\n'; exit 3", "exit status 3", 3, std::nullopt, "\nline ends"},
      {"echo no; exit 1", "exit status 1", 1, std::nullopt, "no"},
      {"exit 125", "exit status 125", 125, std::nullopt, ""},
      {"exit 128", "exit status 128", 128, std::nullopt, ""},
      {"exit 255", "exit status 255", 255, std::nullopt, ""},
      {"echo said; kill -s HUP $$", "Hangup", std::nullopt, SIGHUP, "said"},
      {"kill -s TERM $$", "Terminated", std::nullopt, SIGTERM, ""},
      {"kill -s KILL $$", "Killed", std::nullopt, SIGKILL, ""},
      {"cat", "", 0, std::nullopt, ""},
      {"head -c 5000 /dev/zero | tr '\\0' x | wc -c", "", 0, std::nullopt, "5000"},
  };
  for (const Case& c : cases) {
    for (const bool is_watched : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.command << (is_watched ? ", watched" : ""));
      tov_update::CommandTerms terms = NoSignals();
      terms.is_watched = is_watched;
      const tov_update::CommandResult result = tov_update::RunInShell(c.command, terms);
      EXPECT_EQ(result.end, c.end);
      EXPECT_EQ(result.exit_status, c.exit_status);
      EXPECT_EQ(result.signal, c.signal);
      EXPECT_EQ(result.output, c.output);
      EXPECT_EQ(result.stopped, tov_update::Stopped::kNot);
      EXPECT_EQ(result.Succeeded(), result.end.empty());
    }
  }
}

// A signal that has no name, and statuses that a shell takes for signals.
TEST(ShellCommand, TellsNoSignalThatThereWasNot) {
  EXPECT_EQ(tov_update::RunInShell("exit 130", NoSignals()).end, "exit status 130");
  EXPECT_EQ(tov_update::RunInShell("exit 163", NoSignals()).end, "exit status 163");
  EXPECT_EQ(tov_update::RunInShell("kill -s 35 $$", NoSignals()).end, "signal 35");
}

TEST(ShellCommand, KeepsAllOfALongOutput) {
  const tov_update::CommandResult result =
      tov_update::RunInShell("head -c 1000000 /dev/zero | tr '\\0' x", NoSignals());
  EXPECT_EQ(result.output, std::string(1000000, 'x'));
}

TEST(ShellCommand, FailsWhenItCannotBeRun) {
  struct Case {
    std::string command;
    std::optional<int> exit_status;
  };
  const Case cases[] = {
      {"no-such-command-at-all", 127},
      {"/etc/passwd", 126},
      {"exit 127", 127},
      {std::string("true\0true", 9), std::nullopt},
  };
  for (const Case& c : cases) {
    for (const bool is_watched : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.command << (is_watched ? ", watched" : ""));
      tov_update::CommandTerms terms = NoSignals();
      terms.is_watched = is_watched;
      try {
        tov_update::RunInShell(c.command, terms);
        ADD_FAILURE();
      } catch (const tov_update::Failure& failure) {
        EXPECT_EQ(failure.what(), std::string((c.command + ": cannot be run: ").c_str()) +
                                      (c.exit_status ? failure.Data().output : ""));
        EXPECT_EQ(failure.Data().command, c.command);
        EXPECT_EQ(failure.Data().exit_status, c.exit_status);
        EXPECT_EQ(dynamic_cast<const tov_update::ServerRefusal*>(&failure), nullptr);
      }
    }
  }
}

TEST(ShellCommand, FailsWhenTheSystemDoesNotStartIt) {
  struct Case {
    const char* function;
    bool is_watched;
  };
  const Case cases[] = {
      {"memfd_create", false}, {"posix_spawnattr_setflags", false},
      {"posix_spawn", false},  {"posix_spawn", true},
      {"pipe2", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.function << (c.is_watched ? ", watched" : ""));
    tov_update::CommandTerms terms = NoSignals();
    terms.is_watched = c.is_watched;
    failing = c.function;
    failing_error = EMFILE;
    try {
      tov_update::RunInShell("true", terms);
      ADD_FAILURE();
    } catch (const tov_update::Failure& failure) {
      EXPECT_STREQ(failure.what(), "true: cannot be run: Too many open files");
      EXPECT_EQ(failure.Data().command, "true");
      EXPECT_EQ(failure.Data().exit_status, std::nullopt);
    }
    failing.clear();
  }
}

// The shell that looks after a command is its parent. Where children are ignored, nobody can tell
// how that shell has ended.
TEST(ShellCommand, EndsAsTheShellThatLooksAfterItDoesWhereThatSaysNothing) {
  struct Case {
    const char* command;
    bool are_children_ignored;
    const char* end;
    std::optional<int> signal;
  };
  const char* const unknown = "how it has ended is not known";
  const Case cases[] = {
      {"kill -s KILL $PPID", false, "Killed", SIGKILL},
      {"kill -s HUP $PPID", false, "Hangup", SIGHUP},
      {"kill -s KILL $PPID", true, unknown, std::nullopt},
      {"echo no number >/proc/$PPID/fd/0", false, unknown, std::nullopt},
      {"echo no number >/proc/$PPID/fd/0", true, unknown, std::nullopt},
  };
  void (*const hangup)(int) = std::signal(SIGHUP, SIG_DFL);
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.command << (c.are_children_ignored ? ", ignored" : ""));
    void (*const before)(int) = std::signal(SIGCHLD, c.are_children_ignored ? SIG_IGN : SIG_DFL);
    tov_update::CommandTerms terms = NoSignals();
    terms.is_watched = true;
    tov_update::CommandResult result;
    try {
      result = tov_update::RunInShell(c.command, terms);
    } catch (const tov_update::Failure& failure) {
      EXPECT_EQ(failure.what(), std::string(c.command) + ": " + unknown);
      EXPECT_EQ(failure.Data().command, c.command);
      result.end = unknown;
    }
    std::signal(SIGCHLD, before);
    EXPECT_EQ(result.end, c.end);
    EXPECT_EQ(result.signal, c.signal);
    EXPECT_EQ(result.exit_status, std::nullopt);
  }
  std::signal(SIGHUP, hangup);
}

TEST(ShellCommand, HasNothingToRead) {
  const int kept = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 10);
  int ends[2] = {};
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  ASSERT_EQ(write(ends[1], "text\n", 5), 5);
  close(ends[1]);
  dup2(ends[0], STDIN_FILENO);
  close(ends[0]);
  for (const bool is_watched : {false, true}) {
    tov_update::CommandTerms terms = NoSignals();
    terms.is_watched = is_watched;
    EXPECT_EQ(tov_update::RunInShell("cat", terms).output, "") << is_watched;
  }
  dup2(kept, STDIN_FILENO);
  close(kept);
}

// Whatever of them its own pipe and its output could be taken for.
TEST(ShellCommand, IsHeardWhereStandardStreamsAreClosed) {
  const std::vector<std::vector<int>> cases = {{0}, {1}, {2}, {0, 1}, {0, 2}, {1, 2}, {0, 1, 2}};
  for (const std::vector<int>& closed : cases) {
    for (const bool is_watched : {false, true}) {
      std::vector<int> kept;
      for (const int number : closed) {
        kept.push_back(fcntl(number, F_DUPFD_CLOEXEC, 10));
        close(number);
      }
      tov_update::CommandTerms terms = NoSignals();
      terms.is_watched = is_watched;
      std::optional<tov_update::CommandResult> result;
      try {
        result = tov_update::RunInShell("cat; echo out; echo err >&2; exit 3", terms);
      } catch (const tov_update::Failure&) {
      }
      for (std::size_t i = 0; i < closed.size(); ++i) {
        dup2(kept.at(i), closed.at(i));
        close(kept.at(i));
      }
      SCOPED_TRACE(testing::PrintToString(closed) + (is_watched ? ", watched" : ""));
      ASSERT_TRUE(result);
      EXPECT_EQ(result->output, "out\nerr");
      EXPECT_EQ(result->exit_status, 3);
    }
  }
}

// Somebody else has waited for it: the shell that looks after a command knows how that has ended.
TEST(ShellCommand, IsWaitedForByThisProcessOrByTheShellThatLooksAfterIt) {
  tov_update::CommandTerms terms = NoSignals();
  failing = "waitpid";
  failing_error = ECHILD;
  std::string message;
  try {
    tov_update::RunInShell("exit 3", terms);
  } catch (const tov_update::Failure& failure) {
    message = failure.what();
  }
  EXPECT_EQ(message, "exit 3: its end cannot be waited for: No child processes");
  terms.is_watched = true;
  EXPECT_EQ(tov_update::RunInShell("exit 3", terms).exit_status, 3);
  EXPECT_TRUE(tov_update::RunInShell("true", terms).Succeeded());
  failing.clear();
}

// How one is started that may have to be stopped, and one that may not.
TEST(ShellCommand, IsInAGroupOfItsOwnAndEndsWhenAskedToWhereItMayBeStopped) {
  struct Case {
    const char* name;
    bool is_watched;
    std::optional<std::chrono::milliseconds> limit;
    bool may_be_stopped;
  };
  const Case cases[] = {
      {"plain", false, std::nullopt, false},
      {"watched", true, std::nullopt, false},
      {"limited", false, std::chrono::minutes(1), true},
  };
  void (*const before)(int) = std::signal(SIGTERM, SIG_IGN);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    tov_update::CommandTerms terms = NoSignals();
    terms.is_watched = c.is_watched;
    terms.limit = c.limit;
    const std::string group = tov_update::RunInShell("cut -d' ' -f5 /proc/self/stat", terms).output;
    EXPECT_EQ(group == std::to_string(getpgrp()), !c.may_be_stopped) << group;
    const tov_update::CommandResult asked =
        tov_update::RunInShell("kill -s TERM $$; echo survived", terms);
    EXPECT_EQ(asked.output, c.may_be_stopped ? "" : "survived");
    EXPECT_EQ(asked.end, c.may_be_stopped ? "Terminated" : "");
  }
  std::signal(SIGTERM, before);
}

TEST(ShellCommand, DoesNotWaitForWhatItLeavesBehind) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(tov_update::RunInShell("sleep 20 & echo started", NoSignals()).output, "started");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(ShellCommand, IsReachedBySignalsThatItsParentHolds) {
  void (*const before)(int) = std::signal(SIGINT, SIG_DFL);
  const tov_update::HeldStopSignals held;
  const std::string command = "kill -s INT $$; echo survived";
  EXPECT_EQ(tov_update::RunInShell(command, held.Before()).end, "Interrupt");
  EXPECT_EQ(tov_update::RunInShell(command, tov_update::StopSignals()).output, "survived");
  std::signal(SIGINT, before);
}

TEST(ShellCommand, AQuotedTextIsOneWord) {
  for (const char* text : {"", "plain", "two words", "it's", "$HOME `id` \\ \" * ;", "'", "a\nb"}) {
    const std::string quoted = tov_update::ShellQuoted(text);
    EXPECT_EQ(tov_update::RunInShell("printf '%s.' " + quoted, NoSignals()).output,
              text + std::string("."));
  }
}

}  // namespace
