// SPDX-License-Identifier: Apache-2.0

// qeltemplate explain: what becomes of each line of a template, and why.

#include <memory>
#include <utility>
#include <vector>

#include "cli/command.h"
#include "cli/diagnostic.h"
#include "cli/explanation.h"
#include "cli/guard_options.h"
#include "cli/request.h"
#include "cli/server_options.h"
#include "cli/terminal.h"
#include "cli/text_io.h"
#include "edit/edit.h"
#include "report/json.h"
#include "server/server_edit.h"
#include "server/server_files.h"

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

  bool server = false;    // all files of a server, of which CONFIG is the main one
  std::string new_in;     // see ApplyOptions
  ServerOptions reading;  // what is read of a server, but for its main file and its dialect

  bool ReadsStandardInput() const {
    return !server && (config_file.empty() || IsStandardInput(config_file));
  }
};

void Check(const ExplainOptions& options) {
  CheckRequestOptions(options);
  CheckGuardOptions(options);
  if (options.ReadsStandardInput()) RefuseValuesOnStandardInput(options);
  if (!options.server) RefuseServerOptions(options.reading, options.new_in);
}

// The same for the whole server. In the table the changes of its files come together.
Outcome RunOnServer(const ExplainOptions& options) {
  Request request = LoadRequest(options);
  SetGuards(options, request.edit);
  ServerOptions read = options.reading;
  read.main = options.config_file;
  read.dialect = options.dialect;
  const tov_server::ReadingOptions reading = ReadingOf(read);
  SetDialect(request, reading.dialect);
  const tov_server::ServerFiles server = ReadWithProgress(reading);
  tov_server::ExplainedServer explained =
      tov_server::ExplainServer(request.edit, server, {options.new_in});
  Ignore(options.ignored, explained.result.warnings);
  tov_edit::Explained shown;
  shown.report = std::move(explained.report);
  shown.result.refusals = std::move(explained.result.refusals);
  shown.result.warnings = std::move(explained.result.warnings);
  std::vector<report::ChangedFile> files;
  for (const tov_server::FileEdit& file : explained.result.files) {
    for (const tov_edit::Change& change : file.changes) shown.result.changes.push_back(change);
    files.push_back({file.name, file.is_new, file.changes});
  }
  const ExitCode code = shown.result.refusals.empty() ? kDone : kRefused;
  const report::ExplainedEdit edit{request.edit, server.files.front().name, shown};
  if (options.json) return {report::Json(report::ExplainedServerEdit{edit, files}), code};
  return {Explanation(edit, WantsColour(options.colour)), code};
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
  command.add_flag("--server", options.server,
                   "Explain the edit of the whole server: CONFIG is its main file, or left out");
  AddNewInOption(command, options.new_in);
  AddServerOptions(command, options.reading);
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
  return {command, [options] { return options->server ? RunOnServer(*options) : Run(*options); }};
}

}  // namespace cli
