// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/server_messages.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "server/nginx_server.h"

namespace nginx_judge {

namespace {

// What stands before a message, for example "2026/01/31 23:59:59 [warn] 123#123: ".
struct Prefix {
  std::size_t size = 0;  // 0: there is none
  std::string level;
};

Prefix PrefixOf(std::string_view line) {
  const std::string_view time = "dddd/dd/dd dd:dd:dd [";
  if (line.size() < time.size()) return {};
  for (std::size_t i = 0; i < time.size(); ++i) {
    const bool digit = '0' <= line[i] && line[i] <= '9';
    if (time[i] == 'd' ? !digit : line[i] != time[i]) return {};
  }
  const std::size_t bracket = line.find("] ");
  const std::size_t colon = line.find(": ");
  if (bracket == std::string_view::npos || colon == std::string_view::npos) return {};
  return {colon + 2, std::string(line.substr(time.size(), bracket - time.size()))};
}

}  // namespace

std::vector<ServerMessage> MessagesAbout(const ServerFolder& folder, const std::string& config) {
  std::string output;
  NginxAccepts(folder, config,
               "load_module /usr/lib/nginx/modules/ndk_http_module.so;"
               "load_module /usr/lib/nginx/modules/ngx_http_lua_module.so;",
               output);
  output.resize(std::min(output.find("\nnginx: configuration file"), output.size()));
  std::vector<ServerMessage> messages;
  std::string_view rest = output;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    const Prefix prefix = PrefixOf(line);
    const std::string text(line.substr(prefix.size));
    if (prefix.size > 0) {
      messages.push_back({prefix.level, text});
    } else if (!messages.empty()) {
      messages.back().text += "\n" + text;  // a word of two lines
    }
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  return messages;
}

std::string Stop(const std::vector<ServerMessage>& messages) {
  for (const ServerMessage& message : messages) {
    if (message.level == "emerg") return message.text;
  }
  return "";
}

}  // namespace nginx_judge
