// SPDX-License-Identifier: Apache-2.0

// The report of an edit, made of what the edit knows at its end.
#pragma once

#include <string>
#include <vector>

#include "edit/address/address.h"
#include "edit/plan/plan.h"
#include "edit/report.h"
#include "edit/request.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

struct ReportSource {
  const Request& request;
  const TemplateTree& tree;
  const std::vector<Match>& matches;
  const Contents& contents;
  const Plan& plan;
  const std::string& config_name;
  bool is_ambiguous = false;  // several blocks, or directives, fit a line
};

EditReport ReportEdit(const ReportSource& source);

}  // namespace tov_edit
