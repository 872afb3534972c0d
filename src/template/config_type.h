// SPDX-License-Identifier: Apache-2.0

// Dialects by name.
#pragma once

#include <memory>
#include <string>

#include "template/base_config.h"
#include "template/export.h"

namespace tov_template {

// A new dialect object over `config`, the whole text of a configuration, which may be empty. `type`
// is the dialect's name, exactly "Nginx" or "Apache". Throws
// std::runtime_error("Unknown config type") for any other; the text is not looked at.
QELTEMPLATE_EXPORT std::shared_ptr<BaseConfig> GetConfigType(const std::string& type,
                                                             const std::string& config);

}  // namespace tov_template
