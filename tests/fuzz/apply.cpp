// SPDX-License-Identifier: Apache-2.0

// An edit by the program.
//
//   dialect ("N" or "A") | config | template | name | old | new | name | ...
//
// An old or new text of "-" is no value. Statements that import are left out.
#include <string>

#include "fuzz/input.h"
#include "property/edit_laws.h"

namespace {

tov_template::Value ValueOf(const std::string& text) {
  if (text == "-") return tov_template::NullValue();
  return text;
}

std::string WithoutImports(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::string line(str::view::GetWord(text, '\n'));
    if (!tov_template::Template::IsImport(line)) result += line + '\n';
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  cli::Request request;
  request.dialect = input.Next() == "A" ? "apache" : "nginx";
  request.template_file = "TEMPLATE";
  const std::string config = input.Next();
  request.template_text = WithoutImports(input.Next());
  while (!input.AtEnd()) {
    const std::string name = input.Next();
    const tov_template::Value old_value = ValueOf(input.Next());
    request.values[name] = {old_value, ValueOf(input.Next())};
  }
  RequireNone(edit_laws::Broken(request, config));
  return 0;
}
