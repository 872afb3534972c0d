// SPDX-License-Identifier: Apache-2.0

// Servers whose files stand in the test, with a plain reading of their includes.
#pragma once

#include <fnmatch.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "server/server_files.h"

namespace server_edit {

using tov_server::Dialect;
using tov_server::ServerFiles;

struct NamedText {
  std::string name;
  std::string text;
};

// The first one is the main file. Names are below "/s/", as are those in includes; these stand in
// no quotes.
inline ServerFiles ServerOf(Dialect dialect, const std::vector<NamedText>& texts) {
  static const std::regex nginx(R"(\binclude\s+([^\s;]+)\s*;)");
  static const std::regex apache(R"((?:^|\n)[ \t]*(Include(?:Optional)?[ \t]+([^\s]+)))");
  ServerFiles server;
  server.dialect = dialect;
  for (const NamedText& text : texts) server.files.push_back({"/s/" + text.name, text.text, {}});
  for (tov_server::ServerFile& file : server.files) {
    const bool is_nginx = dialect == Dialect::kNginx;
    std::sregex_iterator match(file.text.begin(), file.text.end(), is_nginx ? nginx : apache);
    for (; match != std::sregex_iterator(); ++match) {
      tov_server::Include include;
      const std::size_t whole = is_nginx ? 0 : 1;
      include.begin = static_cast<std::uint32_t>(match->position(whole));
      include.end = static_cast<std::uint32_t>(match->position(whole) + match->length(whole));
      const std::string pattern = "/s/" + match->str(is_nginx ? 1 : 2);
      include.patterns.push_back(pattern);
      std::vector<std::pair<std::string, std::size_t>> found;
      for (std::size_t i = 0; i < server.files.size(); ++i) {
        const std::string& name = server.files[i].name;
        if (fnmatch(pattern.c_str(), name.c_str(), FNM_PATHNAME) == 0) found.emplace_back(name, i);
      }
      std::sort(found.begin(), found.end());
      for (const auto& [name, number] : found) include.files.push_back(number);
      file.includes.push_back(include);
    }
  }
  return server;
}

}  // namespace server_edit
