// SPDX-License-Identifier: Apache-2.0

// Tables of edits: a configuration, a template, and what comes of them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/edit.h"
#include "cli/failure.h"

namespace cli {

struct NamedValue {
  std::string name;
  tov_template::Value old_value;
  tov_template::Value new_value;
};

inline const tov_template::Value kNone = tov_template::NullValue();

struct Case {
  std::string name;
  std::string config;
  std::string template_text;
  std::vector<NamedValue> values;
  std::string expected;  // the whole text, or a part of the refusal's message
};

inline Request RequestOf(const std::string& dialect, const Case& c) {
  Request request;
  request.dialect = dialect;
  request.template_file = "site.template";
  request.template_text = c.template_text;
  for (const NamedValue& value : c.values) {
    request.values[value.name] = {value.old_value, value.new_value};
  }
  return request;
}

// Each edit, and the same once more with every value as it is then: it has to change nothing.
inline void ExpectEdits(const std::string& dialect, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Request request = RequestOf(dialect, c);
    try {
      EXPECT_EQ(Edit(request, c.config, "site.conf").text, c.expected);
      for (auto& [name, value] : request.values) {
        if (!value.new_value.IsNull()) value.old_value = value.new_value;
      }
      EXPECT_EQ(Edit(request, c.expected, "site.conf").text, c.expected) << "the second time";
    } catch (const Failure& failure) {
      ADD_FAILURE() << failure.what();
    }
  }
}

inline std::string RefusalOf(const Request& request, const std::string& config) {
  try {
    return "not refused:\n" + Edit(request, config, "site.conf").text;
  } catch (const Refusal& refusal) {
    return refusal.what();
  }
}

inline void ExpectRefusals(const std::string& dialect, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string message = RefusalOf(RequestOf(dialect, c), c.config);
    EXPECT_NE(message.find(c.expected), std::string::npos) << message;
  }
}

// Each edit is made, with `expected` as a part of its one warning.
inline void ExpectWarnings(const std::string& dialect, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    try {
      const Edited edited = Edit(RequestOf(dialect, c), c.config, "site.conf");
      std::string all;
      for (const Finding& warning : edited.warnings) {
        all += warning.message + " [" + warning.name + "]\n";
      }
      EXPECT_NE(all.find(c.expected), std::string::npos) << all << "in\n" << edited.text;
      EXPECT_EQ(edited.warnings.size(), 1U) << all;
    } catch (const Failure& failure) {
      ADD_FAILURE() << failure.what();
    }
  }
}

}  // namespace cli
