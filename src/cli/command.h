// The program's subcommands.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace cli {

// A subcommand. `run` is called once the command line is known to be right, and returns the whole
// text for standard output: a command that throws has written nothing.
struct Command {
  CLI::App* options;  // owned by the program's CLI::App
  std::function<std::string()> run;
};

// Each adds its subcommand to `program`.
Command AddApply(CLI::App& program);
Command AddPrototype(CLI::App& program);

}  // namespace cli
