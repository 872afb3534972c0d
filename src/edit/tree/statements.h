// SPDX-License-Identifier: Apache-2.0

// The statements and places of a template, before it is read.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace tov_edit {

struct OddStatement {
  std::size_t line = 0;  // of the text, from 1
  std::string what;
};

// What the engine takes otherwise than whoever wrote it in the template `text`, which has no
// imports: a word between quotes in a condition, "else if", a branch that is taken beside an
// earlier one, a keyword or a comment that is none, a place without "$". `values` are the new ones.
std::vector<OddStatement> OddStatements(const std::string& text,
                                        const std::map<std::string, std::string>& values);

}  // namespace tov_edit
