// SPDX-License-Identifier: Apache-2.0

// The sites that httpd makes of its macros, beside what its dump says of them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "server/server_folder.h"
#include "server/sites.h"

namespace {

constexpr char kModules[] =
    "LoadModule mpm_event_module /usr/lib/apache2/modules/mod_mpm_event.so\n"
    "LoadModule authz_core_module /usr/lib/apache2/modules/mod_authz_core.so\n"
    "LoadModule macro_module /usr/lib/apache2/modules/mod_macro.so\n"
    "ServerName main.example\nPidFile httpd.pid\nErrorLog logs/error.log\nListen 8483\n"
    // httpd lists the aliases of hosts that are not alone on their address.
    "<VirtualHost *:8483>\nServerName first.example\n</VirtualHost>\n";

// "FILE:LINE: NAME ALIAS ALIAS" of each site, the names in alphabetical order.
std::vector<std::string> Lines(
    const std::vector<std::pair<std::string, std::set<std::string>>>& all) {
  std::vector<std::string> lines;
  for (const auto& [place, names] : all) {
    lines.push_back(place + ":");
    for (const std::string& name : names) lines.back() += ' ' + name;
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

// Of a host in a macro the place of the "Use" in a file.
std::vector<std::string> SitesIn(const std::string& dump) {
  static const std::regex host(R"(^\s+port \S+ namevhost (\S+) \((.*)\)$)");
  static const std::regex alias(R"(^\s+(?:wild )?alias (\S+)$)");
  static const std::regex use(R"re(used on line (\d+) of "(/[^"]*)")re");
  std::vector<std::pair<std::string, std::set<std::string>>> sites;
  std::istringstream lines(dump);
  std::smatch match;
  for (std::string line; std::getline(lines, line);) {
    if (std::regex_match(line, match, host)) {
      const std::string name = match[1];
      std::string place = match[2];
      std::smatch used;
      const std::string where = place;
      if (std::regex_search(where, used, use)) place = used.str(2) + ':' + used.str(1);
      sites.push_back({place, {name}});
    } else if (std::regex_match(line, match, alias)) {
      sites.back().second.insert(match[1]);
    }
  }
  return Lines(sites);
}

std::vector<std::string> SitesOf(const std::vector<tov_server::Site>& read) {
  std::vector<std::pair<std::string, std::set<std::string>>> sites;
  for (const tov_server::Site& site : read) {
    sites.push_back({site.place.file + ':' + std::to_string(site.place.line),
                     {site.names.begin(), site.names.end()}});
  }
  return Lines(sites);
}

TEST(SitesOfMacros, AreThoseThatHttpdMakes) {
  const ServerFolder folder("macros");
  struct Case {
    const char* name;
    std::string text;
    std::size_t sites;
  };
  const std::string site =
      "<Macro Site $name>\n<VirtualHost *:8483>\n  ServerName $name.example\n"
      "  ServerAlias www.$name.example\n</VirtualHost>\n</Macro>\n";
  const Case cases[] = {
      {"none", "", 0},
      {"a macro that nobody uses", site, 0},
      {"several uses", site + "Use Site a\nuse SITE b\n", 2},
      {"arguments of all kinds",
       "<Macro Site $a %b @c d>\n<VirtualHost *:%b>\nServerName $a.example\n"
       "ServerAlias @c d.example %bx\n</VirtualHost>\n</Macro>\n"
       "Define port 8483\nUse Site a ${port} \"one.example\" end\n",
       1},
      {"names that begin alike",
       "<Macro Site $n $name>\n<VirtualHost *:8483>\nServerName $name.$n.$na\n"
       "</VirtualHost>\n</Macro>\nUse Site short long\n",
       1},
      {"an argument with the name of another",
       "<Macro Site $a $b>\n<VirtualHost *:8483>\nServerName $a.$b\n</VirtualHost>\n</Macro>\n"
       "Use Site $b x\n",
       1},
      {"a macro in a macro",
       site + "<Macro Pair $n>\nUse Site $n\nUse Site second-$n\n</Macro>\nUse Pair a\n", 2},
      {"in a host",
       "<Macro Name $n>\nServerName $n\n</Macro>\n"
       "<VirtualHost *:8483>\nUse Name a.example\n</VirtualHost>\n",
       1},
      {"conditions are asked when it is used",
       "<Macro Site $n>\n<VirtualHost *:8483>\nServerName $n.example\n<IfDefine on>\n"
       "ServerAlias on.$n.example\n</IfDefine>\n</VirtualHost>\n</Macro>\n"
       "Use Site a\nDefine on\nUse Site b\n",
       2},
      {"a use that does not hold",
       site + "<IfModule mod_none.c>\nUse Site a\n</IfModule>\n<IfModule mod_macro.c>\n"
              "Use Site b\n</IfModule>\n",
       1},
      {"what a macro defines counts when it is used",
       "<Macro Set $v>\nDefine value $v\n</Macro>\nUse Set one\n"
       "<VirtualHost *:8483>\nServerName ${value}.example\n</VirtualHost>\n",
       1},
      {"a macro that is defined anew",
       site + "Use Site a\nUndefMacro Site\n<Macro Site $n>\n<VirtualHost *:8483>\n"
              "ServerName other.$n\n</VirtualHost>\n</Macro>\nUse Site a\n",
       2},
      {"files that a macro includes",
       "<Macro Read $name>\nInclude $name.conf\n</Macro>\nUse Read included\n", 1},
  };
  folder.Write("included.conf",
               "# one\n<VirtualHost *:8483>\nServerName included.example\n</VirtualHost>\n");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string main = folder.Path() + "/httpd.conf";
    folder.Write("httpd.conf", "ServerRoot " + folder.Path() + "\n" + kModules + c.text +
                                   "<VirtualHost *:8483>\nServerName last.example\n"
                                   "</VirtualHost>\n");
    std::string output;
    ASSERT_TRUE(folder.Run("apache2 -S -f " + main, output)) << output;
    tov_server::ReadingOptions reading;
    reading.dialect = tov_server::Dialect::kApache;
    reading.main = main;
    const tov_server::Sites read = tov_server::ReadSites(reading);
    EXPECT_EQ(SitesOf(read.sites), SitesIn(output)) << output;
    EXPECT_EQ(read.sites.size(), c.sites + 2);
    EXPECT_THAT(read.server.findings, testing::IsEmpty());
  }
}

// httpd would not take them; to read them comes to an end.
TEST(SitesOfMacros, AreNotMadeForever) {
  const ServerFolder folder("macros");
  std::string doubling = "<Macro m0 $a>\n# $a\n</Macro>\n";
  for (int i = 1; i < 100; ++i) {
    const std::string before = std::to_string(i - 1);
    doubling += "<Macro m" + std::to_string(i) + " $a>\nUse m" + before + " $a$a\nUse m" + before +
                " $a\n</Macro>\n";
  }
  for (const std::string& text :
       {std::string("<Macro a>\nUse a\n</Macro>\nUse a\n"), doubling + "Use m99 x\n",
        std::string("<Macro a $x>\n</Macro>\nUse a\nUse b\nUse\nUse a 1 2\n")}) {
    folder.Write("httpd.conf", text + "<VirtualHost *:80>\nServerName a\n</VirtualHost>\n");
    tov_server::ReadingOptions reading;
    reading.dialect = tov_server::Dialect::kApache;
    reading.main = folder.Path() + "/httpd.conf";
    EXPECT_EQ(tov_server::ReadSites(reading).sites.size(), 1U);
  }
}

}  // namespace
