// SPDX-License-Identifier: Apache-2.0

// The program's subcommands.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "cli/failure.h"

namespace cli {

// What a subcommand that does not throw ends with.
struct Outcome {
  std::string text;  // what goes to standard output, behind what the subcommand has written there
  ExitCode exit_code = kDone;
};

// A subcommand. `run` is called once the command line is known to be right. A command that throws
// has written nothing to standard output, unless memory or room there gives out while it writes.
struct Command {
  CLI::App* options;  // owned by the program's CLI::App
  std::function<Outcome()> run;

  // Of a command that takes any number of files: what follows on those that the parser has met.
  // Null for others.
  std::vector<std::string>* more_files = nullptr;
};

// Each adds its subcommand to `program`. The options of a subcommand are made when the command line
// names it: to make those of all takes longer than most edits.
Command AddApply(CLI::App& program);
Command AddPrototype(CLI::App& program);
Command AddExplain(CLI::App& program);
Command AddInspect(CLI::App& program);
Command AddLint(CLI::App& program);
Command AddSites(CLI::App& program);
Command AddAdopt(CLI::App& program);

}  // namespace cli
