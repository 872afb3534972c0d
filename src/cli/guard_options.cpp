// SPDX-License-Identifier: Apache-2.0

#include "cli/guard_options.h"

#include "cli/findings.h"

namespace cli {
namespace {

std::string CheckRefusalName(const std::string& name) {
  if (IsNamed(tov_edit::kForcedRefusals, name)) return std::string();
  return "'" + name + "' is not a refusal that can be switched off; these are: " +
         KnownNames(tov_edit::kForcedRefusals);
}

}  // namespace

void AddGuardOptions(CLI::App& command, GuardOptions& options) {
  AddNames(command, "--force", options.forced, "Make the edit even if it is refused for REASON")
      ->check(CheckRefusalName)
      ->type_name("REASON");
  AddWritingOptions(command, options);
  command.add_flag("--all", options.all, "Edit all blocks that fit, where several do");
  command.add_flag("--must-exist", options.must_exist, "Refuse to remove what is not there");
  command.add_flag("--no-create", options.no_create, "Make no block that is not there");
  command.add_flag("--only-create", options.only_create, "Only make blocks that are not there");
}

void AddWritingOptions(CLI::App& command, WritingOptions& options) {
  command.add_flag("--quote", options.quote, "Write values in quotes where they need them");
  AddNames(command, "--raw", options.raw, "Put the value NAME in, whatever it holds");
}

void CheckGuardOptions(const GuardOptions& options) {
  if (options.no_create && options.only_create) {
    throw CLI::ValidationError("--no-create", "excludes --only-create");
  }
}

void SetWriting(const WritingOptions& options, tov_edit::Request& request) {
  request.quote = options.quote;
  request.raw = options.raw;
}

void SetGuards(const GuardOptions& options, tov_edit::Request& request) {
  SetWriting(options, request);
  request.forced = options.forced;
  request.all = options.all;
  request.must_exist = options.must_exist;
  if (options.no_create) request.create = tov_edit::Create::kNever;
  if (options.only_create) request.create = tov_edit::Create::kOnly;
}

void RefuseIfFound(const std::vector<Finding>& refusals, const std::string& name,
                   const std::string& outcome) {
  if (refusals.empty()) return;
  std::string message = outcome;
  for (const Finding& finding : refusals) {
    message += "\n  " + Said(finding);
  }
  throw Refusal(name, message);
}

std::string RefusalHelp() {
  const auto listed = [](const std::vector<FindingKind>& kinds) {
    std::string text;
    for (const FindingKind& kind : kinds) {
      text += "  " + std::string(kind.name) + ": " + kind.what + "\n";
    }
    return text;
  };
  return "Reasons for which an edit is refused:\n" + listed(tov_edit::kForcedRefusals) +
         "and, whatever --force says:\n" + listed(tov_edit::kFirmRefusals);
}

}  // namespace cli
