// SPDX-License-Identifier: Apache-2.0

#include "template/config_type.h"

#include <stdexcept>

#include "template/apache.h"
#include "template/nginx.h"

namespace tov_template {

std::shared_ptr<BaseConfig> GetConfigType(const std::string& type, const std::string& config) {
  if (type == "Apache") return std::make_shared<Apache>(config);
  if (type == "Nginx") return std::make_shared<Nginx>(config);
  throw std::runtime_error("Unknown config type");
}

}  // namespace tov_template
