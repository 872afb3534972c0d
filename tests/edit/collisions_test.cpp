// SPDX-License-Identifier: Apache-2.0

// Servers that are in each other's way within one text: which do, and how it is said. Those of
// several files, and what nginx says itself, have tests of their own (tests/server_edit).
#include "edit/collisions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "document/document.h"
#include "edit/collision_findings.h"
#include "edit/match/contents.h"

namespace tov_edit {
namespace {

// One line for each: what it says, and the line that it shows.
std::string Said(Dialect dialect, const std::string& text, Extent extent = Extent::kPart) {
  const Document document(dialect, text);
  std::string said;
  for (const Finding& finding : CollisionsIn(Contents(document), "c", extent)) {
    EXPECT_EQ(finding.name, "collision");
    said += finding.message + " [" + finding.line_text + "]\n";
  }
  return said;
}

// A server of nginx in five lines.
std::string Server(const std::string& listen, const std::string& names) {
  return "server {\n" + listen + "\nserver_name " + names + ";\n}\n\n";
}

// A host of httpd in four lines.
std::string Host(const std::string& addresses, const std::string& name, const std::string& alias) {
  return "<VirtualHost " + addresses + ">\nServerName " + name + "\nServerAlias " + alias +
         "\n</VirtualHost>\n";
}

std::string Times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

const char kIgnored[] = ", and the server would ignore all but the first of them";

// --- Names ---

TEST(Collisions, AreSaidOfTheServersThatAnswerToOneName) {
  struct Case {
    const char* name;
    std::string text;
    std::string said;
  };
  const std::string a = Server("", "a");
  const std::string five =
      "c:1:1 'server' (a) and c:6:1 'server' (a) and c:11:1 'server' (a) and c:16:1 'server' (a) "
      "and c:21:1 'server' (a)";
  const std::string of_a = std::string(" answer to 'a' on *:80") + kIgnored + " [server {]\n";
  const Case cases[] = {
      {"one", a, ""},
      {"two", Times(2, a), "c:1:1 'server' (a) and c:6:1 'server' (a) both" + of_a},
      {"three", Times(3, a),
       "c:1:1 'server' (a) and c:6:1 'server' (a) and c:11:1 'server' (a) all" + of_a},
      {"five", Times(5, a), five + " all" + of_a},
      {"six", Times(6, a), five + " and 1 more all" + of_a},
      {"eight", Times(8, a), five + " and 3 more all" + of_a},
      {"another name", a + Server("", "b"), ""},
      {"another address", a + Server("listen 81;", "a"), ""},
      {"one that is shown where it begins", "  server { server_name a; } server { server_name a; }",
       std::string("c:1:3 'server' (a) and c:1:29 'server' (a) both answer to 'a' on *:80") +
           kIgnored + " [  server { server_name a; } server { server_name a; }]\n"},
      {"names that nginx adds a dot to", Server("", ".a") + Server("", "a") + Server("", "*.a"),
       std::string("c:1:1 'server' (.a) and c:11:1 'server' (*.a) both answer to '*.a' on *:80") +
           kIgnored + " [server {]\n" +
           "c:1:1 'server' (.a) and c:6:1 'server' (a) both answer to 'a' on *:80" + kIgnored +
           " [server {]\n"},
  };
  for (const Case& c : cases) EXPECT_EQ(Said(Dialect::kNginx, c.text), c.said) << c.name;
}

TEST(Collisions, NameTheFirstOfManyNames) {
  struct Case {
    const char* names;
    const char* said;
  };
  const Case cases[] = {
      {"b a", "'a', 'b'"},
      {"a b c d e", "'a', 'b', 'c', 'd', 'e'"},
      {"a b c d e f", "'a', 'b', 'c', 'd', 'e' and more"},
  };
  for (const Case& c : cases) {
    const std::string said = Said(Dialect::kNginx, Times(2, Server("", c.names)));
    EXPECT_NE(said.find(std::string(" both answer to ") + c.said + " on *:80,"), std::string::npos)
        << said;
  }
}

TEST(Collisions, AreThoseOfServersWithoutNamesInHttpOnly) {
  const std::string two = "server {\nlisten 1;\n}\nserver {\nlisten 1;\n}\n";
  struct Case {
    const char* around;
    bool collide;
  };
  const Case cases[] = {{"", true}, {"http", true}, {"stream", false}, {"mail", false}};
  for (const Case& c : cases) {
    const std::string around = c.around;
    const std::string text = around.empty() ? two : around + " {\n" + two + "}\n";
    const std::string said = Said(Dialect::kNginx, text);
    EXPECT_EQ(said.find(" both state no name on *:1,") != std::string::npos, c.collide) << around;
    EXPECT_EQ(said.empty(), !c.collide) << around;
  }
}

TEST(Collisions, AreSaidForEachAddressThatIsShared) {
  const std::string both = "listen 80; listen 81;";
  const std::string text = Server("listen 81;", "a") + Server(both + " listen 82;", "a") +
                           Server(both, "a") + Server("listen 83;", "a");
  EXPECT_EQ(Said(Dialect::kNginx, text),
            std::string("c:1:1 'server' (a, *:81) and c:6:1 'server' (a, *:80, *:81, *:82) and "
                        "c:11:1 'server' (a, *:80, *:81) all answer to 'a' on *:81") +
                kIgnored + " [server {]\n" +
                "c:6:1 'server' (a, *:80, *:81, *:82) and c:11:1 'server' (a, *:80, *:81) both "
                "answer to 'a' on *:80" +
                kIgnored + " [server {]\n");
}

TEST(Collisions, OfANameThatBeginsWithADotAreThoseOfNginxOnly) {
  EXPECT_EQ(Said(Dialect::kNginx, Server("", ".a") + Server("", "a")).empty(), false);
  EXPECT_EQ(Said(Dialect::kNginx, Server("", ".a") + Server("", "*.a")).empty(), false);
  EXPECT_EQ(Said(Dialect::kNginx, Server("", ".a") + Server("", "b.a")), "");
  EXPECT_EQ(Said(Dialect::kApache, Host("*:80", ".a", "x") + Host("*:80", "a", "y")), "");
  EXPECT_EQ(Said(Dialect::kApache, Host("*:80", ".a", "x") + Host("*:80", "*.b", "y")), "");
}

// --- Wildcards of httpd ---

TEST(Collisions, AreThoseOfAnAliasAndANameThatItFits) {
  struct Case {
    const char* alias;
    const char* name;
    bool fits;
  };
  const Case cases[] = {
      {"*.example", "a.example", true},
      {"*.example", "a.b.example", true},
      {"*.example", "example", false},
      {"*.example", "aexample", false},
      {"*.example", "a.example.net", false},
      {"*", "a", true},
      {"www.*", "www.a", true},
      {"www.*", "ww.a", false},
      {"?.example", "a.example", true},
      {"?.example", "ab.example", false},
      {"a?", "a", false},
      {"a?", "ab", true},
      {"??", "ab", true},
      {"a*c", "abc", true},
      {"a*c", "ac", true},
      {"a*c", "abcd", false},
      {"a*bc", "abbc", true},
      {"a*bc", "abbb", false},
      {"a*b*c", "a1b2c", true},
      {"a*b*c", "a1c2b", false},
      {"a*b*c", "abbcbc", true},
      {"a*?", "a", false},
      {"a*?", "ab", true},
      {"a**", "a", true},
      {"a*?*b", "ab", false},
      {"a*?*b", "axb", true},
      {"**b", "ab", true},
  };
  for (const Case& c : cases) {
    const std::string text = Host("*:80", "first", c.alias) + Host("*:80", c.name, "other");
    const std::string said = Said(Dialect::kApache, text);
    const std::string part = std::string(" both answer to '") + c.name + "'";
    EXPECT_EQ(said.find(part) != std::string::npos, c.fits) << c.alias << ' ' << c.name;
    EXPECT_EQ(said.empty(), !c.fits) << said;
  }
}

TEST(Collisions, AreThoseOfAnAliasBeforeTheHostsOnly) {
  const std::string alias = Host("*:80", "x", "*.a");
  const std::string other = Host("*:80", "y", "*.a");
  const std::string host = Host("*:80", "b.a", "z");
  const auto both = [](const std::string& first, const std::string& second,
                       const std::string& name) {
    return first + " and " + second + " both answer to '" + name + "' on *:80" + kIgnored +
           " [<VirtualHost *:80>]\n";
  };
  const std::string of_x = "'VirtualHost *:80' (x, *.a)";
  const std::string of_y = "'VirtualHost *:80' (y, *.a)";
  const std::string of_b = "'VirtualHost *:80' (b.a, z)";
  EXPECT_EQ(Said(Dialect::kApache, host + alias), "");
  EXPECT_EQ(Said(Dialect::kApache, alias + host), both("c:1:1 " + of_x, "c:5:1 " + of_b, "b.a"));
  EXPECT_EQ(Said(Dialect::kApache, alias + other), both("c:1:1 " + of_x, "c:5:1 " + of_y, "*.a"));
  EXPECT_EQ(Said(Dialect::kApache, alias + host + other),
            both("c:1:1 " + of_x, "c:9:1 " + of_y, "*.a") +
                both("c:1:1 " + of_x, "c:5:1 " + of_b, "b.a"));
  EXPECT_EQ(Said(Dialect::kApache, Host("*:80", "*.a", "z") + host),
            both("c:1:1 'VirtualHost *:80' (*.a, z)", "c:5:1 " + of_b, "z"))
      << "a name has no wildcards";
}

// --- Default servers, and options of sockets ---

TEST(Collisions, AreSaidOfDefaultServersOfOneAddress) {
  struct Case {
    const char* name;
    std::vector<std::string> listens;  // of a server each
    const char* said;
  };
  const Case cases[] = {
      {"one", {"listen 80 default_server;", "listen 80;"}, ""},
      {"of two addresses", {"listen 80 default_server;", "listen 81 default_server;"}, ""},
      {"two",
       {"listen 80 default;", "listen 80;", "listen *:80 default_server;"},
       "c:1:1 'server' (n0, *:80) and c:11:1 'server' (n2, *:80) both are the default server of "
       "*:80, and nginx takes one of them only [server {]\n"},
      {"three",
       {"listen 80 default;", "listen 80 default;", "listen 80 default;"},
       "c:1:1 'server' (n0, *:80) and c:6:1 'server' (n1, *:80) and c:11:1 'server' (n2, *:80) all "
       "are the default server of *:80, and nginx takes one of them only [server {]\n"},
  };
  for (const Case& c : cases) {
    std::string text;
    for (std::size_t i = 0; i < c.listens.size(); ++i) {
      text += Server(c.listens[i], "n" + std::to_string(i));
    }
    EXPECT_EQ(Said(Dialect::kNginx, text), c.said) << c.name;
  }
}

TEST(Collisions, AreSaidOfLinesWithOptionsOfOneSocket) {
  struct Case {
    const char* option;
    bool of_socket;
  };
  const Case cases[] = {
      {"bind", true},        {"deferred", true},        {"reuseport", true},
      {"backlog=5", true},   {"rcvbuf=5k", true},       {"sndbuf=5k", true},
      {"setfib=1", true},    {"fastopen=5", true},      {"accept_filter=dataready", true},
      {"ipv6only=on", true}, {"so_keepalive=on", true}, {"ssl bind", true},
      {"ssl", false},        {"http2", false},          {"proxy_protocol", false},
      {"backlogs=5", false},
  };
  for (const Case& c : cases) {
    const std::string line = std::string("listen 80 ") + c.option + ";";
    const std::string text = Server("  listen 80 bind;", "a") + Server(line, "b");
    EXPECT_EQ(Said(Dialect::kNginx, text),
              c.of_socket ? "c:2:3 'listen 80 bind;' and c:7:1 '" + line +
                                "' both set options of the socket of *:80, and nginx takes them "
                                "from one of them only [  listen 80 bind;]\n"
                          : "")
        << line;
  }
  const std::string bind = "listen 80 bind;\n";
  const auto shown = [](int line) { return "c:" + std::to_string(line) + ":1 'listen 80 bind;'"; };
  const std::string five =
      shown(2) + " and " + shown(3) + " and " + shown(4) + " and " + shown(5) + " and " + shown(6);
  const std::string what =
      " set options of the socket of *:80, and nginx takes them from one of them only "
      "[listen 80 bind;]\n";
  EXPECT_EQ(Said(Dialect::kNginx, Server(Times(2, bind), "a")),
            shown(2) + " and " + shown(3) + " both" + what);
  EXPECT_EQ(Said(Dialect::kNginx, Server(Times(3, bind), "a")),
            shown(2) + " and " + shown(3) + " and " + shown(4) + " all" + what);
  EXPECT_EQ(Said(Dialect::kNginx, Server(Times(5, bind), "a")), five + " all" + what);
  EXPECT_EQ(Said(Dialect::kNginx, Server(Times(7, bind), "a")), five + " and 2 more all" + what);
  EXPECT_EQ(Said(Dialect::kNginx, Server(bind + "listen 81 bind;", "a")), "");
}

TEST(Collisions, AreSaidInTheOrderOfTheText) {
  const std::string text = Server("listen 1 default;", "a") + Server("listen 1 default;", "b") +
                           Server("", "c") + Server("", "c");
  const std::string said = Said(Dialect::kNginx, Server("", "d") + text + Server("", "d"));
  const std::size_t first = said.find(" answer to 'd'");
  const std::size_t second = said.find(" are the default server");
  const std::size_t third = said.find(" answer to 'c'");
  EXPECT_LT(first, second);
  EXPECT_LT(second, third);
  EXPECT_NE(third, std::string::npos);
}

// --- What httpd listens on ---

TEST(Collisions, AreSaidOfHostsWhereNobodyListens) {
  struct Case {
    const char* listen;
    const char* address;
    bool served;
  };
  const Case cases[] = {
      {"Listen 80", "*:80", true},
      {"Listen 80", "10.0.0.1:80", true},
      {"Listen 80", "*:81", false},
      {"Listen 80", "*", true},
      {"Listen 80", "10.0.0.1", true},
      {"Listen 80", "*:0", true},
      {"Listen 80", "*:${PORT}", true},
      {"Listen 0.0.0.0:80", "10.0.0.1:80", true},
      {"Listen [::]:80", "10.0.0.1:80", true},
      {"Listen 127.0.0.1:80", "*:80", true},
      {"Listen 127.0.0.1:80", "[::]:80", true},
      {"Listen 127.0.0.1:80", "127.0.0.1:80", true},
      {"Listen 127.0.0.1:80", "127.0.0.1:81", false},
      {"Listen 127.0.0.1:80", "10.0.0.1:80", false},
      {"Listen 127.0.0.1:80", "name.example:80", true},
      {"Listen 127.0.0.1:80", "name.example:81", false},
      {"Listen [::1]:80", "[::1]:80", true},
      {"Listen [::1]:80", "[::2]:80", false},
      {"Listen 127.0.0.1:80\nListen 81", "10.0.0.1:80", false},
      {"Listen 127.0.0.1:80\nListen 10.0.0.1:80", "10.0.0.1:80", true},
      {"LISTEN 80 https", "*:80", true},
      {"listen 80", "*:81", false},
      {"<IfModule x>\nListen 80\n</IfModule>", "*:81", false},
      {"Listen 80\nListen ${PORT}", "*:81", true},
      {"ListenBacklog 80", "*:81", true},
      {"Listen", "*:81", true},
      {"", "*:81", true},
  };
  for (const Case& c : cases) {
    const std::string text = c.listen + std::string("\n") + Host(c.address, "a", "b");
    const std::string said = Said(Dialect::kApache, text, Extent::kWhole);
    EXPECT_EQ(said.empty(), c.served) << c.listen << ' ' << c.address << ": " << said;
    EXPECT_EQ(Said(Dialect::kApache, text), "") << "other files may have more";
  }
  EXPECT_EQ(Said(Dialect::kNginx, Server("listen 80;", "a"), Extent::kWhole), "");
}

TEST(Collisions, SayWhereHttpdListensInstead) {
  const auto shown = [](int line) {
    const std::string number = std::to_string(line);
    return "c:" + number + ":1 'Listen " + number + "'";
  };
  std::string listens;
  std::string said = "; there are ";
  for (int line = 1; line <= 7; ++line) {
    listens += "Listen " + std::to_string(line) + "\n";
    if (line <= 5) said += (line == 1 ? "" : ", ") + shown(line);
    const std::string more = line <= 5 ? "" : " and " + std::to_string(line - 5) + " more";
    const std::string begin = std::to_string(line + 1);
    EXPECT_EQ(Said(Dialect::kApache, listens + Host("*:80", "a", "b"), Extent::kWhole),
              "c:" + begin +
                  ":1 'VirtualHost *:80' (a, b) is for *:80, on which the server does "
                  "not listen" +
                  said + more + " [<VirtualHost *:80>]\n");
  }
}

// --- What is new ---

// One line for each: its kind, names, address, servers by their numbers from 1, and how many lines
// it is about.
std::string Shown(const std::vector<Collision>& collisions) {
  const char* const kinds[] = {"name", "default", "options", "unserved"};
  std::string shown;
  for (const Collision& collision : collisions) {
    shown += kinds[static_cast<int>(collision.kind)];
    for (const std::string& name : collision.names) shown += " " + name;
    shown += " " + collision.address + ":";
    for (const tov_document::BlockId id : collision.servers) shown += " " + std::to_string(id);
    if (!collision.directives.empty()) {
      shown += ", " + std::to_string(collision.directives.size()) + " lines";
    }
    shown += "\n";
  }
  return shown;
}

std::string NewOnes(Dialect dialect, const std::string& before, const std::string& after,
                    Extent extent) {
  return Shown(NewCollisions(Document(dialect, before), Document(dialect, after), extent));
}

TEST(NewCollisions, AreThoseOfMoreServersThanBefore) {
  struct Case {
    const char* name;
    std::string before;
    std::string after;
    const char* collisions;
  };
  const std::string a = Server("listen 80;", "a");
  const std::string def = Server("listen 80 default;", "");
  const auto named = [](const std::string& name) { return Server("listen 80 default;", name); };
  const auto bound = [](int lines) { return Server(Times(lines, "listen 80 bind;"), "a"); };
  const Case cases[] = {
      {"none", a, a, ""},
      {"a second one of a name", a, Times(2, a), "name a *:80: 1 2\n"},
      {"two as before", Times(2, a), Times(2, a), ""},
      {"two as before, and another one", Times(2, a), Server("", "b") + Times(2, a), ""},
      {"a third one", Times(2, a), Times(3, a), "name a *:80: 1 2 3\n"},
      {"one less", Times(3, a), Times(2, a), ""},
      {"another name", Times(2, a), Times(2, Server("listen 80;", "b a")), "name b *:80: 1 2\n"},
      {"another address", Times(2, a), Times(2, Server("listen 80; listen 81;", "a")),
       "name a *:81: 1 2\n"},
      {"of several the first", "", Times(2, Server("listen 80; listen 81;", "b a")),
       "name a *:80: 1 2\n"},
      {"a default server", "", named("a"), ""},
      {"a second default server", named("a"), named("a") + named("b"), "default *:80: 1 2\n"},
      {"default servers as before", named("a") + named("b"), named("a") + named("c"), ""},
      {"a third default server", named("a") + named("b"), named("a") + named("b") + named("c"),
       "default *:80: 1 2 3\n"},
      {"options of a socket", "", bound(1), ""},
      {"options of a socket twice", bound(1), bound(2), "options *:80: 1, 2 lines\n"},
      {"options as before", bound(2), bound(2), ""},
      {"options a third time", bound(2), bound(3), "options *:80: 1, 3 lines\n"},
      {"all at once", "", Times(2, Server("listen 80 default bind;", "a")),
       "name a *:80: 1 2\ndefault *:80: 1 2\noptions *:80: 1 2, 2 lines\n"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(NewOnes(Dialect::kNginx, c.before, c.after, Extent::kPart), c.collisions) << c.name;
  }
}

TEST(NewCollisions, AreThoseOfMoreHostsWhereNobodyListens) {
  const std::string listen = "Listen 80\n";
  const std::string reached = Host("*:80", "a", "aa");
  const std::string b = Host("*:81", "b", "bb");
  const std::string c = Host("*:81", "c", "cc");
  struct Case {
    const char* name;
    std::string before;
    std::string after;
    const char* collisions;
  };
  const Case cases[] = {
      {"none", "", listen + reached, ""},
      {"one", listen, listen + reached + b, "unserved *:81: 2, 1 lines\n"},
      {"one more", listen + b, listen + b + c, "unserved *:81: 2, 1 lines\n"},
      {"as before", listen + b, listen + reached + b, ""},
      {"one less", listen + b + c, listen + b, ""},
      {"one that was reached", listen + "Listen 81\n" + b, listen + b,
       "unserved *:81: 1, 1 lines\n"},
  };
  for (const Case& test : cases) {
    EXPECT_EQ(NewOnes(Dialect::kApache, test.before, test.after, Extent::kWhole), test.collisions)
        << test.name;
    EXPECT_EQ(NewOnes(Dialect::kApache, test.before, test.after, Extent::kPart), "") << test.name;
  }
}

TEST(NewCollisions, AreThoseOfAnAliasThatFitsANameAsItDidNot) {
  const std::string host = Host("*:80", "b.a", "z");
  const auto first = [](const std::string& alias) { return Host("*:80", "x", alias); };
  EXPECT_EQ(NewOnes(Dialect::kApache, first("*.c") + host, first("*.a") + host, Extent::kPart),
            "name b.a *:80: 1 2\n");
  EXPECT_EQ(NewOnes(Dialect::kApache, first("*.a") + host, first("*") + host, Extent::kPart),
            "name z *:80: 1 2\n")
      << "'b.a' was known to collide";
  EXPECT_EQ(NewOnes(Dialect::kApache, first("*.a") + host, first("?.a") + host, Extent::kPart), "");
}

}  // namespace
}  // namespace tov_edit
