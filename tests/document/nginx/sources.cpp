// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/sources.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/real_configs.h"

namespace nginx_judge {

std::map<std::string, std::string> Sources() {
  std::map<std::string, std::string> sources = RealConfigs("nginx");
  const auto constructs = std::filesystem::path(QELTEMPLATE_TESTS_DIR) / "constructs";
  for (const auto& entry : std::filesystem::recursive_directory_iterator(constructs / "nginx")) {
    if (!entry.is_regular_file()) continue;
    std::ifstream stream(entry.path(), std::ios::binary);
    sources[entry.path().lexically_relative(constructs).string()] = {
        std::istreambuf_iterator<char>(stream), {}};
  }
  return sources;
}

}  // namespace nginx_judge
