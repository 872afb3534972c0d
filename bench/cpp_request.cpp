// SPDX-License-Identifier: Apache-2.0

// One request in C++, for python_request.py to time in its own process beside the same request in
// Python.
#include <chrono>
#include <string>

#include "sites.h"
#include "template/qeltemplate.h"

namespace {

std::string Edit(const std::string& dialect, const std::string& config,
                 const std::string& template_text) {
  return tov_template::ParserTemplate(tov_template::GetConfigType(dialect, config))
      .SetValue("folder", bench::kOldFolder, bench::kNewFolder)
      .SetTemplate(template_text)
      .ApplyTemplate()
      .GetConfig();
}

}  // namespace

// The seconds that it takes to edit `config`; negative when the edited text is not `expected`. All
// texts end with a NUL byte.
extern "C" __attribute__((visibility("default"))) double SecondsOfEdit(const char* dialect,
                                                                       const char* config,
                                                                       const char* template_text,
                                                                       const char* expected) {
  const std::string dialect_name = dialect;
  const std::string old_text = config;
  const std::string text_of_template = template_text;
  const auto begin = std::chrono::steady_clock::now();
  const std::string edited = Edit(dialect_name, old_text, text_of_template);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  return edited == expected ? seconds.count() : -1;
}
