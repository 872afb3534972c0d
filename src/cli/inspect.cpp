// SPDX-License-Identifier: Apache-2.0

// qeltemplate inspect: a configuration as the library sees it.

#include <memory>

#include "cli/command.h"
#include "cli/diagnostic.h"
#include "cli/edit_report.h"
#include "cli/findings.h"
#include "cli/inspection.h"
#include "cli/json_text.h"
#include "cli/request.h"
#include "cli/terminal.h"
#include "cli/text_io.h"

namespace cli {
namespace {

using nlohmann::ordered_json;

constexpr char kFooter[] = R"(
Shows the blocks of CONFIG with their directives, and by what a template finds a
block where that is more than its opening line. A "*" marks directives of which
the library looks after all in a block together. Below stands what cannot be
addressed by a template, or not in the way it looks, as
  FILE:LINE:COLUMN: warning: what is wrong and what to write instead [NAME]
The exit status is 6 when there is such a line, and 0 when there is none.

Example:
  qeltemplate inspect /etc/nginx/nginx.conf)";

struct InspectOptions {
  std::string config_file;  // "": standard input
  std::string dialect;      // "": to be guessed
  bool json = false;
  std::string colour = "auto";
  std::set<std::string> ignored;
};

// --- For people ---

std::string Tree(const Inspection& inspection, bool coloured) {
  std::string tree;
  const std::string last =
      std::to_string(inspection.lines.empty() ? 0 : inspection.lines.back().number);
  for (const Inspection::Line& line : inspection.lines) {
    const std::size_t depth = line.block ? inspection.blocks[*line.block].depth : 0;
    const std::size_t steps = line.opens || (line.closes && depth > 0) ? depth - 1 : depth;
    const std::string number = std::to_string(line.number);
    tree.append(last.size() - number.size(), ' ') += number + (line.unique ? " * " : "   ");
    tree.append(2 * steps, ' ') +=
        line.opens ? Bold(Printable(line.text), coloured) : Printable(line.text);
    if (line.opens) {
      const std::string& level = inspection.blocks[*line.block].level;
      if (level != line.text) tree += "  = " + Printable(level);
    }
    tree += '\n';
  }
  return tree;
}

// --- For programs ---

std::string JoinedPath(const std::string& path) {
  std::string joined;
  for (const std::string& level : LevelsOf(path)) joined += (joined.empty() ? "" : " > ") + level;
  return joined;
}

ordered_json Json(const Inspection& inspection, const Block& block) {
  ordered_json json = {{"path", JoinedPath(block.path)},
                       {"level", block.level},
                       {"line", inspection.lines[block.opening].number}};
  if (block.closing) json["end"] = inspection.lines[*block.closing].number;
  if (block.parent) json["parent"] = *block.parent;
  return json;
}

ordered_json Json(const Inspection::Line& line) {
  ordered_json json = {{"line", line.number}, {"text", line.text}};
  if (line.block) json["block"] = *line.block;
  json["library_path"] = JoinedPath(line.path);
  json["unique"] = line.unique;
  json["identifies"] = line.identifies;
  return json;
}

ordered_json Json(const Inspection& inspection, const std::string& name,
                  const std::string& dialect) {
  ordered_json blocks = ordered_json::array();
  for (const Block& block : inspection.blocks) blocks.push_back(Json(inspection, block));
  ordered_json lines = ordered_json::array();
  for (const Inspection::Line& line : inspection.lines) lines.push_back(Json(line));
  return {{"config", name},
          {"dialect", dialect},
          {"blocks", std::move(blocks)},
          {"lines", std::move(lines)},
          {"warnings", ToJson(inspection.warnings)}};
}

Outcome Run(const InspectOptions& options) {
  const bool standard_input = options.config_file.empty() || IsStandardInput(options.config_file);
  const std::string text = standard_input ? ReadStandardInput() : ReadFile(options.config_file);
  const std::string name = TextName(standard_input ? "-" : options.config_file);
  std::string dialect = options.dialect;
  if (dialect.empty()) {
    dialect = DialectOf(text, name);
    SayGuess(name, dialect);
  }
  Inspection inspection = Inspect(dialect, text, name);
  inspection.warnings = Sorted(std::move(inspection.warnings), options.ignored);
  const ExitCode code = inspection.warnings.empty() ? kDone : kFindings;
  if (options.json) return {JsonText(Json(inspection, name, dialect)), code};
  const bool coloured = WantsColour(options.colour);
  std::string shown = Tree(inspection, coloured);
  if (!inspection.warnings.empty()) shown += '\n' + Shown(inspection.warnings, coloured);
  return {shown, code};
}

}  // namespace

Command AddInspect(CLI::App& program) {
  CLI::App* command = program.add_subcommand("inspect", "Show a configuration as templates see it");
  const auto options = std::make_shared<InspectOptions>();
  AddDialectOption(*command, options->dialect, "CONFIG");
  command->add_flag("--json", options->json, "Write JSON");
  AddColourOption(*command, options->colour, "the output");
  AddIgnoreOption(*command, options->ignored);
  AddFileOption(*command, "CONFIG", options->config_file,
                "The configuration; standard input when it is \"-\" or left out");
  command->footer(std::string(kFooter) + "\n\n" + kExitHelp);
  return {command, [options] { return Run(*options); }};
}

}  // namespace cli
