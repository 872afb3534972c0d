// SPDX-License-Identifier: Apache-2.0

// Conditions and the substitution of values.
//
//   text | name | value | name | value | ...
#include <memory>

#include "fuzz/input.h"
#include "template/condition.h"
#include "template/nginx.h"
#include "template/template.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using tov_template::Template;
  Input input(data, size);
  const std::string text = input.Next();
  Template::Values values;
  while (!input.AtEnd()) {
    const std::string name = input.Next();
    values[name] = input.Next();
  }
  const tov_template::Condition condition(text, values);
  Require(condition.Result() == condition.Result(), "a condition changed its mind");

  const Template engine(std::make_shared<tov_template::Nginx>(""), values, values);
  const Template::ParseValues parsed = engine.Parse(text);
  Require(parsed.m_value.IsNull() == parsed.m_old_value.IsNull(), "equal values, unequal results");
  Require(parsed.m_value.Str() == parsed.m_old_value.Str(), "equal values, unequal texts");
  Require(parsed.m_key.Str().find("[%") == std::string::npos, "a key holds a trailing place");
  if (text.find("{%") == std::string::npos && text.find("[%") == std::string::npos) {
    Require(parsed.m_value.Str() == text, "a text without places changed");
  }
  return 0;
}
