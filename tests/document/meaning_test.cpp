// SPDX-License-Identifier: Apache-2.0

#include "document/meaning.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace tov_document;
using Texts = std::vector<std::string>;

TEST(NormalAddress, MakesAddressesThatAreOneTheSameText) {
  struct Case {
    Dialect dialect;
    const char* written;
    const char* normal;
  };
  const Case cases[] = {
      {Dialect::kNginx, "80", "*:80"},
      {Dialect::kNginx, "0080", "*:80"},
      {Dialect::kNginx, "*:80", "*:80"},
      {Dialect::kNginx, "0.0.0.0:80", "*:80"},
      {Dialect::kNginx, "*", "*:80"},
      {Dialect::kNginx, "127.0.0.1", "127.0.0.1:80"},
      {Dialect::kNginx, "127.0.0.1:8080", "127.0.0.1:8080"},
      {Dialect::kNginx, "[::]:80", "[::]:80"},
      {Dialect::kNginx, "[0:0::0]", "[::]:80"},
      {Dialect::kNginx, "[2001:DB8::0:1]:443", "[2001:db8::1]:443"},
      {Dialect::kNginx, "LocalHost", "localhost:80"},
      {Dialect::kNginx, "unix:/run/A.sock", "unix:/run/A.sock"},
      {Dialect::kNginx, "$port", "$port:80"},
      {Dialect::kApache, "*", "*:*"},
      {Dialect::kApache, "*:80", "*:80"},
      {Dialect::kApache, "_default_:443", "*:443"},
      {Dialect::kApache, "_DEFAULT_", "*:*"},
      {Dialect::kApache, "0.0.0.0:80", "*:80"},
      {Dialect::kApache, "127.0.0.1:80", "127.0.0.1:80"},
      {Dialect::kApache, "255.255.255.255:80", "255.255.255.255:80"},
      {Dialect::kApache, "10.1:80", "10.0.0.1:80"},
      {Dialect::kApache, "010.0.0.1:80", "8.0.0.1:80"},
      {Dialect::kApache, "256.0.0.1:80", "256.0.0.1:80"},
      {Dialect::kApache, "1.2.3.4.:80", "1.2.3.4.:80"},
      {Dialect::kApache, "1.2.3.4.5:80", "1.2.3.4.5:80"},
      {Dialect::kApache, "192.0.2.1", "192.0.2.1:*"},
      {Dialect::kApache, "192.0.2.1:*", "192.0.2.1:*"},
      {Dialect::kApache, "[2001:db8::1]:80", "[2001:db8::1]:80"},
      {Dialect::kApache, "WWW.example:080", "www.example:80"},
      {Dialect::kApache, "*:${PORT}", "*:${PORT}"},
      {Dialect::kNginx, "", ":80"},
  };
  for (const Case& c : cases) EXPECT_EQ(NormalAddress(c.dialect, c.written), c.normal) << c.written;
}

TEST(ListenAddress, IsOneOfItsOwnWithoutConnections) {
  struct Case {
    Texts words;
    const char* address;
    const char* transport;
  };
  const Case cases[] = {{{"listen", "443", "ssl"}, "*:443", ""},
                        {{"listen", "443", "quic", "reuseport"}, "*:443/udp", "quic"},
                        {{"listen", "0.0.0.0:53", "reuseport", "udp"}, "*:53/udp", "udp"},
                        {{"listen", "[0::1]:53", "udp"}, "[::1]:53/udp", "udp"},
                        {{"listen", "udp"}, "udp:80", ""},
                        {{"listen"}, "", ""}};
  for (const Case& c : cases) {
    EXPECT_EQ(ListenAddress(c.words), c.address);
    EXPECT_EQ(TransportIn(c.words), c.transport);
  }
}

TEST(NormalName, LooksAtNoCase) {
  EXPECT_EQ(NormalName(Dialect::kNginx, "WWW.a.Example"), "www.a.example");
  EXPECT_EQ(NormalName(Dialect::kNginx, "~^(?<A>.+)$"), "~^(?<A>.+)$");
  EXPECT_EQ(NormalName(Dialect::kApache, "https://A.example:443"), "a.example");
  EXPECT_EQ(NormalName(Dialect::kApache, "[::1]:80"), "[::1]");
}

TEST(ConditionsIn, AreThoseThatNoOtherBlockStandsAround) {
  const std::string text =
      "<VirtualHost *>\n<IfModule a>\n<ifdefine b>\nServerName n\n</ifdefine>\n"
      "<Directory /c>\n<IfModule d>\nServerName no\n</IfModule>\n</Directory>\n</IfModule>\n"
      "<IfModule e>\nServerAlias m\n</IfModule>\nServerAlias own\n</VirtualHost>\n";
  const Document document(Dialect::kApache, text);
  std::vector<std::string> heads;
  for (const BlockId id : ConditionsIn(document, 1)) {
    heads.emplace_back(document.Bytes(document.blocks()[id].head));
  }
  EXPECT_EQ(heads, (Texts{"<IfModule a>", "<ifdefine b>", "<IfModule e>"}));
  EXPECT_EQ(ServerNames(document, 1), (Texts{"own", "n", "m"}));
  EXPECT_EQ(BlocksNamed(document, "n"), std::vector<BlockId>{1});
}

TEST(Meaning, KnowsItsSections) {
  EXPECT_TRUE(IsServer(Dialect::kNginx, "server"));
  EXPECT_FALSE(IsServer(Dialect::kNginx, "Server"));
  EXPECT_TRUE(IsServer(Dialect::kApache, "virtualhost"));
  EXPECT_TRUE(IsCondition(Dialect::kApache, "ifmodule"));
  EXPECT_TRUE(IsCondition(Dialect::kApache, "IfVersion"));
  EXPECT_FALSE(IsCondition(Dialect::kApache, "If"));
  EXPECT_FALSE(IsCondition(Dialect::kNginx, "if"));
  EXPECT_TRUE(SameName(Dialect::kApache, "serverNAME", "ServerName"));
  EXPECT_FALSE(SameName(Dialect::kNginx, "Listen", "listen"));
}

TEST(Meaning, FindsNamesAndAddressesOfNginxServers) {
  const std::string text =
      "server {\n  listen 80 default_server;\n  \"listen\" [::]:80;\n"
      "  server_name A.example # alias:\n www.a.example;\n  server_name b.example;\n"
      "  location / { server_name inner; }\n  server_names_hash_bucket_size 64; listening 1; }\n"
      "server { listen 443 ssl; listen 443 quic; server_name b\\.example B.example; }\n";
  const Document document(Dialect::kNginx, text);
  EXPECT_EQ(ServerNames(document, 1), (Texts{"a.example", "www.a.example", "b.example"}));
  EXPECT_EQ(ServerAddresses(document, 1), (Texts{"*:80", "[::]:80"}));
  EXPECT_EQ(ServerAddresses(document, 3), (Texts{"*:443", "*:443/udp"}));
  EXPECT_EQ(DefaultAddresses(document, 1), Texts{"*:80"});
  EXPECT_EQ(DefaultAddresses(document, 3), Texts{});
  EXPECT_EQ(ServerNames(document, kWholeText), Texts{});
  EXPECT_EQ(BlocksNamed(document, "www.a.example"), std::vector<BlockId>{1});
  EXPECT_EQ(BlocksNamed(document, "b.example"), (std::vector<BlockId>{1, 3}));
  EXPECT_EQ(BlocksNamed(document, "inner"), std::vector<BlockId>{2});
  EXPECT_EQ(BlocksNamed(document, "example"), std::vector<BlockId>{});
}

TEST(Meaning, FindsNamesAndAddressesOfVirtualHosts) {
  const std::string text =
      "ServerName main.example\n"
      "<IfModule a.c>\n<virtualhost *:80 [::1]:080>\n  servername HTTP://A.example:80\n"
      "  ServerAlias www.A.example \\\n    \"b.example\"\n  ServerAdmin c\n"
      "  <Location />\n    Server\\\nAlias inner\n  </Location>\n</virtualhost>\n</IfModule>\n";
  const Document document(Dialect::kApache, text);
  EXPECT_EQ(ServerNames(document, 2), (Texts{"a.example", "www.a.example", "b.example"}));
  EXPECT_EQ(ServerAddresses(document, 2), (Texts{"*:80", "[::1]:80"}));
  EXPECT_EQ(ServerNames(document, kWholeText), Texts{"main.example"});
  EXPECT_EQ(ServerAddresses(document, 1), Texts{});
  EXPECT_EQ(BlocksNamed(document, "a.example"), std::vector<BlockId>{2});
  EXPECT_EQ(BlocksNamed(document, "b.example"), std::vector<BlockId>{2});
  EXPECT_EQ(BlocksNamed(document, "inner"), std::vector<BlockId>{3});
}

// Marks of blocks inside stand before, between and behind a block's own.
TEST(Identifying, IsOfTheBlockItselfWhereverOthersStand) {
  struct Case {
    const char* text;
    std::vector<Texts> names;  // of each block
  };
  const Case cases[] = {
      {"server { server_name a; }", {{"a"}}},
      {"server { server_name a; location / { server_name b; } server_name c; }",
       {{"a", "c"}, {"b"}}},
      {"server { location / { server_name b; server_name c; } server_name a; }",
       {{"a"}, {"b", "c"}}},
      {"server { x { } y { z { server_name c; } server_name b; } v { } server_name a; }",
       {{"a"}, {}, {"b"}, {"c"}, {}}},
      {"server { x { server_name b; } server_name a; y { server_name c; } server_name d; }",
       {{"a", "d"}, {"b"}, {"c"}}},
      {"http { server { server_name a; } server { server_name b; } } server { server_name c; }",
       {{}, {"a"}, {"b"}, {"c"}}},
      {"http { server { server_name a; x { server_name b;", {{}, {"a"}, {"b"}}},
  };
  for (const Case& c : cases) {
    const Document document(Dialect::kNginx, c.text);
    std::vector<Texts> names;
    for (BlockId id = 1; id < document.blocks().size(); ++id) {
      names.push_back(ServerNames(document, id));
    }
    EXPECT_EQ(names, c.names) << c.text;
  }
}

// The names in it are forgotten when its sections turn out not to nest.
TEST(Identifying, FindsServersBehindAMacroThatIsNotRead) {
  const Document document(Dialect::kApache,
                          "<Macro M>\nServerName m\n<VirtualHost *:80>\nServerName n\n"
                          "</Macro>\n<VirtualHost *:80>\nServerName a\n</VirtualHost>\n");
  ASSERT_EQ(document.blocks().size(), 3U);
  EXPECT_EQ(ServerNames(document, 1), Texts{});
  EXPECT_EQ(ServerNames(document, 2), Texts{"a"});
}

TEST(Marks, AreLeftOutOnRequest) {
  const std::string text = "server { listen 80; server_name a; }";
  const Document with(Dialect::kNginx, text);
  const Document without(Dialect::kNginx, text, Marks::kLeftOut);
  EXPECT_EQ(with.marks().size(), 2U);
  EXPECT_TRUE(without.marks().empty());
  EXPECT_TRUE(without.Identifying(1).empty());
  EXPECT_EQ(without.blocks().size(), with.blocks().size());
}

TEST(IsServerBlock, TellsByTheNameHoweverItIsWritten) {
  struct Case {
    Dialect dialect;
    const char* text;
    bool is_one;
  };
  const Case cases[] = {
      {Dialect::kNginx, "server { }", true},
      {Dialect::kNginx, "server{ }", true},
      {Dialect::kNginx, "server\n{ }", true},
      {Dialect::kNginx, "\"server\" { }", true},
      {Dialect::kNginx, "'server' { }", true},
      {Dialect::kNginx, "Server { }", false},
      {Dialect::kNginx, "servers { }", false},
      {Dialect::kNginx, "upstream server { }", false},
      {Dialect::kNginx, "split_clients a b { }", false},
      {Dialect::kApache, "<VirtualHost *:80>\n</VirtualHost>", true},
      {Dialect::kApache, "<virtualhost *:80>\n</VirtualHost>", true},
      {Dialect::kApache, "\"<VirtualHost\" *:80>\n</VirtualHost>", true},
      {Dialect::kApache, "<\"VirtualHost\" *:80>\n</\"VirtualHost\">", false},
      {Dialect::kApache, "<VirtualHost>\n</VirtualHost>", true},
      {Dialect::kApache, "<VirtualHosts a>\n</VirtualHosts>", false},
      {Dialect::kApache, "<Directory VirtualHost>\n</Directory>", false},
  };
  for (const Case& c : cases) {
    const Document document(c.dialect, c.text);
    ASSERT_GE(document.blocks().size(), 2U) << c.text;
    EXPECT_EQ(IsServerBlock(document, 1), c.is_one) << c.text;
    EXPECT_FALSE(IsServerBlock(document, kWholeText));
  }
}

}  // namespace
