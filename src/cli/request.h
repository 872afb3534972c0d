// SPDX-License-Identifier: Apache-2.0

// What every subcommand is asked: which template, which values, which dialect, which
// configurations.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "cli/failure.h"
#include "cli/values_file.h"
#include "edit/request.h"

namespace cli {

// An edit, with all that it needs in memory.
struct Request {
  std::optional<tov_edit::Dialect> dialect;  // none: to be guessed
  tov_edit::Request edit;                    // its dialect counts when SetDialect has been called
};

// The options that make a request, as the command line gives them.
struct RequestOptions {
  std::string dialect;  // "": to be guessed
  std::string template_file;
  std::string import_root;                        // "": imports may lead anywhere
  std::vector<std::string> values_files;          // "-": standard input
  std::map<std::string, std::string> old_values;  // from the command line: they win over the files'
  std::map<std::string, std::string> new_values;
  std::set<std::string> read_old;  // their old values are what the configuration says itself
  std::set<std::string> unset;     // no new value, whatever the files say
};

// For the footer of a command's help.
inline constexpr char kValuesHelp[] =
    R"(A file of values holds JSON,
  {"name": "new", "other": {"old": "what stands there now", "new": "..."}}
or the same as YAML (NAME.yaml, NAME.yml, or a text that does not begin with a
brace). null, or a side left out, is no value. {"read_old": true, "new": "..."}
is --read-old: what stands in the value's place in CONFIG is the old one. Give
--set, --old and --unset once for each name, and --values as often as you like: a
later file wins over an earlier one, and the command line wins over all files.
)";

// For the footers: the exit status of an edit that is only looked at, and of a look for mistakes.
inline constexpr char kEditExitHelp[] =
    "Exit status: 0 done, 2 wrong usage, 3 failed, 4 the edit is refused.";
inline constexpr char kFindingsExitHelp[] =
    "Exit status: 0 done, 2 wrong usage, 3 failed, 6 there is something to look at.";

// Adds `option`, which takes one file's name, to `command`.
CLI::Option* AddFileOption(CLI::App& command, const std::string& option, std::string& file,
                           const std::string& description);

// Adds the positional `name`, any number of files, to `command`.
CLI::Option* AddFiles(CLI::App& command, const std::string& name, std::vector<std::string>& files,
                      const std::string& description);

// Adds `option`, which takes a name and may be given several times, to `command`.
CLI::Option* AddNames(CLI::App& command, const std::string& option, std::set<std::string>& names,
                      const std::string& description);

// Adds --dialect, for the language of `what`.
void AddDialectOption(CLI::App& command, std::string& dialect, const std::string& what);

// Adds the options that give values: --set, --old, --read-old, --unset and --values. Of `options`,
// which must live until the command line is parsed, only those are filled.
void AddValueOptions(CLI::App& command, RequestOptions& options);

// Adds --color; `what` it colours.
void AddColourOption(CLI::App& command, std::string& when, const std::string& what);

// Adds the options of a request to `command`. Parsing a command line fills `options`, which must
// live until then.
void AddRequestOptions(CLI::App& command, RequestOptions& options);

// Adds the flag `option`, which may carry a value of the type `type` behind a '=' ("--check" or
// "--check=CMD"), to `command`. Without a value, `value` becomes "".
CLI::Option* AddOptionalValue(CLI::App& command, const std::string& option, const std::string& type,
                              std::string& value, const std::string& description);

// To be called when the command line is parsed. They throw CLI::ValidationError: for options of a
// request that contradict each other, and when values are read from standard input, which is for a
// command that reads something else there.
void CheckRequestOptions(const RequestOptions& options);
void RefuseValuesOnStandardInput(const RequestOptions& options);

// The request, its template and its values read. The dialect is the one on the command line, none
// when that names none. Throws Failure when a file cannot be had. Imports are read when the edit is
// made, see tov_edit::FileImporter.
Request LoadRequest(const RequestOptions& options);

// The values that `options` give. Throws Failure when a file cannot be had.
Values CollectValues(const RequestOptions& options);

void SetDialect(Request& request, tov_edit::Dialect dialect);

// The dialect of `text`, guessed. Throws Failure, under `name`, where that cannot be done.
tov_edit::Dialect DialectOf(std::string_view text, const std::string& name);

// Says on standard error that `text`, the file `name`, is written in another dialect than this one,
// if so.
void WarnOfOtherDialect(const std::string& text, const std::string& name,
                        tov_edit::Dialect dialect);

// Says on standard error that `what` was taken for `dialect`.
void SayGuess(const std::string& what, tov_edit::Dialect dialect);

// The command with which the server of `dialect` checks its configuration.
std::string CheckCommand(tov_edit::Dialect dialect);

// `file` as messages name it: what "-" stands for, else itself.
std::string TextName(const std::string& file);

}  // namespace cli
