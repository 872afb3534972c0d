// SPDX-License-Identifier: Apache-2.0

// Configurations as people write them.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "golden/golden_case.h"

// The configurations of the golden cases of `dialect` ("nginx"), and of the corpus of real files
// where it is at hand, by name.
inline std::map<std::string, std::string> RealConfigs(const std::string& dialect) {
  std::map<std::string, std::string> configs;
  for (const GoldenCase& golden : AllGoldenCases()) {
    if (golden.dialect == dialect) configs["golden/" + golden.Name()] = golden.Read("config");
  }
  const auto corpus = std::filesystem::path(QELTEMPLATE_SOURCE_DIR) / "../shared/corpus" / dialect;
  if (!std::filesystem::is_directory(corpus)) return configs;
  for (const auto& entry : std::filesystem::directory_iterator(corpus)) {
    std::ifstream stream(entry.path(), std::ios::binary);
    configs["corpus/" + entry.path().filename().string()] = {std::istreambuf_iterator<char>(stream),
                                                             {}};
  }
  return configs;
}
