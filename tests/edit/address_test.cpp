// SPDX-License-Identifier: Apache-2.0

#include "edit/address.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using Blocks = std::vector<BlockId>;

struct Case {
  const char* name;
  edit::ServerEvidence evidence;
  Blocks found;
  bool by_address;
};

void ExpectFound(const Document& document, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const edit::FoundServers found = edit::FindServers(document, c.evidence);
    EXPECT_EQ(found.blocks, c.found);
    EXPECT_EQ(found.by_address, c.by_address);
  }
}

TEST(FindServers, FindsServersOfNginxByNamesAndAddresses) {
  const std::string text =
      "http {\n"                                                      // 1
      "  server { listen 80; server_name a www.a; }\n"                // 2
      "  server { listen 0.0.0.0:443 ssl; server_name A www.A; }\n"   // 3
      "  server { listen [::]:80; server_name b; location / { } }\n"  // 4, 5
      "  server { listen 80 default_server; }\n"                      // 6
      "}\n";
  const Document document(Dialect::kNginx, text);
  ExpectFound(document,
              {{"a name of two", {{"a"}, {"a"}, {}, {}}, {2, 3}, false},
               {"a name and an address", {{"a"}, {}, {"*:443"}, {}}, {3}, true},
               {"an alias", {{"www.a"}, {}, {"*:80"}, {}}, {2}, true},
               {"a name of one", {{"b"}, {}, {}, {}}, {4}, false},
               {"a name, and an address that is to come", {{"b"}, {}, {"*:81"}, {}}, {4}, false},
               {"the old name before the new one", {{"b"}, {"a"}, {}, {}}, {4}, false},
               {"the new name where the old one is gone", {{"x"}, {"b"}, {}, {}}, {4}, false},
               {"the new address likewise", {{"a"}, {}, {"*:81"}, {"*:443"}}, {3}, true},
               {"a name of none", {{"c"}, {}, {"*:80"}, {}}, {}, false},
               {"an address alone", {{}, {}, {"[::]:80"}, {}}, {4}, true},
               {"an address of two", {{}, {}, {"*:80"}, {}}, {2, 6}, true},
               {"an address of none", {{}, {}, {"*:81"}, {}}, {}, false},
               {"nothing known", {}, {2, 3, 4, 6}, false}});
}

TEST(FindServers, FindsVirtualHostsByNamesAndAddresses) {
  const std::string text =
      "<VirtualHost *:80>\nServerName a\nServerAlias www.a\n</VirtualHost>\n"      // 1
      "<IfModule mod_ssl.c>\n"                                                     // 2
      "<virtualhost _default_:443 192.0.2.1:443>\nServerName A\n</virtualhost>\n"  // 3
      "</IfModule>\n";
  const Document document(Dialect::kApache, text);
  ExpectFound(document,
              {{"a name of two", {{"a"}, {}, {}, {}}, {1, 3}, false},
               {"one of several addresses", {{"a"}, {}, {"192.0.2.1:443"}, {}}, {3}, true},
               {"an alias", {{"www.a"}, {}, {"*:80"}, {}}, {1}, true},
               {"another address is another host", {{"a"}, {}, {"*:81"}, {}}, {}, false}});
}

}  // namespace
