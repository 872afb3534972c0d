// SPDX-License-Identifier: Apache-2.0

// Which commands are known to be a server's own test, and how they are asked about another tree.
#include "server/check_command.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using tov_server::Dialect;

struct Case {
  std::string command;
  std::string turned;  // "": it is none
};

std::string Turned(const std::string& command, const std::string& main, Dialect dialect) {
  return tov_server::CheckCommandWith(command, main, dialect, "/tree").value_or("");
}

TEST(ACheckOfNginx, IsAskedAboutAnotherTree) {
  const std::vector<Case> cases = {
      {"nginx -t", "'nginx' '-t' '-c' '/tree/etc/nginx/nginx.conf'"},
      {"/usr/sbin/nginx -q -t -c /etc/nginx/nginx.conf",
       "'/usr/sbin/nginx' '-t' '-q' '-c' '/tree/etc/nginx/nginx.conf'"},
      {"sudo nginx -t -g 'pid \"a b\";'",
       "'sudo' 'nginx' '-t' '-g' 'pid \"a b\";' '-c' '/tree/etc/nginx/nginx.conf'"},
      {"nginx", ""},
      {"nginx -T", ""},
      {"nginx -t && true", ""},
      {"nginx -t > log", ""},
      {"nginx -t $OPTIONS", ""},
      {"nginx -t -g \"$OPTIONS\"", ""},
      {"X=1 nginx -t", ""},
      {"sh -c 'nginx -t'", ""},
      {"apache2 -t", ""},
      {"nginx -t -c", ""},
      {"nginx -t 'open", ""},
      {"sudo", ""},
      {"", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Turned(c.command, "/etc/nginx/nginx.conf", Dialect::kNginx), c.turned) << c.command;
  }
}

TEST(ACheckOfHttpd, IsAskedAboutAnotherTree) {
  const std::vector<Case> cases = {
      {"apache2ctl -t",
       "'apache2ctl' '-t' '-d' '/tree/etc/apache2' '-f' '/tree/etc/apache2/apache2.conf'"},
      {"apachectl configtest",
       "'apachectl' '-t' '-d' '/tree/etc/apache2' '-f' '/tree/etc/apache2/apache2.conf'"},
      {"httpd -t -D SSL -d /srv/httpd -f conf/httpd.conf",
       "'httpd' '-t' '-D' 'SSL' '-d' '/tree/srv/httpd' '-f' '/tree/etc/apache2/apache2.conf'"},
      {"apache2ctl graceful", ""},
      {"apache2ctl -t; true", ""},
      {"nginx -t", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Turned(c.command, "/etc/apache2/apache2.conf", Dialect::kApache), c.turned)
        << c.command;
  }
  EXPECT_EQ(Turned("httpd -t", "/srv/httpd/conf/httpd.conf", Dialect::kApache),
            "'httpd' '-t' '-d' '/tree/srv/httpd' '-f' '/tree/srv/httpd/conf/httpd.conf'");
}

TEST(ACheck, IsOfTheServerThatIsNamed) {
  EXPECT_EQ(tov_server::CheckCommandOf("/etc/nginx/nginx.conf", Dialect::kNginx), "nginx -t");
  EXPECT_EQ(tov_server::CheckCommandOf("/srv/a b.conf", Dialect::kNginx),
            "nginx -t -c '/srv/a b.conf'");
  EXPECT_EQ(tov_server::CheckCommandOf("/etc/apache2/apache2.conf", Dialect::kApache),
            "apache2ctl -t");
  EXPECT_EQ(tov_server::CheckCommandOf("/srv/httpd.conf", Dialect::kApache),
            "apache2ctl -t -f '/srv/httpd.conf'");
}

}  // namespace
