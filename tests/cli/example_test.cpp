// SPDX-License-Identifier: Apache-2.0

// The example of examples/nginx: what it shows stays true.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

using Words = std::vector<std::string>;

struct ExampleSite {
  std::string dialect;   // which is the name of its folder, too
  std::string diff;      // what the example changes
  std::string in_force;  // the example's values once they are in force
  std::string bad_line;  // what the server refuses
};

const ExampleSite kNginx = {"nginx",
                            R"(--- example.com.conf
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
)",
                            R"({
  "name": {"old": "example.org", "new": "example.org"},
  "address": {"old": "127.0.0.2:8443", "new": "127.0.0.2:8443"},
  "root": {"old": "/srv/www/example.com", "new": "/srv/www/example.com"},
  "shop": {"old": "127.0.0.1:9000", "new": "127.0.0.1:9000"},
  "tls": {"old": "on", "new": "on"},
  "certificate": {"old": "certs/example.org.pem", "new": "certs/example.org.pem"},
  "certificate_key": {"old": "certs/example.org.key", "new": "certs/example.org.key"}
})",
                            "no_such_directive;"};

const ExampleSite kApache = {"apache",
                             R"(--- example.com.conf
+++ example.com.conf
@@ -1,16 +1,20 @@
 # The site of Example Ltd.
 # Questions: webmaster@example.com
 <VirtualHost 127.0.0.1:8443>
-	ServerName example.com
+	ServerName example.org
 	DocumentRoot /srv/www/example.com
-	CustomLog logs/example.com.access.log combined
+	CustomLog logs/example.org.access.log combined
 	# The old shop's addresses; search engines still know them.
 	Redirect permanent /catalogue /shop
 	<Directory /srv/www/example.com>
-		Options -Indexes
+		Options -Indexes +FollowSymLinks
 		Require all granted
 	</Directory>
-	ServerAlias www.example.com
+	ServerAlias www.example.org shop.example.org
+	SSLEngine on
+	SSLProtocol all -SSLv3 -TLSv1 -TLSv1.1
+	SSLCertificateFile certs/example.org.pem
+	SSLCertificateKeyFile certs/example.org.key
 </VirtualHost>
 <VirtualHost 127.0.0.1:8081>
 	ServerName img.example.com
)",
                             R"({
  "name": {"old": "example.org", "new": "example.org"},
  "aliases": {"old": "www.example.org shop.example.org", "new": "www.example.org shop.example.org"},
  "root": {"old": "/srv/www/example.com", "new": "/srv/www/example.com"},
  "options": {"old": "-Indexes +FollowSymLinks", "new": "-Indexes +FollowSymLinks"},
  "tls": {"old": "on", "new": "on"},
  "protocols": {"old": "all -SSLv3 -TLSv1 -TLSv1.1", "new": "all -SSLv3 -TLSv1 -TLSv1.1"},
  "certificate": {"old": "certs/example.org.pem", "new": "certs/example.org.pem"},
  "certificate_key": {"old": "certs/example.org.key", "new": "certs/example.org.key"}
})",
                             "NoSuchDirective"};

class Example : public testing::TestWithParam<ExampleSite> {
 protected:
  Example() { m_sandbox.Run({"cp", "-R", QELTEMPLATE_SOURCE_DIR "/examples/.", "."}); }

  // Runs `command` in the example's folder.
  Outcome Run(const Words& command) const {
    Words words = {"sh", "-c", "cd \"$0\" && exec \"$@\"", GetParam().dialect};
    words.insert(words.end(), command.begin(), command.end());
    return m_sandbox.Run(words);
  }

  Outcome Apply(const Words& more) const {
    Words command = {QELTEMPLATE_PROGRAM, "apply",      "--dialect",
                     GetParam().dialect,  "--template", "site.template"};
    command.insert(command.end(), more.begin(), more.end());
    return Run(command);
  }

  // Puts the edited site and its values into the example's folder.
  void PutInForce() const {
    Write("edited.conf", Apply({"--values", "values.json", "example.com.conf"}).out);
    Write("in_force.json", GetParam().in_force);
  }

  std::string Read(const std::string& name) const {
    return m_sandbox.Read(GetParam().dialect + "/" + name);
  }
  void Write(const std::string& name, const std::string& content) const {
    m_sandbox.Write(GetParam().dialect + "/" + name, content);
  }

  Sandbox m_sandbox;
};

class NginxExample : public Example {};

TEST_P(Example, ChangesOnlyTheLinesThatHadTo) {
  const Outcome outcome = Apply({"--values", "values.json", "--diff", "example.com.conf"});
  EXPECT_EQ(outcome.out, GetParam().diff);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.exit_code, 0);
}

TEST_P(Example, ChangesNothingWhenAppliedAgain) {
  PutInForce();
  const Outcome again = Apply({"--values", "in_force.json", "--diff", "edited.conf"});
  EXPECT_EQ(again.out, "");
  EXPECT_EQ(again.exit_code, 0);
}

// Not so for Apache, whose Options are only ever added to.
TEST_P(NginxExample, ComesBackToWhatItWas) {
  PutInForce();
  const Outcome back = Apply({"--values", "in_force.json", "--set", "name=example.com", "--set",
                              "address=127.0.0.1:8080", "--set", "tls=off", "edited.conf"});
  EXPECT_EQ(back.out, Read("example.com.conf"));
}

TEST_P(Example, IsAcceptedByTheServer) {
  const Outcome outcome = Run({"./run.sh", QELTEMPLATE_PROGRAM});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(outcome.out.substr(0, GetParam().diff.size()), GetParam().diff);
  EXPECT_NE(outcome.out.find(" accepts the edited site\n"), std::string::npos) << outcome.out;
}

TEST_P(Example, FailsWhenTheServerRefuses) {
  Write("example.com.conf", Read("example.com.conf") + GetParam().bad_line + "\n");
  const Outcome outcome = Run({"./run.sh", QELTEMPLATE_PROGRAM});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_NE(outcome.err.find(" refuses the edited site\n"), std::string::npos) << outcome.err;
}

std::string DialectOf(const testing::TestParamInfo<ExampleSite>& info) {
  return info.param.dialect;
}

INSTANTIATE_TEST_SUITE_P(Of, Example, testing::Values(kNginx, kApache), DialectOf);
INSTANTIATE_TEST_SUITE_P(Of, NginxExample, testing::Values(kNginx), DialectOf);

}  // namespace
