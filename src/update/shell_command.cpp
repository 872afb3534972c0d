// SPDX-License-Identifier: Apache-2.0

#include "update/shell_command.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <array>
#include <cstring>
#include <string>

#include "update/descriptor.h"
#include "update/failure.h"

namespace update {
namespace {

// What a command is started with, beyond its words.
class SpawnSettings {
 public:
  SpawnSettings(const Descriptor& output, const sigset_t& signals) {
    posix_spawn_file_actions_init(&m_files);
    posix_spawn_file_actions_adddup2(&m_files, output.Number(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&m_files, output.Number(), STDERR_FILENO);
    posix_spawn_file_actions_addopen(&m_files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawnattr_init(&m_attributes);
    posix_spawnattr_setsigmask(&m_attributes, &signals);
    posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK);
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&m_files);
    posix_spawnattr_destroy(&m_attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  const posix_spawn_file_actions_t* Files() const { return &m_files; }
  const posix_spawnattr_t* Attributes() const { return &m_attributes; }

 private:
  posix_spawn_file_actions_t m_files;
  posix_spawnattr_t m_attributes;
};

pid_t Spawn(const std::string& command, const Descriptor& output, const sigset_t& signals) {
  std::array<std::string, 3> words = {"sh", "-c", command};
  const std::array<char*, 4> arguments = {words[0].data(), words[1].data(), words[2].data(),
                                          nullptr};
  const SpawnSettings settings(output, signals);
  pid_t child = 0;
  const int error = posix_spawn(&child, "/bin/sh", settings.Files(), settings.Attributes(),
                                arguments.data(), environ);
  if (error != 0) throw Failure(command, "cannot be run: " + SystemMessage(error));
  return child;
}

int WaitFor(pid_t child, const std::string& command) {
  int status = 0;
  while (waitpid(child, &status, 0) != child) {
    if (errno != EINTR) FailBySystem(command, "its end cannot be waited for");
  }
  return status;
}

std::string Described(int status) {
  if (WIFSIGNALED(status)) return sigdescr_np(WTERMSIG(status));
  const int exit_status = WEXITSTATUS(status);
  return exit_status == 0 ? std::string() : "exit status " + std::to_string(exit_status);
}

}  // namespace

// The output goes to a file in memory, not through a pipe: a server that the command starts may
// keep a pipe open for as long as it runs.
CommandResult RunInShell(const std::string& command, const sigset_t& signals) {
  constexpr int kCannotBeExecuted = 126;
  constexpr int kNotFound = 127;
  const Descriptor output = AboveStandardStreams(Descriptor(memfd_create("output", MFD_CLOEXEC)));
  if (!output) FailBySystem(command, "cannot be run");
  const int status = WaitFor(Spawn(command, output, signals), command);
  CommandResult result = {Described(status), ReadFromStart(output, command)};
  result.output.erase(result.output.find_last_not_of("\r\n") + 1);
  if (WIFEXITED(status) &&
      (WEXITSTATUS(status) == kCannotBeExecuted || WEXITSTATUS(status) == kNotFound)) {
    throw Failure(command, "cannot be run: " + result.output);
  }
  return result;
}

std::string ShellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + '\'';
}

}  // namespace update
