// SPDX-License-Identifier: Apache-2.0

// qeltemplate inspect: a configuration as its server reads it.

#include <memory>
#include <optional>
#include <utility>

#include "cli/command.h"
#include "cli/diagnostic.h"
#include "cli/findings.h"
#include "cli/inspection_text.h"
#include "cli/request.h"
#include "cli/server_options.h"
#include "cli/sites_json.h"
#include "cli/terminal.h"
#include "cli/text_io.h"
#include "edit/inspection.h"
#include "report/inspection_json.h"
#include "report/json.h"
#include "server/server_collisions.h"
#include "server/sites.h"

namespace cli {
namespace {

using tov_document::Dialect;
using tov_edit::InspectedText;
using tov_server::ServerFile;
using tov_server::ServerFiles;

constexpr char kFooter[] = R"(
Shows the blocks, directives and comments of CONFIG as its server reads them. Each
stands behind its place, FILE:LINE. The names and addresses of a server follow its
block. Below stands what the server would refuse, as
  FILE:LINE:COLUMN: error: what is wrong [NAME]
With --server, the files that CONFIG includes follow, as its server finds them.

Examples:
  qeltemplate inspect site.conf
  qeltemplate inspect --server /etc/nginx/nginx.conf)";

// The main file is the configuration: without --server "" is standard input.
struct InspectOptions : ServerOptions {
  bool whole_server = false;
  bool json = false;
  std::string colour = "auto";
  std::set<std::string> ignored;
};

std::string Findings(const tov_edit::Remarks& remarks, bool coloured) {
  std::string shown = ShownWarnings(remarks.warnings, coloured);
  if (remarks.error) shown += Shown(*remarks.error, Weight::kError, coloured);
  return shown.empty() ? shown : '\n' + shown;
}

// --- A whole server ---

// The files as one comes to them by the includes, each once.
std::vector<std::size_t> InOrder(const ServerFiles& server) {
  std::vector<std::size_t> order;
  std::vector<bool> seen(server.files.size());
  std::vector<std::size_t> left = {0};
  while (!left.empty()) {
    const std::size_t file = left.back();
    left.pop_back();
    if (seen[file]) continue;
    seen[file] = true;
    order.push_back(file);
    std::vector<std::size_t> included;
    for (const auto& include : server.files[file].includes) {
      included.insert(included.end(), include.files.begin(), include.files.end());
    }
    left.insert(left.end(), included.rbegin(), included.rend());
  }
  return order;
}

Notes NotesOf(const ServerFiles& server, const ServerFile& file) {
  Notes notes;
  for (const auto& include : file.includes) {
    std::string& note = notes[include.begin];
    note = include.files.empty() ? "-> nothing" : "->";
    for (const std::size_t each : include.files) (note += ' ') += server.files[each].name;
  }
  return notes;
}

void WriteIncludes(const ServerFiles& server, const ServerFile& file, const InspectedText& config,
                   report::JsonWriter& json) {
  json.Name("includes");
  json.Begin('[');
  for (const auto& include : file.includes) {
    const tov_document::Place place = config.places.Of(include.begin);
    json.Begin('{');
    json.Member("line", place.line);
    json.Member("column", place.column);
    json.Name("files");
    json.Begin('[');
    for (const std::size_t each : include.files) json.Value(server.files[each].name);
    json.End(']');
    json.End('}');
  }
  json.End(']');
}

// Calls `show` for each file of the server, and adds what is found in it to `warnings` and
// `errors`, but for collisions, which are looked for in all files at once.
template <class Show>
void ForEachFile(const ServerFiles& server, const InspectOptions& options,
                 std::vector<Finding>& warnings, std::vector<Finding>& errors, const Show& show) {
  for (const std::size_t number : InOrder(server)) {
    const ServerFile& file = server.files[number];
    InspectedText config(server.dialect, file.text, file.name);
    Ignore({"collision"}, config.remarks.warnings);
    Ignore(options.ignored, config.remarks.warnings);
    const auto& found = config.remarks.warnings;
    warnings.insert(warnings.end(), found.begin(), found.end());
    if (config.remarks.error) errors.push_back(*config.remarks.error);
    show(file, config);
  }
}

Outcome RunOnServer(const InspectOptions& options) {
  const tov_server::Sites read = ReadServersSites(options);
  const ServerFiles& server = read.server;
  std::vector<Finding> of_server = server.findings;
  // Those are shown with their files.
  Ignore({"syntax-error"}, of_server);
  const std::vector<Finding> collisions = tov_server::CollisionsOf(server);
  of_server.insert(of_server.end(), collisions.begin(), collisions.end());
  Ignore(options.ignored, of_server);
  std::vector<Finding> warnings = of_server;
  std::vector<Finding> errors;
  if (options.json) {
    report::JsonWriter json;
    json.Begin('{');
    json.Member("main", server.files.front().name);
    json.Member("dialect", NameOf(server.dialect));
    json.Name("files");
    json.Begin('[');
    ForEachFile(server, options, warnings, errors,
                [&](const ServerFile& file, const InspectedText& config) {
                  json.Begin('{');
                  report::WriteInspection(config, json);
                  WriteIncludes(server, file, config, json);
                  json.End('}');
                });
    json.End(']');
    json.Name("sites");
    WriteSites(read.sites, json);
    json.Name("warnings");
    report::Write(json, of_server);
    json.End('}');
    return {std::move(json).Text(), warnings.empty() && errors.empty() ? kDone : kFindings};
  }
  const bool coloured = WantsColour(options.colour);
  std::string text;
  ForEachFile(server, options, warnings, errors,
              [&](const ServerFile& file, const InspectedText& config) {
                WriteTree(config, NotesOf(server, file), coloured,
                          [&text](std::string_view piece) { text += piece; });
              });
  std::string shown = ShownWarnings(warnings, coloured);
  for (const Finding& error : errors) shown += Shown(error, Weight::kError, coloured);
  return {text + (shown.empty() ? shown : '\n' + shown), shown.empty() ? kDone : kFindings};
}

Outcome Run(const InspectOptions& options) {
  if (options.whole_server) return RunOnServer(options);
  const bool standard_input = options.main.empty() || IsStandardInput(options.main);
  const std::string text = standard_input ? ReadStandardInput() : ReadFile(options.main);
  const std::string name = TextName(standard_input ? "-" : options.main);
  std::optional<Dialect> dialect = tov_document::DialectNamed(options.dialect);
  if (!dialect) {
    dialect = DialectOf(text, name);
    SayGuess(name, *dialect);
  }
  InspectedText config(*dialect, text, name);
  tov_edit::Remarks& remarks = config.remarks;
  Ignore(options.ignored, remarks.warnings);
  const bool clean = remarks.warnings.empty() && !remarks.error;
  const ExitCode code = clean ? kDone : kFindings;
  if (options.json) {
    report::WriteInspectionJson(config, WriteStandardOutput);
    return {{}, code};
  }
  const bool coloured = WantsColour(options.colour);
  Outcome outcome{Findings(remarks, coloured), code};
  WriteTree(config, {}, coloured, WriteStandardOutput);
  return outcome;
}

void AddOptions(CLI::App& command, InspectOptions& options) {
  AddDialectOption(command, options.dialect, "CONFIG");
  CLI::Option* const server = command.add_flag(
      "--server", options.whole_server,
      "Show the whole server whose main file CONFIG is; without CONFIG the one that "
      "is usually there");
  for (CLI::Option* const option : AddServerOptions(command, options)) option->needs(server);
  command.add_flag("--json", options.json, "Write JSON");
  AddColourOption(command, options.colour, "the output");
  AddIgnoreOption(command, options.ignored);
  AddFileOption(command, "CONFIG", options.main,
                "The configuration; standard input when it is \"-\" or left out");
  command.footer(std::string(kFooter) + "\n\n" + kFindingsExitHelp);
}

}  // namespace

Command AddInspect(CLI::App& program) {
  CLI::App* command =
      program.add_subcommand("inspect", "Show a configuration as its server reads it");
  const auto options = std::make_shared<InspectOptions>();
  command->preparse_callback([command, options](std::size_t) { AddOptions(*command, *options); });
  return {command, [options] { return Run(*options); }};
}

}  // namespace cli
