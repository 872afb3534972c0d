// Asks the real nginx about the golden cases that name a context.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "server/real_server.h"

namespace {

std::string InContext(const std::string& text, const std::string& context) {
  if (context == "main") return text + "\n";
  const std::string events = "events {\n}\n";
  const std::string http = events + "http {\naccess_log off;\n" + text + "\n}\n";
  if (context == "http") return http;
  throw std::runtime_error("unknown context " + context);
}

std::string NginxRefusal(const std::string& text, const std::string& context) {
  static const ServerFolder folder("nginx");
  folder.Write("nginx.conf", InContext(text, context));
  std::string output;
  const bool accepted = folder.Run(
      "nginx -t -p " + folder.Path() + " -e stderr -g 'pid nginx.pid;' -c nginx.conf", output);
  return accepted ? "" : output + "\n" + text;
}

TEST(NginxServer, RefusesWhatIsWrong) {
  EXPECT_NE(NginxRefusal("server {\nlisten 127.0.0.1:8080;\n", "http"), "");
  EXPECT_NE(NginxRefusal("no_such_directive on;", "http"), "");
}

}  // namespace

int main(int argc, char** argv) {
  return RunServerTests(argc, argv, "NginxServer_accepts", "nginx-context", NginxRefusal);
}
