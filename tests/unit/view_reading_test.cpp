// SPDX-License-Identifier: Apache-2.0

// How a configuration is read into the index of its blocks.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/merging_dialect.h"
#include "support/view_probe.h"
#include "template/nginx.h"

using tov_template::ConfigView;
using tov_template::kSectionSeparator;
using tov_template::Nginx;

namespace {

TEST(ViewReading, IndexesBlocksByTheirPath) {
  struct Case {
    const char* name;
    const char* config;
    const char* index;
  };
  const Case cases[] = {
      {"an empty configuration", "", ""},
      {"directives outside every block are in no list", "user www;\nworker_processes 1;", ""},
      {"a block without identity keeps its opening line", "events {\n  worker_connections 64;\n}",
       "events {: events { | worker_connections 64; | }\n"
       "end events {: }\n"},
      {"a block is re-keyed by its identity when it closes", "server {\nserver_name a;\n}",
       "server { server_name a: server { | server_name a; | }\n"
       "end server { server_name a: }\n"},
      {"the first identifying line of a name counts", "server {\nserver_name a;\nserver_name b;\n}",
       "server { server_name a: server { | server_name a; | server_name b; | }\n"
       "end server { server_name a: }\n"},
      {"an identifying line outside every block is ignored", "server_name x;\nserver {\n}",
       "server {: server { | }\n"
       "end server {: }\n"},
      {"nested lines are not in the outer list",
       "server {\nroot /a;\nlocation / {\nroot /b;\n}\nindex i;\n}",
       "server {: server { | root /a; | index i; | }\n"
       "server { > location / {: location / { | root /b; | }\n"
       "end server {: }\n"
       "end server { > location / {: }\n"},
      {"blocks below a re-keyed block move with it",
       "server {\nlocation / {\nroot /b;\n}\nserver_name a;\n}",
       "server { server_name a: server { | server_name a; | }\n"
       "server { server_name a > location / {: location / { | root /b; | }\n"
       "end server { server_name a: }\n"
       "end server { server_name a > location / {: }\n"},
      {"what follows a re-keyed block inside a top-level block is recorded nowhere",
       "stream {\nserver {\nserver_name a;\n}\nroot /x;\n}",
       "stream {: stream {\n"
       "stream { > server { server_name a: server { | server_name a; | }\n"
       "end stream {: stream {\n"
       "end stream { > server { server_name a: }\n"},
      {"and one level deeper goes to the enclosing list, with the end further out",
       "a {\nb {\nserver {\nserver_name s;\n}\nx;\n}\n}",
       "a {: a {\n"
       "a { > b {: b { | x; | }\n"
       "a { > b { > server { server_name s: server { | server_name s; | }\n"
       "end a {: }\n"
       "end a { > b {: b {\n"
       "end a { > b { > server { server_name s: }\n"},
      {"a second block with the same path shares the first one's entry",
       "location / {\na;\n}\nlocation / {\nb;\n}",
       "location / {: location / { | a; | } | b; | }\n"
       "end location / {: }\n"},
      {"two blocks with the same opening line are told apart by their identity",
       "server {\nserver_name a;\n}\nserver {\nserver_name b;\n}",
       "server { server_name a: server { | server_name a; | }\n"
       "server { server_name b: server { | server_name b; | }\n"
       "end server { server_name a: }\n"
       "end server { server_name b: }\n"},
      {"a re-keyed block whose path is taken is dropped, its lines stay in the text",
       "server {\nserver_name a;\nx;\n}\nserver {\nserver_name a;\ny;\n}",
       "server { server_name a: server { | server_name a; | x; | }\n"
       "end server { server_name a: }\n"},
      {"a comment line belongs to its block", "server {\n# note\n}",
       "server {: server { | # note | }\n"
       "end server {: }\n"},
      {"a block that never closes stays open", "server {\nserver_name a;",
       "server {: server { | server_name a;\n"
       "end server {: server_name a;\n"},
      {"a closing line too many does nothing", "}\n}\nserver {\n}",
       "server {: server { | }\n"
       "end server {: }\n"},
      {"a line that closes and opens does both, and its block closes at once",
       "if {\na;\n} else {\nb;\n}",
       "if {: if { | a; | b; | }\n"
       "if { > } else {: } else {\n"
       "end if {: }\n"
       "end if { > } else {: } else {\n"},
      {"the last comment marker is where a line is cut", "server { # a # b\nx;\n}", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ViewOf<Nginx>(c.config).Dump(), c.index);
  }
}

TEST(ViewReading, AnIdentityBehindANamedBlockMovesEverything) {
  // The named server leaves the path empty; the identity of the outer block then counts for all.
  const ViewProbe view =
      ViewOf<Nginx>("events {\nx;\n}\nhttp {\nserver {\nserver_name a;\n}\nserver_name b;\n}");
  EXPECT_EQ(view.Dump(),
            "server_name b: http {\n"
            "server_name b > server { server_name a: server { | server_name a; | }\n"
            "end server_name b: http {\n"
            "end server_name b > server { server_name a: }\n");
}

TEST(ViewReading, OpenBlocksFollow) {
  struct Case {
    const char* name;
    const char* config;
    const char* index;
  };
  const Case cases[] = {
      // The named server costs "z {" its level, so that the identity in it re-keys "y {", which is
      // still open. What is still to come of "y {" follows it.
      {"to the new path",
       "w {\nx {\ny {\nz {\nserver {\nserver_name s;\n}\nserver_name q;\n}\nlate;\n}\n}\n}",
       "w {: w {\n"
       "w { > x {: x {\n"
       "w { > x { > y { server_name q: y { | late; | }\n"
       "w { > x { > y { server_name q > z {: z { | server_name q; | }\n"
       "w { > x { > y { server_name q > z { > server { server_name s: "
       "server { | server_name s; | }\n"
       "end w {: }\n"
       "end w { > x {: x {\n"
       "end w { > x { > y { server_name q: }\n"
       "end w { > x { > y { server_name q > z {: z {\n"
       "end w { > x { > y { server_name q > z { > server { server_name s: }\n"},
      {"to the entry that has the new path already",
       "w {\nx {\ny {\nserver_name q;\n}\n}\n}\n"
       "w {\nx {\ny {\nz {\nserver {\nserver_name s;\n}\nserver_name q;\n}\nlate;\n}\n}\n}",
       "w {: w {\n"
       "w { > x {: x { | }\n"
       "w { > x { > y { server_name q: y { | server_name q; | } | late; | }\n"
       "w { > x { > y { server_name q > z {: z { | server_name q; | }\n"
       "w { > x { > y { server_name q > z { > server { server_name s: "
       "server { | server_name s; | }\n"
       "end w {: }\n"
       "end w { > x {: x {\n"
       "end w { > x { > y { server_name q: }\n"
       "end w { > x { > y { server_name q > z {: z {\n"
       "end w { > x { > y { server_name q > z { > server { server_name s: }\n"},
      {"and all entries move when the path has become empty",
       "a {\nb {\nserver {\nserver_name s;\n}\n}\nserver_name t;\nc {\nserver_name u;\n}\n}",
       "server_name t: c { | server_name u; | }\n"
       "server_name t > b {: b { | }\n"
       "server_name t > b { > server { server_name s: server { | server_name s; | }\n"
       "end server_name t: }\n"
       "end server_name t > b {: b {\n"
       "end server_name t > b { > server { server_name s: }\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const ViewProbe view = ViewOf<Nginx>(c.config);
    EXPECT_EQ(view.BrokenReferences(), "");
    EXPECT_EQ(view.Dump(), c.index);
  }
}

TEST(ViewReading, SeparatesALineAtItsLastCommentMarker) {
  struct Case {
    const char* line;
    const char* comment;
    const char* text;
    const char* rest;
  };
  const Case cases[] = {
      {"root /a;", "#", "root /a;", ""},
      {"root /a; # b", "#", "root /a; ", " b"},
      {"a # b # c", "#", "a # b ", " c"},
      {"#", "#", "", ""},
      {"", "#", "", ""},
      {"a // b", "//", "a ", " b"},
      {"a # b", "", "a # b", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    const ConfigView::Line parts = ConfigView::SeparateParam(c.line, c.comment);
    EXPECT_EQ(parts.m_text, c.text);
    EXPECT_EQ(parts.m_comment, c.rest);
  }
}

TEST(ViewReading, ComparesPathsLevelByLevel) {
  const std::string sep = kSectionSeparator;
  struct Case {
    std::string parent, path;
    bool below;
  };
  const Case cases[] = {
      {"", "", true},
      {"", "a", true},
      {"a", "a", true},
      {"a", "a" + sep + "b", true},
      {"a", "ab", false},
      {"a" + sep + "b", "a", false},
      {"a" + sep + "b", "a" + sep + "b" + sep + "c", true},
      {"a" + sep + "b", "a" + sep + "bc", false},
      {"b", "a" + sep + "b", false},
      {"a", "", false},
      {"a" + sep, "a", true},
      {"a" + sep + sep, "a", true},
      {"a" + sep + sep + "b", "a", false},
      {sep, "a", false},
      {sep, sep + "a", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.parent + " <= " + c.path);
    EXPECT_EQ(ConfigView::IsSubsection(c.parent, c.path), c.below);
  }
}

TEST(ViewUpdateSectionPath, MovesTheEntriesAtAndBelowAPath) {
  struct Case {
    const char* name;
    const char* config;
    std::string from, to;
    const char* index;
  };
  const Case cases[] = {
      {"the block and what is below it, not what only begins alike",
       "a {\nx {\n1;\n}\n}\na { b {\n2;\n}", "a {", " c ",
       "a { b {: a { b { | 2; | }\n"
       "c: a { | }\n"
       "c > x {: x { | 1; | }\n"},
      {"an entry that is there already stays", "a {\n1;\n}\nb {\n2;\n}", "a {", "b {",
       "b {: b { | 2; | }\n"},
      {"everything below the empty path, its first level replaced: the last one counts",
       "a {\nx {\n1;\n}\n}\nb {\n2;\n}", "", "n",
       "n: b { | 2; | }\n"
       "n > x {: x { | 1; | }\n"},
      {"to the empty path: the levels below become the outermost", "a {\nx {\n1;\n}\n}", "a {", "",
       ": a { | }\n"
       "x {: x { | 1; | }\n"},
      {"an empty level at the end stands for none: all come to the same path, the last one counts",
       "a {\nx {\n1;\n}\n}", ViewProbe::Path({"a {"}) + kSectionSeparator, "n",
       "n: x { | 1; | }\n"},
      {"two empty levels at the end: the second one has to be there", "a {\nx {\n1;\n}\n}",
       ViewProbe::Path({"a {"}) + kSectionSeparator + kSectionSeparator, "n",
       "a { > x {: x { | 1; | }\n"
       "n: a { | }\n"},
      {"an unknown path", "a {\n1;\n}", "z {", "b {", "a {: a { | 1; | }\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ViewProbe view = ViewOf<Nginx>(c.config);
    view.UpdateSectionPath(view.m_params, c.from, c.to);
    view.m_ends.clear();
    EXPECT_EQ(view.Dump(), c.index);
  }
}

TEST(ViewReading, ReplacedAtRegistration) {
  struct Case {
    const char* name;
    const char* config;
    const char* text;
    const char* index;
  };
  const Case cases[] = {
      {"three in a row: both elements stand for the line that follows",
       "a (\nset 1\nset 2\nset 3\nx\n)", "a (\nset 1 2 3\nx\n)",
       "a (: a ( | set 1 2 3 | x | x | x | )\n"
       "end a (: )\n"},
      {"the last line of the block", "a (\nset 1\nset 2\n)\nb (\nx\n)",
       "a (\nset 1 2\n)\nb (\nx\n)",
       "a (: a ( | set 1 2 | ) | )\n"
       "b (: b ( | x | )\n"
       "end a (: )\n"
       "end b (: )\n"},
      {"the last line of the file: no line is left, the end moves back", "a (\nset 1\nset 2",
       "a (\nset 1 2",
       "a (: a ( | set 1 2 | (none)\n"
       "end a (: set 1 2\n"},
      {"before a nested block: the outer element stands for its opening line",
       "a (\nset 1\nset 2\nb (\nx\n)\n)", "a (\nset 1 2\nb (\nx\n)\n)",
       "a (: a ( | set 1 2 | b ( | )\n"
       "a ( > b (: b ( | x | )\n"
       "end a (: )\n"
       "end a ( > b (: )\n"},
      {"each block by itself", "a (\nset 1\nset 2\nb (\nset 3\nset 4\n)\n)",
       "a (\nset 1 2\nb (\nset 3 4\n)\n)",
       "a (: a ( | set 1 2 | b ( | )\n"
       "a ( > b (: b ( | set 3 4 | ) | )\n"
       "end a (: )\n"
       "end a ( > b (: )\n"},
      {"the element of the line between stands for the erased one's successor, too",
       "a (\nset 1\nset 2\nb (\nset 3\nset 4", "a (\nset 1 2\nb (\nset 3 4",
       "a (: a ( | set 1 2 | b (\n"
       "a ( > b (: b ( | set 3 4 | (none)\n"
       "end a (: set 1 2\n"
       "end a ( > b (: set 3 4\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const ViewProbe view = ViewOf<MergingDialect>(c.config);
    EXPECT_EQ(view.Text(), c.text);
    EXPECT_EQ(view.BrokenReferences(), "");
    EXPECT_EQ(view.Dump(), c.index);
  }
}

TEST(ViewReading, TakesDeepAndLongText) {
  std::string deep;
  for (int i = 0; i < 2000; ++i) deep += "a {\n";
  EXPECT_EQ(ViewOf<Nginx>(deep).m_params.size(), 2000u);

  std::string merged = "a (\n";
  for (int i = 0; i < 20000; ++i) merged += "set 1\n";
  const ViewProbe view = ViewOf<MergingDialect>(merged + ")");
  EXPECT_EQ(view.BrokenReferences(), "");
  EXPECT_EQ(view.m_params.at("a (").size(), 20002u);
}

}  // namespace
