// SPDX-License-Identifier: Apache-2.0

// The options that say what an edit may do.
#pragma once

#include <CLI/CLI.hpp>
#include <set>
#include <string>
#include <vector>

#include "cli/request.h"

namespace cli {

// How values are written.
struct WritingOptions {
  bool quote = false;
  std::set<std::string> raw;
};

struct GuardOptions : WritingOptions {
  std::set<std::string> forced;
  bool all = false;
  bool must_exist = false;
  bool no_create = false;
  bool only_create = false;
};

// Adds --force, --quote, --raw, --all, --must-exist, --no-create and --only-create to `command`.
// Parsing a command line fills `options`, which must live until then.
void AddGuardOptions(CLI::App& command, GuardOptions& options);

// Adds --quote and --raw.
void AddWritingOptions(CLI::App& command, WritingOptions& options);

// Throws CLI::ValidationError for options that contradict each other.
void CheckGuardOptions(const GuardOptions& options);

// Has `request` do what `options` say.
void SetWriting(const WritingOptions& options, tov_edit::Request& request);
void SetGuards(const GuardOptions& options, tov_edit::Request& request);

// Throws Refusal, about the file `name`, when there are refusals: `outcome`, then what each says.
void RefuseIfFound(const std::vector<tov_edit::Finding>& refusals, const std::string& name,
                   const std::string& outcome);

// The reasons for which an edit is refused, for the footer of a command's help.
std::string RefusalHelp();

}  // namespace cli
