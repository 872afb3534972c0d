// SPDX-License-Identifier: Apache-2.0

// qeltemplate inspect: a configuration as its server reads it.

#include <algorithm>
#include <memory>
#include <optional>

#include "cli/command.h"
#include "cli/diagnostic.h"
#include "cli/findings.h"
#include "cli/inspection.h"
#include "cli/request.h"
#include "cli/terminal.h"
#include "cli/text_io.h"
#include "document/document.h"
#include "document/meaning.h"
#include "document/places.h"
#include "report/json.h"

namespace cli {
namespace {

using nlohmann::ordered_json;
using tov_document::Block;
using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::kWholeText;
using tov_document::NodeKind;
using tov_document::Places;
using tov_document::Span;
using tov_document::Word;

constexpr char kFooter[] = R"(
Shows the blocks, directives and comments of CONFIG as its server reads them, each
behind its place, FILE:LINE, and behind a server's block its names and addresses.
Below stands what the server would refuse, as
  FILE:LINE:COLUMN: error: what is wrong [NAME]
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

// A configuration, and what there is to say of it. The text has to outlive it.
struct Inspected {
  Inspected(Dialect dialect, const std::string& text, const std::string& name)
      : file(name),
        document(dialect, text),
        places(text),
        inspection(Inspect(document, places, name)) {}

  std::size_t FirstLine(Span span) const { return places.Of(span.begin).line; }
  std::size_t LastLine(Span span) const {
    return places.Of(span.empty() ? span.begin : span.end - 1).line;
  }

  std::string file;
  Document document;
  Places places;
  Inspection inspection;
};

// --- For people ---

// `text` in one line of a terminal or two.
std::string Cut(const std::string& text) {
  constexpr std::size_t kMost = 100;
  if (text.size() <= kMost) return Printable(text);
  std::size_t end = kMost;
  while ((static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U && end > 0) --end;
  return Printable(std::string_view(text).substr(0, end)) + "...";
}

// "  = a.example www.a.example on *:80", or what there is of it.
std::string Identity(const Document& document, BlockId block) {
  const auto joined = [](const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += ' ' + (word.empty() ? "\"\"" : word);
    return Cut(text);
  };
  const std::vector<std::string> names = ServerNames(document, block);
  const std::vector<std::string> addresses = ServerAddresses(document, block);
  if (names.empty() && addresses.empty()) return std::string();
  return "  =" + joined(names) + (addresses.empty() ? "" : " on" + joined(addresses));
}

// "(lines 6 to 9: Lua, which is not looked into)".
std::string Unread(const Inspected& config, const Inspection::Item& item) {
  const Document& document = config.document;
  const std::size_t first = config.FirstLine(item.node.bytes);
  const std::size_t last = config.LastLine(item.node.bytes);
  std::string lines = "line " + std::to_string(first);
  if (last != first) lines = "lines " + std::to_string(first) + " to " + std::to_string(last);
  if (document.blocks()[item.around].reading != tov_document::Body::kOpaque) {
    return '(' + lines + ": not read)";
  }
  const std::string section = document.Value(document.HeadWords(item.around).front());
  const bool nginx = document.dialect() == Dialect::kNginx;
  return '(' + lines + ": " + (nginx ? "Lua" : Cut(section)) + ", which is not looked into)";
}

std::string Described(const Inspected& config, const Inspection::Item& item, bool coloured) {
  if (item.node.kind == NodeKind::kOpaque) return Unread(config, item);
  std::string line = Cut(OneLine(config.document, item.node));
  if (item.node.kind == NodeKind::kBlock) line = Bold(line, coloured);
  if (item.server) line += Identity(config.document, item.node.block);
  return line;
}

// Whether `item` is a comment behind `before`, on the same line.
bool IsBehind(const Inspected& config, const Inspection::Item& before,
              const Inspection::Item& item) {
  if (item.node.kind != NodeKind::kComment) return false;
  Span span = before.node.bytes;
  if (before.node.kind == NodeKind::kBlock && before.node.block == item.around) {
    span = config.document.blocks()[item.around].head;
  } else if (before.around != item.around) {
    return false;
  }
  return config.LastLine(span) == config.FirstLine(item.node.bytes);
}

std::string Tree(const Inspected& config, bool coloured) {
  constexpr std::size_t kDeepest = 40;  // deeper blocks stand below each other
  const std::vector<Inspection::Item>& items = config.inspection.items;
  if (items.empty()) return std::string();
  const std::string file = Printable(config.file) + ':';
  const std::size_t width = std::to_string(config.FirstLine(items.back().node.bytes)).size();
  std::string tree;
  for (std::size_t i = 0; i < items.size(); ++i) {
    const Inspection::Item& item = items[i];
    if (i > 0 && IsBehind(config, items[i - 1], item)) {
      tree += "  ";
    } else {
      const std::string number = std::to_string(config.FirstLine(item.node.bytes));
      tree.append(i > 0 ? "\n" : "").append(file).append(number) += ':';
      tree.append(width - number.size() + 1 + 2 * std::min(item.depth, kDeepest), ' ');
    }
    tree += Described(config, item, coloured);
  }
  return tree + '\n';
}

std::string Findings(const Inspection& inspection, bool coloured) {
  std::string shown = ShownWarnings(inspection.warnings, coloured);
  if (inspection.error) shown += Shown(*inspection.error, Weight::kError, coloured);
  return shown.empty() ? shown : '\n' + shown;
}

// --- For programs ---

// What blocks and directives have in common; `words` are those of the head or the directive.
ordered_json Json(const Inspected& config, Span bytes, const std::vector<Word>& words) {
  ordered_json arguments = ordered_json::array();
  for (std::size_t i = 1; i < words.size(); ++i) {
    arguments.push_back(config.document.Value(words[i]));
  }
  const tov_document::Place place = config.places.Of(bytes.begin);
  return {{"name", config.document.Value(words.front())},
          {"arguments", std::move(arguments)},
          {"line", place.line},
          {"column", place.column}};
}

void AddBlockAround(ordered_json& json, const char* member, BlockId block) {
  if (block != kWholeText) json[member] = block - 1;
}

ordered_json BlockJson(const Inspected& config, const Inspection::Item& item) {
  const Document& document = config.document;
  const BlockId id = item.node.block;
  const Block& block = document.blocks()[id];
  ordered_json json = Json(config, block.head, document.HeadWords(id));
  if (!block.closing.empty()) json["end_line"] = config.LastLine(block.closing);
  AddBlockAround(json, "parent", item.around);
  json["depth"] = item.depth;
  if (block.reading == tov_document::Body::kOpaque) json["opaque"] = true;
  if (item.server) {
    json["server"] = {{"names", ServerNames(document, id)},
                      {"addresses", ServerAddresses(document, id)}};
  }
  return json;
}

ordered_json DirectiveJson(const Inspected& config, const Inspection::Item& item) {
  const Span bytes = item.node.bytes;
  ordered_json json = Json(config, bytes, config.document.Words(bytes));
  json["end_line"] = config.LastLine(bytes);
  AddBlockAround(json, "block", item.around);
  return json;
}

ordered_json Json(const Inspected& config) {
  ordered_json blocks = ordered_json::array();
  ordered_json directives = ordered_json::array();
  for (const Inspection::Item& item : config.inspection.items) {
    if (item.node.kind == NodeKind::kBlock) blocks.push_back(BlockJson(config, item));
    if (item.node.kind == NodeKind::kDirective) directives.push_back(DirectiveJson(config, item));
  }
  ordered_json json = {{"config", config.file},
                       {"dialect", NameOf(config.document.dialect())},
                       {"blocks", std::move(blocks)},
                       {"directives", std::move(directives)},
                       {"warnings", report::Json(config.inspection.warnings)}};
  if (config.inspection.error) json["error"] = report::Json(*config.inspection.error);
  return json;
}

Outcome Run(const InspectOptions& options) {
  const bool standard_input = options.config_file.empty() || IsStandardInput(options.config_file);
  const std::string text = standard_input ? ReadStandardInput() : ReadFile(options.config_file);
  const std::string name = TextName(standard_input ? "-" : options.config_file);
  std::optional<Dialect> dialect = tov_document::DialectNamed(options.dialect);
  if (!dialect) {
    dialect = DialectOf(text, name);
    SayGuess(name, *dialect);
  }
  Inspected config(*dialect, text, name);
  Inspection& inspection = config.inspection;
  Ignore(options.ignored, inspection.warnings);
  const bool clean = inspection.warnings.empty() && !inspection.error;
  const ExitCode code = clean ? kDone : kFindings;
  if (options.json) return {report::JsonText(Json(config)), code};
  const bool coloured = WantsColour(options.colour);
  return {Tree(config, coloured) + Findings(inspection, coloured), code};
}

void AddOptions(CLI::App& command, InspectOptions& options) {
  AddDialectOption(command, options.dialect, "CONFIG");
  command.add_flag("--json", options.json, "Write JSON");
  AddColourOption(command, options.colour, "the output");
  AddIgnoreOption(command, options.ignored);
  AddFileOption(command, "CONFIG", options.config_file,
                "The configuration; standard input when it is \"-\" or left out");
  command.footer(std::string(kFooter) + "\n\n" + kExitHelp);
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
