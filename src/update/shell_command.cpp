// SPDX-License-Identifier: Apache-2.0

#include "update/shell_command.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "update/cancelled_wait.h"
#include "update/descriptor.h"

namespace tov_update {
namespace {

constexpr char kShell[] = "/bin/sh";
constexpr char kNothing[] = "/dev/null";
constexpr int kBySignal = 128;  // what the shell adds to the number of a signal

// The shell that looks after the command, its $1. Its own standard input is where it says how the
// command has ended; what it remarks by itself, as that a signal has ended it, nobody sees. It
// waits for a command that is asked to end.
constexpr char kWatcher[] = "trap : TERM; (exec /bin/sh -c \"$1\" </dev/null 2>&1); echo $? >&0";

[[noreturn]] void Fail(const std::string& command, const std::string& problem) {
  throw Failure(command + ": " + problem, DataOf(command, {}));
}

[[noreturn]] void FailToRun(const std::string& command, int error) {
  Fail(command, "cannot be run: " + SystemMessage(error));
}

bool MayBeStopped(const CommandTerms& terms) {
  return terms.cancellation || terms.limit;
}

// Whether this thread waits for children in no other way than by asking for one of them, as far as
// can be seen.
bool LeavesChildrenAlone() {
  struct sigaction at_end = {};
  sigset_t blocked = {};
  sigaction(SIGCHLD, nullptr, &at_end);
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  const bool keeps_them = (at_end.sa_flags & SA_NOCLDWAIT) == 0;
  // NOLINTNEXTLINE(*-union-access): sigaction(2) has it so
  const bool has_no_handler = at_end.sa_handler == SIG_DFL;
  return has_no_handler && keeps_them && sigismember(&blocked, SIGCHLD) == 0;
}

// What a command is started with, beyond its words.
class SpawnSettings {
 public:
  explicit SpawnSettings(const CommandTerms& terms) {
    Note(posix_spawn_file_actions_init(&m_files));
    Note(posix_spawnattr_init(&m_attributes));
    Note(posix_spawnattr_setsigmask(&m_attributes, &terms.signals));
    sigset_t as_by_default = {};
    sigemptyset(&as_by_default);
    sigaddset(&as_by_default, SIGCHLD);
    sigaddset(&as_by_default, SIGPIPE);
    int flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    if (MayBeStopped(terms)) {
      sigaddset(&as_by_default, SIGTERM);
      flags |= POSIX_SPAWN_SETPGROUP;
    }
    Note(posix_spawnattr_setsigdefault(&m_attributes, &as_by_default));
    Note(posix_spawnattr_setflags(&m_attributes, static_cast<short>(flags)));
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&m_files);
    posix_spawnattr_destroy(&m_attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  void Give(const Descriptor& ours, int number) {
    Note(posix_spawn_file_actions_adddup2(&m_files, ours.Number(), number));
  }
  void GiveNothing(int number, int flags) {
    Note(posix_spawn_file_actions_addopen(&m_files, number, kNothing, flags, 0));
  }

  pid_t Spawn(const std::string& command, std::vector<std::string> words) const {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int error = m_error != 0 ? m_error
                                   : posix_spawn(&child, kShell, &m_files, &m_attributes,
                                                 arguments.data(), environ);
    if (error != 0) FailToRun(command, error);
    return child;
  }

 private:
  void Note(int error) {
    if (m_error == 0) m_error = error;
  }

  posix_spawn_file_actions_t m_files = {};
  posix_spawnattr_t m_attributes = {};
  int m_error = 0;
};

// --- The end of a command ---

void TellExit(int exit_status, CommandResult& result) {
  result.exit_status = exit_status;
  if (exit_status != 0) result.end = "exit status " + std::to_string(exit_status);
}

void TellSignal(int signal, CommandResult& result) {
  result.signal = signal;
  const char* const description = sigdescr_np(signal);
  result.end = description ? description : "signal " + std::to_string(signal);
}

void TellStatus(int status, CommandResult& result) {
  if (WIFSIGNALED(status)) {
    TellSignal(WTERMSIG(status), result);
  } else {
    TellExit(WEXITSTATUS(status), result);
  }
}

// None when somebody else has waited for it.
std::optional<int> StatusOf(pid_t child) {
  int status = 0;
  if (Retried([&] { return waitpid(child, &status, 0); }) == child) return status;
  return std::nullopt;
}

// Without the line ends at its end.
std::string OutputIn(const Descriptor& output, const std::string& command) {
  try {
    std::string text = ReadFromStart(output, 0, command);
    text.erase(text.find_last_not_of("\r\n") + 1);
    return text;
  } catch (const Failure& failure) {
    throw Failure(failure.what(), DataOf(command, {}));
  }
}

// --- Not watched ---

void RunAlone(const std::string& command, const CommandTerms& terms, const Descriptor& output,
              CommandResult& result) {
  SpawnSettings settings(terms);
  settings.Give(output, STDOUT_FILENO);
  settings.Give(output, STDERR_FILENO);
  settings.GiveNothing(STDIN_FILENO, O_RDONLY);
  const std::optional<int> status = StatusOf(settings.Spawn(command, {"sh", "-c", command}));
  if (!status) Fail(command, "its end cannot be waited for: " + SystemMessage(errno));
  TellStatus(*status, result);
}

// --- Watched ---

struct Pipe {
  explicit Pipe(const std::string& command) {
    std::array<int, 2> ends = {-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) FailToRun(command, errno);
    from = Descriptor(ends[0]);
    to = Descriptor(ends[1]);
    from = AboveStandardStreams(std::move(from));
    to = AboveStandardStreams(std::move(to));
    if (!from || !to) FailToRun(command, errno);
  }

  Descriptor from;
  Descriptor to;
};

Stopped WaitOrStop(pid_t child, const Descriptor& report, const CommandTerms& terms) {
  constexpr std::chrono::seconds kToEnd{2};
  const auto limit = terms.limit.value_or(std::chrono::milliseconds::max());
  const Awaited awaited = WaitToRead(report.Number(), DeadlineAfter(limit), terms.cancellation);
  if (awaited == Awaited::kReadable) return Stopped::kNot;
  kill(-child, SIGTERM);
  WaitToRead(report.Number(), DeadlineAfter(kToEnd), nullptr);
  kill(-child, SIGKILL);
  return awaited == Awaited::kCancelled ? Stopped::kCancelled : Stopped::kTimedOut;
}

// What the watcher has said; none when it has been ended itself.
std::optional<int> ReportIn(const Descriptor& report) {
  std::array<char, 16> text = {};
  const ssize_t size = Retried([&] { return read(report.Number(), text.data(), text.size()); });
  int status = 0;
  const auto read_up_to =
      std::from_chars(text.data(), text.data() + std::max<ssize_t>(size, 0), status);
  if (read_up_to.ec != std::errc()) return std::nullopt;
  return status;
}

void RunWatched(const std::string& command, const CommandTerms& terms, const Descriptor& output,
                CommandResult& result) {
  Pipe report(command);
  SpawnSettings settings(terms);
  settings.Give(report.to, STDIN_FILENO);
  settings.Give(output, STDOUT_FILENO);
  settings.GiveNothing(STDERR_FILENO, O_WRONLY);
  const pid_t child = settings.Spawn(command, {"sh", "-c", kWatcher, "sh", command});
  report.to = Descriptor();
  result.stopped = WaitOrStop(child, report.from, terms);
  const std::optional<int> status = StatusOf(child);
  if (result.stopped == Stopped::kCancelled) {
    result.end = "cancelled";
  } else if (result.stopped == Stopped::kTimedOut) {
    result.end = "not ended after " + std::to_string(terms.limit->count()) + " ms";
  } else if (const std::optional<int> said = ReportIn(report.from)) {
    const bool by_signal = *said > kBySignal && sigdescr_np(*said - kBySignal);
    by_signal ? TellSignal(*said - kBySignal, result) : TellExit(*said, result);
  } else if (status && WIFSIGNALED(*status)) {
    TellSignal(WTERMSIG(*status), result);
  } else {
    Fail(command, "how it has ended is not known");
  }
}

}  // namespace

// The output goes to a file in memory, not through a pipe: a server that the command starts may
// keep a pipe open for as long as it runs.
CommandResult RunInShell(const std::string& command, const CommandTerms& terms) {
  constexpr int kCannotBeExecuted = 126;
  constexpr int kNotFound = 127;
  if (command.find('\0') != std::string::npos) FailToRun(command, EINVAL);
  const Descriptor output = AboveStandardStreams(Descriptor(memfd_create("output", MFD_CLOEXEC)));
  if (!output) FailToRun(command, errno);
  CommandResult result;
  const bool is_watched = terms.is_watched || MayBeStopped(terms) || !LeavesChildrenAlone();
  const auto& run = is_watched ? RunWatched : RunAlone;
  run(command, terms, output, result);
  result.output = OutputIn(output, command);
  const int exit_status = result.exit_status.value_or(0);
  if (exit_status == kCannotBeExecuted || exit_status == kNotFound) {
    throw Failure(command + ": cannot be run: " + result.output, DataOf(command, result));
  }
  return result;
}

FailureData DataOf(const std::string& command, const CommandResult& result) {
  FailureData data;
  data.command = command;
  data.exit_status = result.exit_status;
  data.signal = result.signal;
  data.timed_out = result.stopped == Stopped::kTimedOut;
  data.output = result.output;
  return data;
}

std::string ShellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + '\'';
}

}  // namespace tov_update
