// qeltemplate prototype: the template's own result.

#include <memory>

#include "cli/command.h"
#include "cli/request.h"

namespace cli {
namespace {

constexpr char kFooter[] = R"(
The prototype is the skeleton that the template stands for: the opening and
closing lines of its blocks and the lines that identify them, with the new
values and without the branches not taken. It is the same for every CONFIG, so
that one need not be named; standard input is read for "-" only.

Example:
  qeltemplate prototype --dialect nginx --template site.template \
      --set name=shop.example.com)";

// A terminal or a script's input must not be waited for or used up for a text that changes nothing.
std::string ReadNamedConfig(const Request& request) {
  return request.config_file.empty() ? std::string() : ReadConfig(request);
}

std::string Run(const Request& request) {
  std::string text = MakeParser(request, ReadNamedConfig(request)).GetPrototype();
  if (!text.empty()) text += '\n';
  return text;
}

}  // namespace

Command AddPrototype(CLI::App& program) {
  CLI::App* options = program.add_subcommand("prototype", "Write the skeleton of a template");
  const auto request = std::make_shared<Request>();
  AddRequestOptions(*options, *request);
  options->footer(std::string(kValuesHelp) + kFooter);
  return {options, [request] { return Run(*request); }};
}

}  // namespace cli
