// SPDX-License-Identifier: Apache-2.0

#include "edit/tree/dialect_check.h"

#include <string>

namespace tov_edit {

std::optional<Finding> OtherDialect(std::string_view text, Dialect dialect) {
  const std::optional<Dialect> guessed = tov_document::GuessDialect(text);
  if (!guessed || *guessed == dialect) return std::nullopt;
  return Finding{"syntax",
                 std::string("this is written for ") + NameOf(*guessed) +
                     ", and would be read as " + NameOf(dialect),
                 "Correct the dialect, or name the right file"};
}

std::optional<Finding> OtherDialect(const Request& request) {
  std::optional<Finding> found = OtherDialect(request.template_text, request.dialect);
  if (found) found->template_place.file = request.template_name;
  return found;
}

}  // namespace tov_edit
