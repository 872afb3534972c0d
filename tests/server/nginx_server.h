// SPDX-License-Identifier: Apache-2.0

// Asks the real nginx about configurations.
#pragma once

#include <string>

#include "server/server_folder.h"

// Whether nginx accepts the whole configuration `config` in `folder`. `globals` are directives of
// the main context that come first, each with its ";". `output` becomes what it says.
inline bool NginxAccepts(const ServerFolder& folder, const std::string& config,
                         const std::string& globals, std::string& output) {
  folder.Write("nginx.conf", config);
  return folder.Run("nginx -t -p " + folder.Path() + " -e stderr -g 'pid nginx.pid;" + globals +
                        "' -c nginx.conf",
                    output);
}

// "" when nginx accepts, else what it says and the configuration.
inline std::string NginxRefusal(const ServerFolder& folder, const std::string& config,
                                const std::string& globals = "") {
  std::string output;
  return NginxAccepts(folder, config, globals, output) ? "" : output + "\n" + config;
}
