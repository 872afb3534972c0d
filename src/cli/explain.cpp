// SPDX-License-Identifier: Apache-2.0

// qeltemplate explain: what becomes of each line of a template, and why.

#include <memory>

#include "cli/command.h"
#include "cli/diagnostic.h"
#include "cli/explanation.h"
#include "cli/guard_options.h"
#include "cli/request.h"
#include "cli/terminal.h"
#include "cli/text_io.h"
#include "edit/edit.h"
#include "report/json.h"

namespace cli {
namespace {

constexpr char kFooter[] = R"(
Says of each line of the template whether it is taken, in which block and by which
text it is looked for, which directive of CONFIG it finds, and what is done with
it. Nothing is written. The edit is that of "qeltemplate apply" with the same
options. Where apply refuses it, the reasons stand below, and the table says what
would be done without them.

Example:
  qeltemplate explain --template site.template --values site.yaml site.conf)";

struct ExplainOptions : RequestOptions, GuardOptions {
  std::string config_file;  // "": standard input
  bool json = false;
  std::string colour = "auto";
  std::set<std::string> ignored;

  bool ReadsStandardInput() const { return config_file.empty() || IsStandardInput(config_file); }
};

void Check(const ExplainOptions& options) {
  CheckRequestOptions(options);
  CheckGuardOptions(options);
  if (options.ReadsStandardInput()) RefuseValuesOnStandardInput(options);
}

Outcome Run(const ExplainOptions& options) {
  Request request = LoadRequest(options);
  SetGuards(options, request.edit);
  const bool standard_input = options.ReadsStandardInput();
  const std::string text = standard_input ? ReadStandardInput() : ReadFile(options.config_file);
  const std::string name = TextName(standard_input ? "-" : options.config_file);
  if (!request.dialect) {
    SetDialect(request, DialectOf(text, name));
    SayGuess(name, *request.dialect);
  }
  tov_edit::Explained explained = tov_edit::Explain(request.edit, text, name);
  Ignore(options.ignored, explained.result.warnings);
  const ExitCode code = explained.result.refusals.empty() ? kDone : kRefused;
  const report::ExplainedEdit edit{request.edit, name, explained};
  if (options.json) return {report::Json(edit), code};
  return {Explanation(edit, WantsColour(options.colour)), code};
}

void AddOptions(CLI::App& command, ExplainOptions& options) {
  AddRequestOptions(command, options);
  AddGuardOptions(command, options);
  command.add_flag("--json", options.json, "Write JSON");
  AddColourOption(command, options.colour, "the table");
  AddIgnoreOption(command, options.ignored);
  AddFileOption(command, "CONFIG", options.config_file,
                "The configuration; standard input when it is \"-\" or left out");
  command.footer(std::string(kValuesHelp) + kFooter + "\n\n" + kEditExitHelp);
  command.callback([&options] { Check(options); });
}

}  // namespace

Command AddExplain(CLI::App& program) {
  CLI::App* command =
      program.add_subcommand("explain", "Say what becomes of each line of a template, and why");
  const auto options = std::make_shared<ExplainOptions>();
  command->preparse_callback([command, options](std::size_t) { AddOptions(*command, *options); });
  return {command, [options] { return Run(*options); }};
}

}  // namespace cli
