// What every subcommand is asked: which configuration, which template, which values.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>

#include "template/qeltemplate.h"

namespace cli {

struct Request {
  std::string dialect;  // the program's name for it
  std::string template_file;
  std::string values_file;                        // "": none
  std::map<std::string, std::string> old_values;  // from the command line: they win over the file's
  std::map<std::string, std::string> new_values;
  std::string config_file;  // "": none named; "-": standard input
};

// For the footer of a command's help.
inline constexpr char kValuesHelp[] =
    R"(--set and --old may be given once for each name. The file of --values holds
  {"name": "new", "other": {"old": "what stands there now", "new": "..."}}
where null, or a side left out, is no value.
)";

// Adds the options of a request to `command`. Parsing a command line fills `request`, which must
// live until then.
void AddRequestOptions(CLI::App& command, Request& request);

// The configuration's text. Standard input is read when no file is named. Throws Failure.
std::string ReadConfig(const Request& request);

// The configuration's name for messages.
std::string ConfigName(const Request& request);

// A parser over `config` that has the request's values and its template, not yet applied. Throws
// Failure when the values, the template or a file that the template imports cannot be had.
tov_template::ParserTemplate MakeParser(const Request& request, const std::string& config);

}  // namespace cli
