// SPDX-License-Identifier: Apache-2.0

// The links of the documentation lead to files and headings that are there, and its contents lead
// to all pages.
#include "docs/links.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

const std::filesystem::path kRoot = QELTEMPLATE_SOURCE_DIR;
const std::filesystem::path kDocs = kRoot / "docs";

TEST(DocsLinks, LeadToFilesAndHeadings) {
  for (const char* folder :
       {"", "docs", "bench", "bench/results", "tests/constructs", "tests/golden"}) {
    const auto pages = PagesIn(kRoot / folder);
    EXPECT_THAT(pages, testing::Not(testing::IsEmpty())) << folder;
    for (const auto& page : pages) {
      EXPECT_THAT(ProblemsIn(page), testing::IsEmpty()) << page;
    }
  }
}

TEST(DocsLinks, AreFoundToBeBroken) {
  const Sandbox sandbox;
  sandbox.Write("page.md",
                "# A block's line\n"
                "[a](page.md) [b](#a-blocks-line) [c](page.md#a-blocks-line) [d](https://x/y#z)\n"
                "```\n"
                "# In a block\n"
                "[e](in-a-block.md)\n"
                "```\n"
                "[f](missing.md) and [g](#in-a-block)\n"
                "![h](page.md#A-blocks-line) [i](.)\n");
  EXPECT_THAT(
      ProblemsIn(sandbox.PathOf("page.md")),
      testing::ElementsAre("page.md:7: no file missing.md", "page.md:7: no heading #in-a-block",
                           "page.md:8: no heading page.md#A-blocks-line", "page.md:8: a folder ."));
}

TEST(DocsLinks, LeadFromTheRootOfASystem) {
  const Sandbox sandbox;
  sandbox.Write("page.md", "[a](/page.md) [b](/missing.md)\n");
  EXPECT_THAT(ProblemsIn(sandbox.PathOf("page.md"), sandbox.PathOf("")),
              testing::ElementsAre("page.md:1: no file /missing.md"));
}

TEST(DocsContents, LeadToEachPage) {
  std::set<std::string> links;
  for (const std::string& line : TextOf(kDocs / "README.md")) {
    for (const std::string& link : LinksIn(line)) links.insert(link);
  }
  std::ifstream stream(kDocs / "mkdocs.yml");
  const std::string site(std::istreambuf_iterator<char>(stream), {});
  for (const auto& page : PagesIn(kDocs)) {
    const std::string name = page.filename();
    EXPECT_NE(site.find(": docs/" + name + "\n"), std::string::npos)
        << name << " is not in mkdocs.yml";
    if (name == "README.md") continue;
    EXPECT_EQ(links.count(name), 1U) << "docs/README.md does not link " << name;
  }
}

}  // namespace
