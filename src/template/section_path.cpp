// SPDX-License-Identifier: Apache-2.0

#include "template/section_path.h"

#include <string_view>

#include "template/framework/str.h"

namespace tov_template {

std::string JoinSection(const std::string& parent, const std::string& level) {
  return str::Append(parent, level, kSectionSeparator);
}

std::string ParentSection(const std::string& section) {
  const std::size_t separator = section.rfind(kSectionSeparator);
  return separator == std::string::npos ? std::string() : section.substr(0, separator);
}

std::size_t SectionDepth(const std::string& section) {
  std::size_t depth = 0;
  for (std::string_view rest = section; !rest.empty(); ++depth) {
    str::view::GetWord(rest, kSectionSeparator);
  }
  return depth;
}

}  // namespace tov_template
