// SPDX-License-Identifier: Apache-2.0

// A site from its first day on, in a file that holds other sites, too: each edit is made in place
// and judged by the real server.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/program.h"

namespace {

struct Server {
  const char* dialect;
  const char* main;   // includes site.conf
  const char* check;  // the command that judges it
  const char* sites;  // before the first edit
  const char* template_text;

  // The site's lines after each step: made, renamed, moved, with TLS, without it.
  std::vector<std::string> steps;
};

const Server kNginx = {
    "nginx",
    "pid nginx.pid;\nevents {\n}\nhttp {\n\taccess_log off;\n\tinclude site.conf;\n}\n",
    "nginx -t -p . -c main.conf -e stderr",
    "# The sites of this machine\n\nserver {\n    listen 127.0.0.1:18080;\n"
    "    server_name one.example;\n\n    root /srv/one; # moved 2021\n    location / {\n"
    "        try_files $uri =404;\n    }\n}\n\nserver {\n    listen 127.0.0.1:18080;\n"
    "    server_name two.example;\n    return 301 http://one.example$request_uri;\n}\n",
    "server {\n{% if $certificate %}\n\tlisten {% $address %} ssl;\n{% else %}\n"
    "\tlisten {% $address %};\n{% endif %}\n\tserver_name {% $name %};\n"
    "\tlocation /static/ {\n\t\texpires 30d;\n\t\tlocation ~ \\.php$ {\n\t\t\treturn 404;\n"
    "\t\t}\n\t}\n\troot /srv/new;\n{% if $certificate %}\n"
    "\tssl_certificate [% $certificate %];\n\tssl_certificate_key [% $key %];\n{% endif %}\n}\n",
    {"\nserver {\n    listen 127.0.0.1:18080;\n    server_name new.example;\n"
     "    location /static/ {\n        expires 30d;\n        location ~ \\.php$ {\n"
     "            return 404;\n        }\n    }\n    root /srv/new;\n}\n",
     "\nserver {\n    listen 127.0.0.1:18080;\n    server_name shop.example;\n"
     "    location /static/ {\n        expires 30d;\n        location ~ \\.php$ {\n"
     "            return 404;\n        }\n    }\n    root /srv/new;\n}\n",
     "\nserver {\n    listen 127.0.0.2:18080;\n    server_name shop.example;\n"
     "    location /static/ {\n        expires 30d;\n        location ~ \\.php$ {\n"
     "            return 404;\n        }\n    }\n    root /srv/new;\n}\n",
     "\nserver {\n    listen 127.0.0.2:18080 ssl;\n    server_name shop.example;\n"
     "    location /static/ {\n        expires 30d;\n        location ~ \\.php$ {\n"
     "            return 404;\n        }\n    }\n    root /srv/new;\n"
     "    ssl_certificate cert.pem;\n    ssl_certificate_key key.pem;\n}\n"}};

const Server kApache = {
    "apache",
    "LoadModule mpm_event_module /usr/lib/apache2/modules/mod_mpm_event.so\n"
    "LoadModule authz_core_module /usr/lib/apache2/modules/mod_authz_core.so\n"
    "LoadModule ssl_module /usr/lib/apache2/modules/mod_ssl.so\n"
    "ServerName x\nListen 18089\nErrorLog /dev/null\nInclude site.conf\n",
    "apache2 -t -d . -f main.conf",
    "# The sites of this machine\n\n<VirtualHost 127.0.0.1:18089>\n    ServerName one.example\n\n"
    "    # moved 2021\n    DocumentRoot /srv\n    <Directory /srv>\n        Options -Indexes\n"
    "        Options +FollowSymLinks\n    </Directory>\n</VirtualHost>\n",
    "<VirtualHost {% $address %}>\n\tServerName {% $name %}\n\tServerAlias www.{% $name %}\n"
    "\t<Location />\n\t\t<RequireAny>\n\t\t\tRequire env {% $name %}\n\t\t</RequireAny>\n"
    "\t</Location>\n\tDocumentRoot /srv\n{% if $certificate %}\n\tSSLEngine on\n"
    "\tSSLCertificateFile [% $certificate %]\n\tSSLCertificateKeyFile [% $key %]\n{% endif %}\n"
    "</VirtualHost>\n",
    {"<VirtualHost 127.0.0.2:18089>\n    ServerName new.example\n    ServerAlias "
     "www.new.example\n"
     "    <Location />\n        <RequireAny>\n            Require env new.example\n"
     "        </RequireAny>\n    </Location>\n    DocumentRoot /srv\n</VirtualHost>\n",
     "<VirtualHost 127.0.0.2:18089>\n    ServerName shop.example\n    ServerAlias "
     "www.shop.example\n"
     "    <Location />\n        <RequireAny>\n            Require env shop.example\n"
     "        </RequireAny>\n    </Location>\n    DocumentRoot /srv\n</VirtualHost>\n",
     "<VirtualHost 127.0.0.3:18089>\n    ServerName shop.example\n    ServerAlias "
     "www.shop.example\n"
     "    <Location />\n        <RequireAny>\n            Require env shop.example\n"
     "        </RequireAny>\n    </Location>\n    DocumentRoot /srv\n</VirtualHost>\n",
     "<VirtualHost 127.0.0.3:18089>\n    ServerName shop.example\n    ServerAlias "
     "www.shop.example\n"
     "    <Location />\n        <RequireAny>\n            Require env shop.example\n"
     "        </RequireAny>\n    </Location>\n    DocumentRoot /srv\n    SSLEngine on\n"
     "    SSLCertificateFile cert.pem\n    SSLCertificateKeyFile key.pem\n</VirtualHost>\n"}};

class SiteLife : public Program {
 protected:
  SiteLife() {
    const Outcome made =
        RunInDirectory({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1",
                        "-subj", "/CN=localhost", "-keyout", "key.pem", "-out", "cert.pem"});
    EXPECT_EQ(made.exit_code, 0) << made.err;
  }

  Outcome RunInDirectory(const Words& command) const { return m_sandbox.Run(command); }

  void Lead(const Server& server) const {
    const bool nginx = std::string(server.dialect) == "nginx";
    const std::string first = nginx ? "127.0.0.1:18080" : "127.0.0.2:18089";
    const std::string second = nginx ? "127.0.0.2:18080" : "127.0.0.3:18089";
    m_sandbox.Write("main.conf", server.main);
    m_sandbox.Write("site.conf", server.sites);
    m_sandbox.Write("site.template", server.template_text);
    const Words tls = {"--set", "certificate=cert.pem", "--set", "key=key.pem"};

    Expect(server, 0, Edit(server, {"new.example"}, {first}, {"--only-create"}));
    Expect(server, 1, Edit(server, {"new.example", "shop.example"}, {first}, {}));
    Expect(server, 2, Edit(server, {"shop.example"}, {first, second}, {}));
    Expect(server, 3, Edit(server, {"shop.example"}, {second}, tls));
    Expect(server, 2, Edit(server, {"shop.example"}, {second}, {}));
  }

 private:
  // Each value has one text, or an old one and a new one.
  Outcome Edit(const Server& server, const Words& name, const Words& address,
               const Words& more) const {
    Words words = {"apply",
                   "--dialect",
                   server.dialect,
                   "--template",
                   "site.template",
                   "--in-place",
                   std::string("--check=") + server.check};
    const auto add = [&words](const std::string& what, const Words& texts) {
      words.insert(words.end(), {"--set", what + "=" + texts.back()});
      if (texts.size() > 1) words.insert(words.end(), {"--old", what + "=" + texts.front()});
    };
    add("name", name);
    add("address", address);
    words.insert(words.end(), more.begin(), more.end());
    words.emplace_back("site.conf");
    return Run(words);
  }

  void Expect(const Server& server, std::size_t step, const Outcome& outcome) const {
    SCOPED_TRACE("step " + std::to_string(step));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(m_sandbox.Read("site.conf"), server.sites + server.steps[step]);
  }
};

TEST_F(SiteLife, IsAcceptedByNginxAtEachStep) {
  Lead(kNginx);
}

TEST_F(SiteLife, IsAcceptedByHttpdAtEachStep) {
  Lead(kApache);
}

}  // namespace
