// SPDX-License-Identifier: Apache-2.0

// Laws that hold for every input, tried on random ones, on the golden cases, and on the corpus of
// real configurations where it is at hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "property/edits.h"
#include "property/random_input.h"
#include "support/log_capture.h"
#include "support/merging_dialect.h"
#include "support/real_configs.h"
#include "support/view_probe.h"
#include "template/framework/str.h"
#include "template/nginx.h"
#include "template/qeltemplate.h"

using tov_template::ConfigView;
using tov_template::kSectionSeparator;
using tov_template::Nginx;
using tov_template::NullValue;
using tov_template::ParserTemplate;

namespace {

std::vector<std::string> NonEmptyLines(const std::string& text) {
  std::vector<std::string> lines(1);
  for (const char c : text) {
    if (c == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  lines.erase(std::remove(lines.begin(), lines.end(), ""), lines.end());
  return lines;
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += (&line == &lines.front() ? "" : "\n") + line;
  return text;
}

std::string Differ(const std::string& what, const std::string& a, const std::string& b) {
  return a == b ? "" : what + ":\n" + a + "\n-- is not --\n" + b;
}

// --- Laws ---

std::string ReadingAndWritingBackKeepsEveryNonEmptyLine(const std::string& config) {
  const ViewProbe view = ViewOf<Nginx>(config);
  return Differ("written back", view.Text(), Joined(NonEmptyLines(config)));
}

std::string ReadingWhatWasWrittenGivesTheSameIndex(const std::string& config) {
  const ViewProbe view = ViewOf<Nginx>(config);
  return Differ("index", view.Dump(), ViewOf<Nginx>(view.Text()).Dump());
}

std::string EveryElementStandsForALineOfItsText(const std::string& config) {
  const ViewProbe nginx = ViewOf<Nginx>(config);
  return nginx.BrokenReferences() + ViewOf<MergingDialect>(config).BrokenReferences();
}

std::string AnEmptyTemplateChangesNothingButEmptyBlocks(const std::string& config) {
  const ViewProbe view = ViewOf<Nginx>(config);
  const bool has_small_block =
      std::any_of(view.m_params.begin(), view.m_params.end(),
                  [](const auto& block) { return block.second.size() < 3; });
  const std::string edited =
      ParserTemplate(tov_template::GetConfigType("Nginx", config)).ApplyTemplate().GetConfig();
  if (!has_small_block) return Differ("edited", edited, view.Text());
  // What is left are lines that were there, in their order.
  const std::vector<std::string> before = NonEmptyLines(config);
  auto unread = before.begin();
  for (const std::string& line : NonEmptyLines(edited)) {
    unread = std::find(unread, before.end(), line);
    if (unread == before.end()) return "new line: " + line;
    ++unread;
  }
  return "";
}

std::string BrokenAfterEdits(ViewProbe view, const std::string& edits) {
  for (const std::string& edit : NonEmptyLines(edits)) {
    ApplyEdit(view, edit);
    const std::string broken = view.BrokenReferences();
    if (!broken.empty()) return broken + " after " + edit;
  }
  return "";
}

std::string NothingRefersToAnErasedLine(const std::string& config, const std::string& edits) {
  return BrokenAfterEdits(ViewOf<Nginx>(config), edits);
}

std::string NothingRefersToAnErasedMergedLine(const std::string& config, const std::string& edits) {
  // The same lines in the syntax of the merging dialect, whose "set" lines share elements.
  const auto translated = [](std::string text) {
    text = str::Replace(str::Replace(text, "{", "("), "}", ")");
    return str::Replace(str::Replace(text, "root", "set"), "listen", "set");
  };
  return BrokenAfterEdits(ViewOf<MergingDialect>(translated(config)), translated(edits));
}

ParserTemplate Request(const std::string& config, const std::string& text) {
  ParserTemplate parser(tov_template::GetConfigType("Nginx", config));
  parser.SetValue("a", "/a", "/b").SetValue("b", NullValue(), "2").SetValue("c", "x", NullValue());
  parser.SetValue("ip", "127.0.0.1", "127.0.0.2").SetTemplate(text).ApplyTemplate();
  return parser;
}

std::string TheLogLevelChangesNoResult(const std::string& config, const std::string& text) {
  const ParserTemplate silent = Request(config, text);
  LogCapture log;
  const ParserTemplate logged = Request(config, text);
  if (log.Records().empty()) return "nothing was logged";
  return Differ("config", silent.GetConfig(), logged.GetConfig()) +
         Differ("prototype", silent.GetPrototype(), logged.GetPrototype());
}

std::string ApplyingAgainWithoutAChangeDoesNothing(const std::string& config,
                                                   const std::string& text) {
  ParserTemplate parser = Request(config, text);
  const std::string once = parser.GetConfig();
  return Differ("applied twice", parser.ApplyTemplate().GetConfig(), once);
}

std::string SubsectionsAgreeWithALevelWiseComparison(const std::string& parent,
                                                     const std::string& path) {
  const auto levels = [](const std::string& text) {
    std::vector<std::string> result;
    for (std::size_t start = 0; start < text.size();) {
      const std::size_t end = std::min(text.find(kSectionSeparator, start), text.size());
      result.push_back(text.substr(start, end - start));
      start = end + kSectionSeparator.size();
    }
    return result;
  };
  const std::vector<std::string> parents = levels(parent);
  std::vector<std::string> own = levels(path);
  own.resize(std::max(own.size(), parents.size()));  // a level that is not there is an empty one
  const bool below = std::equal(parents.begin(), parents.end(), own.begin());
  return ConfigView::IsSubsection(parent, path) == below ? "" : "IsSubsection says otherwise";
}

// --- On random inputs ---

TEST(RandomConfigs, Laws) {
  EXPECT_EQ(ForAllTexts(ReadingAndWritingBackKeepsEveryNonEmptyLine), "");
  EXPECT_EQ(ForAllTexts(ReadingWhatWasWrittenGivesTheSameIndex), "");
  EXPECT_EQ(ForAllTexts(EveryElementStandsForALineOfItsText), "");
  EXPECT_EQ(ForAllTexts(AnEmptyTemplateChangesNothingButEmptyBlocks), "");
}

TEST(RandomEdits, NothingRefersToAnErasedLine) {
  EXPECT_EQ(ForAllEdits(NothingRefersToAnErasedLine), "");
}

TEST(RandomEdits, NothingRefersToAnErasedMergedLine) {
  EXPECT_EQ(ForAllEdits(NothingRefersToAnErasedMergedLine), "");
}

TEST(RandomRequests, TheLogLevelChangesNoResult) {
  EXPECT_EQ(ForAllRequests(TheLogLevelChangesNoResult), "");
}

TEST(RandomRequests, ApplyingAgainWithoutAChangeDoesNothing) {
  EXPECT_EQ(ForAllRequests(ApplyingAgainWithoutAChangeDoesNothing), "");
}

TEST(RandomPaths, SubsectionsAgreeWithALevelWiseComparison) {
  EXPECT_EQ(ForAllPaths(SubsectionsAgreeWithALevelWiseComparison), "");
}

TEST(RandomInputs, ALawThatDoesNotHoldIsReported) {
  const Law no_root = [](const std::string& config) -> std::string {
    return str::view::Contains(config, "root /a;") ? "a root" : "";
  };
  EXPECT_NE(ForAllTexts(no_root), "");
}

// --- On real configurations ---

TEST(RealConfigs, Laws) {
  for (const auto& [name, config] : RealConfigs("nginx")) {
    SCOPED_TRACE(name);
    ASSERT_FALSE(config.empty() && name != "golden/new-block-with-nested-block");
    EXPECT_EQ(ReadingAndWritingBackKeepsEveryNonEmptyLine(config), "");
    EXPECT_EQ(ReadingWhatWasWrittenGivesTheSameIndex(config), "");
    EXPECT_EQ(EveryElementStandsForALineOfItsText(config), "");
    EXPECT_EQ(AnEmptyTemplateChangesNothingButEmptyBlocks(config), "");
  }
}

TEST(RealConfigs, ALineThatIsAppendedAndRemovedLeavesNoTrace) {
  for (const auto& [name, config] : RealConfigs("nginx")) {
    SCOPED_TRACE(name);
    ViewProbe view = ViewOf<Nginx>(config);
    const std::string before = view.Text();
    std::vector<std::string> sections;
    for (const auto& block : view.m_params) sections.push_back(block.first);
    for (const std::string& section : sections) {
      view.AppendParam(section, "probe_directive on;", "probe_directive on;");
      EXPECT_EQ(NonEmptyLines(view.Text()).size(), NonEmptyLines(before).size() + 1);
      view.RemoveParam(section, "probe_directive on;", false);
      EXPECT_EQ(view.Text(), before);
    }
    EXPECT_EQ(view.BrokenReferences(), "");
  }
}

}  // namespace
