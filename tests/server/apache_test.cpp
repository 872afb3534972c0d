// Asks the real Apache httpd about the golden cases that name a context.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "server/real_server.h"

namespace {

// A server that listens on loopback ports and has the modules that the cases need.
std::string ServerConfig() {
  std::string config;
  for (const std::string module :
       {"mpm_event", "authz_core", "alias", "dir", "mime", "socache_shmcb", "ssl"}) {
    config += "LoadModule " + module + "_module /usr/lib/apache2/modules/mod_" + module + ".so\n";
  }
  for (const std::string port : {"8081", "8082", "8083", "8443"}) {
    config += "Listen 127.0.0.1:" + port + "\n";
  }
  return config +
         "ServerName test.example\n"
         "PidFile httpd.pid\n"
         "ErrorLog logs/error.log\n"
         "TypesConfig /dev/null\n"
         "Include site.conf\n";
}

std::string HttpdRefusal(const std::string& text, const std::string& context) {
  static const ServerFolder folder("apache");
  if (context != "server") throw std::runtime_error("unknown context " + context);
  folder.Write("httpd.conf", ServerConfig());
  folder.Write("site.conf", text + "\n");
  std::string output;
  const bool accepted = folder.Run("apache2 -t -d " + folder.Path() + " -f httpd.conf", output);
  return accepted ? "" : output + "\n" + text;
}

TEST(ApacheServer, RefusesWhatIsWrong) {
  EXPECT_NE(HttpdRefusal("<VirtualHost 127.0.0.1:8081>\nServerName a.example\n", "server"), "");
  EXPECT_NE(HttpdRefusal("NoSuchDirective on", "server"), "");
  EXPECT_NE(HttpdRefusal("<Directory />\nOptions -Indexes FollowSymLinks\n</Directory>", "server"),
            "")
      << "words with and without a sign";
}

TEST(ApacheServer, AcceptsNothing) {
  EXPECT_EQ(HttpdRefusal("", "server"), "");
}

}  // namespace

int main(int argc, char** argv) {
  return RunServerTests(argc, argv, "ApacheServer_accepts", "apache-context", HttpdRefusal);
}
