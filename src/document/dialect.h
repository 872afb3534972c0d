// SPDX-License-Identifier: Apache-2.0

// The languages of configurations.
#pragma once

#include <optional>
#include <string_view>

#include "template/export.h"

namespace tov_document {

enum class Dialect { kNginx, kApache };

// "nginx", "apache".
QELTEMPLATE_EXPORT const char* NameOf(Dialect dialect);

// The dialect of this name, whatever the case of its letters: "nginx", "Nginx". None: there is
// none.
QELTEMPLATE_EXPORT std::optional<Dialect> DialectNamed(std::string_view name);

// The dialect that `text`, a configuration or a template, is written in. None where that cannot be
// told: nothing in it is typical of one of them, or both are. Comments do not count, and neither do
// the statements of the template language. Cost: one pass over the text, or less of a long one.
QELTEMPLATE_EXPORT std::optional<Dialect> GuessDialect(std::string_view text);

}  // namespace tov_document
