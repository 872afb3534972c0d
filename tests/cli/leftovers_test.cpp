// SPDX-License-Identifier: Apache-2.0

#include "cli/leftovers.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "cli/program.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Leftovers, AreWhatIsMadeOfTheNameOfAnotherFile) {
  for (const char* name : {"site~",
                           "site.~1~",
                           "site.bak",
                           "site.old",
                           "site.orig",
                           "site.save",
                           "#site#",
                           ".#site",
                           ".site.swp",
                           ".site.swo",
                           "site.dpkg-old",
                           "site.dpkg-dist",
                           "site.dpkg-new",
                           "site.ucf-old",
                           "site.ucf-dist",
                           "site.rpmnew",
                           "site.rpmsave",
                           "site.rpmorig",
                           ".site.qeltemplate-old",
                           ".site.qeltemplate-kept-new",
                           "site.orig~",
                           "site.orig.orig",
                           ".site.orig.swp",
                           "site.bak.dpkg-old"}) {
    SCOPED_TRACE(name);
    EXPECT_THAT(cli::LeftoversAmong({"site", name}, ""), ElementsAre(name));
    EXPECT_THAT(cli::LeftoversAmong({std::string("d/") + name, "d/site"}, ""),
                ElementsAre(std::string("d/") + name));
    EXPECT_THAT(cli::LeftoversAmong({std::string("./d//") + name, "d/site"}, ""),
                ElementsAre(std::string("./d//") + name));
    EXPECT_THAT(cli::LeftoversAmong({name}, ""), IsEmpty());
    EXPECT_THAT(cli::LeftoversAmong({"other", name}, ""), IsEmpty());
    EXPECT_THAT(cli::LeftoversAmong({"d/site", name}, ""), IsEmpty());
  }
}

TEST(Leftovers, AreNotOtherNames) {
  EXPECT_THAT(cli::LeftoversAmong({"site", "site.conf", "site2", "site.example", "a.site", ".site",
                                   "original", "#site", "~", "", "site.", "site.swp.conf"},
                                  ""),
              IsEmpty());
}

TEST(Leftovers, HaveTheSuffixOfBackups) {
  EXPECT_THAT(cli::LeftoversAmong({"a", "a.kept", "b.kept"}, ".kept"), ElementsAre("a.kept"));
  EXPECT_THAT(cli::LeftoversAmong({"a", "a-1"}, "-1"), ElementsAre("a-1"));
  // "--in-place=2" would else overwrite a site.
  EXPECT_THAT(cli::LeftoversAmong({"a", "a2"}, "2"), IsEmpty());
}

class ManySites : public Program {
 protected:
  Outcome RunOnAll(const Words& more) const {
    return RunInShell("exec \"$@\" sites/*", Options(more));
  }

  static Words Options(const Words& more) {
    Words words = {"apply", "--dialect",      "nginx", "--template",    "site.template",
                   "--old", "name=a.example", "--set", "name=b.example"};
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }
};

TEST_F(ManySites, AreEditedTwiceWithBackups) {
  EXPECT_EQ(RunInShell("mkdir sites; cp site.conf sites/a; cp site.conf sites/b", {}).exit_code, 0);
  EXPECT_EQ(RunOnAll({"--in-place=.orig"}).exit_code, 0);
  EXPECT_EQ(RunInShell("cp site.conf sites/a", {}).exit_code, 0);
  const Outcome again = RunOnAll({"--in-place=.orig"});
  EXPECT_EQ(again.err,
            "qeltemplate: left out, as copies of other files named here: sites/a.orig, "
            "sites/b.orig\n"
            "qeltemplate: 1 changed, 1 unchanged, 2 skipped, 0 refused, 0 failed\n");
  EXPECT_EQ(again.exit_code, 0);
  EXPECT_EQ(m_sandbox.Read("sites/a"), ServerNamed("b.example"));
  EXPECT_EQ(m_sandbox.Read("sites/a.orig"), kSite);
  EXPECT_EQ(m_sandbox.Read("sites/b.orig"), kSite);
}

TEST_F(ManySites, AreListedUpToFive) {
  EXPECT_EQ(RunInShell("mkdir sites; cd sites; cp ../site.conf a; for i in 1 2 3 4 5 6 7; do cp a "
                       "a.dpkg-$i; done",
                       {})
                .exit_code,
            0);
  EXPECT_EQ(RunOnAll({"--dry-run"}).err,
            "qeltemplate: left out, as copies of other files named here: sites/a.dpkg-1, "
            "sites/a.dpkg-2, sites/a.dpkg-3, sites/a.dpkg-4, sites/a.dpkg-5 and 2 more\n"
            "qeltemplate: 1 changed, 0 unchanged, 7 skipped, 0 refused, 0 failed\n");
}

TEST_F(ManySites, ALeftoverThatIsNamedAloneIsEdited) {
  m_sandbox.Write("a.orig", kSite);
  m_sandbox.Write("a", kSite);
  Words words = Options({"--in-place", "a.orig"});
  words.insert(words.begin(), QELTEMPLATE_PROGRAM);
  ExpectText(m_sandbox.Run(words), "");
  EXPECT_EQ(m_sandbox.Read("a.orig"), ServerNamed("b.example"));
  EXPECT_EQ(m_sandbox.Read("a"), kSite);
}

}  // namespace
