// SPDX-License-Identifier: Apache-2.0

// Commands for the shell.

#include "update/shell_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>

#include "update/failure.h"
#include "update/stop_signals.h"

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
    const char* output;
  };
  const Case cases[] = {
      {"true", "", ""},
      {"", "", ""},
      {"echo out; echo err >&2; echo out", "", "out\nerr\nout"},
      {"printf '\\nline ends\\r\\n\\n'; exit 3", "exit status 3", "\nline ends"},
      {"kill -s TERM $$", "Terminated", ""},
      {"cat", "", ""},
      {"head -c 5000 /dev/zero | tr '\\0' x | wc -c", "", "5000"},
  };
  for (const Case& c : cases) {
    const tov_update::CommandResult result = tov_update::RunInShell(c.command, NoSignals());
    EXPECT_EQ(result.end, c.end) << c.command;
    EXPECT_EQ(result.output, c.output) << c.command;
    EXPECT_EQ(result.Succeeded(), result.end.empty()) << c.command;
  }
}

TEST(ShellCommand, KeepsAllOfALongOutput) {
  const tov_update::CommandResult result =
      tov_update::RunInShell("head -c 1000000 /dev/zero | tr '\\0' x", NoSignals());
  EXPECT_EQ(result.output, std::string(1000000, 'x'));
}

TEST(ShellCommand, FailsWhenItCannotBeRun) {
  for (const char* command : {"no-such-command-at-all", "/etc/passwd"}) {
    try {
      tov_update::RunInShell(command, NoSignals());
      ADD_FAILURE() << command;
    } catch (const tov_update::Failure& failure) {
      EXPECT_THAT(failure.what(), testing::StartsWith(command + std::string(": cannot be run: ")));
      EXPECT_EQ(dynamic_cast<const tov_update::ServerRefusal*>(&failure), nullptr);
    }
  }
}

TEST(ShellCommand, DoesNotWaitForWhatItLeavesBehind) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(tov_update::RunInShell("sleep 20 & echo started", NoSignals()).output, "started");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(ShellCommand, IsReachedBySignalsThatItsParentHolds) {
  const tov_update::HeldStopSignals held;
  const std::string command = "kill -s INT $$; echo survived";
  EXPECT_EQ(tov_update::RunInShell(command, held.Before()).end, "Interrupt");
  EXPECT_EQ(tov_update::RunInShell(command, tov_update::StopSignals()).output, "survived");
}

TEST(ShellCommand, AQuotedTextIsOneWord) {
  for (const char* text : {"", "plain", "two words", "it's", "$HOME `id` \\ \" * ;", "'", "a\nb"}) {
    const std::string quoted = tov_update::ShellQuoted(text);
    EXPECT_EQ(tov_update::RunInShell("printf '%s.' " + quoted, NoSignals()).output,
              text + std::string("."));
  }
}

}  // namespace
