// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "model.h"

namespace alike {

// The edit's template in the plain style of the language.
std::string TemplateText(Dialect dialect, const Edit& edit);

}  // namespace alike
