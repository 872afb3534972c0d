// SPDX-License-Identifier: Apache-2.0

// The qeltemplate program: reads the command line, runs the subcommand, says what went wrong.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <sstream>
#include <string_view>
#include <vector>

#include "cli/command.h"
#include "cli/failure.h"
#include "cli/standard_streams.h"
#include "cli/text_io.h"

namespace cli {
namespace {

constexpr char kProgram[] = "qeltemplate";

// Shows a flag that may have a value as "--check[=CMD]".
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_name(const CLI::Option* option, bool is_positional) const override {
    const std::string name = CLI::Formatter::make_option_name(option, is_positional);
    return name.substr(0, name.find("{}"));
  }

  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string text = CLI::Formatter::make_option_opts(option);
    return text.compare(0, 3, " [=") == 0 ? text.substr(1) : text;
  }
};

int Report(ExitCode code, const char* problem) {
  Say(problem);
  return code;
}

// The command line up to where the user went wrong: "qeltemplate apply".
std::string Given(const CLI::App& program) {
  std::string given = program.get_name();
  for (const CLI::App* command : program.get_subcommands()) given += ' ' + command->get_name();
  return given;
}

int ReportUsage(const CLI::App& program, const CLI::ParseError& error) {
  Report(kWrongUsage, error.what());
  std::fprintf(stderr, "Try '%s --help'.\n", Given(program).c_str());
  return kWrongUsage;
}

// --help and --version reach us as errors, too: those that end well.
int EndParsing(const CLI::App& program, const CLI::ParseError& error) {
  if (error.get_exit_code() != 0) return ReportUsage(program, error);
  std::ostringstream text;
  program.exit(error, text, text);
  WriteStandardOutput(text.str());
  return kDone;
}

// The parser would take the next word for the value that "--option=" leaves out: the configuration
// for the template, say, and standard input for the configuration.
void RefuseEmptyValues(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (word.substr(0, 2) != "--") continue;
    if (word == "--") return;
    const bool ends_with_first_equals = word.find('=') + 1 == word.size();
    if (ends_with_first_equals) {
      throw CLI::ValidationError(std::string(word), "nothing stands behind the '='");
    }
  }
}

// The parser handles each word many times. Of a long line that ends with many files it gets the
// first ones; the others come behind those of the command, if there is one that takes them.
void Parse(CLI::App& program, const std::vector<Command>& commands, int argc, char** argv) {
  constexpr int kForTheParser = 32;  // more than any option may take
  constexpr int kMany = 64;
  const auto is_file = [](const char* word) { return word[0] != '\0' && word[0] != '-'; };
  int files = argc;
  while (files > 1 && is_file(argv[files - 1])) --files;
  std::vector<std::string>* more_files = nullptr;
  for (const Command& command : commands) {
    if (argc > 1 && command.options->get_name() == argv[1]) more_files = command.more_files;
  }
  const int parsed = more_files != nullptr && argc - files >= kMany ? files + kForTheParser : argc;
  program.parse(parsed, argv);
  if (parsed < argc) more_files->insert(more_files->end(), argv + parsed, argv + argc);
}

int RunChosen(const std::vector<Command>& commands) {
  for (const Command& command : commands) {
    if (!command.options->parsed()) continue;
    const Outcome outcome = command.run();
    WriteStandardOutput(outcome.text);
    return outcome.exit_code;
  }
  return kDone;
}

int Run(int argc, char** argv) {
  CLI::App program("Edits web-server configuration by templates", kProgram);
  program.formatter(std::make_shared<HelpFormatter>());
  program.set_version_flag("--version", std::string(kProgram) + ' ' + QELTEMPLATE_VERSION,
                           "Print the version and exit");
  program.require_subcommand(1);
  const std::vector<Command> commands = {
      AddApply(program), AddPrototype(program), AddExplain(program), AddInspect(program),
      AddLint(program),  AddSites(program),     AddAdopt(program)};
  try {
    RefuseEmptyValues(argc, argv);
    Parse(program, commands, argc, argv);
  } catch (const CLI::ParseError& error) {
    return EndParsing(program, error);
  }
  return RunChosen(commands);
}

int RunAndReport(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::bad_alloc&) {
    SayOutOfMemory();
    return kFailed;
  } catch (const std::exception& error) {
    return Report(ExitCodeOf(error), error.what());
  }
}

}  // namespace
}  // namespace cli

int main(int argc, char** argv) {
  if (!cli::OpenStandardStreams()) {
    std::fputs("qeltemplate: /dev/null cannot be opened for the closed streams\n", stderr);
    return cli::kFailed;
  }
  try {
    return cli::RunAndReport(argc, argv);
  } catch (const std::exception&) {  // no memory to say what has happened
    cli::SayOutOfMemory();
    return cli::kFailed;
  }
}
