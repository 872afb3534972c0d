// SPDX-License-Identifier: Apache-2.0

// The collisions of a server's files, beside what the real nginx says of them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "server/nginx_server.h"
#include "server/server_collisions.h"
#include "server/server_files.h"
#include "server/server_folder.h"

namespace {

using tov_server::Dialect;
using tov_server::ServerFiles;

class Trees {
 public:
  explicit Trees(unsigned seed) : m_dice(seed) {}

  // A server's block with some of a few names on some of a few addresses.
  std::string Site(bool options) {
    // Of each line a server has one at most: nginx also warns of two names of one server.
    static const std::vector<std::vector<std::string>> kNames = {
        {"a.example", "A.example"},
        {"b.example"},
        {"*.c.example", ".c.example", "c.example"},
        {"d.*"},
        {"\"\""},
        {"~^e"}};
    static const std::vector<std::string> kAddresses = {
        "8471", "*:8471", "0.0.0.0:8471", "127.0.0.1:8471", "127.0.0.1:8472", "[::1]:8471"};
    std::string site = "server {\n";
    std::set<std::string> listened;  // nginx takes an address once in a server
    for (std::size_t i = Below(3); i > 0; --i) {
      const std::string& address = kAddresses[Below(kAddresses.size())];
      const std::string normal = address[0] == '8' || address[0] == '*' ? "0.0.0.0:8471" : address;
      if (!listened.insert(normal).second) continue;
      site += "  listen " + address + Option(options) + ";\n";
    }
    if (listened.empty()) site += "  listen 8473;\n";
    if (Below(4) > 0) {
      site += "  server_name";
      std::set<std::size_t> named;
      for (std::size_t i = 1 + Below(2); i > 0; --i) named.insert(Below(kNames.size()));
      for (const std::size_t like : named) site += " " + kNames[like][Below(kNames[like].size())];
      site += ";\n";
    }
    return site + "}\n";
  }

  std::size_t Below(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(m_dice);
  }

 private:
  std::string Option(bool options) {
    static const std::vector<std::string> kOptions = {
        "", "", "", " default_server", " backlog=64", " rcvbuf=8k"};
    return options ? kOptions[Below(kOptions.size())] : "";
  }

  std::mt19937 m_dice;
};

// The names and addresses of which nginx says that it ignores one: "a.example on 0.0.0.0:80".
std::set<std::string> Ignored(const std::string& output) {
  static const std::regex warning(R"re(conflicting server name "(.*)" on (\S+), ignored)re");
  std::set<std::string> ignored;
  for (std::sregex_iterator match(output.begin(), output.end(), warning), end; match != end;
       ++match) {
    ignored.insert(match->str(1) + " on " + match->str(2));
  }
  return ignored;
}

// ".a" is "a" and "*.a" to nginx.
std::set<std::string> Meant(const std::string& name) {
  if (name[0] != '.') return {name};
  return {name.substr(1), "*" + name};
}

bool HasOneOf(const std::set<std::string>& all, const std::set<std::string>& names) {
  return std::any_of(names.begin(), names.end(),
                     [&all](const std::string& name) { return all.count(name) != 0; });
}

// The names and addresses that the findings are about, as nginx writes them.
std::set<std::string> NamesFound(const std::vector<tov_edit::Finding>& findings) {
  static const std::regex answer(R"((?:both|all) answer to (.*) on (\S+), and the server)");
  static const std::regex nameless(R"((?:both|all) state no name on (\S+), and the server)");
  static const std::regex quoted("'([^']*)'");
  std::set<std::string> names;
  const auto address = [](const std::string& text) {
    return text.substr(0, 2) == "*:" ? "0.0.0.0" + text.substr(1) : text;
  };
  for (const tov_edit::Finding& finding : findings) {
    std::smatch match;
    if (std::regex_search(finding.message, match, nameless)) {
      names.insert(" on " + address(match.str(1)));
    }
    if (!std::regex_search(finding.message, match, answer)) continue;
    const std::string list = match.str(1);
    for (std::sregex_iterator name(list.begin(), list.end(), quoted), end; name != end; ++name) {
      names.insert(name->str(1) + " on " + address(match.str(2)));
    }
  }
  return names;
}

bool Says(const std::vector<tov_edit::Finding>& findings, const std::string& what) {
  for (const tov_edit::Finding& finding : findings) {
    if (finding.message.find(what) != std::string::npos) return true;
  }
  return false;
}

class Collisions : public testing::Test {
 protected:
  Collisions() : m_folder("collisions") {
    std::filesystem::create_directories(m_folder.Path() + "/sites");
  }

  // Writes a server of some files, and reads it. `output` becomes what nginx says of it.
  ServerFiles Make(Trees& trees, bool options, std::string& output) const {
    const std::size_t count = 2 + trees.Below(5);
    std::filesystem::remove_all(m_folder.Path() + "/sites");
    std::filesystem::create_directories(m_folder.Path() + "/sites");
    for (std::size_t i = 0; i < count; ++i) {
      std::string text = trees.Site(options);
      if (trees.Below(4) == 0) text += trees.Site(options);
      m_folder.Write("sites/" + std::to_string(i), text);
    }
    m_takes = NginxAccepts(
        m_folder,
        "events {}\nhttp {\n  access_log off;\n  include sites/*;\n" + trees.Site(options) + "}\n",
        "", output);
    tov_server::ReadingOptions reading;
    reading.dialect = Dialect::kNginx;
    reading.main = m_folder.Path() + "/nginx.conf";
    return tov_server::ReadServer(reading);
  }

  ServerFolder m_folder;
  mutable bool m_takes = false;
};

TEST_F(Collisions, AreThoseOfWhichNginxIgnoresOne) {
  Trees trees(20);
  std::size_t with = 0;
  for (int tree = 0; tree < 60; ++tree) {
    SCOPED_TRACE(tree);
    std::string output;
    const ServerFiles server = Make(trees, false, output);
    ASSERT_TRUE(m_takes) << output;
    auto found = NamesFound(CollisionsOf(server));
    // Of equal regular expressions nginx says nothing. It asks the first one, and never another.
    for (auto name = found.begin(); name != found.end();) {
      name = (*name)[0] == '~' ? found.erase(name) : std::next(name);
    }
    const std::set<std::string> ignored = Ignored(output);
    for (const std::string& name : ignored) {
      EXPECT_TRUE(HasOneOf(found, Meant(name))) << name << "\n" << output;
    }
    for (const std::string& name : found) {
      const bool said = std::any_of(ignored.begin(), ignored.end(), [&](const std::string& other) {
        return Meant(other).count(name) != 0;
      });
      EXPECT_TRUE(said) << name << "\n" << output;
    }
    if (!ignored.empty()) ++with;
  }
  EXPECT_GT(with, 20U);
}

TEST_F(Collisions, OfSocketsAreThoseThatNginxRefuses) {
  Trees trees(21);
  std::size_t refused = 0;
  for (int tree = 0; tree < 60; ++tree) {
    SCOPED_TRACE(tree);
    std::string output;
    const auto found = CollisionsOf(Make(trees, true, output));
    const bool defaults = output.find("a duplicate default server for") != std::string::npos;
    const bool options = output.find("duplicate listen options for") != std::string::npos;
    // nginx says the first one, and stops.
    EXPECT_EQ(m_takes, !defaults && !options) << output;
    if (m_takes || defaults) {
      EXPECT_EQ(Says(found, "the default server of"), defaults) << output;
    }
    if (m_takes || options) {
      EXPECT_EQ(Says(found, "set options of the socket of"), options) << output;
    }
    if (!m_takes) ++refused;
  }
  EXPECT_GT(refused, 10U);
  EXPECT_LT(refused, 50U);
}

}  // namespace
