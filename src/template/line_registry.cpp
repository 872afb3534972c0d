// SPDX-License-Identifier: Apache-2.0

#include "template/line_registry.h"

#include "template/framework/str.h"

namespace tov_template {

std::optional<std::string_view> LineRegistry::Text::operator()(const LineIterator& line) const {
  return str::view::Trim(*line);
}

}  // namespace tov_template
