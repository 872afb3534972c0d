// SPDX-License-Identifier: Apache-2.0

// What httpd knows while it reads its files: variables, definitions, modules.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "server/server_files.h"

namespace tov_server {

class ApacheState {
 public:
  explicit ApacheState(const ReadingOptions& options);

  // `word` with its variables put in. One that is not known stays as it is written.
  std::string Expanded(const std::string& word) const;

  // In the following, `words` are those of the directive or the section, with variables put in, the
  // name first.
  void Define(const std::vector<std::string>& words);
  void UnDefine(const std::vector<std::string>& words);
  void LoadModule(const std::vector<std::string>& words);

  // Whether the section holds.
  bool HoldsIfModule(const std::vector<std::string>& words) const;
  bool HoldsIfDefine(const std::vector<std::string>& words) const;
  bool HoldsIfVersion(const std::vector<std::string>& words) const;

 private:
  // httpd finds the text of a variable whatever the case of its letters.
  struct AnyCase {
    bool operator()(const std::string& a, const std::string& b) const;
  };

  bool HasModule(const std::string& name) const;

  std::map<std::string, std::string> m_environment;
  std::map<std::string, std::string, AnyCase> m_texts;
  std::set<std::string> m_defined;
  std::set<std::string> m_modules;
  bool m_knows_modules;
  std::string m_version;
};

}  // namespace tov_server
