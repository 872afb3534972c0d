// SPDX-License-Identifier: Apache-2.0

// The golden cases: a folder for each, see README.md in this folder.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "template/value.h"

struct GoldenCase {
  struct Values {
    tov_template::Value old_value;
    tov_template::Value new_value;
  };

  std::filesystem::path folder;
  std::string dialect;  // the name of the folder's parent: "nginx", "apache"

  std::string Name() const { return folder.filename().string(); }
  bool Has(const std::string& file) const { return std::filesystem::exists(folder / file); }

  // The content of one of the case's files. Throws when it cannot be read.
  std::string Read(const std::string& file) const {
    std::ifstream stream(folder / file, std::ios::binary);
    if (!stream) throw std::runtime_error("cannot read " + (folder / file).string());
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  }

  // Like Read, without the line end that editors leave at the end of a file.
  std::string ReadText(const std::string& file) const {
    std::string text = Read(file);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }

  std::map<std::string, Values> ReadValues() const {
    std::map<std::string, Values> values;
    const auto value_of = [](const nlohmann::json& json) -> tov_template::Value {
      if (json.is_null()) return tov_template::NullValue();
      return json.get<std::string>();
    };
    const nlohmann::json parsed = nlohmann::json::parse(Read("values.json"));
    for (const auto& [name, json] : parsed.items()) {
      values[name] = json.is_object() ? Values{value_of(json.value("old", nlohmann::json())),
                                               value_of(json.value("new", nlohmann::json()))}
                                      : Values{tov_template::NullValue(), value_of(json)};
    }
    return values;
  }
};

// All cases, in the order of their names. Throws when there is none.
inline std::vector<GoldenCase> AllGoldenCases() {
  std::vector<GoldenCase> cases;
  for (const char* dialect : {"nginx", "apache"}) {
    const auto folder = std::filesystem::path(QELTEMPLATE_TESTS_DIR) / "golden" / dialect;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (entry.is_directory()) cases.push_back({entry.path(), dialect});
    }
  }
  if (cases.empty()) throw std::runtime_error("no golden cases found");
  std::sort(cases.begin(), cases.end(),
            [](const GoldenCase& a, const GoldenCase& b) { return a.folder < b.folder; });
  return cases;
}

// `name` as GoogleTest wants the names of tests: letters, digits and underscores.
inline std::string TestName(std::string name) {
  std::replace_if(
      name.begin(), name.end(),
      [](char c) {
        return !(('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9'));
      },
      '_');
  return name;
}
