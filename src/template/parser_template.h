// SPDX-License-Identifier: Apache-2.0

// The facade of the engine: edits a configuration by a template, line by line.
//
// It drops all blank lines, and leaves protection to its caller: it takes the first block that
// fits, puts values in as they are, and does without a word what a template comes to that does not
// fit. For files that people have written there is the careful edit, edit/edit.h.
#pragma once

#include <memory>
#include <string>

#include "template/base_config.h"
#include "template/export.h"
#include "template/value.h"

namespace tov_template {

// Edits one configuration by a template and named values:
//
//   std::string edited =
//       ParserTemplate(GetConfigType("Nginx", text))
//           .SetValue("name", "a.example", "b.example")   // what stands there, what is to stand
//           .SetTemplate("server {\nserver_name {% $name %};\n}")
//           .ApplyTemplate()
//           .GetConfig();
//
// Values come first, then the template, then the application: a template sees the values set before
// it. A second application works on the configuration as the first left it; for an independent
// request take a new parser over a new dialect object. A new parser over the same dialect object
// may only be made when the one before is gone, see BaseConfig.
//
// Copies are handles on one and the same parser, also those that are made where it might be moved
// from: there is no parser without a configuration. A parser and its copies are used by one thread
// at a time; different parsers do not disturb one another.
class ParserTemplate {
 public:
  // Reads the configuration that `config` holds. `config` must not be null; it is shared, and
  // edited by ApplyTemplate.
  QELTEMPLATE_EXPORT explicit ParserTemplate(const std::shared_ptr<BaseConfig>& config);

  ParserTemplate(const ParserTemplate&) = default;
  ParserTemplate& operator=(const ParserTemplate&) = default;
  ~ParserTemplate() = default;

  // Sets the old and the new value of the parameter `name` (any text, also empty). A null old value
  // removes the one stored; a null new value also removes the old value stored before this call,
  // and leaves the stored new value as it is.
  QELTEMPLATE_EXPORT ParserTemplate& SetValue(const std::string& name, const Value& old_value,
                                              const Value& new_value);

  // Takes over all values of `other`. Names that `other` does not hold keep theirs.
  QELTEMPLATE_EXPORT ParserTemplate& SetValue(const ParserTemplate& other);

  // Forgets all values and the template.
  QELTEMPLATE_EXPORT ParserTemplate& ClearValues();

  // Reads a template against the values set so far; see template.h for the language, and
  // Template::SetTemplate for what it throws. When it throws, the template is half read. After an
  // application it takes a SetValue or ClearValues for the new template to be applied.
  QELTEMPLATE_EXPORT ParserTemplate& SetTemplate(const std::string& text);

  // Edits the configuration. Does nothing when it has been done since the last SetValue or
  // ClearValues. Throws what the dialect throws; the configuration is then half edited and
  // GetConfig unchanged.
  QELTEMPLATE_EXPORT ParserTemplate& ApplyTemplate();

  // The configuration as the last ApplyTemplate left it, without blank lines and without a line end
  // at its end; "" before the first. It is made of the lines each time while the parser is the only
  // owner of a dialect object of the library's own.
  QELTEMPLATE_EXPORT std::string GetConfig() const;

  // The template's own result: the opening, closing and identifying lines of its blocks, with the
  // new values and without the branches not taken.
  QELTEMPLATE_EXPORT std::string GetPrototype() const;

 private:
  struct Data;

  std::shared_ptr<Data> m_data;
};

}  // namespace tov_template
