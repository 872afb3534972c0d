// SPDX-License-Identifier: Apache-2.0

// The examples of examples/nginx and examples/apache: what they show stays true.

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
  std::string back;      // those that bring back what was there before
  std::string bad_line;  // what the server refuses
};

const ExampleSite kNginx = {"nginx",
                            R"(--- sites.conf
+++ sites.conf
@@ -2,10 +2,10 @@
 
 server {
     # www is a second name, not a redirect: old mails link to it.
-    server_name example.com www.example.com;
-    root /srv/www/example.com;
+    server_name example.org www.example.org;
+    root /data/www/example.org;
     index index.html index.htm;
-    access_log logs/example.com.access.log;
+    access_log logs/example.org.access.log;
 
     location / {
         try_files $uri $uri/ =404;
@@ -13,14 +13,14 @@
 
     # The shop's own server; it answers slowly at month's end.
     location /shop/ {
-        proxy_pass http://127.0.0.1:9000;
+        proxy_pass http://127.0.0.1:9001;
         proxy_set_header Host $host;
         proxy_read_timeout 120s;
     }
 
     listen 127.0.0.1:8443 ssl; # managed by Certbot
-    ssl_certificate certs/example.com/fullchain.pem; # managed by Certbot
-    ssl_certificate_key certs/example.com/privkey.pem; # managed by Certbot
+    ssl_certificate certs/example.org/fullchain.pem; # managed by Certbot
+    ssl_certificate_key certs/example.org/privkey.pem; # managed by Certbot
     include certs/options-ssl-nginx.conf; # managed by Certbot
 
 }
@@ -39,17 +39,17 @@
 }
 
 server {
-    if ($host = www.example.com) {
+    if ($host = www.example.org) {
         return 301 https://$host$request_uri;
     } # managed by Certbot
 
 
-    if ($host = example.com) {
+    if ($host = example.org) {
         return 301 https://$host$request_uri;
     } # managed by Certbot
 
 
-    server_name example.com www.example.com;
+    server_name example.org www.example.org;
     listen 127.0.0.1:8080;
     return 404; # managed by Certbot
 
)",
                            R"({
  "name": {"old": "example.org", "new": "example.org"},
  "address": {"old": "127.0.0.1", "new": "127.0.0.1"},
  "root": {"old": "/data/www/example.org", "new": "/data/www/example.org"},
  "certificate": "certs/example.org/fullchain.pem",
  "key": "certs/example.org/privkey.pem",
  "shop": "127.0.0.1:9001"
})",
                            R"({
  "name": {"old": "example.org", "new": "example.com"},
  "address": {"old": "127.0.0.1", "new": "127.0.0.1"},
  "root": "/srv/www/example.com",
  "certificate": "certs/example.com/fullchain.pem",
  "key": "certs/example.com/privkey.pem",
  "shop": "127.0.0.1:9000"
})",
                            "no_such_directive;"};

const ExampleSite kApache = {"apache",
                             R"(--- sites.conf
+++ sites.conf
@@ -1,11 +1,11 @@
 # The sites of Example Ltd. Questions: webmaster@example.com
 <VirtualHost 127.0.0.1:8081>
-	ServerName example.com
-	ServerAlias www.example.com
-	DocumentRoot /srv/www/example.com
+	ServerName example.org
+	ServerAlias www.example.org
+	DocumentRoot /data/www/example.org
 RewriteEngine on
-RewriteCond %{SERVER_NAME} =www.example.com [OR]
-RewriteCond %{SERVER_NAME} =example.com
+RewriteCond %{SERVER_NAME} =www.example.org [OR]
+RewriteCond %{SERVER_NAME} =example.org
 RewriteRule ^ https://%{SERVER_NAME}%{REQUEST_URI} [END,NE,R=permanent]
 </VirtualHost>
 
@@ -17,20 +17,20 @@
 
 <IfModule mod_ssl.c>
 <VirtualHost 127.0.0.1:8443>
-	ServerName example.com
+	ServerName example.org
 	# www is a second name, not a redirect: old mails link to it.
-	ServerAlias www.example.com
-	DocumentRoot /srv/www/example.com
-	CustomLog logs/example.com.access.log combined
+	ServerAlias www.example.org
+	DocumentRoot /data/www/example.org
+	CustomLog logs/example.org.access.log combined
 	# The old shop's addresses; search engines still know them.
 	Redirect permanent /catalogue \
 	         /shop
-	<Directory /srv/www/example.com>
-		Options -Indexes
+	<Directory /data/www/example.org>
+		Options -Indexes +FollowSymLinks
 		Require all granted
 	</Directory>
-SSLCertificateFile certs/example.com/fullchain.pem
-SSLCertificateKeyFile certs/example.com/privkey.pem
+SSLCertificateFile certs/example.org/fullchain.pem
+SSLCertificateKeyFile certs/example.org/privkey.pem
 Include certs/options-ssl-apache.conf
 </VirtualHost>
 
)",
                             R"({
  "name": {"old": "example.org", "new": "example.org"},
  "root": {"old": "/data/www/example.org", "new": "/data/www/example.org"},
  "links": {"old": "on", "new": "on"},
  "certificate": "certs/example.org/fullchain.pem",
  "key": "certs/example.org/privkey.pem"
})",
                             R"({
  "name": {"old": "example.org", "new": "example.com"},
  "root": {"old": "/data/www/example.org", "new": "/srv/www/example.com"},
  "links": {"old": "on", "new": "off"},
  "certificate": "certs/example.com/fullchain.pem",
  "key": "certs/example.com/privkey.pem"
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
    Write("edited.conf", Apply({"--values", "values.json", "sites.conf"}).out);
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

TEST_P(Example, ChangesOnlyTheLinesThatHadTo) {
  const Outcome outcome = Apply({"--values", "values.json", "--diff", "sites.conf"});
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

TEST_P(Example, ComesBackToWhatItWas) {
  PutInForce();
  Write("back.json", GetParam().back);
  const Outcome back = Apply({"--values", "back.json", "edited.conf"});
  EXPECT_EQ(back.err, "");
  EXPECT_EQ(back.out, Read("sites.conf"));
}

TEST_P(Example, IsAcceptedByTheServer) {
  const Outcome outcome = Run({"./run.sh", QELTEMPLATE_PROGRAM});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(outcome.out.substr(0, GetParam().diff.size()), GetParam().diff);
  EXPECT_NE(outcome.out.find(" accepts the edited sites\n"), std::string::npos) << outcome.out;
}

TEST_P(Example, FailsWhenTheServerRefuses) {
  Write("sites.conf", Read("sites.conf") + GetParam().bad_line + "\n");
  const Outcome outcome = Run({"./run.sh", QELTEMPLATE_PROGRAM});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_NE(outcome.err.find(" refuses the edited sites\n"), std::string::npos) << outcome.err;
}

std::string DialectOf(const testing::TestParamInfo<ExampleSite>& info) {
  return info.param.dialect;
}

INSTANTIATE_TEST_SUITE_P(Of, Example, testing::Values(kNginx, kApache), DialectOf);

}  // namespace
