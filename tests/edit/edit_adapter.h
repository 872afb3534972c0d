// SPDX-License-Identifier: Apache-2.0

// What makes the edits that are judged. All that knows how stands in edit_adapter.cpp.
#pragma once

#include <string>
#include <vector>

#include "edit/config_tree.h"
#include "edit/site_edit.h"

namespace edit_judge {

struct Outcome {
  enum class What {
    kDone,
    kRefused,
    kFailed  // neither: this should never be
  };
  What what = What::kDone;
  std::string text;    // kDone
  std::string reason;  // else
};

Outcome Apply(Dialect dialect, const std::string& template_text, const std::vector<Value>& values,
              const std::string& config);

}  // namespace edit_judge
