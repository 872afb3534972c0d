// The example of examples/nginx: what it shows stays true.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

using Words = std::vector<std::string>;

constexpr char kExample[] = QELTEMPLATE_SOURCE_DIR "/examples/nginx";

constexpr char kDiff[] = R"(--- example.com.conf
+++ example.com.conf
@@ -2,10 +2,10 @@
 # Questions: webmaster@example.com
 server {
 	# www is a second name, not a redirect: old mails link to it.
-	server_name example.com www.example.com;
+	server_name example.org www.example.org;
 	root /srv/www/example.com;
 	index index.html index.htm;
-	access_log logs/example.com.access.log;
+	access_log logs/example.org.access.log;
 	location / {
 		try_files $uri $uri/ =404;
 	}
@@ -18,7 +18,9 @@
 	location ~ /\.ht {
 		deny all;
 	}
-	listen 127.0.0.1:8080;
+	listen 127.0.0.2:8443 ssl;
+	ssl_certificate certs/example.org.pem;
+	ssl_certificate_key certs/example.org.key;
 }
 server {
 	server_name img.example.com;
)";

// The example's values once they are in force.
constexpr char kInForce[] = R"({
  "name": {"old": "example.org", "new": "example.org"},
  "address": {"old": "127.0.0.2:8443", "new": "127.0.0.2:8443"},
  "root": {"old": "/srv/www/example.com", "new": "/srv/www/example.com"},
  "shop": {"old": "127.0.0.1:9000", "new": "127.0.0.1:9000"},
  "tls": {"old": "on", "new": "on"},
  "certificate": {"old": "certs/example.org.pem", "new": "certs/example.org.pem"},
  "certificate_key": {"old": "certs/example.org.key", "new": "certs/example.org.key"}
})";

class Example : public testing::Test {
 protected:
  Example() { m_sandbox.Run({"cp", "-R", std::string(kExample) + "/.", "."}); }

  Outcome Apply(const Words& more) const {
    Words command = {QELTEMPLATE_PROGRAM, "apply",        "--dialect", "nginx",
                     "--template",        "site.template"};
    command.insert(command.end(), more.begin(), more.end());
    return m_sandbox.Run(command);
  }

  Sandbox m_sandbox;
};

TEST_F(Example, ChangesOnlyTheLinesThatHadTo) {
  const Outcome outcome = Apply({"--values", "values.json", "--diff", "example.com.conf"});
  EXPECT_EQ(outcome.out, kDiff);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.exit_code, 0);
}

TEST_F(Example, ChangesNothingWhenAppliedAgain) {
  m_sandbox.Write("edited.conf", Apply({"--values", "values.json", "example.com.conf"}).out);
  m_sandbox.Write("in_force.json", kInForce);
  const Outcome again = Apply({"--values", "in_force.json", "--diff", "edited.conf"});
  EXPECT_EQ(again.out, "");
  EXPECT_EQ(again.exit_code, 0);
}

TEST_F(Example, ComesBackToWhatItWas) {
  m_sandbox.Write("edited.conf", Apply({"--values", "values.json", "example.com.conf"}).out);
  m_sandbox.Write("in_force.json", kInForce);
  const Outcome back = Apply({"--values", "in_force.json", "--set", "name=example.com", "--set",
                              "address=127.0.0.1:8080", "--set", "tls=off", "edited.conf"});
  EXPECT_EQ(back.out, m_sandbox.Read("example.com.conf"));
}

TEST_F(Example, IsAcceptedByNginx) {
  const Outcome outcome = m_sandbox.Run({"./run.sh", QELTEMPLATE_PROGRAM});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(outcome.out.substr(0, sizeof kDiff - 1), kDiff);
  EXPECT_NE(outcome.out.find(" accepts the edited site\n"), std::string::npos) << outcome.out;
}

TEST_F(Example, FailsWhenNginxRefuses) {
  m_sandbox.Write("example.com.conf", m_sandbox.Read("example.com.conf") + "no_such_directive;\n");
  const Outcome outcome = m_sandbox.Run({"./run.sh", QELTEMPLATE_PROGRAM});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_NE(outcome.err.find("nginx refuses the edited site\n"), std::string::npos) << outcome.err;
}

}  // namespace
