// SPDX-License-Identifier: Apache-2.0

// Something to look at in a file, and how it is shown.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "edit/finding.h"

namespace cli {

using edit::FilePlace;

struct Diagnostic {
  std::string name;  // by which --ignore switches it off
  FilePlace place;
  std::string text;       // the line there
  std::string message;    // what is wrong, why it matters, what to write instead
  bool is_error = false;  // nothing else can be looked at; false: a warning
};

// As editors understand it, with the line below it and a mark under the column:
//
//   site.template:3:1: warning: ... [keyword-prefix]
//       {% elseif $x %}
//       ^
std::string Shown(const Diagnostic& diagnostic, bool coloured);

// The diagnostics in the order of their places, without those whose names are `ignored`.
std::vector<Diagnostic> Sorted(std::vector<Diagnostic> diagnostics,
                               const std::set<std::string>& ignored);

// All of them, then how many there are.
std::string Shown(const std::vector<Diagnostic>& diagnostics, bool coloured);

nlohmann::ordered_json ToJson(const FilePlace& place);
nlohmann::ordered_json ToJson(const Diagnostic& diagnostic);
nlohmann::ordered_json ToJson(const std::vector<Diagnostic>& diagnostics);

// Adds --ignore, which takes the name of a warning, to `command`.
void AddIgnoreOption(CLI::App& command, std::set<std::string>& names);

// `text` in bold when `coloured`.
std::string Bold(const std::string& text, bool coloured);

}  // namespace cli
