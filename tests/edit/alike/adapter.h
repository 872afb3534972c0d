// SPDX-License-Identifier: Apache-2.0

// The edit under test.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include "model.h"

namespace alike {

struct Question {
  Dialect dialect = Dialect::kNginx;
  std::string config;
  std::string template_text;
  std::map<std::string, Value> values;
  bool all = false;
  bool must_exist = false;
  bool never_create = false;
  bool skip_missing = false;
};

// What a refusal says would tell blocks apart.
struct Advice {
  std::size_t template_line = 0;  // the opening line of the template's block, from 1 on
  std::string line;               // to be written into that block
};

struct Answer {
  bool refused = false;
  std::string text;     // when it is not refused
  std::string reasons;  // of a refusal
  std::optional<Advice> advice;
};

Answer Ask(const Question& question);

}  // namespace alike
