// SPDX-License-Identifier: Apache-2.0

// A configuration as a caller of the library sees it. What the program shows of it, and the JSON,
// have tests of their own (tests/cli).
#include "edit/inspect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "edit/edit.h"
#include "edit/inspection.h"

namespace tov_edit {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(AnInspection, HasTheBlocksAndDirectivesOfNginx) {
  const Inspection seen = Inspect(Dialect::kNginx,
                                  "http {\n"
                                  "\tserver {\n"
                                  "\t\tserver_name a.example \"b.example\";\n"
                                  "\t\tlisten 443\n\t\t\tssl;\n"
                                  "\t}\n"
                                  "}\n",
                                  "n.conf");
  ASSERT_EQ(seen.blocks.size(), 2U);
  EXPECT_EQ(seen.blocks[0].name, "http");
  EXPECT_EQ(seen.blocks[0].line, 1U);
  EXPECT_EQ(seen.blocks[0].end_line, 7U);
  EXPECT_EQ(seen.blocks[0].parent, std::nullopt);
  EXPECT_FALSE(seen.blocks[0].is_server);
  EXPECT_EQ(seen.blocks[1].name, "server");
  EXPECT_EQ(seen.blocks[1].column, 2U);
  EXPECT_EQ(seen.blocks[1].parent, 0U);
  EXPECT_EQ(seen.blocks[1].depth, 1U);
  EXPECT_TRUE(seen.blocks[1].is_server);
  EXPECT_THAT(seen.blocks[1].names, ElementsAre("a.example", "b.example"));
  EXPECT_THAT(seen.blocks[1].addresses, ElementsAre("*:443"));
  ASSERT_EQ(seen.directives.size(), 2U);
  EXPECT_THAT(seen.directives[0].arguments, ElementsAre("a.example", "b.example"));
  EXPECT_EQ(seen.directives[1].line, 4U);
  EXPECT_EQ(seen.directives[1].end_line, 5U);
  EXPECT_EQ(seen.directives[1].block, 1U);
  EXPECT_FALSE(seen.error);
  EXPECT_THAT(seen.warnings, IsEmpty());
}

TEST(AnInspection, SaysWhatHttpdWouldNotTake) {
  const Inspection seen =
      Inspect(Dialect::kApache, "<VirtualHost *:80>\nOptions -Indexes FollowSymLinks\n", "a.conf");
  ASSERT_EQ(seen.warnings.size(), 1U);
  EXPECT_EQ(seen.warnings[0].name, "mixed-options");
  EXPECT_EQ(Shown(PlaceOf(seen.warnings[0])), "a.conf:2:1");
  EXPECT_EQ(seen.warnings[0].line_text, "Options -Indexes FollowSymLinks");
  ASSERT_TRUE(seen.error);
  EXPECT_EQ(seen.error->name, "syntax-error");
  EXPECT_EQ(seen.blocks.at(0).end_line, std::nullopt);
}

TEST(AnInspection, SaysWhereACommentStandsBehindOptions) {
  const Inspection seen = Inspect(Dialect::kApache,
                                  "Options None\n  options Indexes \"\" # +x\nX Y # z\n"
                                  "Options #\n",
                                  "a.conf");
  ASSERT_EQ(seen.warnings.size(), 2U);
  EXPECT_EQ(seen.warnings[0].name, "options-comment");
  EXPECT_EQ(Shown(PlaceOf(seen.warnings[0])), "a.conf:2:22");
  EXPECT_EQ(seen.warnings[0].line_text, "  options Indexes \"\" # +x");
  EXPECT_EQ(Shown(PlaceOf(seen.warnings[1])), "a.conf:4:9");
}

// --- One line ---

struct LineCase {
  Dialect dialect;
  std::string text;  // it begins with what is shown
  std::string line;
  bool is_plain;  // its bytes are the line
};

TEST(OneLine, IsWhatStandsInSeveralOrIsWrittenOtherwise) {
  constexpr Dialect kNginx = Dialect::kNginx;
  constexpr Dialect kApache = Dialect::kApache;
  const LineCase cases[] = {
      {kNginx, "listen 80;", "listen 80;", true},
      {kNginx, "listen  80;", "listen 80;", false},
      {kNginx, "listen 80 ;", "listen 80;", false},
      {kNginx, "listen\n\t80\n\tssl;", "listen 80 ssl;", false},
      {kNginx, "x \"a b\";", "x \"a b\";", false},
      {kNginx, "x \"a\n  b\n\n c\";", "x \"a b c\";", false},
      {kNginx, "x a # b\n c;", "x a c;", false},
      {kNginx, "a;", "a;", false},  // too short to be worth a look
      {kNginx, "ab;", "ab;", true},
      {kNginx, "x \x1b[2J;", "x \x1b[2J;", false},
      {kNginx, "x \xc3\xa4;", "x \xc3\xa4;", false},
      {kNginx, "server {\n}", "server {", true},
      {kNginx, "server{\n}", "server {", false},
      {kNginx, "server\n{\n}", "server {", false},
      {kNginx, "location = /a {\n}", "location = /a {", true},
      {kNginx, "# a  b", "# a  b", false},
      {kNginx, "# a b", "# a b", true},
      {kNginx, "x " + std::string(60, 'y') + ";", "x " + std::string(60, 'y') + ";", true},
      {kNginx, "x " + std::string(61, 'y') + ";", "x " + std::string(61, 'y') + ";", false},
      {kApache, "Listen 80", "Listen 80", true},
      {kApache, "Listen   80", "Listen 80", false},
      {kApache, "Listen 80;", "Listen 80;", true},
      {kApache, "SetEnv A b", "SetEnv A b", true},
      {kApache, "SetEnv A \"", "SetEnv A \"", false},
      {kApache, "Listen \\\n  80", "Listen 80", false},
      {kApache, "Lis\\\nten 80", "Listen 80", false},
      {kApache, "SetEnv A 'b c'", "SetEnv A 'b c'", false},
      {kApache, "<VirtualHost *:80>\n</VirtualHost>", "<VirtualHost *:80>", true},
      {kApache, "< VirtualHost *:80>\n</VirtualHost>", "<VirtualHost *:80>", false},
      {kApache, "<VirtualHost *:80 >\n</VirtualHost>", "<VirtualHost *:80>", false},
      {kApache, "<IfModule  a>\n</IfModule>", "<IfModule a>", false},
      {kApache, "# a b", "# a b", true},
      {kApache, "# a \\\n b", "# a  b", false},
  };
  for (const LineCase& c : cases) {
    SCOPED_TRACE(c.text);
    for (const bool has_more : {false, true}) {
      const std::string text = c.text + "\n" + (has_more ? std::string(100, '\n') : "");
      const tov_document::Document document(c.dialect, text);
      const auto nodes = document.Nodes(tov_document::kWholeText);
      EXPECT_EQ(OneLine(document, nodes.front()), c.line);
      const std::string plain(PlainLine(document, nodes.front()));
      if (has_more) {
        EXPECT_EQ(plain, c.is_plain ? c.line : "");
      } else if (!plain.empty()) {
        EXPECT_EQ(plain, c.line);
      }
    }
  }
}

TEST(TheItems, OfATextAreThoseThatAreNotBlank) {
  const std::string text =
      "\n# a  \nuser b;\nhttp {\nserver {\nserver {\n}\nc;\n}\nserver {\n}\n}\n"
      "content_by_lua_block {\n  x = 1 -- }\n\n}\ncontent_by_lua_block {  }\nserver {\n}\n";
  const tov_document::Document document(Dialect::kNginx, text);
  std::string items;
  ForEachItem(document, [&](const Item& item) {
    const std::string_view bytes = document.Bytes(item.node.bytes);
    items += std::string(bytes.substr(0, bytes.find('\n'))) + (item.server ? " (server)|" : "|");
  });
  EXPECT_EQ(items,
            "# a  |user b;|http {|server { (server)|server {|c;|server { "
            "(server)|content_by_lua_block {|x = 1 "
            "-- }|content_by_lua_block {  }|server { (server)|");
}

TEST(AnInspection, OfNothingIsEmpty) {
  const Inspection seen = Inspect(Dialect::kNginx, "", "n.conf");
  EXPECT_THAT(seen.blocks, IsEmpty());
  EXPECT_THAT(seen.directives, IsEmpty());
  EXPECT_FALSE(seen.error);
}

TEST(APrototype, IsJudgedAsAnEditIs) {
  Request request;
  request.template_name = "t";
  request.template_text = "server {\nserver_name {% $n %};\nroot /a;\n}\n";
  request.values["n"] = {std::nullopt, "a.example"};
  const Result taken = Prototype(request);
  EXPECT_EQ(taken.text, "server {\nserver_name a.example;\n}");
  EXPECT_FALSE(taken.changed);  // nothing is edited
  EXPECT_FALSE(taken.skipped);
  request.values["n"] = {std::nullopt, "a; x"};
  const Result refused = Prototype(request);
  EXPECT_EQ(refused.text, "");
  ASSERT_EQ(refused.refusals.size(), 1U);
  EXPECT_EQ(refused.refusals[0].name, "value");
}

}  // namespace
}  // namespace tov_edit
