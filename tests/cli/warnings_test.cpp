// SPDX-License-Identifier: Apache-2.0

// The page of the warnings and refusals: each name has a part, and its examples are what it says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "cli/findings.h"
#include "cli/program.h"
#include "cli/values_file.h"
#include "edit/finding.h"
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

constexpr char kPage[] = QELTEMPLATE_SOURCE_DIR "/docs/warnings.md";

// The headings of the page.
constexpr char kForced[] = "Edits that are refused unless forced";
constexpr char kFirm[] = "Edits that are refused";
constexpr char kUndone[] = "Edits that leave something undone";
constexpr char kTemplates[] = "Templates";
constexpr char kConfigurations[] = "Configurations";
constexpr char kServers[] = "Servers";

struct Section {
  std::string part;  // the heading above
  std::string name;
  int line = 0;
  std::vector<Example> examples;  // the first has the warning, the second has not, and so on
};

// The sections "### name" of the page.
std::vector<Section> ReadPage() {
  std::ifstream page(kPage);
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

  // What the program, told `more`, says of `example`, which stands in `section`.
  Outcome Say(const Section& section, const Example& example, const Words& more = {}) const {
    m_sandbox.Write("site.template", example.text);
    m_sandbox.Write("site.conf", section.part == kConfigurations ? example.text : example.config);
    if (section.part == kServers) m_sandbox.Write("nginx.conf", example.text);
    if (section.name == "too-many-files") WriteNestedIncludes();
    m_sandbox.Write("values.json", example.values);
    if (section.name == "limit") m_sandbox.Write("long.template", std::string(200'001, '\n'));
    Words words;
    if (section.part == kConfigurations) {
      words = {"inspect", "site.conf"};
    } else if (section.part == kServers) {
      words = {"sites", "nginx.conf"};
      if (section.name == "outside-root") words.insert(words.end(), {"--root", "."});
    } else if (section.part == kTemplates) {
      words = {"lint", "site.template"};
      if (example.values != "{}") words.insert(words.end(), {"--values", "values.json"});
    } else {
      words = {"apply", "--template", "site.template"};
      if (IsOfServers(section.name)) {
        std::filesystem::create_directories(m_sandbox.PathOf("sites"));
        m_sandbox.Write("sites/site.conf", example.config);
        m_sandbox.Write("nginx.conf", "http {\n\tinclude sites/*;\n}\n");
        words.insert(words.end(), {"--server", "nginx.conf", "--diff"});
      } else {
        words.emplace_back("site.conf");
      }
      const Words options = OptionsFor(section.name, example);
      words.insert(words.end(), options.begin(), options.end());
    }
    words.insert(words.end(), {"--dialect", example.dialect});
    words.insert(words.end(), more.begin(), more.end());
    return Run(words);
  }

  // What the page says of edits of a whole server.
  static bool IsOfServers(const std::string& name) {
    return name == "no-file" || name == "included";
  }

  // "1" includes "2" ten times, and so on.
  void WriteNestedIncludes() const {
    for (int i = 1; i < 8; ++i) {
      std::string text;
      for (int times = 0; times < 10; ++times) text += "Include " + std::to_string(i + 1) + "\n";
      m_sandbox.Write(std::to_string(i), text);
    }
    m_sandbox.Write("8", "");
  }

  // The options of apply with which the page says that the examples of `name` are run.
  static Words OptionsFor(const std::string& name, const Example& example) {
    if (name == "unused-value") {
      Words words;
      for (const auto& [value, texts] : cli::ParseValues(example.values, "values.json")) {
        words.insert(words.end(), {"--set", value + "=" + texts.new_value.value_or("")});
      }
      return words;
    }
    Words words = {"--values", "values.json"};
    if (name == "exists") words.emplace_back("--only-create");
    if (name == "not-found") words.emplace_back("--must-exist");
    return words;
  }

  static int ExitCodeOf(const Section& section) {
    if (section.part == kForced || section.part == kFirm) return 4;
    return section.part == kUndone ? 0 : 6;
  }

  static std::set<std::string> NamesIn(const std::string& part) {
    std::set<std::string> names;
    for (const Section& section : ReadPage()) {
      if (section.part != part) continue;
      EXPECT_TRUE(names.insert(section.name).second) << section.name << " is explained twice";
    }
    return names;
  }

  static std::set<std::string> NamesOf(const std::vector<cli::FindingKind>& kinds) {
    std::set<std::string> names;
    for (const cli::FindingKind& kind : kinds) {
      EXPECT_TRUE(names.insert(kind.name).second) << kind.name << " stands twice";
    }
    return names;
  }
};

TEST_F(Warnings, AreWhatTheirExamplesShow) {
  const std::vector<Section> sections = ReadPage();
  ASSERT_FALSE(sections.empty());
  for (const Section& section : sections) {
    SCOPED_TRACE("docs/warnings.md:" + std::to_string(section.line) + ": " + section.name);
    ASSERT_FALSE(section.examples.empty());
    ASSERT_EQ(section.examples.size() % 2, 0U);
    for (std::size_t i = 0; i < section.examples.size(); i += 2) {
      const Outcome bad = Say(section, section.examples[i]);
      EXPECT_THAT(bad.out + bad.err, HasSubstr("[" + section.name + "]"));
      EXPECT_EQ(bad.exit_code, ExitCodeOf(section)) << bad.err;
      const Outcome good = Say(section, section.examples[i + 1]);
      EXPECT_EQ(good.err, "");
      EXPECT_THAT(good.out, Not(HasSubstr("[" + section.name + "]")));
      EXPECT_EQ(good.exit_code, 0) << good.out;
    }
  }
}

// The message that the page begins with is that of its first example of the name.
TEST_F(Warnings, LookAsThePageShowsThem) {
  std::ifstream page(kPage);
  std::string shown;
  for (std::string line; std::getline(page, line) && line != "```text";) {
  }
  for (std::string line; std::getline(page, line) && line != "```";) {
    shown += (shown.empty() ? "" : " ") + line;
  }
  for (const Section& section : ReadPage()) {
    if (section.part != kFirm || section.name != "ambiguous") continue;
    EXPECT_EQ(Say(section, section.examples.at(0)).err,
              "qeltemplate: site.conf: not edited:\n  " + shown + "\n");
    return;
  }
  FAIL() << "the page has no such example";
}

TEST_F(Warnings, AreAllExplained) {
  EXPECT_EQ(NamesIn(kForced), NamesOf(tov_edit::kForcedRefusals));
  EXPECT_EQ(NamesIn(kFirm), NamesOf(tov_edit::kFirmRefusals));
  EXPECT_EQ(NamesIn(kUndone), NamesOf(tov_edit::kEditWarnings));
  std::set<std::string> others = NamesIn(kUndone);
  others.merge(NamesIn(kTemplates));
  others.merge(NamesIn(kConfigurations));
  others.merge(NamesIn(kServers));
  EXPECT_EQ(others.erase("syntax-error"), 1U) << "it is no warning";
  EXPECT_EQ(others, NamesOf(cli::KnownWarnings()));
}

TEST_F(Warnings, AreForcedOnlyWhereThePageSaysSo) {
  for (const Section& section : ReadPage()) {
    if (section.part != kForced && section.part != kFirm) continue;
    SCOPED_TRACE(section.name);
    ASSERT_FALSE(section.examples.empty());
    const Outcome outcome = Say(section, section.examples[0], {"--force", section.name});
    EXPECT_EQ(outcome.exit_code, section.part == kForced ? 0 : 2) << outcome.err;
    EXPECT_EQ(outcome.out.empty(), section.part == kFirm);
  }
}

TEST_F(Warnings, CanBeIgnored) {
  for (const Section& section : ReadPage()) {
    if (section.part != kTemplates && section.part != kConfigurations && section.part != kServers) {
      continue;
    }
    if (section.name == "syntax-error") continue;  // no warning: nothing ignores it
    SCOPED_TRACE(section.name);
    const Outcome outcome = Say(section, section.examples[0], {"--ignore", section.name});
    EXPECT_THAT(outcome.out, Not(HasSubstr("[" + section.name + "]")));
    EXPECT_EQ(outcome.err, "");
  }
}

}  // namespace
