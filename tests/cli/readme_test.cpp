// SPDX-License-Identifier: Apache-2.0

// What the README and the page about the program show is what the program does.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "cli/sandbox.h"
#include "server/nginx_server.h"
#include "template/framework/str.h"

namespace {

std::string TextOf(const std::string& page) {
  std::ifstream file(QELTEMPLATE_SOURCE_DIR "/" + page);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// A page with a configuration, a template, and what comes of them.
class Page : public testing::Test {
 protected:
  explicit Page(const std::string& name) : m_text(TextOf(name)) {
    m_sandbox.Write("site.conf", BlockBehind("The configuration, `site.conf`"));
    m_sandbox.Write("site.template", BlockBehind("The template, `site.template`"));
  }

  // The block of code behind the line of the page that begins with `heading`.
  std::string BlockBehind(const std::string& heading) const {
    const std::size_t fence = m_text.find("\n```", m_text.find("\n" + heading) + 1);
    const std::size_t start = m_text.find('\n', fence + 1) + 1;
    return m_text.substr(start, m_text.find("```", start) - start);
  }

  Outcome Apply(const std::vector<std::string>& more) const {
    std::vector<std::string> command = {QELTEMPLATE_PROGRAM, "apply",        "--dialect", "nginx",
                                        "--template",        "site.template"};
    command.insert(command.end(), more.begin(), more.end());
    return m_sandbox.Run(command);
  }

  const std::string m_text;
  Sandbox m_sandbox;
};

class Readme : public Page {
 protected:
  Readme() : Page("README.md") {}
};

TEST_F(Readme, ShowsTheProgramsOwnOutput) {
  const Outcome outcome = Apply({"--set", "root=/data/a.example", "--diff", "site.conf"});
  EXPECT_EQ(outcome.err, "");
  EXPECT_NE(outcome.out, "");
  EXPECT_EQ(outcome.out, BlockBehind("`qeltemplate apply --dialect nginx"));
}

class ProgramPage : public Page {
 protected:
  ProgramPage() : Page("docs/program.md") {
    m_sandbox.Write("values.json", BlockBehind("The values, `values.json`:"));
  }
};

TEST_F(ProgramPage, ShowsTheProgramsOwnOutput) {
  const Outcome outcome = Apply({"--values", "values.json", "--diff", "site.conf"});
  EXPECT_EQ(outcome.err, "");
  EXPECT_NE(outcome.out, "");
  EXPECT_EQ(outcome.out, BlockBehind("`qeltemplate apply --dialect nginx"));
}

TEST_F(ProgramPage, ShowsWhatIsSaidOfSeveralBlocks) {
  m_sandbox.Write("site.template", "server {\n\tserver_name a.example;\n\tgzip on;\n}\n");
  const Outcome outcome = Apply({"site.conf"});
  EXPECT_EQ(outcome.exit_code, 4);
  EXPECT_EQ(outcome.err, "qeltemplate: " + BlockBehind("## The right block, or none"));
}

// certbot/site.conf is what certbot 2.1 has made of a site on port 80 and of another one.
class ProgramPageOnCertbotsFile : public ProgramPage {
 protected:
  ProgramPageOnCertbotsFile() {
    std::ifstream file(QELTEMPLATE_SOURCE_DIR "/tests/cli/certbot/site.conf");
    m_sandbox.Write("site.conf", {std::istreambuf_iterator<char>(file), {}});
  }

  // The text with addresses and files that this machine can give a server.
  static std::string AtHome(std::string text) {
    const std::pair<const char*, const char*> replaced[] = {
        {"listen 443", "listen 127.0.0.1:8443"},
        {"listen 80", "listen 127.0.0.1:8080"},
        {"/etc/letsencrypt/live/a.example/fullchain", "certs/site"},
        {"/etc/letsencrypt/live/a.example/privkey.pem", "certs/site.key"},
        {"    include /etc/letsencrypt/options-ssl-nginx.conf; # managed by Certbot\n", ""},
        {"    ssl_dhparam /etc/letsencrypt/ssl-dhparams.pem; # managed by Certbot\n", ""},
        {"/var/log/nginx/", "logs/"}};
    for (const auto& [from, to] : replaced) text = str::Replace(text, from, to);
    return text;
  }
};

TEST_F(ProgramPageOnCertbotsFile, ChangesTheSameLines) {
  const Outcome outcome = Apply({"--values", "values.json", "--diff", "site.conf"});
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out, R"(--- site.conf
+++ site.conf
@@ -1,13 +1,11 @@
 server {
-    server_name a.example www.a.example;
-    root /srv/a.example;
+    server_name b.example www.b.example;
+    root /data/b.example;
     # 2021-04: the customer asked for more
     client_max_body_size 20m;
-    location /static/ {
-        expires 30d;
-    }
 
     listen 443 ssl; # managed by Certbot
+    access_log /var/log/nginx/b.example.log;
     ssl_certificate /etc/letsencrypt/live/a.example/fullchain.pem; # managed by Certbot
     ssl_certificate_key /etc/letsencrypt/live/a.example/privkey.pem; # managed by Certbot
     include /etc/letsencrypt/options-ssl-nginx.conf; # managed by Certbot
@@ -22,18 +20,18 @@
     root /srv/img;
 }
 server {
-    if ($host = www.a.example) {
+    if ($host = www.b.example) {
         return 301 https://$host$request_uri;
     } # managed by Certbot
 
 
-    if ($host = a.example) {
+    if ($host = b.example) {
         return 301 https://$host$request_uri;
     } # managed by Certbot
 
 
     listen 80;
-    server_name a.example www.a.example;
+    server_name b.example www.b.example;
     return 404; # managed by Certbot
 
 
)");
}

TEST_F(ProgramPageOnCertbotsFile, IsAcceptedByNginxAndChangesNothingMore) {
  const std::string before = m_sandbox.Read("site.conf");
  const Outcome outcome = Apply({"--values", "values.json", "site.conf"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  const ServerFolder folder("nginx");
  const auto refusal = [&folder](const std::string& text) {
    return NginxRefusal(folder, "events {\n}\nhttp {\n" + AtHome(text) + "\n}\n",
                        "error_log stderr;");
  };
  EXPECT_EQ(refusal(before), "");
  EXPECT_EQ(refusal(outcome.out), "");
  m_sandbox.Write("site.conf", outcome.out);
  EXPECT_EQ(Apply({"--values", "values.json", "site.conf"}).out, outcome.out);
}

}  // namespace
