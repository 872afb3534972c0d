// SPDX-License-Identifier: Apache-2.0

// The sites of a server.
#include "server/sites.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "whole_server/tree.h"

namespace {

using testing::ElementsAre;
using tov_server::Dialect;
using tov_server::HasAddress;
using tov_server::HasName;
using tov_server::ReadSites;
using tov_server::Site;
using Lines = std::vector<std::string>;

// "FILE:LINE:COLUMN http a.example www.a.example on *:80 *:443+tls+default from /srv".
std::string LineOf(const Tree& tree, const Site& site) {
  std::string line = tree.Relative(Shown(site.place)) + ' ' + site.protocol;
  for (const std::string& name : site.names) line += ' ' + (name.empty() ? "\"\"" : name);
  line += " on";
  for (const auto& address : site.addresses) {
    line += ' ' + address.address + (address.tls ? "+tls" : "") +
            (address.is_default ? "+default" : "");
  }
  return line + (site.root.empty() ? "" : " from " + site.root);
}

struct Case {
  const char* name;
  Files files;
  Lines sites;
};

void Check(Dialect dialect, const char* main, const std::vector<Case>& cases) {
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    const Tree tree(each.files);
    const auto read = ReadSites(tree.Options(dialect, main));
    Lines lines;
    for (const Site& site : read.sites) lines.push_back(LineOf(tree, site));
    EXPECT_EQ(lines, each.sites);
    EXPECT_THAT(read.server.findings, testing::IsEmpty());
  }
}

TEST(NginxSites, AreTheServers) {
  Check(
      Dialect::kNginx, "nginx.conf",
      {
          {"none", {{"nginx.conf", "events {}\nhttp { upstream u { server a; } }\n"}}, {}},
          {"what is stated",
           {{"nginx.conf",
             "http {\n  server {\n    listen 80;\n    listen [0::1]:8080 default_server;\n"
             "    server_name A.example www.a.example;\n    server_name ~^B;\n    root /srv/a;\n"
             "    location / { root /srv/no; }\n  }\n}\n"}},
           {"nginx.conf:2:3 http a.example www.a.example ~^B on *:80 [::1]:8080+default from "
            "/srv/a"}},
          {"what is not stated",
           {{"nginx.conf", "http { server { } server { server_name \"\"; } }"}},
           {"nginx.conf:1:8 http on *:80", "nginx.conf:1:19 http \"\" on *:80"}},
          {"what stands around",
           {{"nginx.conf", "http { server { } root /srv/b; server { root /srv/a; } ssl on; }"}},
           {"nginx.conf:1:8 http on *:80+tls from /srv/b",
            "nginx.conf:1:32 http on *:80+tls from /srv/a"}},
          {"TLS",
           {{"nginx.conf",
             "http { server { listen 443; } server { listen 443 ssl; listen 443 quic; listen 80; } "
             "server { ssl on; listen 81; } server { listen 82; } }"}},
           {"nginx.conf:1:8 http on *:443+tls",
            "nginx.conf:1:31 http on *:443+tls *:443/udp+tls *:80",
            "nginx.conf:1:86 http on *:81+tls", "nginx.conf:1:116 http on *:82"}},
          {"files of their own",
           {{"nginx.conf", "http {\n  include sites/*;\n  server { server_name c; }\n}\n"},
            {"sites/b", "\n\nserver { server_name b; }\n server { server_name b2; }\n"},
            {"sites/a", "server {\n  server_name a;\n}\n"}},
           {"sites/a:1:1 http a on *:80", "sites/b:3:1 http b on *:80",
            "sites/b:4:2 http b2 on *:80", "nginx.conf:3:3 http c on *:80"}},
          {"files included in the block",
           {{"nginx.conf",
             "http { server { include names; include listen; server_name b; location / { include "
             "names; } } server { include listen; } }"},
            {"names", "server_name a;\nroot /srv;\n"},
            {"listen", "listen 443 ssl;"}},
           {"nginx.conf:1:8 http a b on *:443+tls from /srv", "nginx.conf:1:95 http on *:443+tls"}},
          {"other protocols",
           {{"nginx.conf",
             "stream { server { listen 53 udp; } } mail { server { listen 25; server_name m; } } "
             "http { server { listen 53; } } rtmp { server { listen 1; } }"}},
           {"nginx.conf:1:10 stream on *:53/udp", "nginx.conf:1:45 mail m on *:25",
            "nginx.conf:1:91 http on *:53"}},
          {"a site alone",
           {{"nginx.conf", "server { listen 80; }"}},
           {"nginx.conf:1:1 http on *:80"}},
          {"a file that is read twice",
           {{"nginx.conf", "http { include a; include a; }"}, {"a", "server { server_name a; }"}},
           {"a:1:1 http a on *:80", "a:1:1 http a on *:80"}},
      });
}

TEST(ApacheSites, AreTheVirtualHosts) {
  Check(
      Dialect::kApache, "httpd.conf",
      {
          {"none", {{"httpd.conf", "ServerName a\nDocumentRoot /srv\nListen 80\n"}}, {}},
          {"what is stated",
           {{"httpd.conf",
             "\n <VirtualHost *:80 [0::1]:81>\nServerAlias B.example *.a.example\nServerName "
             "no.example\nserverName HTTPS://A.example:443\nDocumentRoot \"/srv/a b\"\n"
             "<Directory />\nServerAlias no\n</Directory>\n</VirtualHost>\n"}},
           {"httpd.conf:2:2 http a.example b.example *.a.example on *:80 [::1]:81 from /srv/a b"}},
          {"what is not stated",
           {{"httpd.conf", "<VirtualHost _default_>\n</VirtualHost>\n"}},
           {"httpd.conf:1:1 http on *:*"}},
          {"what stands around",
           {{"httpd.conf",
             "<VirtualHost *:80>\n</VirtualHost>\nDocumentRoot /srv\nSSLEngine on\n"
             "<VirtualHost *:81>\nSSLEngine off\n</VirtualHost>\n"}},
           {"httpd.conf:1:1 http on *:80+tls from /srv", "httpd.conf:5:1 http on *:81 from /srv"}},
          {"TLS by the port",
           {{"httpd.conf",
             "Listen 443\nListen 127.0.0.1:444 https\nListen 445\nListen 80 "
             "http\nSSLCertificateFile "
             "x\n<VirtualHost *:443 *:444 *:445>\n</VirtualHost>\n<VirtualHost "
             "*:443>\nSSLEngine off\n</VirtualHost>\n"}},
           {"httpd.conf:6:1 http on *:443+tls *:444+tls *:445", "httpd.conf:8:1 http on *:443"}},
          {"conditions",
           {{"httpd.conf",
             "LoadModule ssl_module x\n<IfModule ssl_module>\n<VirtualHost *:80>\n<IfDefine "
             "No>\nServerName no\n</IfDefine>\n<IfModule mod_ssl.c>\nServerName a\n</IfModule>\n"
             "</VirtualHost>\n</IfModule>\n<IfModule !ssl_module>\n<VirtualHost "
             "*:81>\n</VirtualHost>\n</IfModule>\n"}},
           {"httpd.conf:3:1 http a on *:80"}},
          {"variables, as they are when the file is read",
           {{"httpd.conf",
             "Define name a\nInclude site\nUnDefine name\nDefine name b\nDefine port 81\nInclude "
             "site\n"},
            {"site",
             "<VirtualHost *:${port}>\nServerName ${name}.example\nServerAlias "
             "${no}\n</VirtualHost>\n"}},
           {"site:1:1 http a.example ${no} on *:${port}", "site:1:1 http b.example ${no} on *:81"}},
          {"files included in the section",
           {{"httpd.conf", "<VirtualHost *:80>\nInclude names\n</VirtualHost>\n"},
            {"names", "ServerName a\n"}},
           {"httpd.conf:1:1 http a on *:80"}},
      });
}

// More than memory could hold.
TEST(Sites, OfAFileThatIsReadAgainAndAgainComeToAnEnd) {
  Files files = {{"main", "Include 0\n"}};
  for (int i = 0; i < 9; ++i) {
    std::string text;
    for (int times = 0; times < 10; ++times) text += "Include " + std::to_string(i + 1) + "\n";
    files[std::to_string(i)] = text;
  }
  for (int i = 0; i < 100; ++i) files["9"] += "<VirtualHost *>\nServerName a\n</VirtualHost>\n";
  const Tree tree(files);
  const auto read = ReadSites(tree.Options(Dialect::kApache, "main"));
  EXPECT_GT(read.sites.size(), 100'000U);
  EXPECT_LT(read.sites.size(), 1'000'000U);
  ASSERT_EQ(read.server.findings.size(), 1U);
  EXPECT_EQ(read.server.findings.front().name, "too-many-files");
}

Site SiteWith(const Lines& names, const Lines& addresses) {
  Site site;
  site.names = names;
  for (const std::string& address : addresses) site.addresses.push_back({address, false, false});
  return site;
}

TEST(Sites, HaveNames) {
  const struct {
    Dialect dialect;
    const char* own;
    const char* name;
    bool has;
  } cases[] = {
      {Dialect::kNginx, "a.example", "A.Example", true},
      {Dialect::kNginx, "a.example", "b.a.example", false},
      {Dialect::kNginx, "*.a.example", "b.a.example", true},
      {Dialect::kNginx, "*.a.example", "c.b.a.example", true},
      {Dialect::kNginx, "*.a.example", "a.example", false},
      {Dialect::kNginx, "*.a.example", "*.a.example", true},
      {Dialect::kNginx, ".a.example", "a.example", true},
      {Dialect::kNginx, ".a.example", "b.a.example", true},
      {Dialect::kNginx, ".a.example", "ba.example", false},
      {Dialect::kNginx, "www.a.*", "www.a.example", true},
      {Dialect::kNginx, "www.a.*", "ww.a.example", false},
      {Dialect::kNginx, "a?example", "a.example", false},
      {Dialect::kNginx, "~^a", "a", false},
      {Dialect::kNginx, "~^a", "~^a", true},
      {Dialect::kNginx, "", "a", false},
      {Dialect::kNginx, "", "", true},
      {Dialect::kApache, "a.example", "https://A.example:443", true},
      {Dialect::kApache, "*.a.example", "b.a.example", true},
      {Dialect::kApache, "a?.*", "ab.example", true},
      {Dialect::kApache, "a?.*", "a.example", false},
      {Dialect::kApache, "*", "b.a.example", true},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(HasName(SiteWith({"other", each.own}, {}), each.dialect, each.name), each.has)
        << each.own << " and " << each.name;
  }
}

TEST(Sites, HaveAddresses) {
  const struct {
    Dialect dialect;
    const char* own;
    const char* address;
    bool has;
  } cases[] = {
      {Dialect::kNginx, "*:80", "80", true},
      {Dialect::kNginx, "127.0.0.1:80", "80", true},
      {Dialect::kNginx, "*:8080", "80", false},
      {Dialect::kNginx, "[::1]:80", "80", true},
      {Dialect::kNginx, "*:80", "0.0.0.0:80", true},
      {Dialect::kNginx, "127.0.0.1:80", "*:80", false},
      {Dialect::kNginx, "127.0.0.1:81", "127.0.0.1", true},
      {Dialect::kNginx, "127.0.0.1:81", "127.0.0.1:80", false},
      {Dialect::kNginx, "[::1]:81", "[0::1]", true},
      {Dialect::kNginx, "[::1]:81", "[0::1]:81", true},
      {Dialect::kNginx, "[::1]:81", "[0::2]", false},
      {Dialect::kNginx, "*:443/udp", "443", true},
      {Dialect::kNginx, "*:443/udp", "*:443", true},
      {Dialect::kNginx, "*:443/udp", "*:443/udp", true},
      {Dialect::kNginx, "*:443", "*:443/udp", false},
      {Dialect::kNginx, "unix:/run/a", "unix:/run/a", true},
      {Dialect::kNginx, "unix:/run/a", "unix:/run/b", false},
      {Dialect::kApache, "*:80", "_default_:80", true},
      {Dialect::kApache, "*:80", "*", true},
      {Dialect::kApache, "10.0.0.1:80", "10.0.0.1", true},
      {Dialect::kApache, "10.0.0.1:80", "10.0.0.11", false},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(HasAddress(SiteWith({}, {"*:9", each.own}), each.dialect, each.address), each.has)
        << each.own << " and " << each.address;
  }
}

}  // namespace
