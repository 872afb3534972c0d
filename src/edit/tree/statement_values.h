// SPDX-License-Identifier: Apache-2.0

// The values in a template's statements, which have words, too:
//
//   {% if [% $mode %] == static %}
//   {% import sites/[% $name %].template %}
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tov_edit {

// The names of the values in the condition `line` that would not be an operand of their own: empty
// ones, those with blanks or control bytes, and those that the condition reads as something else
// than a text.
std::vector<std::string> OddOperands(std::string_view line,
                                     const std::map<std::string, std::string>& values);

// The names of the values in the import `line` with which it is not the path that its author wrote:
// empty ones, those with control bytes or with blanks around them, and those that lead out of a
// folder by "..".
std::vector<std::string> OddPathParts(std::string_view line,
                                      const std::map<std::string, std::string>& values);

}  // namespace tov_edit
