// SPDX-License-Identifier: Apache-2.0

// The collisions of a server's files, beside what the real httpd says of its hosts.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "document/ascii.h"
#include "edit/request.h"
#include "server/server_collisions.h"
#include "server/server_edit.h"
#include "server/server_files.h"
#include "server/server_folder.h"
#include "server/sites.h"

namespace {

using Texts = std::vector<std::string>;

constexpr char kMain[] =
    "ServerName main.example\nPidFile httpd.pid\nErrorLog logs/error.log\n"
    "LoadModule mpm_event_module /usr/lib/apache2/modules/mod_mpm_event.so\n"
    "LoadModule authz_core_module /usr/lib/apache2/modules/mod_authz_core.so\n";

// A host, by the place where its section begins: "FILE:LINE".
using Host = std::string;

// The hosts that httpd has on each address, with the names that each has. Of a host that is alone
// on its address httpd lists no aliases.
using Dump = std::map<std::string, std::map<Host, std::set<std::string>>>;

Dump ReadDump(const std::string& output) {
  static const std::regex address(R"(^(\S+:\S+)\s+is a NameVirtualHost$)");
  static const std::regex alone(R"(^(\S+:\S+)\s+(\S+) \((\S+:\d+)\)$)");
  static const std::regex host(R"(^\s+port \S+ namevhost (\S+) \((\S+:\d+)\)$)");
  static const std::regex alias(R"(^\s+alias (\S+)$)");
  Dump dump;
  std::istringstream lines(output);
  std::smatch match;
  std::string on;
  Host last;
  for (std::string line; std::getline(lines, line);) {
    if (std::regex_match(line, match, address)) {
      on = match[1];
    } else if (std::regex_match(line, match, alone)) {
      dump[match[1]][match[3]].insert(match[2]);
    } else if (std::regex_match(line, match, host)) {
      last = match[2];
      dump[on][last].insert(match[1]);
    } else if (std::regex_match(line, match, alias)) {
      dump[on][last].insert(match[1]);
    }
  }
  return dump;
}

// "NAME on ADDRESS: HOST HOST" of each name that several hosts on one address have.
std::set<std::string> CollisionsIn(const Dump& dump) {
  std::set<std::string> collisions;
  for (const auto& [address, hosts] : dump) {
    std::map<std::string, std::set<Host>> by_name;
    for (const auto& [host, names] : hosts) {
      for (const std::string& name : names) by_name[tov_document::Lower(name)].insert(host);
    }
    for (const auto& [name, several] : by_name) {
      if (several.size() < 2) continue;
      std::string collision = name + " on " + address + ":";
      for (const Host& each : several) collision += ' ' + each;
      collisions.insert(collision);
    }
  }
  return collisions;
}

// The same of what was found.
std::set<std::string> CollisionsIn(const std::vector<tov_edit::Finding>& findings) {
  static const std::regex answer(R"((?:both|all) answer to (.*) on (\S+), and the server)");
  static const std::regex quoted("'([^']*)'");
  std::set<std::string> collisions;
  for (const tov_edit::Finding& finding : findings) {
    std::smatch match;
    if (!std::regex_search(finding.message, match, answer)) continue;
    std::set<Host> hosts;
    for (const tov_edit::FilePlace& place : finding.config_places) {
      hosts.insert(place.file + ':' + std::to_string(place.line));
    }
    const std::string names = match[1];
    for (std::sregex_iterator name(names.begin(), names.end(), quoted), end; name != end; ++name) {
      std::string collision = name->str(1) + " on " + match.str(2) + ":";
      for (const Host& each : hosts) collision += ' ' + each;
      collisions.insert(collision);
    }
  }
  return collisions;
}

// The hosts with their addresses, "HOST on ADDRESS".
std::set<std::string> HostsIn(const Dump& dump) {
  std::set<std::string> hosts;
  for (const auto& [address, on_it] : dump) {
    for (const auto& host : on_it) hosts.insert(host.first + " on " + address);
  }
  return hosts;
}

std::set<std::string> HostsIn(const std::vector<tov_server::Site>& sites) {
  std::set<std::string> hosts;
  for (const tov_server::Site& site : sites) {
    const Host host = site.place.file + ':' + std::to_string(site.place.line);
    for (const auto& address : site.addresses) hosts.insert(host + " on " + address.address);
  }
  return hosts;
}

class Random {
 public:
  explicit Random(unsigned seed) : m_dice(seed) {}

  std::size_t Below(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(m_dice);
  }
  const std::string& OneOf(const Texts& texts) { return texts[Below(texts.size())]; }

 private:
  std::mt19937 m_dice;
};

std::string HostText(Random& random) {
  static const Texts addresses = {"*:8481",
                                  "[::]:8481",
                                  "0.0.0.0:8481",
                                  "_default_:8481",
                                  "_DEFAULT_:08481",
                                  "[0:0::0]:8481",
                                  "0:8481",
                                  "*",
                                  "[::]",
                                  "*:*",
                                  "127.0.0.1:8481",
                                  "127.1:8481",
                                  "[::ffff:127.0.0.1]:8481",
                                  "[::ffff:0.0.0.0]:8481",
                                  "[::1]:8481",
                                  "[0:0::1]:8481",
                                  "[::127.0.0.1]:8481"};
  static const Texts names = {"a.example", "A.example", "b.example", "c.example", "d.example"};
  std::string text = "<VirtualHost " + random.OneOf(addresses);
  if (random.Below(3) == 0) text += ' ' + random.OneOf(addresses);
  text += ">\n  ServerName " + random.OneOf(names) + "\n";
  if (random.Below(3) == 0)
    text += "  ServerAlias " + random.OneOf({"e.example", "f.example"}) + "\n";
  return text + "</VirtualHost>\n";
}

// Hosts, some of them in conditions, that hold or not. Some conditions hold at one place and do not
// at another.
std::string ConditionalHosts(Random& random) {
  static const Texts openings = {"IfModule mod_ssl.c",
                                 "IfModule !mod_ssl.c",
                                 "IfModule authz_core_module",
                                 "IfModule !authz_core_module",
                                 "IfDefine on",
                                 "IfDefine !on",
                                 "IfVersion >= 2.4",
                                 "IfVersion < 2.4",
                                 "IfFile httpd.conf",
                                 "IfFile none"};
  static const Texts defines = {"", "", "Define on\n", "UnDefine on\n"};
  std::string text = random.OneOf(defines);
  for (std::size_t i = 1 + random.Below(2); i > 0; --i) {
    std::string inside = HostText(random);
    if (random.Below(3) == 0) {
      const std::string& around = random.OneOf(openings);
      const std::string alias = "  <" + around + ">\n  ServerAlias b.example\n  </" +
                                around.substr(0, around.find(' ')) + ">\n";
      inside.insert(inside.rfind("</"), alias);
    }
    for (std::size_t depth = random.Below(3); depth > 0; --depth) {
      const std::string& around = random.OneOf(openings);
      inside = "<" + around + ">\n" + inside + "</" + around.substr(0, around.find(' ')) + ">\n";
    }
    text += inside;
  }
  return text;
}

class HttpdsHosts : public testing::Test {
 protected:
  HttpdsHosts() : m_folder("collisions") {
    std::string output;
    std::smatch version;
    static const std::regex number(R"(Apache/(\d+\.\d+\.\d+))");
    EXPECT_TRUE(m_folder.Run("apache2 -v", output));
    if (std::regex_search(output, version, number)) m_version = version[1];
  }

  // Writes a server with these files in sites/, and has httpd and the library say what it is.
  void Compare(const std::string& main, const Texts& sites) {
    std::filesystem::remove_all(m_folder.Path() + "/sites");
    std::filesystem::create_directories(m_folder.Path() + "/sites");
    const std::string root = "ServerRoot " + m_folder.Path() + "\n";
    m_folder.Write("httpd.conf", root + kMain + main + "IncludeOptional sites/*\n");
    std::string all = main;
    for (std::size_t i = 0; i < sites.size(); ++i) {
      m_folder.Write("sites/" + std::to_string(i), sites[i]);
      all += "# sites/" + std::to_string(i) + "\n" + sites[i];
    }
    SCOPED_TRACE(all);
    const Dump dump = DumpNow();
    const tov_server::Sites read = tov_server::ReadSites(Reading());
    EXPECT_EQ(HostsIn(read.sites), HostsIn(dump));
    const std::set<std::string> expected = CollisionsIn(dump);
    EXPECT_EQ(CollisionsIn(tov_server::CollisionsOf(read.server)), expected);
    m_collisions += expected.size();
  }

  tov_server::ReadingOptions Reading() const {
    tov_server::ReadingOptions reading;
    reading.dialect = tov_server::Dialect::kApache;
    reading.main = m_folder.Path() + "/httpd.conf";
    reading.version = m_version;
    return reading;
  }

  // What httpd says of the files as they are.
  Dump DumpNow() const {
    std::string output;
    EXPECT_TRUE(m_folder.Run("apache2 -S -f " + m_folder.Path() + "/httpd.conf", output)) << output;
    return ReadDump(output);
  }

  // Gives a host another name, which it has among `names` then. Whether that is refused for
  // collisions is what httpd's dump says of the edited files.
  void Rename(const std::string& from, const std::string& to) {
    SCOPED_TRACE(from + " to " + to);
    tov_edit::Request request;
    request.template_text = "<VirtualHost *:8481>\n  ServerName {% $name %}\n</VirtualHost>\n";
    request.values = {{"name", {from, to}}};
    const tov_server::ServerFiles server = tov_server::ReadServer(Reading());
    const tov_server::ServerResult result = tov_server::EditServer(request, server);
    request.forced.insert("collision");
    const tov_server::ServerResult forced = tov_server::EditServer(request, server);
    if (!forced.refusals.empty()) return;  // there is no such host, or several are
    const std::set<std::string> before = CollisionsIn(DumpNow());
    for (const tov_server::FileEdit& file : forced.files) WriteTo(file.name, file.text);
    const std::set<std::string> after = CollisionsIn(DumpNow());
    for (const tov_server::FileEdit& file : forced.files) WriteTo(file.name, file.old_text);
    const bool collides = after.size() > before.size();
    EXPECT_EQ(!result.refusals.empty(), collides) << testing::PrintToString(after);
    ++(collides ? m_refused : m_made);
  }

  static void WriteTo(const std::string& name, const std::string& text) {
    std::ofstream(name, std::ios::binary) << text;
  }

  const ServerFolder m_folder;
  std::string m_version;
  std::size_t m_collisions = 0;  // all that there were
  std::size_t m_refused = 0;     // renames
  std::size_t m_made = 0;
};

TEST_F(HttpdsHosts, AreOnTheAddressesThatHttpdSays) {
  Random random(1);
  for (int tree = 0; tree < 30; ++tree) {
    Texts sites;
    for (std::size_t i = 2 + random.Below(3); i > 0; --i) {
      sites.push_back(HostText(random));
      if (random.Below(3) == 0) sites.back() += HostText(random);
    }
    Compare("Listen 8481\n" + HostText(random), sites);
    if (HasFailure()) return;
  }
  EXPECT_GT(m_collisions, 20U);
}

TEST_F(HttpdsHosts, CountWhereTheirConditionsHold) {
  ASSERT_NE(m_version, "");
  Random random(2);
  for (int tree = 0; tree < 40; ++tree) {
    Texts sites;
    for (std::size_t i = 2 + random.Below(4); i > 0; --i) {
      sites.push_back(ConditionalHosts(random));
    }
    Compare("Listen 8481\n" + ConditionalHosts(random), sites);
    if (HasFailure()) return;
  }
  EXPECT_GT(m_collisions, 20U);
}

TEST_F(HttpdsHosts, AreRefusedANameThatOneHasThatCounts) {
  const auto host = [](const std::string& name) {
    return "<VirtualHost *:8481>\nServerName " + name + "\n</VirtualHost>\n";
  };
  const auto in = [](const std::string& condition, const std::string& text) {
    return "<" + condition + ">\n" + text + "</" + condition.substr(0, condition.find(' ')) + ">\n";
  };
  Compare("Define on\nListen 8481\n",
          {host("a.example"), in("IfModule mod_ssl.c", host("off.example")),
           in("IfModule !mod_ssl.c", host("on.example")),
           in("IfDefine on", host("first.example")) + "UnDefine on\n" +
               in("IfDefine on", host("second.example")),
           in("IfModule mod_ssl.c", in("IfDefine !on", host("inner.example"))),
           host("b.example") + in("IfModule mod_ssl.c", host("beside.example"))});
  for (const char* const to : {"off.example", "on.example", "first.example", "second.example",
                               "inner.example", "beside.example", "b.example", "new.example"}) {
    Rename("a.example", to);
    Rename("b.example", to);  // in the file that has a condition
    Rename("first.example", to);
  }
  EXPECT_GE(m_refused, 6U);
  EXPECT_GE(m_made, 12U);
}

TEST_F(HttpdsHosts, AreServedByAListenThatCounts) {
  const std::string listen = "<IfModule mod_ssl.c>\nListen 8482\n</IfModule>\n";
  const std::string host = "<VirtualHost *:8482>\nServerName a.example\n</VirtualHost>\n";
  Compare("Listen 8481\n" + listen, {host});
  const auto findings = tov_server::CollisionsOf(tov_server::ReadServer(Reading()));
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_THAT(findings.front().message,
              testing::HasSubstr("is for *:8482, on which the server does not listen"));
  Compare("Listen 8481\n<IfModule !mod_ssl.c>\nListen 8482\n</IfModule>\n", {host});
  EXPECT_THAT(tov_server::CollisionsOf(tov_server::ReadServer(Reading())), testing::IsEmpty());
}

}  // namespace
