// SPDX-License-Identifier: Apache-2.0

// Whole requests of N parts, with the text that each has to give.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "sites.h"
#include "template/qeltemplate.h"

namespace bench {

struct NamedValue {
  std::string name;
  tov_template::Value old_value;
  tov_template::Value new_value;
};

struct Request {
  std::string config;
  std::vector<NamedValue> values;
  std::string template_text;
  std::string expected;  // every line with its line end
};

// The edited text, as the library gives it.
std::string Edit(const Dialect& dialect, const Request& request);

// Whether `edited` is what `request` has to give. The library's texts have no line end at the end.
bool IsExpected(const Request& request, const std::string& edited);

// Over N sites
Request OneSite(const Dialect& dialect, std::size_t count);
Request EverySite(const Dialect& dialect, std::size_t count);
Request OneLineOfEverySite(const Dialect& dialect, std::size_t count);
Request RemoveEverySite(const Dialect& dialect, std::size_t count);
Request RemoveFromTheLast(const Dialect& dialect, std::size_t count);
Request AddSites(const Dialect& dialect, std::size_t count);
Request OptionsAndAliases(const Dialect& dialect, std::size_t count);  // Apache only

// Over N lines of one block, or of the template
Request LinesOfOneBlock(const Dialect& dialect, std::size_t count);
Request ListensOfOneBlock(const Dialect& dialect, std::size_t count);  // nginx only
Request TemplateConditions(const Dialect& dialect, std::size_t count);
Request ManyValues(const Dialect& dialect, std::size_t count);

}  // namespace bench
