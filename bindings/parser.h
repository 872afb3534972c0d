// SPDX-License-Identifier: Apache-2.0

// The facade as callers from other languages get it.
#pragma once

#include <atomic>
#include <string>

#include "template/qeltemplate.h"

namespace bindings {

// A ParserTemplate (parser_template.h says what each call does) that no order of calls from
// whatever threads can break, and whose errors all have a type, an object and parameters.
//
// It serves one call at a time. A call during another one, made by another thread or by the log
// handler, throws tov_err::Error("parser", "busy") and changes nothing.
class Parser {
 public:
  // Throws tov_err::Error("dialect", "unknown") with the parameter "name" where GetConfigType knows
  // no such dialect.
  Parser(const std::string& dialect, const std::string& config);

  void SetValue(const std::string& name, const tov_template::Value& old_value,
                const tov_template::Value& new_value);

  // Takes over all values of `other`, which may be this parser, and which must not be busy either.
  void MergeValues(Parser& other);

  void ClearValues();
  void SetTemplate(const std::string& text);

  // SetTemplate with the content of the file `path`. Throws what tov_file::ReadE throws; the
  // template set before is then still there.
  void SetTemplateFile(const std::string& path);

  void Apply();
  std::string Config();
  std::string Prototype();

 private:
  class Claim;

  tov_template::ParserTemplate m_parser;
  std::atomic<bool> m_busy{false};
};

// An error about the parameter `name`, like those of the library.
tov_err::Error ErrorAbout(const std::string& type, const std::string& object,
                          const std::string& name);

}  // namespace bindings
