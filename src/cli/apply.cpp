// qeltemplate apply: the edited configuration, or what the edit changes.

#include <memory>

#include "cli/command.h"
#include "cli/diff.h"
#include "cli/edit.h"
#include "cli/request.h"

namespace cli {
namespace {

constexpr char kFooter[] = R"(
The edited text goes to standard output. It ends with a newline exactly when
CONFIG does; blank lines of CONFIG are not kept. The template's imports are
looked up from the current directory.

Example:
  qeltemplate apply --dialect nginx --template site.template \
      --old name=example.com --set name=shop.example.com --diff site.conf)";

struct ApplyRequest : Request {
  bool diff = false;
};

std::string Run(const ApplyRequest& request) {
  const std::string config = ReadConfig(request);
  const std::string edited = Edit(request, config, ConfigName(request)).text;
  return request.diff ? UnifiedDiff(config, edited, ConfigName(request)) : edited;
}

}  // namespace

Command AddApply(CLI::App& program) {
  CLI::App* options = program.add_subcommand("apply", "Edit a configuration by a template");
  const auto request = std::make_shared<ApplyRequest>();
  AddRequestOptions(*options, *request);
  options->add_flag("--diff", request->diff, "Write a unified diff instead of the edited text");
  options->footer(std::string(kValuesHelp) + kFooter);
  return {options, [request] { return Run(*request); }};
}

}  // namespace cli
