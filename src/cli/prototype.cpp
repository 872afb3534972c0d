// SPDX-License-Identifier: Apache-2.0

// qeltemplate prototype: the template's own result.

#include <memory>

#include "cli/command.h"
#include "cli/guard_options.h"
#include "cli/request.h"
#include "cli/text_io.h"
#include "edit/edit.h"

namespace cli {
namespace {

constexpr char kFooter[] = R"(
The prototype is the skeleton of a template: the opening and closing lines of its
blocks and the lines that identify them, with the new values, and without the
branches that are not taken. It is the same for every CONFIG, so you need not name
one; standard input is read for "-" only. Without --dialect and CONFIG, the
language is guessed from the template. A template, or a value, that "qeltemplate
apply" refuses is refused here, too.

Example:
  qeltemplate prototype --dialect nginx --template site.template \
      --set name=shop.example.com)";

struct PrototypeOptions : RequestOptions, WritingOptions {
  std::string config_file;  // "": none named
};

void Check(const PrototypeOptions& options) {
  CheckRequestOptions(options);
  if (IsStandardInput(options.config_file)) RefuseValuesOnStandardInput(options);
}

// A terminal or a script's input must not be waited for or used up for a text that changes nothing.
std::string ReadNamedConfig(const std::string& file) {
  if (file.empty()) return std::string();
  return IsStandardInput(file) ? ReadStandardInput() : ReadFile(file);
}

void GuessDialect(Request& request, const std::string& config, const std::string& config_file) {
  const bool by_template = config_file.empty();
  const std::string name = by_template ? request.edit.template_name : TextName(config_file);
  SetDialect(request, DialectOf(by_template ? request.edit.template_text : config, name));
  SayGuess(name, *request.dialect);
}

Outcome Run(const PrototypeOptions& options) {
  Request request = LoadRequest(options);
  const std::string config = ReadNamedConfig(options.config_file);
  if (!request.dialect) GuessDialect(request, config, options.config_file);
  WarnOfOtherDialect(request.edit.template_text, request.edit.template_name, *request.dialect);
  SetWriting(options, request.edit);
  tov_edit::Result made = tov_edit::Prototype(request.edit);
  RefuseIfFound(made.refusals, request.edit.template_name, "no prototype:");
  if (!made.text.empty()) made.text += '\n';
  return {made.text};
}

void AddOptions(CLI::App& command, PrototypeOptions& options) {
  AddRequestOptions(command, options);
  AddWritingOptions(command, options);
  AddFileOption(command, "CONFIG", options.config_file, "A configuration; need not be named");
  command.footer(std::string(kValuesHelp) + kFooter + "\n\n" + kEditExitHelp);
  command.callback([&options] { Check(options); });
}

}  // namespace

Command AddPrototype(CLI::App& program) {
  CLI::App* command = program.add_subcommand("prototype", "Write the skeleton of a template");
  const auto options = std::make_shared<PrototypeOptions>();
  command->preparse_callback([command, options](std::size_t) { AddOptions(*command, *options); });
  return {command, [options] { return Run(*options); }};
}

}  // namespace cli
