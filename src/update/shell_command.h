// SPDX-License-Identifier: Apache-2.0

// Commands for the shell.
#pragma once

#include <csignal>
#include <string>

namespace update {

struct CommandResult {
  bool Succeeded() const { return end.empty(); }

  // "" for exit status 0, else how it has ended: "exit status 1", "Terminated".
  std::string end;

  // Of both kinds, in the order of writing, without the line ends at its end.
  std::string output;
};

// Runs `command` by /bin/sh, with nothing to read and with the signal mask `signals`, and waits for
// its end. Processes that it leaves behind are not waited for. Throws Failure, under the command's
// name, when it cannot be run: also when the shell does not find it.
CommandResult RunInShell(const std::string& command, const sigset_t& signals);

// `text` as one word of a command for the shell.
std::string ShellQuoted(const std::string& text);

}  // namespace update
