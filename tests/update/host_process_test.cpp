// SPDX-License-Identifier: Apache-2.0

// An update inside of a program that has signals, children and files of its own.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "update/update.h"
#include "update/update_test.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using tov_update::Failure;
using tov_update::FailureData;
using tov_update::FileUpdate;
using tov_update::ServerRefusal;
using tov_update::UpdateOptions;
using tov_update::UpdateResult;

// From which exchange of names on they fail; 0: never.
int exchanges_until_failure = 0;

}  // namespace

// In the place of the C library's.
extern "C" int renameat2(int from_folder, const char* from, int to_folder, const char* to,
                         unsigned flags) noexcept {
  if (flags == RENAME_EXCHANGE && exchanges_until_failure == 1) {
    errno = EIO;
    return -1;
  }
  if (flags == RENAME_EXCHANGE && exchanges_until_failure > 1) --exchanges_until_failure;
  return static_cast<int>(syscall(SYS_renameat2, from_folder, from, to_folder, to, flags));
}

namespace {

// How a signal is dealt with, as long as this lives.
class Disposition {
 public:
  Disposition(int signal, void (*handler)(int), int flags = 0) : m_signal(signal) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    EXPECT_EQ(sigaction(signal, &action, &m_before), 0);
  }
  ~Disposition() { sigaction(m_signal, &m_before, nullptr); }
  Disposition(const Disposition&) = delete;
  Disposition& operator=(const Disposition&) = delete;

 private:
  int m_signal;
  struct sigaction m_before = {};
};

class Blocked {
 public:
  explicit Blocked(const sigset_t& signals) { pthread_sigmask(SIG_BLOCK, &signals, &m_before); }
  ~Blocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
  Blocked(const Blocked&) = delete;
  Blocked& operator=(const Blocked&) = delete;

 private:
  sigset_t m_before = {};
};

sigset_t AllSignals() {
  sigset_t all = {};
  sigfillset(&all);
  return all;
}

sigset_t Only(int signal) {
  sigset_t only = {};
  sigemptyset(&only);
  sigaddset(&only, signal);
  return only;
}

std::vector<int> BlockedHere() {
  sigset_t blocked = {};
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  std::vector<int> signals;
  for (int signal = 1; signal < NSIG; ++signal) {
    if (sigismember(&blocked, signal) == 1) signals.push_back(signal);
  }
  return signals;
}

class HostProcess : public UpdateTest {
 protected:
  ~HostProcess() override { exchanges_until_failure = 0; }

  std::string Here(const std::string& command) const { return "cd " + PathOf("") + "; " + command; }

  FailureData DataOfRefusal(const UpdateOptions& options) const {
    try {
      Commit("new\n", {"a"}, options);
    } catch (const ServerRefusal& refusal) {
      return refusal.Data();
    }
    return {};
  }
};

// --- Signals ---

std::string handled_file;

void NoteSignal(int /*signal*/) {
  close(open(handled_file.c_str(), O_CREAT | O_WRONLY, 0600));
}

TEST_F(HostProcess, SignalsAreHeldWhereThatIsAskedFor) {
  struct Case {
    const char* name;
    bool held;
    const char* while_checked;
  };
  const Case cases[] = {{"not asked for", false, "handled\n"}, {"asked for", true, "waits\n"}};
  handled_file = PathOf("handled");
  const std::string check = Here("kill -s TERM " + std::to_string(getpid()) +
                                 "; sleep 0.3; { ls handled || echo waits; } 2>&- >seen");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Disposition noted(SIGTERM, NoteSignal);
    m_sandbox.Write("a", "old\n");
    std::filesystem::remove(PathOf("handled"));
    UpdateOptions options = WithCheck(check);
    options.hold_stop_signals = c.held;
    Commit("new\n", {"a"}, options);
    EXPECT_EQ(m_sandbox.Read("seen"), c.while_checked);
    EXPECT_TRUE(m_sandbox.Exists("handled"));
    EXPECT_EQ(m_sandbox.Read("a"), "new\n");
  }
}

TEST_F(HostProcess, TheMaskIsWhatItWas) {
  for (const bool held : {false, true}) {
    for (const char* check : {"true", "false"}) {
      const Blocked blocked(Only(SIGINT));
      m_sandbox.Write("a", "old\n");
      UpdateOptions options = WithCheck(check);
      options.hold_stop_signals = held;
      try {
        Commit("new\n", {"a"}, options);
      } catch (const ServerRefusal&) {
      }
      EXPECT_THAT(BlockedHere(), ElementsAre(SIGINT));
    }
  }
}

TEST_F(HostProcess, CommandsBeginWithNoSignalBlockedNorTheirChildrenIgnored) {
  const std::string tell = "grep -E 'Sig(Blk|Ign)' /proc/self/status >";
  ASSERT_EQ(std::system((tell + PathOf("before")).c_str()), 0);
  const Blocked blocked(AllSignals());
  const Disposition no_children(SIGCHLD, SIG_IGN);
  const Disposition no_pipes(SIGPIPE, SIG_IGN);
  Commit("new\n", {"a"}, WithCheck(Here(tell + "seen")));
  EXPECT_EQ(m_sandbox.Read("seen"), m_sandbox.Read("before"));
}

// --- Children ---

void WaitForAnyChild(int /*signal*/) {
  const int before = errno;
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  errno = before;
}

TEST_F(HostProcess, CommandsAreWaitedForWhateverBecomesOfChildren) {
  struct Case {
    const char* name;
    void (*handler)(int);
    int flags;
    bool blocked;
  };
  const Case cases[] = {
      {"left alone", SIG_DFL, 0, false},
      {"ignored", SIG_IGN, 0, false},
      {"not kept", SIG_DFL, SA_NOCLDWAIT, false},
      {"waited for by a handler", WaitForAnyChild, 0, false},
      {"blocked", SIG_DFL, 0, true},
  };
  for (const Case& c : cases) {
    for (const bool is_program : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.name << (is_program ? ", a program" : ", a library"));
      const Disposition children(SIGCHLD, c.handler, c.flags);
      std::optional<Blocked> blocked;
      if (c.blocked) blocked.emplace(Only(SIGCHLD));
      const auto with_check = [is_program](const std::string& check) {
        UpdateOptions options = WithCheck(check);
        options.hold_stop_signals = is_program;
        return options;
      };
      EXPECT_EQ(DataOfRefusal(with_check("sleep 0.1; echo no; exit 3")).exit_status, 3);
      EXPECT_EQ(DataOfRefusal(with_check("sleep 0.1; kill -s KILL $$")).signal, SIGKILL);
      EXPECT_EQ(m_sandbox.Read("a"), "old\n");
      Commit("new\n", {"a"}, with_check(Here("sleep 0.1; grep -q new a")));
      EXPECT_EQ(m_sandbox.Read("a"), "new\n");
      m_sandbox.Write("a", "old\n");
    }
  }
}

TEST_F(HostProcess, CommandsAreWaitedForWhereAThreadWaitsForAnyChild) {
  struct Case {
    const char* name;
    bool is_program;
    bool is_blocked;
  };
  const Case cases[] = {
      {"a library, SIGCHLD is left alone", false, false},
      {"a library, SIGCHLD is blocked", false, true},
      {"a program, SIGCHLD is blocked", true, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::optional<Blocked> blocked;
    if (c.is_blocked) blocked.emplace(Only(SIGCHLD));
    std::atomic<bool> ends{false};
    std::thread other([&ends] {
      while (!ends) {
        if (waitpid(-1, nullptr, WNOHANG) <= 0) std::this_thread::sleep_for(milliseconds(1));
      }
    });
    for (int round = 0; round < 20; ++round) {
      UpdateOptions options = WithCheck(round % 2 == 0 ? "exit 3" : "sleep 0.02; exit 3");
      options.hold_stop_signals = c.is_program;
      EXPECT_EQ(DataOfRefusal(options).exit_status, 3);
    }
    ends = true;
    other.join();
  }
}

TEST_F(HostProcess, ChildrenOfTheCallerAreLeftToIt) {
  const pid_t child = fork();
  if (child == 0) _exit(7);
  Commit("new\n", {"a"}, {std::nullopt, "true", "true"});
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

// Started by a program that ignores its children, as the shell here does.
TEST_F(HostProcess, AProgramThatIsStartedWithChildrenIgnoredWaitsForItsCommands) {
  const std::vector<std::string> ignoring = {"sh", "-c", "trap '' CHLD; exec \"$@\"", "sh"};
  EXPECT_EQ(m_sandbox.Append({"--check=exit 3", "new", "a"}, ignoring).err,
            "exit 3: refuses the new files (exit status 3), the old ones are back\n");
  EXPECT_EQ(m_sandbox.Append({"--check=true", "new", "a"}, ignoring).exit_code, 0);
  EXPECT_EQ(m_sandbox.Read("a"), "old\nnew\n");
}

// --- Descriptors and directories ---

TEST_F(HostProcess, CommandsInheritNoDescriptorOfAnUpdate) {
  const std::string list = "ls /proc/$$/fd";
  ASSERT_EQ(std::system((list + " >" + PathOf("before")).c_str()), 0);
  const tov_update::Cancellation cancellation;
  const FileUpdate other({PathOf("before")});
  for (const bool cancellable : {false, true}) {
    for (const bool is_program : {false, true}) {
      m_sandbox.Write("a", "old\n");
      FileUpdate update({PathOf("a")}, milliseconds(0),
                        cancellable ? std::optional(cancellation) : std::nullopt);
      update.Replace(0, "new\n");
      UpdateOptions options = {"~", Here(list + " >checked"), Here(list + " >reloaded")};
      options.hold_stop_signals = is_program;
      update.Commit(options);
      EXPECT_EQ(m_sandbox.Read("checked"), m_sandbox.Read("before"));
      EXPECT_EQ(m_sandbox.Read("reloaded"), m_sandbox.Read("before"));
    }
  }
}

TEST_F(HostProcess, NoDescriptorStaysOpen) {
  const auto count = [] {
    const std::filesystem::directory_iterator open_ones("/proc/self/fd");
    return std::distance(begin(open_ones), end(open_ones));
  };
  const auto before = count();
  {
    const tov_update::Cancellation cancellation;
    FileUpdate update({PathOf("a")}, milliseconds(0), cancellation);
    update.Replace(0, "new\n");
    update.Commit({"~", "true", "true"});
  }
  EXPECT_THROW(Commit("newer\n", {"a"}, WithCheck("false")), ServerRefusal);
  EXPECT_EQ(count(), before);
}

TEST_F(HostProcess, ANameIsRelativeToWhereTheUpdateIsMade) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(PathOf(""));
  FileUpdate update({"a"});
  std::filesystem::current_path(before);
  update.Replace(0, "new\n");
  EXPECT_THAT(update.Commit({"~", "", ""}).changed, ElementsAre("a"));
  EXPECT_EQ(m_sandbox.Read("a"), "new\n");
  EXPECT_EQ(m_sandbox.Read("a~"), "old\n");
}

// --- What a caller is told ---

TEST_F(HostProcess, TheResultSaysWhatHasBeenDone) {
  m_sandbox.Write("b", "new\n");
  m_sandbox.Write("c", "old\n");
  const std::string a = PathOf("a");
  const std::string c = PathOf("c");
  const UpdateResult all = To("new\n", {"c", "b", "a"}).Commit({"~", "true", "true"});
  EXPECT_THAT(all.changed, ElementsAre(c, a));
  EXPECT_THAT(all.backups, ElementsAre(c + "~", a + "~"));
  EXPECT_TRUE(all.checked);
  EXPECT_TRUE(all.reloaded);

  const UpdateResult none = To("new\n", {"c", "b", "a"}).Commit({"~", "false", "false"});
  EXPECT_THAT(none.changed, IsEmpty());
  EXPECT_THAT(none.backups, IsEmpty());
  EXPECT_FALSE(none.checked);
  EXPECT_FALSE(none.reloaded);

  const UpdateResult plain = To("newer\n", {"a"}).Commit({});
  EXPECT_THAT(plain.changed, ElementsAre(a));
  EXPECT_THAT(plain.backups, IsEmpty());
  EXPECT_FALSE(plain.checked);
  EXPECT_FALSE(plain.reloaded);

  FileUpdate missing = FileUpdate::OfMissing(PathOf("d"));
  missing.Replace(0, "");
  const UpdateResult made = missing.Commit({"~", ": {}", ""});
  EXPECT_THAT(made.changed, ElementsAre(PathOf("d")));
  EXPECT_THAT(made.backups, IsEmpty());
  EXPECT_TRUE(made.checked);
}

TEST_F(HostProcess, ARefusalTellsWhatTheCommandHasDone) {
  struct Case {
    const char* name;
    UpdateOptions options;
    const char* command;
    std::optional<int> exit_status;
    std::optional<int> signal;
    const char* output;
    std::vector<std::string> files;
  };
  const Case cases[] = {
      {"check", WithCheck("echo no; exit 3"), "echo no; exit 3", 3, std::nullopt, "no", {}},
      {"check by a signal",
       WithCheck("kill -s TERM $$"),
       "kill -s TERM $$",
       std::nullopt,
       SIGTERM,
       "",
       {}},
      {"check of the staged file",
       WithCheck("exit 4; {}"),
       "exit 4; {}",
       4,
       std::nullopt,
       "",
       {PathOf("a")}},
      {"reload", WithReload("echo no; exit 5"), "echo no; exit 5", 5, std::nullopt, "no", {}},
      {"new warnings",
       WithCheck("grep -q new " + PathOf("a") + " && echo '[warn] x'; true",
                 tov_update::NewWarnings::kRefused),
       "",
       0,
       std::nullopt,
       "x",
       {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const FailureData data = DataOfRefusal(c.options);
    EXPECT_EQ(data.command, *c.command == '\0' ? c.options.check : c.command);
    EXPECT_EQ(data.exit_status, c.exit_status);
    EXPECT_EQ(data.signal, c.signal);
    EXPECT_EQ(data.output, c.output);
    EXPECT_EQ(data.files, c.files);
    EXPECT_FALSE(data.timed_out);
    EXPECT_THAT(data.not_put_back, IsEmpty());
  }
}

TEST_F(HostProcess, AFailureTellsItsFiles) {
  m_sandbox.Write("c", "old\n");
  m_sandbox.Write("d", "old\n");
  const FileUpdate holder({PathOf("a")});
  const std::string overtaking = Here("for f in c d; do echo theirs >x; mv x $f; done");
  struct Case {
    const char* name;
    std::vector<std::string> named;
    std::vector<std::string> told;
  };
  const Case cases[] = {
      {"locked by another", {"a"}, {PathOf("a")}},
      {"not there", {"b"}, {PathOf("b")}},
      {"changed by another", {"c", "d"}, {PathOf("d"), PathOf("c")}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    try {
      Commit("new\n", c.named, WithCheck(overtaking));
      ADD_FAILURE();
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.Data().files, c.told);
      EXPECT_THAT(failure.Data().not_put_back, IsEmpty());
    }
  }
}

TEST_F(HostProcess, ANameWithANulByteIsNotTheFileBeforeIt) {
  EXPECT_NO_THROW(FileUpdate({PathOf("a")}));
  EXPECT_THROW(FileUpdate({PathOf("a") + std::string("\0b", 2)}), Failure);
}

TEST_F(HostProcess, ACommandThatCannotBeRunIsTold) {
  try {
    Commit("new\n", {"a"}, WithCheck("/no-such-command"));
    ADD_FAILURE();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.Data().command, "/no-such-command");
    EXPECT_EQ(failure.Data().exit_status, 127);
    EXPECT_THAT(failure.Data().files, IsEmpty());
  }
}

TEST_F(HostProcess, FilesThatCannotBePutBackAreTold) {
  m_sandbox.Write("b", "old\n");
  exchanges_until_failure = 3;  // there both, back none
  FailureData data;
  try {
    Commit("new\n", {"a", "b"}, WithCheck("exit 3"));
  } catch (const Failure& failure) {
    data = failure.Data();
  }
  EXPECT_THAT(data.not_put_back, ElementsAre(PathOf("b"), PathOf("a")));
  EXPECT_THAT(data.files, ElementsAre(PathOf("b"), PathOf("a")));
  EXPECT_EQ(data.command, "exit 3");
  EXPECT_EQ(data.exit_status, 3);
  EXPECT_EQ(m_sandbox.Read("a"), "new\n");
}

// --- Misuse ---

TEST_F(HostProcess, AnUpdateThatHasBeenMovedFromCanOnlyBeAssignedTo) {
  FileUpdate one = To("new\n", {"a"});
  FileUpdate other = std::move(one);
  const std::function<void()> steps[] = {
      [&] { one.Size(); },         [&] { one.Name(0); },    [&] { one.Read(0); },
      [&] { one.Replace(0, ""); }, [&] { one.Commit({}); },
  };
  for (const auto& step : steps) EXPECT_THROW(step(), std::logic_error);
  EXPECT_EQ(other.Size(), 1U);
  one = std::move(other);
  EXPECT_THAT(one.Commit({}).changed, ElementsAre(PathOf("a")));
}

TEST_F(HostProcess, AnAssignedUpdateGivesUpItsLocks) {
  m_sandbox.Write("b", "old\n");
  FileUpdate one = To("new\n", {"a"});
  ASSERT_EQ(one.Name(0), PathOf("a"));
  one = To("new\n", {"b"});
  EXPECT_NO_THROW(To("new\n", {"a"}));
  EXPECT_THROW(To("new\n", {"b"}), Failure);
}

TEST_F(HostProcess, MistakesOfTheCallerAreLogicErrors) {
  FileUpdate update = To("new\n", {"a"});
  EXPECT_THROW(update.Name(1), std::out_of_range);
  EXPECT_THROW(update.Read(1), std::out_of_range);
  EXPECT_THROW(update.Replace(1, ""), std::out_of_range);
  update.Commit({});
  EXPECT_EQ(MessageOf<std::logic_error>([&] { update.Commit({}); }), "this update is committed");
  EXPECT_EQ(m_sandbox.Read("a"), "new\n");
}

}  // namespace
