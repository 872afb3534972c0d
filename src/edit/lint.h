// SPDX-License-Identifier: Apache-2.0

// What is wrong with a template, or probably not meant.
#pragma once

#include <vector>

#include "edit/finding.h"
#include "edit/request.h"
#include "template/export.h"

namespace tov_edit {

// Whether values belong to a look at a template.
enum class ValuesGiven {
  kNone,  // they are not known yet
  kAll    // Request::values are all there will be: one that none of them sets is missed
};

// Looks at the request's template without a configuration, by its dialect, its importer and its
// values; nothing else of the request counts. Returns what is found in the order of the places,
// each with its template_place and line_text; nothing where there is nothing to say. What
// stands behind a finding "limit" is not looked at; of a text that is too long it has no line_text.
// Passes on what the importer throws. Cost: linear in the template and its imports.
QELTEMPLATE_EXPORT std::vector<Finding> Lint(const Request& request, ValuesGiven given);

// The names that these findings can have.
QELTEMPLATE_EXPORT extern const std::vector<FindingKind> kTemplateWarnings;

}  // namespace tov_edit
