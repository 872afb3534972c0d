// SPDX-License-Identifier: Apache-2.0

// How findings about a template or a configuration are shown.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "edit/finding.h"

namespace cli {

using tov_edit::FilePlace;
using tov_edit::Finding;

enum class Weight { kWarning, kError };

// As editors understand it, with the line below it and a mark under the column:
//
//   site.template:3:1: warning: ... [keyword-prefix]
//       {% elseif $x %}
//       ^
std::string Shown(const Finding& finding, Weight weight, bool coloured);

// All of them, then how many there are.
std::string ShownWarnings(const std::vector<Finding>& warnings, bool coloured);

// Takes those out whose names are `ignored`.
void Ignore(const std::set<std::string>& ignored, std::vector<Finding>& findings);

// Adds --ignore, which takes the name of a warning, to `command`.
void AddIgnoreOption(CLI::App& command, std::set<std::string>& names);

// `text` in bold when `coloured`.
std::string Bold(const std::string& text, bool coloured);

}  // namespace cli
