// SPDX-License-Identifier: Apache-2.0

// Asks the real nginx about the golden cases that name a context.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "server/nginx_server.h"
#include "server/real_server.h"

namespace {

std::string InContext(const std::string& text, const std::string& context) {
  if (context == "main") return text + "\n";
  const std::string events = "events {\n}\n";
  const std::string http = events + "http {\naccess_log off;\n" + text + "\n}\n";
  if (context == "http") return http;
  throw std::runtime_error("unknown context " + context);
}

std::string RefusalOf(const std::string& text, const std::string& context) {
  static const ServerFolder folder("nginx");
  return NginxRefusal(folder, InContext(text, context));
}

TEST(NginxServer, RefusesWhatIsWrong) {
  EXPECT_NE(RefusalOf("server {\nlisten 127.0.0.1:8080;\n", "http"), "");
  EXPECT_NE(RefusalOf("no_such_directive on;", "http"), "");
}

}  // namespace

int main(int argc, char** argv) {
  return RunServerTests(argc, argv, "NginxServer_accepts", "nginx-context", RefusalOf);
}
