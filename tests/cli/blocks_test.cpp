// SPDX-License-Identifier: Apache-2.0

#include "cli/blocks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/addresses.h"
#include "cli/followed_lines.h"
#include "template/framework/str.h"

namespace cli {
namespace {

Request RequestOf(const std::string& text) {
  Request request;
  request.dialect = "nginx";
  request.template_file = "TEMPLATE";
  request.template_text = text;
  request.values["a"] = {"a", "b"};
  request.values["on"] = {tov_template::NullValue(), "1"};
  return request;
}

std::string Shown(const std::string& path) {
  return str::Replace(path, tov_template::kSectionSeparator, " > ");
}

TEST(FindBlocks, TellsBlocksWithTheSamePathApart) {
  const std::vector<std::string> lines = {
      "http {",        "server {", "server_name a b;", "}", "server {", "}",
      "server {",      "}",        "gzip on; # }",     "}", "}",        "x {",
      "server_name c;"};
  std::string all;
  for (const Block& block : FindBlocks(*MakeConfig(RequestOf(""), ""), lines)) {
    all += std::to_string(block.opening) + "-" +
           (block.closing ? std::to_string(*block.closing) : "") + " " + Shown(block.path) + "\n";
  }
  EXPECT_EQ(all,
            "0-9 http {\n1-3 http { > server { server_name a\n4-5 http { > server {\n"
            "6-7 http { > server {\n11- x { server_name c\n");
}

TEST(FindReopenings, FollowNamedBlocksInsideOthers) {
  const std::vector<std::string_view> lines = {
      "http {", "server {", "server_name a;", "}", "server {", "listen 1;", "}",
      "}",      "server {", "server_name b;", "}"};
  const auto found = FindReopenings(*MakeConfig(RequestOf(""), ""), lines);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].behind, 3U);
  EXPECT_EQ(found[0].opening, 0U);
  EXPECT_FALSE(found[0].deep);
}

TEST(FindTemplateBlocks, FindsThemByWhatIdentifiesThem) {
  struct Case {
    const char* name;
    std::string config;
    std::string text;
    std::string expected;  // the path of each block, "-" where it is nowhere
  };
  const Case cases[] = {
      {"by the old name", "server {\nserver_name a;\n}", "server {\nserver_name {% $a %};\n}",
       "server { server_name a"},
      {"by the new name", "server {\nserver_name b;\n}", "server {\nserver_name {% $a %};\n}",
       "server { server_name b"},
      {"the old one before the new one", "server {\nserver_name b;\n}\nserver {\nserver_name a;\n}",
       "server {\nserver_name {% $a %};\n}", "server { server_name a"},
      {"whatever is not taken", "server {\nserver_name a;\n}",
       "server {\nserver_name a;\n{% if $none %}\nssl on;\n{% endif %}\n}",
       "server { server_name a"},
      {"with what is to be added", "server {\nserver_name a;\n}",
       "server {\nserver_name a;\n{% if $on %}\nssl on;\n{% endif %}\n}", "server { server_name a"},
      {"inner ones only in theirs", "location / {\n}\nserver {\nserver_name a;\n}",
       "server {\nserver_name a;\nlocation / {\n}\n}", "server { server_name a, -"},
      {"nowhere", "server {\nserver_name c;\n}", "server {\nserver_name {% $a %};\n}", "-"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Request request = RequestOf(c.text);
    const TemplateRun run(MakeConfig(request, c.config), request, ValuesOf(request));
    const TemplateRun new_run(MakeConfig(request, ""), request, NewValuesOf(request));
    std::string all;
    for (const TemplateBlock& block : FindTemplateBlocks(run, new_run).blocks) {
      all += (all.empty() ? "" : ", ") + (block.path ? Shown(*block.path) : "-");
    }
    EXPECT_EQ(all, c.expected);
  }
}

TEST(BlocksOfItems, AreTheInnermostOnes) {
  const Request request = RequestOf("gzip on;\na {\nx;\nb {\ny;\n}\nz;\n}");
  const TemplateRun run(MakeConfig(request, ""), request, ValuesOf(request));
  std::string all;
  for (const auto& block : BlocksOfItems(FindTemplateBlocks(run, run), run.items().size())) {
    all += block ? std::to_string(*block) : "-";
  }
  EXPECT_EQ(all, "-0011100");
}

TEST(FollowedLines, KnowWhatBecameOfEach) {
  const Request request = RequestOf(
      "server {\nroot {% $a %};\n{% if $none %}\ngzip on;\n{% endif %}\nindex i;\netag on;\n}");
  const auto config = MakeConfig(request, "server {\ngzip on;\nroot a;\netag on;\n}\n");
  FollowedLines followed(*config->GetList());
  TemplateRun run(config, request, ValuesOf(request));
  run.SetObserver(&followed);
  run.Apply();
  std::string all;
  for (const FollowedLines::Line& line : followed.Result()) {
    all += (line.before ? std::to_string(*line.before) : "new") + " " +
           (line.text != nullptr ? str::Trim(*line.text) : "gone") +
           (line.item ? " by " + std::to_string(*line.item) : "") + "\n";
  }
  EXPECT_EQ(all, "0 server {\n1 gone by 2\n2 root b; by 1\n3 etag on;\nnew index i; by 3\n4 }\n");
  std::string found;
  for (const FollowedLines::FoundLine& line : followed.found()) {
    found += std::to_string(line.item) + " " + line.text + "\n";
  }
  EXPECT_EQ(found, "0 server {\n4 etag on;\n5 }\n");
}

}  // namespace
}  // namespace cli
