// SPDX-License-Identifier: Apache-2.0

// The page of the warnings and refusals: each name has a part, and its examples are what it says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "cli/findings.h"
#include "cli/program.h"
#include "template/framework/str.h"

namespace {

using testing::HasSubstr;
using testing::Not;

struct Example {
  std::string dialect;
  std::string text;  // the template, or the configuration
  std::string values = "{}";
  std::string config;
};

struct Section {
  std::string part;  // the heading above: "Templates"
  std::string name;
  int line = 0;
  std::vector<Example> examples;  // the first has the warning, the second has not
};

// The sections "### name" of the page.
std::vector<Section> ReadPage() {
  std::ifstream page(QELTEMPLATE_SOURCE_DIR "/docs/warnings.md");
  std::vector<Section> sections;
  std::string part;
  std::string* block = nullptr;
  int number = 0;
  for (std::string line; std::getline(page, line);) {
    ++number;
    if (line == "```") {
      block = nullptr;
    } else if (block != nullptr) {
      *block += line + "\n";
    } else if (str::StartsWith(line, "## ")) {
      part = line.substr(3);
    } else if (str::StartsWith(line, "### ")) {
      sections.push_back({part, line.substr(4), number, {}});
    } else if (str::StartsWith(line, "```") && !sections.empty()) {
      const std::string language = line.substr(3);
      std::vector<Example>& examples = sections.back().examples;
      if (language == "nginx" || language == "apache") {
        examples.push_back({language, "", "{}", ""});
        block = &examples.back().text;
      } else if (language == "json") {
        examples.back().values.clear();
        block = &examples.back().values;
      } else {
        block = &examples.back().config;
      }
    }
  }
  return sections;
}

class Warnings : public Program {
 protected:
  Warnings() { m_sandbox.Write("part.template", "gzip on;\n"); }

  // What the program says of `example`, which stands in `section`.
  Outcome Say(const Section& section, const Example& example) const {
    m_sandbox.Write("site.template", example.text);
    m_sandbox.Write("site.conf", section.part == "Configurations" ? example.text : example.config);
    m_sandbox.Write("values.json", example.values);
    Words words = {"--dialect", example.dialect};
    if (section.part == "Configurations") {
      words.insert(words.begin(), "inspect");
      words.emplace_back("site.conf");
      return Run(words);
    }
    if (example.values != "{}" || section.part != "Templates") {
      words.insert(words.end(), {"--values", "values.json"});
    }
    if (section.part == "Templates") {
      words.insert(words.begin(), "lint");
      words.emplace_back("site.template");
      return Run(words);
    }
    words.insert(words.begin(), "apply");
    if (section.name == "exists") words.emplace_back("--only-create");
    words.insert(words.end(), {"--template", "site.template", "site.conf"});
    return Run(words);
  }

  static int ExitCodeOf(const Section& section) {
    if (section.part == "Edits that are refused") return 4;
    return section.part == "Edits that leave something undone" ? 0 : 6;
  }
};

TEST_F(Warnings, AreWhatTheirExamplesShow) {
  const std::vector<Section> sections = ReadPage();
  ASSERT_FALSE(sections.empty());
  for (const Section& section : sections) {
    SCOPED_TRACE("docs/warnings.md:" + std::to_string(section.line) + ": " + section.name);
    ASSERT_EQ(section.examples.size(), 2U);
    const Outcome bad = Say(section, section.examples[0]);
    EXPECT_THAT(bad.out + bad.err, HasSubstr("[" + section.name + "]"));
    EXPECT_EQ(bad.exit_code, ExitCodeOf(section)) << bad.err;
    const Outcome good = Say(section, section.examples[1]);
    EXPECT_THAT(good.out + good.err, Not(HasSubstr("[" + section.name + "]")));
    EXPECT_TRUE(good.exit_code == 0 || good.exit_code == 6) << good.err;
  }
}

TEST_F(Warnings, AreAllExplained) {
  std::set<std::string> refusals;
  std::set<std::string> others;
  for (const Section& section : ReadPage()) {
    (section.part == "Edits that are refused" ? refusals : others).insert(section.name);
  }
  // These two have options of their own.
  EXPECT_EQ(refusals.erase("value"), 1U);
  EXPECT_EQ(refusals.erase("exists"), 1U);
  EXPECT_EQ(others.erase("syntax-error"), 1U) << "it is no warning";
  const auto names = [](const std::vector<cli::FindingKind>& kinds) {
    std::set<std::string> all;
    for (const cli::FindingKind& kind : kinds) all.insert(kind.name);
    EXPECT_EQ(all.size(), kinds.size()) << "a name stands twice";
    return all;
  };
  EXPECT_EQ(refusals, names(cli::kRefusals));
  EXPECT_EQ(others, names(cli::kWarnings));
}

TEST_F(Warnings, CanBeIgnored) {
  for (const Section& section : ReadPage()) {
    if (section.part != "Templates" && section.part != "Configurations") continue;
    if (section.name == "syntax-error") continue;  // no warning: nothing ignores it
    SCOPED_TRACE(section.name);
    const Example& example = section.examples[0];
    const bool lint = section.part == "Templates";
    m_sandbox.Write("file", example.text);
    m_sandbox.Write("values.json", example.values);
    Words words = {lint ? "lint" : "inspect", "--dialect", example.dialect};
    if (example.values != "{}") words.insert(words.end(), {"--values", "values.json"});
    words.insert(words.end(), {"--ignore", section.name, "file"});
    EXPECT_THAT(Run(words).out, Not(HasSubstr("[" + section.name + "]")));
  }
}

}  // namespace
