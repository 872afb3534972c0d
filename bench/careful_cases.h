// SPDX-License-Identifier: Apache-2.0

// Careful edits of N parts, with the text that each has to give: whatever a template may have many
// of, in a configuration that has as many.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "edit/edit.h"
#include "sites.h"

namespace bench {

struct CarefulEdit {
  tov_edit::Request request;
  std::string config;
  std::string expected;
};

struct CarefulCase {
  const char* name;
  CarefulEdit (*make)(const Dialect& dialect, std::size_t count);
  std::vector<const Dialect*> dialects;
};

// All of them.
const std::vector<CarefulCase>& CarefulCases();

// The one of that name. Throws std::invalid_argument when there is none.
const CarefulCase& CarefulCaseOf(const std::string& name);

// Carries it out. Throws std::runtime_error when the edited text is not the expected one.
void RunChecked(const CarefulEdit& edit);

}  // namespace bench
