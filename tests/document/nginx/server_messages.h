// SPDX-License-Identifier: Apache-2.0

// What nginx says while it reads a configuration.
#pragma once

#include <string>
#include <vector>

#include "server/server_folder.h"

namespace nginx_judge {

struct ServerMessage {
  std::string level;  // "warn", "emerg"
  std::string text;   // to the next message; without the line end at its end
};

// The messages about the configuration `config`, read with the Lua module.
std::vector<ServerMessage> MessagesAbout(const ServerFolder& folder, const std::string& config);

// What stopped the server: its first message of the level "emerg"; "": it read everything.
std::string Stop(const std::vector<ServerMessage>& messages);

}  // namespace nginx_judge
