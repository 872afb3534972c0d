// SPDX-License-Identifier: Apache-2.0

#include "cli/guard_options.h"

#include "cli/findings.h"

namespace cli {
namespace {

std::string CheckRefusalName(const std::string& name) {
  if (IsNamed(kRefusals, name)) return std::string();
  return "'" + name + "' is no reason for a refusal; known are: " + KnownNames(kRefusals);
}

}  // namespace

void AddGuardOptions(CLI::App& command, GuardOptions& options) {
  AddNames(command, "--force", options.forced, "Make an edit that is refused for REASON")
      ->check(CheckRefusalName)
      ->type_name("REASON");
  AddNames(command, "--raw", options.raw, "Put the value NAME in whatever it holds");
  command.add_flag("--no-create", options.no_create, "Make no block that is not there");
  command.add_flag("--only-create", options.only_create, "Only make blocks that are not there");
}

void CheckGuardOptions(const GuardOptions& options) {
  if (options.no_create && options.only_create) {
    throw CLI::ValidationError("--no-create", "excludes --only-create");
  }
}

void SetGuards(const GuardOptions& options, Request& request) {
  request.forced = options.forced;
  request.raw = options.raw;
  if (options.no_create) request.create = Create::kNever;
  if (options.only_create) request.create = Create::kOnly;
}

std::string RefusalHelp() {
  std::string text = "Reasons for which an edit is refused:\n";
  for (const FindingKind& kind : kRefusals) {
    text += "  " + std::string(kind.name) + ": " + kind.what + "\n";
  }
  return text;
}

}  // namespace cli
