// SPDX-License-Identifier: Apache-2.0

// qeltemplate lint: what is wrong with a template, or probably not meant.

#include "edit/lint.h"

#include <iterator>
#include <memory>
#include <optional>

#include "cli/command.h"
#include "cli/diagnostic.h"
#include "cli/request.h"
#include "cli/terminal.h"
#include "cli/text_io.h"
#include "edit/file_importer.h"
#include "report/json.h"

namespace cli {
namespace {

constexpr char kFooter[] = R"(
Looks at each TEMPLATE, and at what it imports, without a configuration. When
values are given, it also names those that nothing sets. Each line of the output is
  FILE:LINE:COLUMN: warning: what is wrong and what to write instead [NAME]

Example:
  qeltemplate lint --values site.yaml site.template)";

struct LintOptions : RequestOptions {
  std::vector<std::string> templates;
  bool json = false;
  std::string colour = "auto";
  std::set<std::string> ignored;

  bool HasValues() const {
    return !values_files.empty() || !new_values.empty() || !old_values.empty() ||
           !read_old.empty() || !unset.empty();
  }
};

std::vector<Finding> Check(const LintOptions& options) {
  const std::optional<tov_edit::Dialect> named = tov_document::DialectNamed(options.dialect);
  tov_edit::Request edit;
  edit.values = CollectValues(options);
  edit.importer = tov_edit::FileImporter("");
  std::vector<Finding> all;
  for (const std::string& file : options.templates) {
    edit.template_text = IsStandardInput(file) ? ReadStandardInput(tov_edit::kLargestTemplate)
                                               : ReadFile(file, tov_edit::kLargestTemplate);
    edit.template_name = TextName(file);
    edit.dialect = named ? *named : DialectOf(edit.template_text, edit.template_name);
    WarnOfOtherDialect(edit.template_text, edit.template_name, edit.dialect);
    std::vector<Finding> found = Lint(
        edit, options.HasValues() ? tov_edit::ValuesGiven::kAll : tov_edit::ValuesGiven::kNone);
    Ignore(options.ignored, found);
    all.insert(all.end(), std::make_move_iterator(found.begin()),
               std::make_move_iterator(found.end()));
  }
  return all;
}

Outcome Run(const LintOptions& options) {
  const std::vector<Finding> found = Check(options);
  const ExitCode code = found.empty() ? kDone : kFindings;
  if (options.json) return {report::LintJson(found), code};
  return {ShownWarnings(found, WantsColour(options.colour)), code};
}

void AddOptions(CLI::App& command, LintOptions& options) {
  AddDialectOption(command, options.dialect, "TEMPLATE");
  AddValueOptions(command, options);
  command.add_flag("--json", options.json, "Write JSON");
  AddColourOption(command, options.colour, "the warnings");
  AddIgnoreOption(command, options.ignored);
  AddFiles(command, "TEMPLATE", options.templates, "The templates; \"-\" is standard input")
      ->required();
  command.footer(std::string(kValuesHelp) + kFooter + "\n\n" + kFindingsExitHelp);
  command.callback([&options] { CheckRequestOptions(options); });
}

}  // namespace

Command AddLint(CLI::App& program) {
  CLI::App* command = program.add_subcommand("lint", "Say what is wrong with a template");
  const auto options = std::make_shared<LintOptions>();
  command->preparse_callback([command, options](std::size_t) { AddOptions(*command, *options); });
  return {command, [options] { return Run(*options); }};
}

}  // namespace cli
