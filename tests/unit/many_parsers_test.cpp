// SPDX-License-Identifier: Apache-2.0

// Parsers one after the other over one dialect object, which keeps what the earlier ones
// registered.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/index_audit.h"
#include "support/view_probe.h"
#include "template/apache.h"
#include "template/framework/str.h"
#include "template/qeltemplate.h"

using tov_template::Apache;
using tov_template::BaseConfig;
using tov_template::IndexAudit;
using tov_template::ParserTemplate;

namespace {

using Config = std::shared_ptr<BaseConfig>;

// The configuration after an application of `text`, in which the value "n" becomes `new_name` where
// it was `old_name`.
std::string Renamed(const Config& config, const std::string& text, const std::string& old_name,
                    const std::string& new_name) {
  ParserTemplate parser(config);
  parser.SetValue("n", old_name, new_name).SetTemplate(text).ApplyTemplate();
  EXPECT_EQ(IndexAudit::WrongInDialect(*config), "");
  return parser.GetConfig();
}

std::string Applied(const Config& config, const std::string& text) {
  return Renamed(config, text, "", "");
}

TEST(ManyParsers, AListenLineThatGoesLeavesTheListOfItsOldPathToo) {
  const Config config =
      tov_template::GetConfigType("Nginx", "server {\nserver_name a;\nlisten 80;\nroot /x;\n}\n");
  Renamed(config, "server {\nserver_name {% $n %};\n}", "a", "b");
  EXPECT_EQ(Applied(config, "server {\nserver_name b;\n{% if $none %}\nlisten 80;\n{% endif %}\n}"),
            "server {\nserver_name b;\nroot /x;\n}");
  const std::string with_a = Applied(config, "server {\nserver_name a;\nroot /a;\n}");
  EXPECT_EQ(with_a, "server {\nserver_name b;\nroot /x;\n}\nserver {\nserver_name a;\nroot /a;\n}");
  EXPECT_EQ(Applied(config, "server {\nserver_name a;\nlisten 81;\n}"),
            "server {\nserver_name b;\nroot /x;\n}\n"
            "server {\nserver_name a;\nroot /a;\n\tlisten 81;\n}");
}

TEST(ManyParsers, ALineThatIsHandedBackToAnotherBlockStaysRegisteredForItsOwn) {
  const Config config =
      tov_template::GetConfigType("Nginx", "server {\nserver_name a;\nlisten 80;\nroot /x;\n}\n");
  Renamed(config, "server {\nserver_name {% $n %};\n}", "a", "b");
  Applied(config, "server {\nserver_name a;\nroot /a;\n}");
  // The line is known under both paths, but stands in b.
  const std::string both =
      "server {\nserver_name b;\nlisten 80;\nroot /x;\n}\nserver {\nserver_name a;\nroot /a;\n}";
  EXPECT_EQ(Applied(config, "server {\nserver_name a;\n{% if $none %}\nlisten 80;\n{% endif %}\n}"),
            both);
  EXPECT_EQ(Applied(config, "server {\nserver_name b;\nlisten 80;\n}"), both);
}

TEST(ManyParsers, ALineOfPiecesThatGoesLeavesTheListOfItsOldPathToo) {
  for (const std::string name : {"ServerAlias", "DirectoryIndex"}) {
    SCOPED_TRACE(name);
    const Config config =
        tov_template::GetConfigType("Apache", "<A>\n" + name + " x\nFoo x\n</A>\n");
    Renamed(config, "<{% $n %}>\n</A>", "A", "B");
    EXPECT_EQ(Applied(config, "<B>\n{% if $none %}\n" + name + " x\n{% endif %}\n</A>"),
              "<B>\nFoo x\n</A>");
    Applied(config, "<A>\nFoo y\n</A>");
    EXPECT_EQ(Applied(config, "<A>\n" + name + " y\n</A>"),
              "<B>\nFoo x\n</A>\n<A>\nFoo y\n\t" + name + " y\n</A>");
  }
}

// Words may be taken out of a merged line until it begins like another directive.
TEST(ManyParsers, AMergedLineThatHasBecomeAnAliasAndGoesIsForgotten) {
  const Config config =
      tov_template::GetConfigType("Apache", "<A>\nOptions ServerAlias x\nFoo\n</A>\n");
  ViewProbe(config).RemoveParam("<A>", "Options Options", false);
  ASSERT_EQ(config->Str(), "<A>\n\tServerAlias x\nFoo\n</A>");
  ViewProbe(config).RemoveParam("<A>", "ServerAlias x", false);
  ASSERT_EQ(config->Str(), "<A>\nFoo\n</A>");
  ASSERT_EQ(IndexAudit::WrongInDialect(*config), "");
  ViewProbe view(config);
  view.AppendParam("<A>", "Options B", "Options B");
  EXPECT_EQ(view.Text(), "<A>\nFoo\n\tOptions B\n</A>");
}

// A line is known under the path of its block, and under another one since the outer block lost its
// opening line; a second block takes the first path.
TEST(ManyParsers, AMergedLineIsWrittenWithTheIndentationOfThePathThatIsMergedInto) {
  const Config config = tov_template::GetConfigType(
      "Apache", "<X>\n<V>\nOptions A\nFoo\n</V>\n</X>\n<Z>\n<V>\nOptions B\nFoo\n</V>\n</Z>\n");
  {
    ViewProbe first(config);
    ASSERT_EQ(first.Text(),
              "<X>\n<V>\n\t\tOptions A\nFoo\n</V>\n</X>\n<Z>\n<V>\n\t\tOptions B\nFoo\n</V>\n</Z>");
    first.ChangeParam("<X>", "<X>", "gone", "");
    first.ChangeParam("<Z>", "<Z>", "<X>", "");
  }
  EXPECT_EQ(ViewProbe(config).Text(),
            "gone\n<V>\n\t\tOptions A B\nFoo\n</V>\n</X>\n<X>\n<V>\nFoo\n</V>\n</Z>");
}

TEST(ManyParsers, AMergedLineThatWasChangedIsWrittenAnew) {
  const Config config = tov_template::GetConfigType(
      "Apache", "<V>\nOptions A\nFoo\n</V>\n<U>\nOptions B\nFoo\n</U>\n");
  {
    ViewProbe first(config);
    first.ChangeParam("<V>", "Options", "      zz", "");
    first.ChangeParam("<U>", "<U>", "<V>", "");
  }
  EXPECT_EQ(ViewProbe(config).Text(), "<V>\n\tOptions A B\nFoo\n</V>\n<V>\nFoo\n</U>");
}

// The block of the line comes after the one whose line is merged into it.
TEST(ManyParsers, AMergedLineThatGetsItsNameBackIsRegisteredInItsBlock) {
  const Config config = tov_template::GetConfigType(
      "Apache", "<V>\nOptions A\nFoo\n</V>\n<W>\nOptions B\nFoo\n</W>\n");
  {
    ViewProbe first(config);
    first.ChangeParam("<V>", "Options", "zz", "");
    first.ChangeParam("<V>", "<V>", "<X>", "");
    first.ChangeParam("<W>", "<W>", "<V>", "");
  }
  ViewProbe second(config);
  EXPECT_EQ(second.BrokenReferences(), "");
  ASSERT_EQ(second.Text(), "<X>\n\tOptions A B\nFoo\n</V>\n<V>\nFoo\n</W>");
  second.AppendParam("<X>", "Options C", "");
  EXPECT_EQ(second.Text(), "<X>\n\tOptions A B C\nFoo\n</V>\n<V>\nFoo\n</W>");
}

// The same, but it is a later line of its block then, and goes. The block ends with it.
TEST(ManyParsers, AMergedLineThatGetsItsNameBackAndGoesIsForgotten) {
  const Config config = tov_template::GetConfigType(
      "Apache", "<W>\nOptions B\nFoo\n</W>\n<X>\nOptions C\nFoo\n</X>\n<V>\nFoo\nOptions A");
  {
    ViewProbe first(config);
    first.ChangeParam("<V>", "Options", "zz", "");
    first.ChangeParam("<V>", "<V>", "<Z>", "");
    first.ChangeParam("<X>", "<X>", "<Z>", "");
    first.ChangeParam("<W>", "<W>", "<V>", "");
  }
  EXPECT_EQ(ViewProbe(config).BrokenReferences(), "");
  ViewProbe view(config);
  EXPECT_EQ(view.BrokenReferences(), "");
  view.AppendParam("<Z>", "Bar", "Bar");
  EXPECT_EQ(view.BrokenReferences(), "");
}

TEST(ManyParsers, ADebugBuildStopsAtAnEditByTheOlderOfTwoViews) {
  const Config config = tov_template::GetConfigType("Nginx", "a {\nb;\n}\n");
  ViewProbe first(config);
  first.AppendParam("a {", "c;", "c");
  ViewProbe second(config);
  second.AppendParam("a {", "d;", "d");
  EXPECT_DEBUG_DEATH(first.AppendParam("none {", "}", "e"), "IsLast");
  EXPECT_DEBUG_DEATH(first.RemoveParam("none {", "e;", false), "IsLast");
  EXPECT_DEBUG_DEATH(first.ChangeParam("none {", "e;", "f;", ""), "IsLast");
  second.RemoveEmptySections();
  EXPECT_EQ(second.Text(), "a {\nb;\nc;\nd;\n}");
}

// --- Texts in indexes of long lists ---

std::string Numbered(const std::string& beginning, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += beginning + std::to_string(i) + "\n";
  return text;
}

TEST(LongBlock, AMergedLineWithoutItsNameIsFoundByItsNewText) {
  const std::string config = "<V>\nOptions A\n" + Numbered("K", 34) + "</V>";
  const std::string text = "<V>\n{% if $none %}\nOptions Options\n" + Numbered("Z", 20) +
                           "{% endif %}\nOptions B\nA Options B\n</V>";
  EXPECT_EQ(Applied(tov_template::GetConfigType("Apache", config), text),
            "<V>\n\tA Options B\n" + Numbered("K", 34) + "</V>");
}

TEST(LongBlock, ARecordedLineThatHasBecomeAnOrdinaryOneIsFoundByItsNewText) {
  const std::string lines = Numbered("ServerAlias a", 34);
  const std::string two_pieces = "ServerAlias " + std::string(4083, 'q') + " zz a5";
  ViewProbe view = ViewOf<Apache>("<V>\n" + lines + "</V>");
  for (int i = 0; i < 10; ++i) view.RemoveParam("<V>", two_pieces, false);
  view.ChangeParam("<V>", "ServerAlias a5", "zz a5", "");
  ASSERT_EQ(view.Text(), "<V>\n" + str::Replace(lines, "ServerAlias a5\n", "zz a5\n") + "</V>");
  view.RemoveParam("<V>", two_pieces, false);
  EXPECT_EQ(view.Text(), "<V>\n" + str::Replace(lines, "ServerAlias a5\n", "") + "</V>");
}

TEST(IndexAudit, ReportsATextThatNobodyWasToldOf) {
  ViewProbe view = ViewOf<Apache>("<V>\n" + Numbered("K", 40) + "</V>");
  for (int i = 0; i < 20; ++i) view.RemoveParam("<V>", "none", false);
  ASSERT_EQ(view.BrokenReferences(), "");
  view.m_lines->back() = "another";
  EXPECT_NE(view.BrokenReferences(), "");
}

TEST(IndexAudit, ReportsAnElementThatNobodyWasToldOf) {
  ViewProbe view = ViewOf<Apache>("<V>\n" + Numbered("K", 40) + "</V>");
  for (int i = 0; i < 20; ++i) view.RemoveParam("<V>", "none", false);
  view.m_params["<V>"].pop_back();
  EXPECT_NE(view.BrokenReferences(), "");
}

}  // namespace
