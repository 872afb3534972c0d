// SPDX-License-Identifier: Apache-2.0

// A configuration as a caller of the library sees it. What the program shows of it, and the JSON,
// have tests of their own (tests/cli).
#include "edit/inspect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "edit/edit.h"

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
  EXPECT_EQ(Prototype(request).text, "server {\nserver_name a.example;\n}");
  request.values["n"] = {std::nullopt, "a; x"};
  const Result refused = Prototype(request);
  EXPECT_EQ(refused.text, "");
  ASSERT_EQ(refused.refusals.size(), 1U);
  EXPECT_EQ(refused.refusals[0].name, "value");
}

}  // namespace
}  // namespace tov_edit
