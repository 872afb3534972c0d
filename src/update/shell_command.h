// SPDX-License-Identifier: Apache-2.0

// Commands for the shell.
#pragma once

#include <chrono>
#include <csignal>
#include <optional>
#include <string>

#include "update/cancellation.h"
#include "update/failure.h"

namespace tov_update {

// How a command is run.
struct CommandTerms {
  // cppcheck-suppress noExplicitConstructor; most commands have no other terms
  CommandTerms(const sigset_t& mask) : signals(mask) {}

  // Those that are blocked when it begins.
  sigset_t signals;

  // What stops it; null: nothing.
  const Cancellation* cancellation = nullptr;

  // How long it may take.
  std::optional<std::chrono::milliseconds> limit;

  // Has a shell of its own look after the command, and say how that has ended: that is known then,
  // too, when this process ignores SIGCHLD, or waits for any child elsewhere. It takes a process
  // more. What can be stopped, and what a process that does not leave SIGCHLD alone runs, is run so
  // in any case.
  bool is_watched = false;
};

enum class Stopped { kNot, kCancelled, kTimedOut };

struct CommandResult {
  bool Succeeded() const { return end.empty(); }

  // "" for exit status 0, else how it has ended: "exit status 1", "Terminated", "not ended after
  // 500 ms".
  std::string end;

  // Of both kinds, in the order of writing, without the line ends at its end.
  std::string output;

  std::optional<int> exit_status;
  std::optional<int> signal;
  Stopped stopped = Stopped::kNot;
};

// Runs `command` by /bin/sh, with nothing to read, and waits for its end. Processes that it leaves
// behind are not waited for. SIGCHLD and SIGPIPE are what they are for a program by default.
//
// Throws Failure, under the command's name, when it cannot be run: also when the shell does not
// find it.
//
// One that can be stopped is in a process group of its own. To stop it, the group gets SIGTERM, and
// SIGKILL when the command has ended or two seconds have gone.
CommandResult RunInShell(const std::string& command, const CommandTerms& terms);

// What a failure tells of a command that has been run.
FailureData DataOf(const std::string& command, const CommandResult& result);

// `text` as one word of a command for the shell.
std::string ShellQuoted(const std::string& text);

}  // namespace tov_update
