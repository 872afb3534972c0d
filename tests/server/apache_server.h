// SPDX-License-Identifier: Apache-2.0

// Asks the real Apache httpd about configurations.
#pragma once

#include <string>
#include <vector>

#include "server/server_folder.h"

// "" when httpd with the modules `modules` ("ssl", "alias") accepts `text` as part of its server
// configuration in `folder`, else what it says. It listens on loopback ports: 8081, 8082, 8083 and
// 8443.
inline std::string HttpdRefusal(const ServerFolder& folder, const std::vector<std::string>& modules,
                                const std::string& text) {
  std::string config;
  for (const std::string& module : modules) {
    config += "LoadModule " + module + "_module /usr/lib/apache2/modules/mod_" + module + ".so\n";
  }
  for (const std::string port : {"8081", "8082", "8083", "8443"}) {
    config += "Listen 127.0.0.1:" + port + "\n";
  }
  config +=
      "ServerName test.example\n"
      "PidFile httpd.pid\n"
      "ErrorLog logs/error.log\n"
      "TypesConfig /dev/null\n"
      "Include site.conf\n";
  folder.Write("httpd.conf", config);
  folder.Write("site.conf", text);
  std::string output;
  const bool accepted = folder.Run("apache2 -t -d " + folder.Path() + " -f httpd.conf", output);
  return accepted ? "" : output + "\n" + text;
}
