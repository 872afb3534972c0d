// SPDX-License-Identifier: Apache-2.0

// The view of an Apache configuration: what becomes of the lines that the dialect manages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/real_configs.h"
#include "support/view_probe.h"
#include "template/apache.h"
#include "template/framework/str.h"
#include "template/section_path.h"

namespace {

using tov_template::Apache;
using tov_template::kSectionSeparator;
using Messages = std::vector<std::string>;

const std::string kA = "<A>";
const std::string kB = "<B>";
const std::string kNested = ViewProbe::Path({kA, kB});

std::vector<std::string> WordsOf(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// --- Reading ---

TEST(ApacheView, OptionsOfABlockAreMergedWhenItIsRead) {
  struct Case {
    const char* name;
    const char* before;
    const char* after;
    const char* index;
  };
  const Case cases[] = {
      {"one line is indented", "<A>\n  Options  a\n</A>", "<A>\n\tOptions a\n</A>",
       "<A>: <A> | Options a | </A>\n"
       "end <A>: </A>\n"},
      {"two lines apart", "<A>\nOptions a\nx\nOptions b\ny\n</A>", "<A>\n\tOptions a b\nx\ny\n</A>",
       "<A>: <A> | Options a b | x | y | y | </A>\n"
       "end <A>: </A>\n"},
      {"three lines in a row", "<A>\nOptions a\nOptions b\nOptions c\nx\n</A>",
       "<A>\n\tOptions a b c\nx\n</A>",
       "<A>: <A> | Options a b c | x | x | x | </A>\n"
       "end <A>: </A>\n"},
      {"the last line of a block", "<A>\nOptions a\nx\nOptions b\n</A>",
       "<A>\n\tOptions a b\nx\n</A>",
       "<A>: <A> | Options a b | x | </A> | </A>\n"
       "end <A>: </A>\n"},
      {"nothing but options", "<A>\nOptions a\nOptions b\nOptions c\n</A>",
       "<A>\n\tOptions a b c\n</A>",
       "<A>: <A> | Options a b c | </A> | </A> | </A>\n"
       "end <A>: </A>\n"},
      {"the last line of the file", "<A>\nOptions a\nOptions b", "<A>\n\tOptions a b",
       "<A>: <A> | Options a b | (none)\n"
       "end <A>: Options a b\n"},
      {"the last three lines of the file", "<A>\nx\nOptions a\nOptions b\nOptions c",
       "<A>\nx\n\tOptions a b c",
       "<A>: <A> | x | Options a b c | (none) | (none)\n"
       "end <A>: Options a b c\n"},
      {"a first line that is the last of the file stays", "<A>\nOptions a", "<A>\n\tOptions a",
       "<A>: <A> | Options a\n"
       "end <A>: Options a\n"},
      {"the last line of the file, behind a nested block",
       "<A>\nOptions a\n<B>\nx\n</B>\nOptions b", "<A>\n\tOptions a b\n<B>\nx\n</B>",
       "<A>: <A> | Options a b | (none)\n"
       "<A> > <B>: <B> | x | </B>\n"
       "end <A>: </B>\n"
       "end <A> > <B>: </B>\n"},
      {"before a nested block", "<A>\nOptions a\nOptions b\n<B>\nx\n</B>\n</A>",
       "<A>\n\tOptions a b\n<B>\nx\n</B>\n</A>",
       "<A>: <A> | Options a b | <B> | </A>\n"
       "<A> > <B>: <B> | x | </B>\n"
       "end <A>: </A>\n"
       "end <A> > <B>: </B>\n"},
      {"a nested block has its own",
       "<A>\nOptions a\n<B>\nOptions b\nOptions a\n</B>\nOptions c\n</A>",
       "<A>\n\tOptions a c\n<B>\n\t\tOptions b a\n</B>\n</A>",
       "<A>: <A> | Options a c | </A> | </A>\n"
       "<A> > <B>: <B> | Options b a | </B> | </B>\n"
       "end <A>: </A>\n"
       "end <A> > <B>: </B>\n"},
      {"blocks opened by the same line have one in common",
       "<A>\nOptions a\n</A>\n<A>\nOptions b\n</A>", "<A>\n\tOptions a b\n</A>\n<A>\n</A>",
       "<A>: <A> | Options a b | </A> | </A> | </A>\n"
       "end <A>: </A>\n"},
      {"outside every block nothing is merged", "Options a\n<A>\nx\n</A>\nOptions b\n  Options c",
       "Options a\n<A>\nx\n</A>\nOptions b\n  Options c",
       "<A>: <A> | x | </A>\n"
       "end <A>: </A>\n"},
      {"aliases stay as they are", "<A>\n  ServerAlias  a\nServerAlias a\nDirectoryIndex i\n</A>",
       "<A>\n  ServerAlias  a\nServerAlias a\nDirectoryIndex i\n</A>",
       "<A>: <A> | ServerAlias  a | ServerAlias a | DirectoryIndex i | </A>\n"
       "end <A>: </A>\n"},
      {"comments and other directives are none",
       "<A>\nOptions a\n#Options b\n# Options c\noptions d\n</A>",
       "<A>\n\tOptions a\n#Options b\n# Options c\noptions d\n</A>",
       "<A>: <A> | Options a | #Options b | # Options c | options d | </A>\n"
       "end <A>: </A>\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const ViewProbe view = ViewOf<Apache>(c.before);
    EXPECT_EQ(view.Text(), c.after);
    EXPECT_EQ(view.Dump(), c.index);
    EXPECT_EQ(view.BrokenReferences(), "");
  }
}

TEST(ApacheView, ReadingWritesNoRecords) {
  const LogCapture log;
  ViewOf<Apache>("<A>\nOptions a\nOptions b\nServerAlias a\n</A>");
  EXPECT_TRUE(log.Records().empty());
}

// --- Editing what stands for a merged line ---

TEST(ApacheView, EditsAfterAMerge) {
  struct Case {
    const char* name;
    const char* before;
    void (*edit)(ViewProbe& view);
    const char* after;
    const char* index;
  };
  const Case cases[] = {
      {"a new line goes before the closing one", "<A>\nOptions a\nOptions b\nOptions c\n</A>",
       [](ViewProbe& view) { view.AppendParam(kA, "x", "x"); }, "<A>\n\tOptions a b c\nx\n</A>",
       "<A>: <A> | Options a b c | </A> | </A> | x | </A>\n"
       "end <A>: x\n"},
      {"a new line at the end of the file", "<A>\nOptions a\nOptions b",
       [](ViewProbe& view) { view.AppendParam(kA, "x", "x"); }, "<A>\n\tOptions a b\nx",
       "<A>: <A> | Options a b | (none) | x\n"
       "end <A>: x\n"},
      {"a line that several elements stand for is removed",
       "<A>\nOptions a\nOptions b\nOptions c\nx\ny\n</A>",
       [](ViewProbe& view) { view.RemoveParam(kA, "x", false); }, "<A>\n\tOptions a b c\ny\n</A>",
       "<A>: <A> | Options a b c | y | </A>\n"
       "end <A>: </A>\n"},
      {"a line that several elements stand for is changed",
       "<A>\nOptions a\nOptions b\nx # c\n</A>",
       [](ViewProbe& view) { view.ChangeParam(kA, "x", "y ", ""); },
       "<A>\n\tOptions a b\ny # c\n</A>",
       "<A>: <A> | Options a b | y # c | y # c | </A>\n"
       "end <A>: </A>\n"},
      {"the block goes", "<A>\nOptions a\nOptions b\nOptions c\n</A>\nx",
       [](ViewProbe& view) { view.RemoveParam(kA, "<A>", false); }, "x", ""},
      {"a block that ends with no line stays", "<A>\nOptions a\nOptions b",
       [](ViewProbe& view) { view.RemoveParam(kA, "<A>", false); }, "<A>\n\tOptions a b",
       "<A>: <A> | Options a b | (none)\n"
       "end <A>: Options a b\n"},
      {"the nested block goes whose opening line stands for a merged one",
       "<A>\nOptions a\nOptions b\n<B>\nx\n</B>\n</A>",
       [](ViewProbe& view) { view.RemoveParam(kNested, "<B>", false); }, "<A>\n\tOptions a b\n</A>",
       "<A>: <A> | Options a b | </A>\n"
       "end <A>: </A>\n"},
      {"the nested block goes as empty", "<A>\nOptions a\nOptions b\nOptions c\n<B>\n</B>\n</A>",
       [](ViewProbe& view) { view.RemoveEmptySections(); }, "<A>\n\tOptions a b c\n</A>",
       "<A>: <A> | Options a b c | </A>\n"
       "end <A>: </A>\n"
       "end <A> > <B>: Options a b c\n"},
      {"elements that stand for other lines count", "<A>\nOptions a\nOptions b\n</A>",
       [](ViewProbe& view) {
         view.RemoveParam(kA, "Option", false);
         view.RemoveEmptySections();
       },
       "<A>\n</A>",
       "<A>: <A> | </A> | </A>\n"
       "end <A>: </A>\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ViewProbe view = ViewOf<Apache>(c.before);
    c.edit(view);
    EXPECT_EQ(view.Text(), c.after);
    EXPECT_EQ(view.Dump(), c.index);
    EXPECT_EQ(view.BrokenReferences(), "");
  }
}

// --- Options ---

TEST(ApacheView, OptionsAreAddedAndRemoved) {
  struct Case {
    const char* name;
    const char* before;
    void (*edit)(ViewProbe& view);
    const char* after;
    Messages messages;
  };
  const Case cases[] = {
      {"a word is added, whatever the key",
       "<A>\n  Options a\n</A>",
       [](ViewProbe& view) { view.AppendParam(kA, "  Options b", ""); },
       "<A>\n\tOptions a b\n</A>",
       {"append unique param 'Options b'"}},
      {"a word that is there",
       "<A>\nOptions a b\n</A>",
       [](ViewProbe& view) { view.AppendParam(kA, "Options b", "Options"); },
       "<A>\n\tOptions a b\n</A>",
       {"append unique param 'Options b'"}},
      {"the first of a block",
       "<A>\nx\n</A>",
       [](ViewProbe& view) { view.AppendParam(kA, "Options b", ""); },
       "<A>\nx\n\tOptions b\n</A>",
       {"append unique param 'Options b'"}},
      {"none is added to a block that is missing",
       "<A>\nx\n</A>",
       [](ViewProbe& view) { view.AppendParam(kB, "Options b", "Options b"); },
       "<A>\nx\n</A>",
       {}},
      {"one of two is removed",
       "<A>\nOptions a b\n</A>",
       [](ViewProbe& view) { view.RemoveParam(kA, "Options a", false); },
       "<A>\n\tOptions b\n</A>",
       {}},
      {"the last one is removed",
       "<A>\nOptions a\nx\n</A>",
       [](ViewProbe& view) { view.RemoveParam(kA, "Options a", false); },
       "<A>\nx\n</A>",
       {}},
      {"all are removed by the beginning of the line",
       "<A>\nOptions a b\nx\n</A>",
       [](ViewProbe& view) { view.RemoveParam(kA, "Options ", true); },
       "<A>\nx\n</A>",
       {}},
      {"a word comes back to where the line was",
       "<A>\nOptions a\nx\n</A>",
       [](ViewProbe& view) {
         view.RemoveParam(kA, "Options a", false);
         view.AppendParam(kA, "Options b", "");
       },
       "<A>\n\tOptions b\nx\n</A>",
       {"append unique param 'Options b'"}},
      {"they are never changed",
       "<A>\nOptions a\nx\n</A>",
       [](ViewProbe& view) { view.ChangeParam(kA, "Options a", "Options b", ""); },
       "<A>\n\tOptions a\nx\n</A>",
       {"Change param from 'Options a' to 'Options b'"}},
      {"nor is an alias, where they end the block",
       "<A>\nServerAlias a\nOptions a",
       [](ViewProbe& view) { view.ChangeParam(kA, "ServerAlias a", "ServerAlias b", ""); },
       "<A>\nServerAlias a\n\tOptions a",
       {"Change param from 'ServerAlias a' to 'ServerAlias b'"}},
      {"a changed block keeps its words",
       "<A>\nOptions a\nx\n</A>",
       [](ViewProbe& view) { view.ChangeParam(kA, "x", "y", ""); },
       "<A>\n\tOptions a\ny\n</A>",
       {"Change param from 'x' to 'y'"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ViewProbe view = ViewOf<Apache>(c.before);
    const LogCapture log;
    c.edit(view);
    EXPECT_EQ(view.Text(), c.after);
    EXPECT_EQ(log.Messages(), c.messages);
    EXPECT_EQ(view.BrokenReferences(), "");
  }
}

TEST(ApacheView, AnAddedLineBelongsToTheBlock) {
  ViewProbe view = ViewOf<Apache>("<A>\nx\n</A>");
  view.AppendParam(kA, "Options a", "");
  EXPECT_EQ(view.Dump(), "<A>: <A> | x | </A> | Options a\nend <A>: Options a\n");
  view.AppendParam(kA, "ServerAlias a", "");
  EXPECT_EQ(view.Text(), "<A>\nx\n\tOptions a\n\tServerAlias a\n</A>");
  EXPECT_EQ(view.Dump(),
            "<A>: <A> | x | </A> | Options a | ServerAlias a\nend <A>: ServerAlias a\n");
}

TEST(ApacheView, AnEmptiedLineIsStillALineOfTheBlock) {
  ViewProbe view = ViewOf<Apache>("<A>\nOptions a\n</A>");
  view.RemoveParam(kA, "Options a", false);
  EXPECT_EQ(view.Dump(), "<A>: <A> |  | </A>\nend <A>: </A>\n");
  view.RemoveEmptySections();
  EXPECT_EQ(view.Text(), "<A>\n</A>") << "so the block does not count as empty";
}

// --- ServerAlias and DirectoryIndex ---

TEST(ApacheView, AliasesAreAddedRemovedAndChanged) {
  struct Case {
    const char* name;
    const char* before;
    void (*edit)(ViewProbe& view);
    const char* after;
    const char* index;
    Messages messages;
  };
  const Case cases[] = {
      {"a new line goes before the closing one",
       "<A>\n  ServerAlias a\n</A>",
       [](ViewProbe& view) { view.AppendParam(kA, "  ServerAlias b", ""); },
       "<A>\n  ServerAlias a\n\tServerAlias b\n</A>",
       "<A>: <A> | ServerAlias a | </A> | ServerAlias b\n"
       "end <A>: ServerAlias b\n",
       {"append unique param 'ServerAlias b'"}},
      {"new lines follow each other",
       "<A>\n</A>",
       [](ViewProbe& view) {
         view.AppendParam(kA, "ServerAlias a", "");
         view.AppendParam(kA, "ServerAlias b", "");
         view.AppendParam(kA, "ServerAlias a", "");
       },
       "<A>\n\tServerAlias a\n\tServerAlias b\n</A>",
       "<A>: <A> | </A> | ServerAlias a | ServerAlias b\n"
       "end <A>: ServerAlias b\n",
       {"append unique param 'ServerAlias a'", "append unique param 'ServerAlias b'",
        "append unique param 'ServerAlias a'"}},
      {"one that is there",
       "<A>\n  ServerAlias a b\n</A>",
       [](ViewProbe& view) { view.AppendParam(kA, "ServerAlias a b", ""); },
       "<A>\n  ServerAlias a b\n</A>",
       "<A>: <A> | ServerAlias a b | </A>\n"
       "end <A>: </A>\n",
       {"append unique param 'ServerAlias a b'"}},
      {"none is added to a block that is missing",
       "<A>\nx\n</A>",
       [](ViewProbe& view) { view.AppendParam(kB, "ServerAlias b", "ServerAlias b"); },
       "<A>\nx\n</A>",
       "<A>: <A> | x | </A>\n"
       "end <A>: </A>\n",
       {}},
      {"every line of that text is removed",
       "<A>\n  ServerAlias a\nServerAlias b\nServerAlias a \n</A>",
       [](ViewProbe& view) { view.RemoveParam(kA, "ServerAlias a", false); },
       "<A>\nServerAlias b\n</A>",
       "<A>: <A> | ServerAlias b | </A>\n"
       "end <A>: </A>\n",
       {"deleted unique param '  ServerAlias a'", "deleted unique param 'ServerAlias a '"}},
      {"all are removed by the beginning of the line",
       "<A>\nServerAlias a\nx\nServerAlias b\nDirectoryIndex i\n</A>",
       [](ViewProbe& view) { view.RemoveParam(kA, "ServerAlias ", true); },
       "<A>\nx\nDirectoryIndex i\n</A>",
       "<A>: <A> | x | DirectoryIndex i | </A>\n"
       "end <A>: </A>\n",
       {"deleted unique param 'ServerAlias a'", "deleted unique param 'ServerAlias b'"}},
      {"another block keeps its own",
       "<A>\nServerAlias a\n</A>\n<B>\nServerAlias a\n</B>",
       [](ViewProbe& view) { view.RemoveParam(kB, "ServerAlias a", false); },
       "<A>\nServerAlias a\n</A>\n<B>\n</B>",
       "<A>: <A> | ServerAlias a | </A>\n"
       "<B>: <B> | </B>\n"
       "end <A>: </A>\n"
       "end <B>: </B>\n",
       {"deleted unique param 'ServerAlias a'"}},
      {"a change replaces all lines of the directive, before the closing line",
       "<A>\n  ServerAlias a\nx\n  ServerAlias b\n  DirectoryIndex i\n</A>",
       [](ViewProbe& view) { view.ChangeParam(kA, "ServerAlias a", "  ServerAlias c d", ""); },
       "<A>\nx\n  DirectoryIndex i\n\tServerAlias c d\n</A>",
       "<A>: <A> | x | DirectoryIndex i | </A>\n"
       "end <A>: </A>\n",
       {"Change param from 'ServerAlias a' to 'ServerAlias c d'"}},
      {"a directive that is not there is not changed",
       "<A>\nServerAlias a\n</A>",
       [](ViewProbe& view) { view.ChangeParam(kA, "DirectoryIndex i", "DirectoryIndex j", ""); },
       "<A>\nServerAlias a\n</A>",
       "<A>: <A> | ServerAlias a | </A>\n"
       "end <A>: </A>\n",
       {"Change param from 'DirectoryIndex i' to 'DirectoryIndex j'"}},
      {"lines made by a change are not the block's",
       "<A>\nServerAlias a\nx\n</A>",
       [](ViewProbe& view) {
         view.ChangeParam(kA, "ServerAlias a", "ServerAlias b", "");
         view.RemoveParam(kA, "ServerAlias b", false);
       },
       "<A>\nx\n\tServerAlias b\n</A>",
       "<A>: <A> | x | </A>\n"
       "end <A>: </A>\n",
       {"Change param from 'ServerAlias a' to 'ServerAlias b'"}},
      {"so a block of nothing but aliases is empty after a change",
       "<A>\nServerAlias a\n</A>\nx",
       [](ViewProbe& view) {
         view.ChangeParam(kA, "ServerAlias a", "ServerAlias b", "");
         view.RemoveEmptySections();
       },
       "x",
       "end <A>: (none)\n",
       {"Change param from 'ServerAlias a' to 'ServerAlias b'", "Remove empty section '<A>'"}},
      {"the place for new lines moves back from a removed one",
       "<A>\nx\nServerAlias a",
       [](ViewProbe& view) {
         view.RemoveParam(kA, "ServerAlias a", false);
         view.AppendParam(kA, "y", "y");
       },
       "<A>\nx\ny",
       "<A>: <A> | x | y\n"
       "end <A>: y\n",
       {"deleted unique param 'ServerAlias a'", "append param 'y'"}},
      {"a change where an alias ends the block",
       "<A>\nx\nServerAlias a",
       [](ViewProbe& view) { view.ChangeParam(kA, "ServerAlias a", "ServerAlias b", ""); },
       "<A>\nx\n\tServerAlias b",
       "<A>: <A> | x\n"
       "end <A>: ServerAlias b\n",
       {"Change param from 'ServerAlias a' to 'ServerAlias b'"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ViewProbe view = ViewOf<Apache>(c.before);
    const LogCapture log;
    c.edit(view);
    EXPECT_EQ(view.Text(), c.after);
    EXPECT_EQ(view.Dump(), c.index);
    EXPECT_EQ(log.Messages(), c.messages);
    EXPECT_EQ(view.BrokenReferences(), "");
  }
}

// Only the last line made is known to the view, so only that is removed before the text is read
// again.
TEST(ApacheView, ALongAliasIsAddedFoundAndRemoved) {
  const std::string first = std::string(4000, 'a');
  const std::string second = std::string(4000, 'b');
  const std::string alias = "ServerAlias " + first + " " + second;
  ViewProbe view = ViewOf<Apache>("<A>\nx\n</A>");
  view.AppendParam(kA, alias, "");
  const std::string added =
      "<A>\nx\n\tServerAlias " + first + "\n\tServerAlias " + second + "\n</A>";
  EXPECT_EQ(view.Text(), added);
  view.AppendParam(kA, alias, "");
  EXPECT_EQ(view.Text(), added) << "found";

  view.RemoveParam(kA, "ServerAlias ", true);
  EXPECT_EQ(view.Text(), "<A>\nx\n\tServerAlias " + first + "\n</A>");

  ViewProbe again = ViewOf<Apache>(added);
  again.AppendParam(kA, alias, "");
  EXPECT_EQ(again.Text(), added) << "found";
  again.RemoveParam(kA, "ServerAlias ", true);
  EXPECT_EQ(again.Text(), "<A>\nx\n</A>");
}

// --- Blocks that go and come back ---

TEST(ApacheView, ABlockMadeAnewStartsWithoutTheOldWords) {
  struct Case {
    const char* name;
    const char* before;
    void (*remove)(ViewProbe& view);
    const char* between;
    const char* after;
  };
  const auto by_removal = [](ViewProbe& view) { view.RemoveParam(kA, "<A>", false); };
  const Case cases[] = {
      {"the block is removed", "<A>\nOptions old\nServerAlias a\nDirectoryIndex i\n</A>\nx",
       by_removal, "x", "x\n<A>\n\tOptions new\n\tServerAlias a\n\tDirectoryIndex i"},
      {"the block is removed after a merge",
       "<A>\nOptions old\nServerAlias a\nOptions older\nDirectoryIndex i\n</A>\nx", by_removal, "x",
       "x\n<A>\n\tOptions new\n\tServerAlias a\n\tDirectoryIndex i"},
      {"the block is removed with its nested ones",
       "<A>\n<B>\nOptions old\n</B>\nOptions old\nServerAlias a\nDirectoryIndex i\n</A>\nx",
       by_removal, "x", "x\n<A>\n\tOptions new\n\tServerAlias a\n\tDirectoryIndex i"},
      {"the block goes as empty", "x\n<A>\nOptions old",
       [](ViewProbe& view) { view.RemoveEmptySections(); }, "x",
       "x\n<A>\n\tOptions new\n\tServerAlias a\n\tDirectoryIndex i"},
      {"an alias goes with an empty block", "x\n<A>\nServerAlias a",
       [](ViewProbe& view) { view.RemoveEmptySections(); }, "x",
       "x\n<A>\n\tOptions new\n\tServerAlias a\n\tDirectoryIndex i"},
      {"a block around it is removed",
       "<B>\nx\n</B>\n<A>\nOptions old\nServerAlias a\nDirectoryIndex i\n</A>\n<B>\ny\n</B>\nz",
       [](ViewProbe& view) { view.RemoveParam(kB, "<B>", false); }, "z",
       "z\n<A>\n\tOptions new\n\tServerAlias a\n\tDirectoryIndex i"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ViewProbe view = ViewOf<Apache>(c.before);
    c.remove(view);
    ASSERT_EQ(view.Text(), c.between);
    ASSERT_EQ(view.BrokenReferences(), "");
    view.AppendParam(kA, "<A>", "<A>");
    view.AppendParam(kA, "Options new", "");
    view.AppendParam(kA, "ServerAlias a", "");
    view.AppendParam(kA, "DirectoryIndex i", "");
    EXPECT_EQ(view.Text(), c.after);
    EXPECT_EQ(view.BrokenReferences(), "");
  }
}

TEST(ApacheView, NestedBlocksMadeAnewStartWithoutTheOldWords) {
  ViewProbe view = ViewOf<Apache>("<A>\nOptions a\n<B>\nOptions b\nServerAlias b\n</B>\n</A>");
  view.RemoveParam(kA, "<A>", false);
  view.AppendParam(kNested, "<B>", "<B>");
  view.AppendParam(kNested, "Options new", "");
  view.AppendParam(kNested, "ServerAlias b", "");
  EXPECT_EQ(view.Text(), "<B>\n\t\tOptions new\n\t\tServerAlias b");
}

TEST(ApacheView, LinesRemovedByTheirBeginningAreForgotten) {
  ViewProbe view = ViewOf<Apache>("<A>\nOptions old\nServerAlias a\n</A>");
  view.RemoveParam(kA, "Option", false);
  view.RemoveParam(kA, "Server", false);
  ASSERT_EQ(view.Text(), "<A>\n</A>");
  view.RemoveParam(kA, "Options old", true);
  view.RemoveParam(kA, "ServerAlias a", true);
  ASSERT_EQ(view.Text(), "<A>\n</A>");
  view.AppendParam(kA, "Options new", "");
  view.AppendParam(kA, "ServerAlias a", "");
  EXPECT_EQ(view.Text(), "<A>\n\tOptions new\n\tServerAlias a\n</A>");
}

// The words stay with the path that the block had when it was read.
TEST(ApacheView, ARenamedBlockStartsItsWordsAgain) {
  ViewProbe view = ViewOf<Apache>("<A>\nOptions a\nServerAlias a\n</A>");
  view.ChangeParam(kA, "<A>", "<B>", "");
  view.AppendParam(kB, "Options b", "");
  view.AppendParam(kB, "ServerAlias a", "");
  EXPECT_EQ(view.Text(), "<B>\n\tOptions a\nServerAlias a\n\tOptions b\n\tServerAlias a\n</A>");
}

// --- Any configuration ---

// What reading makes of `text`, by a second look at the rules: the words of a block's Options in
// the line that came first.
std::string PlainlyRead(const std::string& text) {
  struct Options {
    std::size_t line;
    std::vector<std::string> words;
  };
  std::map<std::string, Options> blocks;
  std::vector<std::string> open;
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    const std::string code = line.substr(0, line.rfind('#'));
    const std::vector<std::string> words = WordsOf(line);
    const std::string tag = str::Trim(code);
    const bool closes = tag.substr(0, 2) == "</";
    if (!closes && tag.substr(0, 1) == "<") open.push_back(tag);
    if (open.empty() || words.empty() || words[0] != "Options") {
      lines.push_back(line);
    } else {
      const std::string path = str::Join({open.begin(), open.end()}, kSectionSeparator);
      const auto [block, first] = blocks.insert({path, {lines.size(), {}}});
      if (first) lines.emplace_back();
      std::vector<std::string>& known = block->second.words;
      for (const std::string& word : words) {
        if (std::find(known.begin(), known.end(), word) == known.end()) known.push_back(word);
      }
      lines[block->second.line] =
          std::string(open.size(), '\t') + str::Join({known.begin(), known.end()}, " ");
    }
    if (closes && !open.empty()) open.pop_back();
  }
  return str::Join({lines.begin(), lines.end()}, "\n");
}

TEST(ApacheView, PlainlyReadTextIsWhatIsMeant) {
  EXPECT_EQ(
      PlainlyRead("Options a\n\n<A> # c\nOptions b\nx\n<B>\nOptions c\n</B>\nOptions d b\n"
                  "</A>\n</A>\nOptions e"),
      "Options a\n<A> # c\n\tOptions b d\nx\n<B>\n\t\tOptions c\n</B>\n</A>\n</A>\nOptions e");
}

std::string RandomConfig(std::mt19937& random) {
  const std::string lines[] = {"<A>",
                               "<A>",
                               "  <B>",
                               "<B> # c",
                               "</A>",
                               "</B>",
                               "  </Other>",
                               "Options a",
                               "Options a b",
                               "  Options c a  d ",
                               "Options b # c",
                               "Options",
                               "\tOptions +a -a",
                               "OptionsX a",
                               "# Options z",
                               "ServerAlias a",
                               "  ServerAlias b c",
                               "ServerAlias " + std::string(4000, 'a') + " " + "a b",
                               "DirectoryIndex i",
                               "x",
                               "  y z",
                               "",
                               "  ",
                               "# <A>",
                               "</"};
  std::string text;
  for (std::size_t i = random() % 30; i > 0; --i) {
    text += lines[random() % std::size(lines)] + "\n";
  }
  return text;
}

TEST(ApacheView, AnyConfigurationIsReadByTheRules) {
  for (unsigned seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::string text = RandomConfig(random);
    const ViewProbe view = ViewOf<Apache>(text);
    ASSERT_EQ(view.Text(), PlainlyRead(text));
    ASSERT_EQ(view.BrokenReferences(), "");
    ASSERT_EQ(ViewOf<Apache>(view.Text()).Text(), view.Text()) << "read again";

    for (const auto& [section, params] : view.m_params) {
      std::set<const std::string*> options;
      for (const ConfParam& param : params) {
        if (param.m_line == view.m_lines->end()) continue;
        const std::vector<std::string> words = WordsOf(*param.m_line);
        if (words.empty() || words[0] != "Options") continue;
        options.insert(&*param.m_line);
        const std::set<std::string> distinct(words.begin(), words.end());
        ASSERT_EQ(distinct.size(), words.size()) << *param.m_line;
      }
      ASSERT_LE(options.size(), 1U) << section;
    }
  }
}

TEST(ApacheView, NoDanglingAfterAnySequenceOfEdits) {
  const std::string long_alias = "ServerAlias " + std::string(4000, 'a') + " a b";
  const std::string lines[] = {"<A>",
                               "<B>",
                               "</A>",
                               "</B>",
                               "Options a",
                               "Options b e",
                               "Options",
                               "Option",
                               "ServerAlias a",
                               "ServerAlias b c",
                               "ServerAlias",
                               "Server",
                               long_alias,
                               "DirectoryIndex i",
                               "x",
                               "y z",
                               "#",
                               "",
                               " "};
  const auto line = [&](std::mt19937& random) { return lines[random() % std::size(lines)]; };
  for (unsigned seed = 0; seed < 2000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    ViewProbe view = ViewOf<Apache>(RandomConfig(random));
    for (int step = 0; step < 30; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      std::string section = random() % 2 == 0 ? kA : kNested;
      if (!view.m_params.empty() && random() % 4 != 0) {
        const auto number = static_cast<std::ptrdiff_t>(random() % view.m_params.size());
        section = std::next(view.m_params.begin(), number)->first;
      }
      // The block's own opening line, which names the whole block.
      const std::string opening =
          section.find(kSectionSeparator) == std::string::npos ? section : kB;
      const std::string first = random() % 6 == 0 ? opening : line(random);
      const std::string second = line(random);
      switch (random() % 8) {
        case 0:
        case 1:
        case 2:
          view.AppendParam(section, first, second);
          break;
        case 3:
        case 4:
          view.RemoveParam(section, first, random() % 2 == 0);
          break;
        case 5:
        case 6:
          view.ChangeParam(section, first, second, random() % 2 == 0 ? line(random) : "");
          break;
        default:
          if (random() % 4 == 0) view.RemoveEmptySections();
      }
      ASSERT_EQ(view.BrokenReferences(), "");
    }
    // What is written can be read.
    ASSERT_EQ(ViewOf<Apache>(view.Text()).BrokenReferences(), "");
  }
}

// --- Real configurations ---

std::string WithoutBlankLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return str::Join({lines.begin(), lines.end()}, "\n");
}

TEST(ApacheView, RealConfigurationsAreReadAndWrittenBack) {
  std::size_t merged = 0;
  for (const auto& [name, text] : RealConfigs("apache")) {
    SCOPED_TRACE(name);
    ASSERT_FALSE(text.empty());
    const ViewProbe view = ViewOf<Apache>(text);
    EXPECT_EQ(view.BrokenReferences(), "");
    if (text.find("Options") == std::string::npos) {
      EXPECT_EQ(view.Text(), WithoutBlankLines(text));
    } else {
      EXPECT_EQ(view.Text(), PlainlyRead(text));
      if (view.Text() != WithoutBlankLines(text)) ++merged;
    }
    EXPECT_EQ(ViewOf<Apache>(view.Text()).Text(), view.Text());
  }
  EXPECT_GT(merged, 0U) << "no Options among them";
}

}  // namespace
