// SPDX-License-Identifier: Apache-2.0

// Asks the real Apache httpd about the golden cases that name a context.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "server/apache_server.h"
#include "server/real_server.h"

namespace {

std::string RefusalOf(const std::string& text, const std::string& context) {
  static const ServerFolder folder("apache");
  if (context != "server") throw std::runtime_error("unknown context " + context);
  return HttpdRefusal(folder,
                      {"mpm_event", "authz_core", "authz_host", "alias", "dir", "mime", "proxy",
                       "proxy_http", "socache_shmcb", "ssl"},
                      text + "\n");
}

TEST(ApacheServer, RefusesWhatIsWrong) {
  EXPECT_NE(RefusalOf("<VirtualHost 127.0.0.1:8081>\nServerName a.example\n", "server"), "");
  EXPECT_NE(RefusalOf("NoSuchDirective on", "server"), "");
  EXPECT_NE(RefusalOf("<Directory />\nOptions -Indexes FollowSymLinks\n</Directory>", "server"), "")
      << "words with and without a sign";
}

TEST(ApacheServer, AcceptsNothing) {
  EXPECT_EQ(RefusalOf("", "server"), "");
}

}  // namespace

int main(int argc, char** argv) {
  return RunServerTests(argc, argv, "ApacheServer_accepts", "apache-context", RefusalOf);
}
