// SPDX-License-Identifier: Apache-2.0

// The links of the documentation lead to files and headings that are there, and its contents lead
// to all pages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

const std::filesystem::path kRoot = QELTEMPLATE_SOURCE_DIR;
const std::filesystem::path kDocs = kRoot / "docs";

// The pages in `folder`, without those in folders below it.
std::vector<std::filesystem::path> PagesIn(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> pages;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".md") pages.push_back(entry.path());
  }
  std::sort(pages.begin(), pages.end());
  return pages;
}

// The lines of a page; those in fenced blocks are empty.
std::vector<std::string> TextOf(const std::filesystem::path& page) {
  std::ifstream stream(page);
  std::vector<std::string> lines;
  bool fenced = false;
  for (std::string line; std::getline(stream, line);) {
    const bool fence = line.compare(0, 3, "```") == 0;
    lines.push_back(fenced || fence ? "" : line);
    fenced = fenced != fence;
  }
  return lines;
}

// The name by which a link leads to `heading`, as hosts of repositories and MkDocs make it of
// headings in which no two blanks or dashes meet.
std::string AnchorOf(const std::string& heading) {
  std::string anchor;
  for (const char c : heading) {
    if ('A' <= c && c <= 'Z') {
      anchor += static_cast<char>(c - 'A' + 'a');
    } else if (('a' <= c && c <= 'z') || ('0' <= c && c <= '9') || c == '_' || c == '-') {
      anchor += c;
    } else if (c == ' ') {
      anchor += '-';
    }
  }
  return anchor;
}

std::set<std::string> AnchorsOf(const std::filesystem::path& page) {
  std::set<std::string> anchors;
  for (const std::string& line : TextOf(page)) {
    const std::size_t text = line.find_first_not_of('#');
    if (text != 0 && text != std::string::npos) anchors.insert(AnchorOf(line.substr(text + 1)));
  }
  return anchors;
}

// What is wrong with the link `target` of `page`, or "". Links to other sites are not looked at.
std::string ProblemOf(const std::filesystem::path& page, const std::string& target) {
  if (target.find("://") != std::string::npos) return "";
  const std::size_t hash = target.find('#');
  const std::string name = target.substr(0, hash);
  const std::filesystem::path file = name.empty() ? page : page.parent_path() / name;
  if (!std::filesystem::exists(file)) return "no file " + target;
  if (hash == std::string::npos) return "";
  return AnchorsOf(file).count(target.substr(hash + 1)) == 0 ? "no heading " + target : "";
}

std::vector<std::string> LinksIn(const std::string& line) {
  static const std::regex link("\\]\\(([^)]+)\\)");
  std::vector<std::string> links;
  for (std::sregex_iterator match(line.begin(), line.end(), link), end; match != end; ++match) {
    links.push_back((*match)[1]);
  }
  return links;
}

// "FILE:LINE: what is wrong" for each link of `page` that leads nowhere.
std::vector<std::string> ProblemsIn(const std::filesystem::path& page) {
  std::vector<std::string> problems;
  int number = 0;
  for (const std::string& line : TextOf(page)) {
    ++number;
    for (const std::string& target : LinksIn(line)) {
      const std::string problem = ProblemOf(page, target);
      if (problem.empty()) continue;
      problems.push_back(page.filename().string() + ":" + std::to_string(number) + ": " + problem);
    }
  }
  return problems;
}

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
                "![h](page.md#A-blocks-line)\n");
  EXPECT_THAT(
      ProblemsIn(sandbox.PathOf("page.md")),
      testing::ElementsAre("page.md:7: no file missing.md", "page.md:7: no heading #in-a-block",
                           "page.md:8: no heading page.md#A-blocks-line"));
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
