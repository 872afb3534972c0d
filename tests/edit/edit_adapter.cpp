// SPDX-License-Identifier: Apache-2.0

#include "edit/edit_adapter.h"

#include <exception>

#include "edit/edit.h"

namespace edit_judge {

Outcome Apply(Dialect dialect, const std::string& template_text, const std::vector<Value>& values,
              const std::string& config) {
  tov_edit::Request request;
  request.dialect =
      dialect == Dialect::kNginx ? tov_edit::Dialect::kNginx : tov_edit::Dialect::kApache;
  request.template_name = "site.template";
  request.template_text = template_text;
  for (const Value& value : values) request.values[value.name] = {value.old_text, value.new_text};
  try {
    const tov_edit::Result result = tov_edit::Edit(request, config, "site.conf");
    if (result.refusals.empty()) return {Outcome::What::kDone, result.text, ""};
    std::string reason;
    for (const tov_edit::Finding& refusal : result.refusals) {
      reason += Shown(refusal) + " [" + refusal.name + "]\n";
    }
    return {Outcome::What::kRefused, "", reason};
  } catch (const std::exception& error) {
    return {Outcome::What::kFailed, "", error.what()};
  }
}

}  // namespace edit_judge
