// SPDX-License-Identifier: Apache-2.0

// The collisions of servers of several files.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "server/server_collisions.h"
#include "server_edit/written_tree.h"

namespace server_edit {
namespace {

struct Case {
  std::string what;
  Dialect dialect;
  std::vector<NamedText> files;
  std::string said;  // with the places in front; "" for nothing
};

void PrintTo(const Case& test, std::ostream* stream) {
  *stream << test.what;
}

std::string Host(const std::string& address, const std::string& names) {
  return "<VirtualHost " + address + ">\n" + names + "</VirtualHost>\n";
}

const std::vector<Case> kCases = {
    {"names of two files on one address, written in two ways",
     Dialect::kNginx,
     {{"main", "http {\n  include sites/*;\n}\n"},
      {"sites/a", "server {\n  listen 80;\n  server_name a b c;\n}\n"},
      {"sites/b", "server {\n  listen *:80;\n  server_name C B;\n}\n"}},
     "/s/sites/a:1:1 /s/sites/b:1:1: /s/sites/a:1:1 'server' (a, b, c, *:80) and /s/sites/b:1:1 "
     "'server' (c, b, *:80) both answer to 'b', 'c' on *:80, and the server would ignore all but "
     "the first of them\n"},
    {"no names at all",
     Dialect::kNginx,
     {{"main", "http {\n  include sites/*;\n}\n"},
      {"sites/a", "server {\n}\n"},
      {"sites/b", "server {\n  listen 80;\n}\n"}},
     "/s/sites/a:1:1 /s/sites/b:1:1: /s/sites/a:1:1 'server' and /s/sites/b:1:1 'server' (*:80) "
     "both state no name on *:80, and the server would ignore all but the first of them\n"},
    {"one name on two addresses",
     Dialect::kNginx,
     {{"main", "http {\n  include sites/*;\n}\n"},
      {"sites/a", "server {\n  listen 80;\n  server_name a;\n}\n"},
      {"sites/b", "server {\n  listen 81;\n  server_name a;\n}\n"}},
     ""},
    {"default servers of two files",
     Dialect::kNginx,
     {{"main", "http {\n  include a;\n  include b;\n}\n"},
      {"a", "server {\n  listen 80 default_server;\n  server_name a;\n}\n"},
      {"b", "server {\n  listen 80 default;\n  server_name b;\n}\n"}},
     "/s/a:1:1 /s/b:1:1: /s/a:1:1 'server' (a, *:80) and /s/b:1:1 'server' (b, *:80) both are the "
     "default server of *:80, and nginx takes one of them only\n"},
    {"options of one socket in two files",
     Dialect::kNginx,
     {{"main", "http {\n  include a;\n  include b;\n}\n"},
      {"a", "server {\n  listen 80 reuseport;\n  server_name a;\n}\n"},
      {"b", "server {\n  listen 80 backlog=9;\n  listen 81 backlog=9;\n  server_name b;\n}\n"}},
     "/s/a:2:3 /s/b:2:3: /s/a:2:3 'listen 80 reuseport;' and /s/b:2:3 'listen 80 backlog=9;' both "
     "set options of the socket of *:80, and nginx takes them from one of them only\n"},
    {"options that are not the socket's",
     Dialect::kNginx,
     {{"main", "http {\n  include a;\n  include b;\n}\n"},
      {"a",
       "server {\n  listen 443 ssl http2;\n  listen 443 quic reuseport;\n  server_name a;\n}\n"},
      {"b", "server {\n  listen 443 ssl reuseport;\n  server_name b;\n}\n"}},
     ""},
    {"an alias with a wildcard before a host that it fits",
     Dialect::kApache,
     {{"main", "Listen 80\nInclude sites/*\n"},
      {"sites/a", Host("*:80", "ServerName a.example\nServerAlias *.example\n")},
      {"sites/b", Host("*:80", "ServerName b.example\n")}},
     "/s/sites/a:1:1 /s/sites/b:1:1: /s/sites/a:1:1 'VirtualHost *:80' (a.example, *.example) and "
     "/s/sites/b:1:1 'VirtualHost *:80' (b.example) both answer to 'b.example' on *:80, and the "
     "server would ignore all but the first of them\n"},
    {"what looks like a wildcard in a ServerName, where httpd has none",
     Dialect::kApache,
     {{"main", "Listen 80\nInclude sites/*\n"},
      {"sites/a", Host("*:80", "ServerName *.example\nServerAlias a.example\n")},
      {"sites/b", Host("*:80", "ServerName b.example\n")}},
     ""},
    {"other wildcards",
     Dialect::kApache,
     {{"main", "Listen 80\nInclude sites/*\n"},
      {"sites/a", Host("*:80", "ServerName a\nServerAlias s?op*.example\n")},
      {"sites/b", Host("*:80", "ServerName b\nServerAlias shop-1.example sop.example\n")}},
     "/s/sites/a:1:1 /s/sites/b:1:1: /s/sites/a:1:1 'VirtualHost *:80' (a, s?op*.example) and "
     "/s/sites/b:1:1 'VirtualHost *:80' (b, shop-1.example, sop.example) both answer to "
     "'shop-1.example' on *:80, and the server would ignore all but the first of them\n"},
    {"an alias with a wildcard behind the hosts that it fits, and on another address",
     Dialect::kApache,
     {{"main", "Listen 80\nListen 81\nInclude sites/*\n"},
      {"sites/a", Host("*:81", "ServerName z\nServerAlias *.example\n")},
      {"sites/b", Host("*:80", "ServerName b.example\n")},
      {"sites/c", Host("*:80", "ServerName a\nServerAlias *.example\n")}},
     ""},
    {"a host on whose address nobody listens",
     Dialect::kApache,
     {{"main", "Include ports\nInclude sites/*\n"},
      {"ports", "<IfModule x>\nListen 127.0.0.1:80\n</IfModule>\nlisten 443 https\n"},
      {"sites/a", Host("*:80 10.0.0.1:443 [::1]:443 name.example:80 *", "ServerName a\n")},
      {"sites/b", Host("10.0.0.1:80", "ServerName b\n")}},
     "/s/sites/b:1:1 /s/ports:2:1 /s/ports:4:1: /s/sites/b:1:1 'VirtualHost 10.0.0.1:80' (b) is "
     "for 10.0.0.1:80, on which the server does not listen; there are /s/ports:2:1 'Listen "
     "127.0.0.1:80', /s/ports:4:1 'listen 443 https'\n"},
    {"a server of which no Listen is known, or one with a variable",
     Dialect::kApache,
     {{"main", "Include sites/*\n"},
      {"sites/a", Host("*:80", "ServerName a\n")},
      {"sites/b", Host("*:81", "ServerName b\n")}},
     ""},
    {"a Listen with a variable",
     Dialect::kApache,
     {{"main", "Listen ${PORT}\nInclude sites/*\n"}, {"sites/a", Host("*:81", "ServerName a\n")}},
     ""},
};

class EachServer : public testing::TestWithParam<Case> {};

TEST_P(EachServer, SaysWhatCollides) {
  std::string said;
  for (const auto& finding : CollisionsOf(ServerOf(GetParam().dialect, GetParam().files))) {
    EXPECT_EQ(finding.name, "collision");
    EXPECT_FALSE(finding.in_result);
    for (const auto& place : finding.config_places) {
      said += (said.empty() || said.back() == '\n' ? "" : " ") + Shown(place);
    }
    said += ": " + finding.message + "\n";
  }
  EXPECT_EQ(said, GetParam().said);
}

INSTANTIATE_TEST_SUITE_P(Collisions, EachServer, testing::ValuesIn(kCases));

}  // namespace
}  // namespace server_edit
