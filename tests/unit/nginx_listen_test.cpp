// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "support/view_probe.h"
#include "template/nginx.h"
#include "template/section_path.h"

namespace tov_template {

// For gtest: how records are compared and shown.
static bool operator==(const Nginx::Listen& a, const Nginx::Listen& b) {
  return a.address == b.address && a.options == b.options;
}
static void PrintTo(const Nginx::Listen& listen, std::ostream* out) {
  *out << "{\"" << listen.address << "\", \"" << listen.options << "\"}";
}

}  // namespace tov_template

namespace {

using tov_template::kSectionSeparator;
using tov_template::LineIterator;
using tov_template::Nginx;
using Listens = std::vector<Nginx::Listen>;
using Removed = std::list<LineIterator>;

const std::string kServer = "server {";

// An nginx configuration whose registry of listen lines can be looked at.
class ListenProbe : public Nginx {
 public:
  using Nginx::m_lines;
  using Nginx::m_listen;
  using Nginx::Nginx;

  LineIterator Line(std::ptrdiff_t i) { return std::next(m_lines.begin(), i); }
  LineIterator End() { return m_lines.end(); }

  // Registers the line with the number `i` in `section`.
  LineIterator Register(const std::string& section, std::ptrdiff_t i) {
    LineIterator pos = Line(i);
    return RegisterUniqueParam(section, pos);
  }

  void Erase(const Removed& removed) {
    for (const LineIterator& line : removed) RemoveParam(line);
  }

  // The registry as text, levels joined by " > ": "server {: listen 80; | listen 443;\n". A
  // reference to anything but a line of the list is shown as "(broken)"; only its address is used.
  std::string Registry() const {
    std::string shown;
    for (const auto& [section, lines] : m_listen) {
      std::string listed;
      for (const LineIterator& line : lines) {
        listed += (listed.empty() ? "" : " | ") + (IsLine(line) ? str::Trim(*line) : "(broken)");
      }
      shown += str::Replace(section, kSectionSeparator, " > ") + ": " + listed + "\n";
    }
    return shown;
  }

 private:
  bool IsLine(const LineIterator& line) const {
    return line != m_lines.end() &&
           std::any_of(m_lines.begin(), m_lines.end(),
                       [&](const std::string& known) { return &known == &*line; });
  }
};

std::vector<std::string> Texts(const Removed& removed) {
  std::vector<std::string> texts;
  for (const LineIterator& line : removed) texts.push_back(str::Trim(*line));
  return texts;
}

using Lines = std::vector<std::string>;

Listens Parsed(const std::string& line) {
  Listens listens;
  Nginx::ParseListen(line, listens);
  return listens;
}

// A configuration of listen lines, all of them registered in the block.
ListenProbe* Registered(ListenProbe& config, const std::string& section = kServer) {
  for (LineIterator pos = config.m_lines.begin(); pos != config.m_lines.end(); ++pos) {
    if (config.IsUniqueParam(*pos)) config.RegisterUniqueParam(section, pos);
  }
  return &config;
}

// Parsing

TEST(NginxListen, LinesAreParsedIntoAddressesAndOptions) {
  struct Case {
    const char* line;
    Listens listens;
  };
  const Case cases[] = {
      // no address
      {"listen 80;", {{"", "80"}}},
      {"listen 80 default_server;", {{"", "80 default_server"}}},
      {"listen unix:/var/run/app.sock;", {{"", "unix:/var/run/app.sock"}}},
      {"listen unix:/run/a:80 ssl;", {{"", "unix:/run/a:80 ssl"}}},
      {"listen *;", {{"", "*"}}},
      {"listen localhost;", {{"", "localhost"}}},
      {"listen localhost ssl;", {{"", "localhost ssl"}}},
      // one address
      {"listen 127.0.0.1:8080;", {{"127.0.0.1:8080", ""}}},
      {"listen 127.0.0.1:8080 default_server;", {{"127.0.0.1:8080", "default_server"}}},
      {"listen 127.0.0.1:80 default_server ssl;", {{"127.0.0.1:80", "default_server ssl"}}},
      {"listen [::]:443 ssl;", {{"[::]:443", "ssl"}}},
      {"listen [::1]:443;", {{"[::1]:443", ""}}},
      {"listen [2001:db8::1]:80;", {{"[2001:db8::1]:80", ""}}},
      {"listen 2001:db8::1:80;", {{"[2001:db8::1]:80", ""}}},
      {"listen [127.0.0.1]:80;", {{"127.0.0.1:80", ""}}},
      {"listen [[::1]]:80;", {{"[::1]:80", ""}}},
      {"listen 127.0.0.1:080;", {{"127.0.0.1:080", ""}}},
      {"listen 127.0.0.1:99999;", {{"127.0.0.1:99999", ""}}},
      // several
      {"listen 10.0.0.1:80 10.0.0.2:80;", {{"10.0.0.1:80", ""}, {"10.0.0.2:80", ""}}},
      {"listen 10.0.0.1:80 [::1]:80 ssl http2;",
       {{"10.0.0.1:80", "ssl http2"}, {"[::1]:80", "ssl http2"}}},
      {"listen 10.0.0.1:80 10.0.0.1:80;", {{"10.0.0.1:80", ""}, {"10.0.0.1:80", ""}}},
      {"listen 10.0.0.1:80 ssl 10.0.0.2:80;", {{"10.0.0.1:80", "ssl 10.0.0.2:80"}}},
      {"listen 10.0.0.1:80 unix:/a 10.0.0.2:80;", {{"10.0.0.1:80", "unix:/a 10.0.0.2:80"}}},
      // words that vanish, and end the addresses
      {"listen localhost:8080;", {}},
      {"listen localhost:8080 ssl;", {{"", "ssl"}}},
      {"listen 127.0.0.1:web;", {}},
      {"listen 127.0.0.1:web ssl;", {{"", "ssl"}}},
      {"listen *:80;", {}},
      {"listen *:80 ssl;", {{"", "ssl"}}},
      {"listen 127.0.0.1;", {}},
      {"listen 127.0.0.1 ssl;", {{"", "ssl"}}},
      {"listen 127.0.0.1:;", {}},
      {"listen :80;", {}},
      {"listen :;", {}},
      {"listen ::1;", {}},
      {"listen [::1];", {}},
      {"listen 256.0.0.1:80;", {}},
      {"listen [fe80::1%eth0]:80;", {}},
      {"listen 10.0.0.1:80 localhost:80 10.0.0.2:80;", {{"10.0.0.1:80", "10.0.0.2:80"}}},
      {"listen 10.0.0.1:80 127.0.0.1 ssl;", {{"10.0.0.1:80", "ssl"}}},
      {"listen 10.0.0.1:80 so_keepalive=30m::10 ssl;", {{"10.0.0.1:80", "ssl"}}},
      {"listen 10.0.0.1:80 ssl so_keepalive=30m::10;",
       {{"10.0.0.1:80", "ssl so_keepalive=30m::10"}}},
      // terminators
      {"listen 80; listen 443;", {{"", "80; listen 443"}}},
      {"listen 80; # default", {{"", "80"}}},
      {"listen 80; # a; b", {{"", "80; # a"}}},
      {"listen 80;;", {{"", "80;"}}},
      {"listen 80", {}},
      {"listen 127.0.0.1:80", {}},
      {"listen;", {}},
      {"listen ;", {}},
      {"listen", {}},
      {";", {}},
      {"", {}},
      {"   ", {}},
      // blanks
      {"  \tlisten 80;\r", {{"", "80"}}},
      {"listen\t80\tssl;", {{"", "80 ssl"}}},
      {"listen   80;", {{"", "80"}}},
      {"listen 80 ;", {{"", "80"}}},
      {"listen 80  ssl;", {{"", "80  ssl"}}},
      {"listen  10.0.0.1:80   10.0.0.2:80   ssl  http2;",
       {{"10.0.0.1:80", "ssl  http2"}, {"10.0.0.2:80", "ssl  http2"}}},
      {"listen 10.0.0.1:80 ;", {{"10.0.0.1:80", ""}}},
      {"listen 10.0.0.1:80   ;", {{"10.0.0.1:80", ""}}},
      {"listen localhost:80  ssl;", {{"", " ssl"}}},
      // the directive's name is not looked at
      {"listener 80;", {{"", "80"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    EXPECT_EQ(Parsed(c.line), c.listens);
  }
}

TEST(NginxListen, ParsedRecordsAreAppended) {
  Listens listens{{"a", "b"}};
  Nginx::ParseListen("listen 80;", listens);
  Nginx::ParseListen("listen localhost:80;", listens);
  Nginx::ParseListen("listen 443 ssl;", listens);
  EXPECT_EQ(listens, (Listens{{"a", "b"}, {"", "80"}, {"", "443 ssl"}}));
}

// The parsing rules once more, step by step on a string that is put together again.
Listens PlainParsed(const std::string& line) {
  std::string rest = str::Trim(line);
  str::RGetWord(rest, ';');
  str::GetWord(rest);
  std::string addresses;
  while (!rest.empty()) {
    std::string word = str::GetWord(rest);
    const bool plain = word.find(':') == std::string::npos;
    const bool socket = word.find("unix") != std::string::npos;
    const auto is_address = [](const std::string& text) {
      return text == "::" || text == "::1" || text == "1::" || text == "1::1" || text == "1.1.1.1";
    };
    if ((plain || socket) && !is_address(word)) {
      rest = str::Append(word, rest, " ");
      break;
    }
    const std::string port = str::RGetWord(word, ':');
    word = str::Replace(str::Replace(word, "[", ""), "]", "");
    if (!is_address(word) || port.empty() || port.find_first_not_of('1') != std::string::npos) {
      break;
    }
    if (word != "1.1.1.1") word = "[" + word + "]";
    addresses = str::Append(addresses, str::Trim(str::Append(word, port, ":")), " ");
  }
  Listens listens;
  if (addresses.empty() && !rest.empty()) listens.push_back({"", rest});
  while (!addresses.empty()) listens.push_back({str::GetWord(addresses), rest});
  return listens;
}

TEST(NginxListen, LinesOfAFewWordsAreParsedStepByStep) {
  const std::vector<std::string> words{"1.1.1.1:1", "[::1]:1",   "::1",    "1.1.1.1", "1",
                                       "x:1",       "1.1.1.1:x", "unix:1", "::",      "",
                                       "1;",        "[]:1",      ":",      "1::1:1",  "a\t1",
                                       ";",         "1.1.1.1:1;"};
  for (const std::string& a : words) {
    for (const std::string& b : words) {
      for (const std::string& c : words) {
        for (const char* const end : {";", "", " ; x"}) {
          const std::string line = "listen " + a + " " + b + " " + c + end;
          SCOPED_TRACE(testing::PrintToString(line));
          ASSERT_EQ(Parsed(line), PlainParsed(line));
        }
      }
    }
  }
}

TEST(NginxListen, RecordsAreWrittenAsDirectives) {
  struct Case {
    Nginx::Listen listen;
    const char* text;
  };
  const Case cases[] = {
      {{"127.0.0.1:80", "default_server"}, "listen 127.0.0.1:80 default_server;"},
      {{"", "80"}, "listen 80;"},
      {{"[::1]:443", ""}, "listen [::1]:443;"},
      {{"", "unix:/run/app.sock"}, "listen unix:/run/app.sock;"},
      {{"", "80 default_server ssl"}, "listen 80 default_server ssl;"},
      {{"", ""}, "listen;"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.listen.Str(), c.text);
  }
}

TEST(NginxListen, AWrittenRecordIsParsedBack) {
  for (const char* const line :
       {"listen 80;", "listen 127.0.0.1:8080 default_server;", "listen [::]:443 ssl http2;",
        "listen unix:/run/app.sock;", "listen 80; listen 443;"}) {
    SCOPED_TRACE(line);
    const Listens listens = Parsed(line);
    ASSERT_EQ(listens.size(), 1U);
    EXPECT_EQ(Parsed(listens.front().Str()), listens);
  }
}

TEST(NginxListen, LinesAreIndentedByTheDepthOfTheirBlock) {
  const Nginx config("");
  EXPECT_EQ(config.SetIndent("", "listen 80;"), "listen 80;");
  EXPECT_EQ(config.SetIndent(kServer, "listen 80;"), "\tlisten 80;");
  EXPECT_EQ(config.SetIndent(ViewProbe::Path({"stream {", kServer}), "listen 80;"),
            "\t\tlisten 80;");
  EXPECT_EQ(config.SetIndent(ViewProbe::Path({"a {", "b {", "c {"}), " x"), "\t\t\t x");
}

// Registering

TEST(NginxListen, RegisteredLinesAreKeptInTheirOrder) {
  ListenProbe config("listen 1;\nlisten 2;\nlisten 3;\nlisten 4;");
  EXPECT_TRUE(config.Register("b", 2) == config.Line(2));
  EXPECT_TRUE(config.Register("a", 1) == config.Line(1));
  EXPECT_TRUE(config.Register("b", 0) == config.Line(0));
  EXPECT_TRUE(config.Register("", 3) == config.Line(3));
  EXPECT_EQ(config.Registry(),
            ": listen 4;\n"
            "a: listen 2;\n"
            "b: listen 3; | listen 1;\n");
  EXPECT_EQ(config.Str(), "listen 1;\nlisten 2;\nlisten 3;\nlisten 4;");
}

TEST(NginxListen, RegisteringDoesNotMoveThePosition) {
  ListenProbe config("listen 1;\nlisten 2;");
  LineIterator pos = config.Line(1);
  config.RegisterUniqueParam(kServer, pos);
  EXPECT_TRUE(pos == config.Line(1));
}

TEST(NginxListen, RegisteringNoLineRegistersNothing) {
  for (const char* const text : {"", "listen 1;"}) {
    SCOPED_TRACE(text);
    ListenProbe config(text);
    LineIterator pos = config.End();
    EXPECT_TRUE(config.RegisterUniqueParam(kServer, pos) == config.End());
    EXPECT_TRUE(pos == config.End());
    for (const auto& [section, lines] : config.m_listen) EXPECT_TRUE(lines.empty()) << section;
    EXPECT_EQ(config.Str(), text);
  }
}

TEST(NginxListen, TheViewRegistersTheListensOfEachBlock) {
  const auto config = std::make_shared<ListenProbe>(
      "listen 1;\n"
      "http {\n"
      "  server {\n"
      "    listen 80;\n"
      "    # listen 81;\n"
      "    listen [::]:80;\n"
      "  }\n"
      "}\n"
      "stream {\n"
      "  server {\n"
      "    listener x;\n"
      "  }\n"
      "}\n");
  const ViewProbe view(config);
  EXPECT_EQ(config->Registry(),
            "http { > server {: listen 80; | listen [::]:80;\n"
            "stream { > server {: listener x;\n");
}

// Adding

TEST(NginxListen, AddingPutsLinesBeforeThePosition) {
  struct Case {
    const char* name;
    std::string section;
    const char* before;
    std::ptrdiff_t pos;
    const char* text;
    std::string after;
    std::ptrdiff_t result;  // the number of the line returned
    std::string registry;
  };
  const Case cases[] = {
      {"new", kServer, "server {\n}", 1, "listen 80;", "server {\n\tlisten 80;\n}", 1,
       "server {: listen 80;\n"},
      {"behind one that is there", kServer, "server {\n  listen 80;\n}", 2, "listen 443 ssl;",
       "server {\n  listen 80;\n\tlisten 443 ssl;\n}", 2,
       "server {: listen 80; | listen 443 ssl;\n"},
      {"there already, with any indentation", kServer, "server {\n    listen 80;\n}", 2,
       "listen 80;", "server {\n    listen 80;\n}", 2, "server {: listen 80;\n"},
      {"there already, text with any indentation", kServer, "server {\n\tlisten 80;\r\n}", 2,
       " \tlisten  80;\r", "server {\n\tlisten 80;\r\n}", 2, "server {: listen 80;\n"},
      {"more options are another line", kServer, "server {\nlisten 80;\n}", 2,
       "listen 80 default_server;", "server {\nlisten 80;\n\tlisten 80 default_server;\n}", 2,
       "server {: listen 80; | listen 80 default_server;\n"},
      {"fewer options are another line", kServer, "server {\nlisten 80 default_server;\n}", 2,
       "listen 80;", "server {\nlisten 80 default_server;\n\tlisten 80;\n}", 2,
       "server {: listen 80 default_server; | listen 80;\n"},
      {"a comment makes another line", kServer, "server {\nlisten 80; # x\n}", 2, "listen 80;",
       "server {\nlisten 80; # x\n\tlisten 80;\n}", 2, "server {: listen 80; # x | listen 80;\n"},
      {"several addresses are several lines", kServer, "server {\n}", 1,
       "listen 10.0.0.1:80 10.0.0.2:80 ssl;",
       "server {\n\tlisten 10.0.0.1:80 ssl;\n\tlisten 10.0.0.2:80 ssl;\n}", 2,
       "server {: listen 10.0.0.1:80 ssl; | listen 10.0.0.2:80 ssl;\n"},
      {"some of several are there", kServer, "server {\nlisten 10.0.0.2:80;\n}", 2,
       "listen 10.0.0.1:80 10.0.0.2:80 10.0.0.3:80;",
       "server {\nlisten 10.0.0.2:80;\n\tlisten 10.0.0.1:80;\n\tlisten 10.0.0.3:80;\n}", 3,
       "server {: listen 10.0.0.2:80; | listen 10.0.0.1:80; | listen 10.0.0.3:80;\n"},
      {"the last of several is there", kServer, "server {\nlisten 10.0.0.2:80;\n}", 2,
       "listen 10.0.0.1:80 10.0.0.2:80;", "server {\nlisten 10.0.0.2:80;\n\tlisten 10.0.0.1:80;\n}",
       2, "server {: listen 10.0.0.2:80; | listen 10.0.0.1:80;\n"},
      {"an address given twice is added once", kServer, "server {\n}", 1,
       "listen 10.0.0.1:80 10.0.0.1:80;", "server {\n\tlisten 10.0.0.1:80;\n}", 1,
       "server {: listen 10.0.0.1:80;\n"},
      {"two directives are taken for one", kServer, "server {\n}", 1, "listen 80; listen 443;",
       "server {\n\tlisten 80; listen 443;\n}", 1, "server {: listen 80; listen 443;\n"},
      {"depth two", ViewProbe::Path({"stream {", kServer}), "stream {\nserver {\n}\n}", 2,
       "listen 80;", "stream {\nserver {\n\t\tlisten 80;\n}\n}", 2,
       "stream { > server {: listen 80;\n"},
      {"outside every block", "", "a;", 0, "listen 80;", "listen 80;\na;", 0, ": listen 80;\n"},
      {"nothing to add", kServer, "server {\n}", 1, "listen localhost:8080;", "server {\n}", 1, ""},
      {"no terminator, nothing to add", kServer, "server {\n}", 1, "listen 80", "server {\n}", 1,
       ""},
      {"no text", kServer, "server {\nlisten 80;\n}", 2, "", "server {\nlisten 80;\n}", 2,
       "server {: listen 80;\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ListenProbe config(c.before);
    Registered(config, c.section);
    const LineIterator pos = config.Line(c.pos);
    const LineIterator result = config.AppendUniqueParam(c.section, pos, c.text);
    EXPECT_EQ(config.Str(), c.after);
    EXPECT_TRUE(result == config.Line(c.result));
    EXPECT_EQ(config.Registry(), c.registry);
  }
}

TEST(NginxListen, AddingLooksAtItsOwnBlockOnly) {
  ListenProbe config("listen 80;");
  config.Register("a", 0);
  config.AppendUniqueParam("b", config.End(), "listen 80;");
  EXPECT_EQ(config.Str(), "listen 80;\n\tlisten 80;");
  EXPECT_EQ(config.Registry(), "a: listen 80;\nb: listen 80;\n");
}

TEST(NginxListen, AddingLooksAtRegisteredLinesOnly) {
  ListenProbe config("server {\nlisten 80;\n}");
  config.AppendUniqueParam(kServer, config.Line(2), "listen 80;");
  EXPECT_EQ(config.Str(), "server {\nlisten 80;\n\tlisten 80;\n}");
}

TEST(NginxListen, AChangedLineOfALongListIsKnownByItsNewText) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "listen " + std::to_string(1000 + i) + ";\n";
  ListenProbe config(text);
  for (std::ptrdiff_t i = 0; i < 100; ++i) config.Register(kServer, i);
  const auto is_there = [&config](const std::string& listen) {
    const std::size_t size = config.m_lines.size();
    config.AppendUniqueParam(kServer, config.End(), listen);
    return config.m_lines.size() == size;
  };
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(is_there("listen 1099;"));
  config.ChangeParam(config.Line(50), "listen 80;");
  EXPECT_TRUE(is_there("listen 80;"));
  EXPECT_FALSE(is_there("listen 1050;"));
}

TEST(NginxListen, EndPositionAppendsBehindTheLastLine) {
  ListenProbe config("server {");
  const LineIterator line = config.AppendUniqueParam(kServer, config.End(), "listen 80;");
  EXPECT_EQ(*line, "\tlisten 80;");
  EXPECT_TRUE(config.AppendUniqueParam(kServer, config.End(), "listen 80;") == config.End());
  EXPECT_EQ(config.Str(), "server {\n\tlisten 80;");

  ListenProbe empty("");
  EXPECT_EQ(*empty.AppendUniqueParam(kServer, empty.End(), "listen 80;"), "\tlisten 80;");
  EXPECT_EQ(empty.Str(), "\tlisten 80;");
}

// Removing

TEST(NginxListen, RemovingHandsBackTheLinesThatBeginWithTheListen) {
  struct Case {
    const char* name;
    const char* before;
    const char* text;
    Lines removed;
    const char* registry;
  };
  const Case cases[] = {
      {"one", "listen 80;\nlisten 443;", "listen 80;", {"listen 80;"}, "server {: listen 443;\n"},
      {"indented, with a comment",
       "\tlisten 80; # default\nlisten 8080;",
       "listen 80;",
       {"listen 80; # default"},
       "server {: listen 8080;\n"},
      {"not by a prefix of the port", "listen 8080;", "listen 80;", {}, "server {: listen 8080;\n"},
      {"not by a prefix of the options",
       "listen 80 ssl;",
       "listen 80;",
       {},
       "server {: listen 80 ssl;\n"},
      {"every line that matches",
       "listen 80;\nlisten 81;\nlisten 80;",
       "listen 80;",
       {"listen 80;", "listen 80;"},
       "server {: listen 81;\n"},
      {"several addresses, in their order",
       "listen 10.0.0.1:80;\nlisten 10.0.0.2:80;\nlisten 10.0.0.3:80;",
       "listen 10.0.0.3:80 10.0.0.1:80;",
       {"listen 10.0.0.3:80;", "listen 10.0.0.1:80;"},
       "server {: listen 10.0.0.2:80;\n"},
      {"a line of several addresses is not one of them",
       "listen 10.0.0.1:80 10.0.0.2:80;",
       "listen 10.0.0.1:80 10.0.0.2:80;",
       {},
       "server {: listen 10.0.0.1:80 10.0.0.2:80;\n"},
      {"all of them: the entry stays", "listen 80;", "listen 80;", {"listen 80;"}, "server {: \n"},
      {"not there", "listen 80;", "listen 81;", {}, "server {: listen 80;\n"},
      {"more blanks in the line", "listen  80;", "listen 80;", {}, "server {: listen  80;\n"},
      {"nothing to be parsed",
       "listen localhost:80;",
       "listen localhost:80;",
       {},
       "server {: listen localhost:80;\n"},
      {"no terminator", "listen 80;", "listen 80", {}, "server {: listen 80;\n"},
      {"no text", "listen 80;", "", {}, "server {: listen 80;\n"},
  };
  for (const Case& c : cases) {
    for (const bool flag : {false, true}) {
      SCOPED_TRACE(std::string(c.name) + (flag ? ", flag" : ""));
      ListenProbe config(c.before);
      Registered(config);
      Removed removed;
      config.RemoveUniqueParam(kServer, c.text, flag, removed);
      EXPECT_EQ(Texts(removed), c.removed);
      EXPECT_EQ(config.Registry(), c.registry);
      EXPECT_EQ(config.Str(), c.before) << "the lines themselves stay";
    }
  }
}

TEST(NginxListen, ListenTwiceIsHandedBackOnce) {
  ListenProbe config("listen 10.0.0.1:80;\nlisten 10.0.0.2:80;");
  Registered(config);
  Removed removed;
  config.RemoveUniqueParam(kServer, "listen 10.0.0.1:80 10.0.0.1:80;", false, removed);
  EXPECT_EQ(Texts(removed), (Lines{"listen 10.0.0.1:80;"}));
  config.RemoveUniqueParam(kServer, "listen 10.0.0.1:80;", false, removed);
  EXPECT_EQ(removed.size(), 1U);
  config.Erase(removed);
  EXPECT_EQ(config.Str(), "listen 10.0.0.2:80;");
}

TEST(NginxListen, RemovingAppendsToWhatIsHandedBack) {
  ListenProbe config("listen 1;\nlisten 2;\nlisten 3;");
  Registered(config);
  Removed removed;
  config.RemoveUniqueParam(kServer, "listen 3;", false, removed);
  config.RemoveUniqueParam(kServer, "listen 1;", false, removed);
  EXPECT_EQ(Texts(removed), (Lines{"listen 3;", "listen 1;"}));
}

TEST(NginxListen, RemovingFromAnUnregisteredBlockDoesNothing) {
  ListenProbe config("listen 80;");
  config.Register("a", 0);
  Removed removed;
  config.RemoveUniqueParam("b", "listen 80;", false, removed);
  config.RemoveUniqueParam("", "listen 80;", false, removed);
  EXPECT_TRUE(removed.empty());
  EXPECT_EQ(config.Registry(), "a: listen 80;\n");
}

// Replacing

TEST(NginxListen, ChangingReplacesAllListensOfTheBlock) {
  struct Case {
    const char* name;
    const char* before;
    std::ptrdiff_t pos;
    const char* text;
    Lines removed;
    const char* between;  // while the old lines still stand
    const char* after;
    const char* registry;
  };
  const Case cases[] = {
      {"one by one",
       "server {\n  listen 80;\n}",
       2,
       "listen 81;",
       {"listen 80;"},
       "server {\n  listen 80;\n\tlisten 81;\n}",
       "server {\n\tlisten 81;\n}",
       "server {: listen 81;\n"},
      {"several by one",
       "server {\nlisten 80;\nroot /;\nlisten 443;\n}",
       4,
       "listen 81;",
       {"listen 80;", "listen 443;"},
       "server {\nlisten 80;\nroot /;\nlisten 443;\n\tlisten 81;\n}",
       "server {\nroot /;\n\tlisten 81;\n}",
       "server {: listen 81;\n"},
      {"one by several",
       "server {\nlisten 80;\n}",
       2,
       "listen 10.0.0.1:80 10.0.0.2:80 ssl;",
       {"listen 80;"},
       "server {\nlisten 80;\n\tlisten 10.0.0.1:80 ssl;\n\tlisten 10.0.0.2:80 ssl;\n}",
       "server {\n\tlisten 10.0.0.1:80 ssl;\n\tlisten 10.0.0.2:80 ssl;\n}",
       "server {: listen 10.0.0.1:80 ssl; | listen 10.0.0.2:80 ssl;\n"},
      {"by the same",
       "server {\nlisten 80;\n}",
       2,
       "listen 80;",
       {"listen 80;"},
       "server {\nlisten 80;\n\tlisten 80;\n}",
       "server {\n\tlisten 80;\n}",
       "server {: listen 80;\n"},
      {"an address given twice makes two lines",
       "server {\nlisten 80;\n}",
       2,
       "listen 10.0.0.1:80 10.0.0.1:80;",
       {"listen 80;"},
       "server {\nlisten 80;\n\tlisten 10.0.0.1:80;\n\tlisten 10.0.0.1:80;\n}",
       "server {\n\tlisten 10.0.0.1:80;\n\tlisten 10.0.0.1:80;\n}",
       "server {: listen 10.0.0.1:80; | listen 10.0.0.1:80;\n"},
      {"nothing to be parsed removes all",
       "server {\nlisten 80;\nlisten 81;\n}",
       3,
       "listen localhost:80;",
       {"listen 80;", "listen 81;"},
       "server {\nlisten 80;\nlisten 81;\n}",
       "server {\n}",
       "server {: \n"},
      {"at a listen line",
       "server {\nlisten 80;\n}",
       1,
       "listen 81;",
       {"listen 80;"},
       "server {\n\tlisten 81;\nlisten 80;\n}",
       "server {\n\tlisten 81;\n}",
       "server {: listen 81;\n"},
      {"end position",
       "server {\nlisten 80;",
       2,
       "listen 81;",
       {"listen 80;"},
       "server {\nlisten 80;\n\tlisten 81;",
       "server {\n\tlisten 81;",
       "server {: listen 81;\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ListenProbe config(c.before);
    Registered(config);
    LineIterator pos = config.Line(c.pos);
    const LineIterator given = pos;
    Removed removed;
    config.ChangeUniqueParam(kServer, pos, c.text, removed);
    EXPECT_TRUE(pos == given);
    EXPECT_EQ(Texts(removed), c.removed);
    EXPECT_EQ(config.Str(), c.between);
    EXPECT_EQ(config.Registry(), c.registry);
    config.Erase(removed);
    EXPECT_EQ(config.Str(), c.after);
    EXPECT_EQ(config.Registry(), c.registry);
  }
}

TEST(NginxListen, ChangedLinesAreIndentedByDepth) {
  const std::string section = ViewProbe::Path({"stream {", kServer});
  ListenProbe config("stream {\nserver {\nlisten 80;\n}\n}");
  config.Register(section, 2);
  LineIterator pos = config.Line(3);
  Removed removed;
  config.ChangeUniqueParam(section, pos, "listen 81;", removed);
  EXPECT_EQ(config.Str(), "stream {\nserver {\nlisten 80;\n\t\tlisten 81;\n}\n}");
}

TEST(NginxListen, ChangingAnUnregisteredBlockDoesNothing) {
  ListenProbe config("server {\nlisten 80;\n}");
  config.Register("other {", 1);
  LineIterator pos = config.Line(2);
  Removed removed;
  config.ChangeUniqueParam(kServer, pos, "listen 81;", removed);
  EXPECT_TRUE(removed.empty());
  EXPECT_TRUE(pos == config.Line(2));
  EXPECT_EQ(config.Str(), "server {\nlisten 80;\n}");
  EXPECT_EQ(config.Registry(), "other {: listen 80;\n") << "no entry is made";
}

TEST(NginxListen, ABlockWhoseListensAreGoneStaysRegistered) {
  ListenProbe config("server {\nlisten 80;\n}");
  config.Register(kServer, 1);
  Removed removed;
  config.RemoveUniqueParam(kServer, "listen 80;", false, removed);
  config.Erase(removed);
  removed.clear();
  ASSERT_EQ(config.Registry(), "server {: \n");

  LineIterator pos = config.Line(1);
  config.ChangeUniqueParam(kServer, pos, "listen 81;", removed);
  EXPECT_TRUE(removed.empty());
  EXPECT_EQ(config.Str(), "server {\n\tlisten 81;\n}");
  EXPECT_EQ(config.Registry(), "server {: listen 81;\n");
}

// Erased lines

TEST(NginxListen, NoDanglingAfterALineIsErased) {
  ListenProbe config("listen 1;\nlisten 2;\nlisten 3;\nroot /;");
  Registered(config);
  config.RemoveParam(config.Line(1));
  EXPECT_EQ(config.Registry(), "server {: listen 1; | listen 3;\n");
  config.RemoveParam(config.Line(2));  // root /;
  EXPECT_EQ(config.Registry(), "server {: listen 1; | listen 3;\n");
  config.RemoveParam(config.Line(0));
  config.RemoveParam(config.Line(0));
  EXPECT_EQ(config.Registry(), "server {: \n") << "only the list shrinks";
}

TEST(NginxListen, NoDanglingAfterARangeIsErased) {
  struct Case {
    const char* name;
    std::ptrdiff_t first;
    std::ptrdiff_t last;
    const char* registry;
  };
  const Case cases[] = {
      {"nothing", 1, 1, "a: listen 1; | listen 2;\nb: listen 3; | listen 4;\n"},
      {"within one block", 0, 1, "a: listen 2;\nb: listen 3; | listen 4;\n"},
      {"across two blocks", 1, 4, "a: listen 1;\nb: listen 4;\n"},
      {"one block and more", 2, 5, "a: listen 1; | listen 2;\nb: \n"},
      {"everything", 0, 5, "a: \nb: \n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ListenProbe config("listen 1;\nlisten 2;\nroot /;\nlisten 3;\nlisten 4;");
    config.Register("a", 0);
    config.Register("a", 1);
    config.Register("b", 3);
    config.Register("b", 4);
    config.RemoveParam(config.Line(c.first), config.Line(c.last));
    EXPECT_EQ(config.Registry(), c.registry);
  }
}

TEST(NginxListen, NoDanglingForALineRegisteredInTwoBlocks) {
  ListenProbe config("listen 1;\nlisten 2;\nlisten 3;");
  for (const char* const section : {"a", "b"}) {
    for (std::ptrdiff_t i = 0; i < 3; ++i) config.Register(section, i);
  }
  config.RemoveParam(config.Line(1));
  EXPECT_EQ(config.Registry(), "a: listen 1; | listen 3;\nb: listen 1; | listen 3;\n");

  // Unregistered from one block, it is still known to the other until it is erased.
  Removed removed;
  config.RemoveUniqueParam("a", "listen 3;", false, removed);
  EXPECT_EQ(Texts(removed), (Lines{"listen 3;"}));
  EXPECT_EQ(config.Registry(), "a: listen 1;\nb: listen 1; | listen 3;\n");
  config.Erase(removed);
  EXPECT_EQ(config.Registry(), "a: listen 1;\nb: listen 1;\n");

  config.RemoveParam(config.m_lines.begin(), config.m_lines.end());
  EXPECT_EQ(config.Registry(), "a: \nb: \n");
}

TEST(NginxListen, NoDanglingForALineRegisteredTwiceInABlock) {
  ListenProbe config("listen 1;\nlisten 2;");
  config.Register("a", 0);
  config.Register("a", 1);
  config.Register("a", 0);
  ASSERT_EQ(config.Registry(), "a: listen 1; | listen 2; | listen 1;\n");
  config.RemoveParam(config.Line(0));
  EXPECT_EQ(config.Registry(), "a: listen 2;\n");
}

TEST(NginxListen, NoDanglingForLinesAddedOrChangedAfterTheFirstErasure) {
  ListenProbe config("server {\nlisten 1;\nlisten 2;\n}");
  Registered(config);
  config.RemoveParam(config.Line(1));

  config.AppendUniqueParam(kServer, config.Line(2), "listen 3;");
  LineIterator registered = config.AppendParam(config.Line(3), "listen 4;");
  config.RegisterUniqueParam(kServer, registered);
  ASSERT_EQ(config.Registry(), "server {: listen 2; | listen 3; | listen 4;\n");
  config.RemoveParam(config.Line(2));  // listen 3;
  EXPECT_EQ(config.Registry(), "server {: listen 2; | listen 4;\n");

  LineIterator pos = std::prev(config.End());
  Removed removed;
  config.ChangeUniqueParam(kServer, pos, "listen 5;", removed);
  config.Erase(removed);
  ASSERT_EQ(config.Registry(), "server {: listen 5;\n");
  config.RemoveParam(config.Line(1));
  EXPECT_EQ(config.Registry(), "server {: \n");
  EXPECT_EQ(config.Str(), "server {\n}");
}

TEST(NginxListen, ALineAtTheAddressOfAnErasedOneIsAnotherLine) {
  ListenProbe config("listen 1;");
  Registered(config);
  for (int i = 0; i < 1000; ++i) {
    config.RemoveParam(config.Line(0));
    config.AppendParam(config.End(), "listen 1;");
  }
  EXPECT_EQ(config.Registry(), "server {: \n");
}

// Any sequence of operations, beside a plain model of it.

class PlainListens {
 public:
  explicit PlainListens(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      m_lines.push_back(std::make_shared<std::string>("listen " + std::to_string(i % 3) + ";"));
    }
  }

  using Line = std::shared_ptr<std::string>;

  std::size_t Size() const { return m_lines.size(); }

  void Register(const std::string& section, std::size_t i) {
    m_registry[section].push_back(m_lines[i]);
  }

  void Append(const std::string& section, std::size_t pos, const std::string& text) {
    for (const Nginx::Listen& listen : Parsed(text)) {
      bool present = false;
      if (m_registry.count(section) != 0) {
        for (const Line& line : m_registry[section]) {
          if (str::Trim(*line) == listen.Str()) present = true;
        }
      }
      if (!present) m_registry[section].push_back(Insert(section, pos++, listen));
    }
  }

  void Remove(const std::string& section, const std::string& text) {
    if (m_registry.count(section) == 0) return;
    std::vector<Line> removed;
    for (const Line& line : m_registry[section]) {
      for (const Nginx::Listen& listen : Parsed(text)) {
        if (str::StartsWith(str::Trim(*line), listen.Str())) removed.push_back(line);
      }
    }
    for (const Line& line : removed) Erase(line);
  }

  void Change(const std::string& section, std::size_t pos, const std::string& text) {
    if (m_registry.count(section) == 0) return;
    const std::vector<Line> old = m_registry[section];
    std::vector<Line> made;
    for (const Nginx::Listen& listen : Parsed(text)) {
      made.push_back(Insert(section, pos++, listen));
    }
    m_registry[section] = made;
    for (const Line& line : old) Erase(line);
  }

  void EraseRange(std::size_t first, std::size_t last) {
    for (; first < last; --last) Erase(m_lines[first]);
  }

  std::string Text() const {
    std::string text;
    for (const Line& line : m_lines) text += (text.empty() ? "" : "\n") + *line;
    return text;
  }

  std::string Registry() const {
    std::string shown;
    for (const auto& [section, lines] : m_registry) {
      shown += str::Replace(section, kSectionSeparator, " > ") + ": ";
      for (const Line& line : lines) {
        shown += (line == lines.front() ? "" : " | ") + str::Trim(*line);
      }
      shown += "\n";
    }
    return shown;
  }

 private:
  Line Insert(const std::string& section, std::size_t pos, const Nginx::Listen& listen) {
    std::string indent;
    for (std::string rest = section; !rest.empty(); str::GetWord(rest, kSectionSeparator)) {
      indent += "\t";
    }
    const auto line = std::make_shared<std::string>(indent + listen.Str());
    m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(pos), line);
    return line;
  }

  void Erase(const Line line) {
    m_lines.erase(std::remove(m_lines.begin(), m_lines.end(), line), m_lines.end());
    for (auto& entry : m_registry) {
      std::vector<Line>& lines = entry.second;
      lines.erase(std::remove(lines.begin(), lines.end(), line), lines.end());
    }
  }

  std::vector<Line> m_lines;
  std::map<std::string, std::vector<Line>> m_registry;
};

TEST(NginxListen, AnySequenceOfOperationsKeepsTheRegistry) {
  const std::vector<std::string> sections{kServer, ViewProbe::Path({"stream {", kServer}), ""};
  const std::vector<std::string> texts{"listen 0;",
                                       "listen 1;",
                                       "listen 10.0.0.1:80 10.0.0.2:80;",
                                       "listen 10.0.0.2:80 [::1]:1 10.0.0.2:80;",
                                       "listen localhost:80;",
                                       "listen 2"};
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::size_t count = random() % 6;
    PlainListens model(count);
    ListenProbe config(model.Text());
    // Each line is registered at most once in a block.
    for (std::size_t i = 0; i < count; ++i) {
      for (const std::string& section : sections) {
        if (random() % 3 != 0) continue;
        model.Register(section, i);
        config.Register(section, static_cast<std::ptrdiff_t>(i));
      }
    }
    for (int step = 0; step < 30; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      const std::string& section = sections[random() % sections.size()];
      const std::string& text = texts[random() % texts.size()];
      const std::size_t pos = random() % (model.Size() + 1);
      LineIterator line = config.Line(static_cast<std::ptrdiff_t>(pos));
      Removed removed;
      switch (random() % 6) {
        case 0:
        case 1:
          model.Append(section, pos, text);
          config.AppendUniqueParam(section, line, text);
          break;
        case 2:
          model.Remove(section, text);
          config.RemoveUniqueParam(section, text, step % 2 == 0, removed);
          config.Erase(removed);
          break;
        case 3:
          model.Change(section, pos, text);
          config.ChangeUniqueParam(section, line, text, removed);
          config.Erase(removed);
          break;
        case 4:
          if (line == config.End()) break;
          model.EraseRange(pos, pos + 1);
          config.RemoveParam(line);
          break;
        default:
          const std::size_t last = std::min(pos + random() % 3, model.Size());
          model.EraseRange(pos, last);
          config.RemoveParam(line, config.Line(static_cast<std::ptrdiff_t>(last)));
      }
      ASSERT_EQ(config.Str(), model.Text());
      ASSERT_EQ(config.Registry(), model.Registry());
    }
  }
}

}  // namespace
