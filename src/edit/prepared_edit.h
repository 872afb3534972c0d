// SPDX-License-Identifier: Apache-2.0

// One edit of many texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "edit/address/evidence.h"
#include "edit/address/names_sought.h"
#include "edit/edit.h"
#include "edit/finding.h"
#include "edit/request.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

// The template of a request, read.
struct PreparedTemplate {
  // Throws what the request's importer throws.
  explicit PreparedTemplate(const Request& request);
  PreparedTemplate(const PreparedTemplate&) = delete;
  PreparedTemplate& operator=(const PreparedTemplate&) = delete;

  Findings findings;  // about it
  const TemplateTree tree;
  const AllEvidence evidence;
  const std::optional<Finding> other_dialect;  // none: it is written in the request's
};

// Edit for many texts: the template is read once. Any number of threads may use it at a time.
class PreparedEdit {
 public:
  // Throws what the request's importer throws.
  explicit PreparedEdit(Request request);

  // What Edit does with the text, and throws.
  Result On(std::string_view text, const std::string& name) const;

  // Whether On would skip the text, without a word. False where that takes a closer look. Cost:
  // that of searching the text for the names that the template looks for.
  bool Skips(std::string_view text) const;

 private:
  const NamesSought* NamesToSkipBy() const;

  Request m_request;
  PreparedTemplate m_template;
  NamesSought m_names;
};

}  // namespace tov_edit
