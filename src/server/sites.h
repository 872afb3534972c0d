// SPDX-License-Identifier: Apache-2.0

// The sites of a server: each block of nginx's "server", each `<VirtualHost>` of httpd, with what
// the server makes of it.
//
//   tov_server::ReadingOptions options;
//   options.dialect = tov_server::Dialect::kNginx;
//   options.main = "/etc/nginx/nginx.conf";
//   for (const tov_server::Site& site : tov_server::ReadSites(options).sites) ...
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "edit/finding.h"
#include "server/export.h"
#include "server/server_files.h"

namespace tov_server {

struct SiteAddress {
  std::string address;      // as in Inspection: "*:80", "[::1]:8080", "*:443/udp"
  bool tls = false;         // also where another site of nginx says it of this address
  bool is_default = false;  // nginx's default_server, stated
};

struct Site {
  std::string protocol;  // "http", of nginx also "stream" or "mail"

  // In lower case, but for nginx's regular expressions; httpd's without scheme and port, the
  // ServerName first. Empty: none is stated.
  std::vector<std::string> names;

  // Those that the server takes where none is stated: "*:80" of nginx.
  std::vector<SiteAddress> addresses;

  // The directory with its documents, as it is written; else that of what stands around the site.
  // "": none is stated.
  std::string root;

  tov_edit::FilePlace place;  // of the block; of the "Use" that makes it of httpd's macro
};

struct Sites {
  ServerFiles server;
  std::vector<Site> sites;  // in the order in which the server reads them
};

// Reads a server's files, and what they say of its sites, with what stands in files that are
// included in their blocks. A block in a file that the server reads several times is a site each
// time. Cost: linear in what the server reads.
QELTEMPLATE_SERVER_EXPORT Sites ReadSites(const ReadingOptions& options);

// Whether the site has this name, written in any case, or a wildcard that stands for it:
// "*.a.example". Regular expressions are only compared.
QELTEMPLATE_SERVER_EXPORT bool HasName(const Site& site, Dialect dialect, std::string_view name);

// Whether the site has this address: "127.0.0.1:80"; one with this port: "80"; or with this host:
// "127.0.0.1", "[::1]".
QELTEMPLATE_SERVER_EXPORT bool HasAddress(const Site& site, Dialect dialect,
                                          std::string_view address);

}  // namespace tov_server
