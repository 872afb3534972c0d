// SPDX-License-Identifier: Apache-2.0

// Asks the real nginx about configurations.
#pragma once

#include <string>

#include "server/server_folder.h"

// "" when nginx accepts the whole configuration `config` in `folder`, else what it says. `globals`
// are directives of the main context that come first, each with its ";".
inline std::string NginxRefusal(const ServerFolder& folder, const std::string& config,
                                const std::string& globals = "") {
  folder.Write("nginx.conf", config);
  std::string output;
  const bool accepted =
      folder.Run("nginx -t -p " + folder.Path() + " -e stderr -g 'pid nginx.pid;" + globals +
                     "' -c nginx.conf",
                 output);
  return accepted ? "" : output + "\n" + config;
}
