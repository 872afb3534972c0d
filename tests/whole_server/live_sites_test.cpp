// SPDX-License-Identifier: Apache-2.0

// Servers of many files, made up with the names of real ones: which files are read, and which sites
// there are, has to be what the real servers say. They are only asked, none of them serves.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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
#include "server/sites.h"
#include "support/real_configs.h"
#include "whole_server/tree.h"

namespace {

using tov_server::Dialect;
using tov_server::Site;
using Lines = std::vector<std::string>;

constexpr unsigned kTrees = 24;  // for each server

// All that `expression` finds in `text`: its group.
Lines AllIn(const std::string& text, const std::string& expression) {
  const std::regex wanted(expression);
  Lines all;
  for (std::sregex_iterator match(text.begin(), text.end(), wanted), end; match != end; ++match) {
    all.push_back((*match)[1]);
  }
  return all;
}

// Names of sites as they stand in real configurations.
const Lines& RealNames() {
  static const Lines names = [] {
    const std::regex plain(R"re((\*\.)?[a-z0-9-]+(\.[a-z0-9-]+)+)re");
    std::set<std::string> found = {"*.c.example"};
    for (const char* const dialect : {"nginx", "apache"}) {
      for (const auto& [file, text] : RealConfigs(dialect)) {
        for (const std::string& words :
             AllIn(text, R"re((?:server_name|ServerName|ServerAlias)[ \t]+([^;\n]+))re")) {
          for (const std::string& word : AllIn(words, R"re(([^\s"']+))re")) {
            if (std::regex_match(word, plain)) found.insert(word);
          }
        }
      }
    }
    return Lines(found.begin(), found.end());
  }();
  return names;
}

class Random {
 public:
  explicit Random(unsigned seed) : m_engine(seed) {}

  std::size_t Below(std::size_t count) { return m_engine() % count; }
  bool Chance(std::size_t of) { return Below(of) == 0; }
  const std::string& OneOf(const Lines& all) { return all[Below(all.size())]; }

 private:
  std::mt19937 m_engine;
};

struct MadeSite {
  Lines names;
  Lines addresses;
};

// A server in the making.
class Maker {
 public:
  Maker(unsigned seed, Dialect dialect) : m_random(seed), m_nginx(dialect == Dialect::kNginx) {}

  // Adds sites to the text of the main file, in one way or another.
  std::string Body() {
    std::string text = m_nginx ? "" : "Define port 8082\n" + Group({"sites.default"}, true);
    const std::size_t count = 8 + m_random.Below(8);
    for (std::size_t i = 0; i < count; ++i) text += Placed(i);
    return text;
  }

  const std::vector<MadeSite>& sites() const { return m_sites; }
  const Files& files() const { return m_files; }
  const std::vector<std::pair<std::string, std::string>>& links() const { return m_links; }

 private:
  static std::string Include(const std::string& name, bool nginx) {
    return (nginx ? "include " : "Include ") + name + (nginx ? ";\n" : "\n");
  }
  std::string Include(const std::string& name) const { return Include(name, m_nginx); }

  // A site for each address of httpd, so that it lists all names.
  std::string Group(const Lines& names, bool all_addresses) {
    std::string text;
    for (const char* const port : {"8081", "8082"}) {
      if (all_addresses) text += ApacheSite({names, {std::string("*:") + port}}, "");
    }
    return text;
  }

  MadeSite NewSite() {
    MadeSite site;
    const std::size_t count = 1 + m_random.Below(3);
    for (std::size_t i = 0; i < count; ++i) {
      // Of one name each site has its own kind, so that no two collide.
      std::string name = m_random.OneOf(RealNames());
      if (name.front() == '*' && i == 0) name.erase(0, 2);
      const std::size_t star = name.front() == '*' ? 2 : 0;
      name.insert(star, "s" + std::to_string(m_sites.size()) +
                            std::string(1, static_cast<char>('a' + i)) + "-");
      site.names.push_back(name);
    }
    site.addresses.push_back(std::string("*:") + (m_random.Chance(2) ? "8081" : "8082"));
    if (m_random.Chance(3)) site.addresses.emplace_back("127.0.0.1:8083");
    return site;
  }

  std::string NginxSite(const MadeSite& site, const std::string& more) {
    std::string text = "server {\n";
    for (const std::string& address : site.addresses) {
      text += "  listen " + (address.front() == '*' ? address.substr(2) : address) + ";\n";
    }
    text += "  server_name";
    for (const std::string& name : site.names) text += ' ' + name;
    return text + ";\n" + more + "}\n";
  }

  std::string ApacheSite(const MadeSite& site, const std::string& more) {
    std::string text = "<VirtualHost";
    for (const std::string& address : site.addresses) text += ' ' + address;
    text += ">\n  ServerName " + site.names.front() + "\n";
    for (std::size_t i = 1; i < site.names.size(); ++i)
      text += "  ServerAlias " + site.names[i] + "\n";
    return text + more + "</VirtualHost>\n";
  }

  std::string TextOf(const MadeSite& site, const std::string& more = "") {
    m_sites.push_back(site);
    return m_nginx ? NginxSite(site, more) : ApacheSite(site, more);
  }

  // A new site, and what includes it.
  std::string Placed(std::size_t i) {
    const std::string number = std::to_string(i);
    const MadeSite site = NewSite();
    switch (m_random.Below(m_nginx ? 8 : 13)) {
      case 0:
        return TextOf(site);
      case 1:
        m_files["one/" + number + ".conf"] = TextOf(site);
        return Include("one/" + number + ".conf");
      case 2:
        m_files["one/" + number + ".conf"] = TextOf(site);
        return Include("\"DIR/one/" + number + ".conf\"");
      case 3: {
        const std::string folder = "many" + number + "/";
        m_files[folder + "b.conf"] = TextOf(site);
        m_files[folder + "a.conf"] = TextOf(NewSite());
        m_files[folder + "a.conf~"] = "not read\n";
        m_files[folder + ".a.conf"] = "not read\n";
        return Include(folder + "*.conf");
      }
      case 4:
        m_files["available/" + number] = TextOf(site);
        m_links.emplace_back("../available/" + number, "enabled" + number + "/x");
        return Include("enabled" + number + "/[x-z]*");
      case 5:
        m_files["deep/" + number + "/group"] = Include("deep/" + number + "/site") + "# end";
        m_files["deep/" + number + "/site"] = TextOf(site);
        return Include("deep/" + number + "/gr?up");
      case 6: {
        // What stands in a file that is included in the block is the site's.
        MadeSite whole = site;
        m_files["part/" + number] = m_nginx ? "server_name x" + number + ".example;\n"
                                            : "ServerAlias x" + number + ".example\n";
        const std::string text = m_nginx ? NginxSite(site, Include("part/" + number))
                                         : ApacheSite(site, Include("part/" + number));
        whole.names.push_back("x" + number + ".example");
        m_sites.push_back(whole);
        return text;
      }
      case 7:
        m_files["folders" + number + "/a/on/site"] = TextOf(site);
        m_files["folders" + number + "/b/on/site"] = TextOf(NewSite());
        m_files["folders" + number + "/b/off/site"] = "not read\n";
        return Include("folders" + number + "/*/on/s*");
      default:
        return PlacedForApache(site, number);
    }
  }

  // In ways that nginx does not have.
  std::string PlacedForApache(const MadeSite& site, const std::string& number) {
    const std::string hidden = "<VirtualHost *:8081>\nServerName hidden.example\n</VirtualHost>\n";
    switch (m_random.Below(6)) {
      case 0:
        m_files["whole" + number + "/.b"] = TextOf(site);
        m_files["whole" + number + "/below/a"] = TextOf(NewSite());
        return Include("whole" + number);
      case 1:
        return "<IfModule mod_unixd.c>\n" + TextOf(site) + "</IfModule>\n<IfModule no_module>\n" +
               Include("nowhere") + hidden + "</IfModule>\n<IfModule !core.c>\n" + hidden +
               "</IfModule>\n";
      case 2:
        return "Define on" + number + "\n<IfDefine on" + number + ">\n" + TextOf(site) +
               "</IfDefine>\nUnDefine on" + number + "\n<IfDefine on" + number + ">\n" + hidden +
               "</IfDefine>\nIncludeOptional nowhere\nIncludeOptional no*/where/*\n";
      case 3:
        // One file for two sites.
        m_files["twice" + number] =
            "<VirtualHost *:${Port}>\nServerName ${name}.example\nServerAlias ${name}.*\n"
            "</VirtualHost>\n";
        for (const char* const letter : {"a", "b"}) {
          m_sites.push_back({{letter + number + ".example", letter + number + ".*"}, {"*:8082"}});
        }
        return "Define name a" + number + "\n" + Include("twice" + number) +
               "UnDefine name\nDefine name b" + number + "\n" + Include("twice" + number);
      case 4:
        m_files["root" + number + "/site"] = TextOf(site);
        return "ServerRoot DIR/root" + number + "\n" + Include("site") + "ServerRoot DIR\n";
      default:
        return "<IfVersion >= 2.4>\n" + TextOf(site) + "</IfVersion>\n<IfFile one/no>\n" + hidden +
               "</IfFile>\n<IfFile !one/no>\n" + TextOf(NewSite()) + "</IfFile>\n";
    }
  }

  Random m_random;
  const bool m_nginx;
  std::vector<MadeSite> m_sites;
  Files m_files;
  std::vector<std::pair<std::string, std::string>> m_links;  // to, from
};

void Put(const Maker& maker, const Tree& tree) {
  for (const auto& [name, text] : maker.files()) tree.Write(name, text);
  for (const auto& [to, from] : maker.links()) tree.Link(to, from);
}

Lines Sorted(Lines lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

Lines WithoutRepetition(Lines lines) {
  lines = Sorted(std::move(lines));
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  return lines;
}

Lines FileNames(const tov_server::ServerFiles& server) {
  Lines names;
  for (const auto& file : server.files) names.push_back(file.name);
  return Sorted(names);
}

// "a.example b.example on *:80".
std::string LineOf(const Lines& names, const Lines& addresses) {
  std::string line;
  for (const std::string& name : names) line += name + ' ';
  line += "on";
  for (const std::string& address : addresses) line += ' ' + address;
  return line;
}

Lines LinesOf(const std::vector<Site>& sites) {
  Lines lines;
  for (const Site& site : sites) {
    Lines addresses;
    for (const auto& address : site.addresses) addresses.push_back(address.address);
    lines.push_back(LineOf(site.names, addresses));
  }
  return lines;
}

Lines LinesOf(const std::vector<MadeSite>& sites) {
  Lines lines;
  for (const MadeSite& site : sites) lines.push_back(LineOf(site.names, site.addresses));
  return lines;
}

// Finds the servers where a user's PATH does not lead.
Outcome Ask(const Tree& tree, Lines command) {
  command.insert(command.begin(), {"sh", "-c", "PATH=$PATH:/usr/sbin exec \"$@\"", "sh"});
  return tree.sandbox().Run(command);
}

class Nginx : public testing::TestWithParam<unsigned> {};

// nginx shows the files that it reads. Of sites it says which names it had on an address before:
// a server is added for each name and each address of each site that was found.
TEST_P(Nginx, SeesTheSame) {
  Maker maker(GetParam(), Dialect::kNginx);
  const std::string body = maker.Body();
  const Tree tree(Files{});
  const auto write = [&](const std::string& more) {
    std::string text = "pid DIR/nginx.pid;\nevents {}\nhttp {\naccess_log off;\n";
    for (const char* const kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
      text += std::string(kind) + "_temp_path DIR/" + kind + ";\n";
    }
    tree.Write("nginx.conf", text + body + more + "}\n");
  };
  Put(maker, tree);
  write("");
  const auto read = ReadSites(tree.Options(Dialect::kNginx, "nginx.conf"));
  EXPECT_TRUE(read.server.findings.empty());
  EXPECT_EQ(Sorted(LinesOf(read.sites)), Sorted(LinesOf(maker.sites())));

  const Lines command = {"nginx",          "-e", "stderr", "-p",
                         tree.Directory(), "-T", "-c",     tree.PathOf("nginx.conf")};
  const Outcome said = Ask(tree, command);
  ASSERT_EQ(said.exit_code, 0) << said.err << body;
  EXPECT_EQ(FileNames(read.server), Sorted(AllIn(said.out, "# configuration file (.*):\n")));
  EXPECT_THAT(said.err, testing::Not(testing::HasSubstr("conflicting")));

  std::string more;
  Lines expected;
  for (const Site& site : read.sites) {
    for (const auto& address : site.addresses) {
      const std::string listen =
          address.address.front() == '*' ? address.address.substr(2) : address.address;
      for (const std::string& name : site.names) {
        more += "server { listen " + listen + "; server_name " + name + "; }\n";
        const bool any = address.address.front() == '*';
        expected.push_back('"' + name + "\" on " + (any ? "0.0.0.0:" + listen : listen));
      }
    }
  }
  write(more);
  const Outcome again = Ask(tree, command);
  ASSERT_EQ(again.exit_code, 0) << again.err;
  EXPECT_EQ(Sorted(AllIn(again.err, "conflicting server name (.*), ignored")), Sorted(expected));
}

INSTANTIATE_TEST_SUITE_P(Trees, Nginx, testing::Range(0U, kTrees));

// --- httpd ---

// The sites as httpd lists them: "ADDRESS: NAME ALIASES (FILE:LINE)".
Lines HostsIn(const std::string& output) {
  static const std::regex address(R"re(^(\S+) +is a NameVirtualHost$)re");
  static const std::regex single(R"re(^(\S+) +(\S+) \((.*)\)$)re");
  static const std::regex host(R"re(^ +port \S+ namevhost (\S+) \((.*)\)$)re");
  static const std::regex alias(R"re(^ +(?:wild )?alias (\S+)$)re");
  struct Host {
    std::string address;
    Lines names;
    std::string place;
  };
  std::vector<Host> hosts;
  std::string on;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (std::regex_match(line, match, address)) {
      on = match[1];
    } else if (std::regex_match(line, match, single)) {
      hosts.push_back({match[1], {match[2]}, match[3]});
    } else if (std::regex_match(line, match, host)) {
      hosts.push_back({on, {match[1]}, match[2]});
    } else if (std::regex_match(line, match, alias)) {
      hosts.back().names.push_back(match[1]);
    }
  }
  Lines shown;
  for (Host& each : hosts) {
    std::sort(each.names.begin() + 1, each.names.end());
    shown.push_back(tov_document::Lower(LineOf(each.names, {each.address})) + ' ' + each.place);
  }
  return Sorted(shown);
}

Lines HostsOf(const std::vector<Site>& sites) {
  Lines shown;
  for (const Site& site : sites) {
    Lines names = site.names;
    if (names.empty()) names.emplace_back("main.example");
    std::sort(names.begin() + 1, names.end());
    for (const auto& address : site.addresses) {
      shown.push_back(LineOf(names, {address.address}) + ' ' + site.place.file + ':' +
                      std::to_string(site.place.line));
    }
  }
  return Sorted(shown);
}

constexpr char kApacheMain[] =
    "ServerRoot DIR\nPidFile DIR/pid\nErrorLog DIR/log\nServerName main.example\nListen "
    "127.0.0.1:8081\nLoadModule mpm_event_module /usr/lib/apache2/modules/mod_mpm_event.so\n"
    "LoadModule authz_core_module /usr/lib/apache2/modules/mod_authz_core.so\n";

Outcome AskHttpd(const Tree& tree) {
  return Ask(tree, {"apache2", "-t", "-D", "DUMP_INCLUDES", "-D", "DUMP_VHOSTS", "-f",
                    tree.PathOf("httpd.conf")});
}

void ExpectAsHttpdSays(const Tree& tree, const Outcome& said, const tov_server::Sites& read) {
  EXPECT_EQ(HostsOf(read.sites), HostsIn(said.out));
  EXPECT_EQ(FileNames(read.server), WithoutRepetition(AllIn(said.out, "\n +\\([0-9*]+\\) (.*)")));
  EXPECT_TRUE(read.server.findings.empty()) << tree.Relative(Shown(read.server.findings.front()));
}

class Httpd : public testing::TestWithParam<unsigned> {};

TEST_P(Httpd, SeesTheSame) {
  Maker maker(GetParam(), Dialect::kApache);
  const std::string body = maker.Body();
  const Tree tree(Files{{"httpd.conf", kApacheMain + body}});
  Put(maker, tree);
  tov_server::ReadingOptions options = tree.Options(Dialect::kApache, "httpd.conf");
  options.version = "2.4.62";
  const auto read = ReadSites(options);
  Lines expected = LinesOf(maker.sites());
  expected.insert(expected.end(), {"sites.default on *:8081", "sites.default on *:8082"});
  EXPECT_EQ(Sorted(LinesOf(read.sites)), Sorted(expected)) << body;
  const Outcome said = AskHttpd(tree);
  ASSERT_EQ(said.exit_code, 0) << said.err << body;
  ExpectAsHttpdSays(tree, said, read);
}

INSTANTIATE_TEST_SUITE_P(Trees, Httpd, testing::Range(0U, kTrees));

// Each real configuration that httpd takes is included by a server, by two names: of a site that is
// alone on its address, httpd shows no aliases. Logs go where the test has a directory.
TEST(RealConfigs, HaveTheSitesThatHttpdSees) {
  std::size_t taken = 0;
  std::size_t sites = 0;
  std::string main = kApacheMain;
  for (const char* const module : {"alias", "dir", "rewrite", "ssl", "headers", "mime", "setenvif",
                                   "env", "proxy", "authz_host", "autoindex", "socache_shmcb"}) {
    main += std::string("LoadModule ") + module + "_module /usr/lib/apache2/modules/mod_" + module +
            ".so\n";
  }
  main += "Define APACHE_LOG_DIR DIR\nDefine APACHE_RUN_DIR DIR\n";
  const std::regex logs("/var/log/(apache2|httpd)");
  for (const auto& [name, text] : RealConfigs("apache")) {
    SCOPED_TRACE(name);
    const Tree tree(Files{{"httpd.conf", main + "Include sites\n"}});
    std::ofstream(tree.PathOf("site"), std::ios::binary)
        << std::regex_replace(text, logs, tree.Directory());
    tree.Link("../site", "sites/b");
    tree.Link("../site", "sites/a");
    const Outcome said = AskHttpd(tree);
    if (said.exit_code != 0 || said.err.find("Invalid address") != std::string::npos) continue;
    tov_server::ReadingOptions options = tree.Options(Dialect::kApache, "httpd.conf");
    options.version = "2.4.62";
    const auto read = ReadSites(options);
    ++taken;
    sites += read.sites.size();
    // Here the file has one name, there two; there "[::]" is the same as "*".
    Lines ours = HostsOf(read.sites);
    Lines theirs = HostsIn(said.out);
    for (std::string& line : ours) line = std::regex_replace(line, std::regex(R"(\[::\])"), "*");
    for (std::string& line : theirs) {
      line = std::regex_replace(line, std::regex("/sites/b:"), "/sites/a:");
    }
    EXPECT_EQ(WithoutRepetition(ours), WithoutRepetition(theirs)) << said.err;
    EXPECT_EQ(read.sites.size() % 2, 0U);
  }
  EXPECT_GE(taken, 20U);
  EXPECT_GE(sites, 22U);
}

}  // namespace
