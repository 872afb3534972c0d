// SPDX-License-Identifier: Apache-2.0

// What each edit does to the text, to the log, and to the index.
#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/merging_dialect.h"
#include "support/view_probe.h"
#include "template/nginx.h"

using tov_template::kSectionSeparator;
using tov_template::LineIterator;
using tov_template::Nginx;

namespace {

using Edit = std::function<void(ViewProbe&)>;
using Messages = std::vector<std::string>;

struct Case {
  const char* name;
  const char* before;
  Edit edit;
  const char* after;
  Messages log;
};

std::string Path(std::initializer_list<std::string> levels) {
  return ViewProbe::Path(levels);
}

template <class Dialect = Nginx, std::size_t N>
void Check(const Case (&cases)[N]) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ViewProbe view = ViewOf<Dialect>(c.before);
    LogCapture log;
    c.edit(view);
    EXPECT_EQ(view.Text(), c.after);
    EXPECT_EQ(view.BrokenReferences(), "");
    EXPECT_EQ(log.Messages(), c.log);
  }
}

Edit Append(const std::string& section, const std::string& param, const std::string& key) {
  return [=](ViewProbe& view) { view.AppendParam(section, param, key); };
}

Edit Remove(const std::string& section, const std::string& param, bool part_key = false) {
  return [=](ViewProbe& view) { view.RemoveParam(section, param, part_key); };
}

Edit Change(const std::string& section, const std::string& old_param, const std::string& new_param,
            const std::string& key) {
  return [=](ViewProbe& view) { view.ChangeParam(section, old_param, new_param, key); };
}

Edit RemoveEmpty() {
  return [](ViewProbe& view) { view.RemoveEmptySections(); };
}

Edit All(std::vector<Edit> edits) {
  return [=](ViewProbe& view) {
    for (const Edit& edit : edits) edit(view);
  };
}

// --- Append ---

TEST(ViewFindParam, FindsTheFirstElementWhoseTrimmedLineBeginsWithTheKey) {
  struct Search {
    const char* key;
    const char* line;  // "" for none
  };
  const Search searches[] = {{"listen 80", "  listen 8080;"},
                             {"listen 80;", "listen 80;"},
                             {"", "server {"},
                             {"root", ""},
                             {" listen", ""},
                             {"}", "}"}};
  ViewProbe view = ViewOf<Nginx>("server {\n  listen 8080;\nlisten 80;\n}");
  std::list<ConfParam>& params = view.m_params.begin()->second;
  for (const Search& c : searches) {
    SCOPED_TRACE(c.key);
    const auto found = view.FindParam(params, c.key);
    EXPECT_EQ(found == params.end() ? "" : *found->m_line, c.line);
  }
  params.front().m_line = view.m_lines->end();
  EXPECT_EQ(*view.FindParam(params, "")->m_line, "  listen 8080;") << "no line matches no key";
}

TEST(ViewAppend, ToAnExistingBlock) {
  const Case cases[] = {
      {"before the closing line",
       "server {\nroot /srv;\n}",
       Append("server {", "gzip on;", "gzip on;"),
       "server {\nroot /srv;\ngzip on;\n}",
       {"append param 'gzip on;'"}},
      {"as it is, with its indentation",
       "server {\n}",
       Append("server {", "\t gzip on; ", "gzip"),
       "server {\n\t gzip on; \n}",
       {"append param 'gzip on;'"}},
      {"twice: in the order of the calls",
       "server {\n}",
       All({Append("server {", "a;", "a;"), Append("server {", "b;", "b;")}),
       "server {\na;\nb;\n}",
       {"append param 'a;'", "append param 'b;'"}},
      {"a line that begins with the key is there",
       "server {\n  index main.html;\n}",
       Append("server {", "index index.html;", "index"),
       "server {\n  index main.html;\n}",
       {}},
      {"the key loses its terminator first",
       "server {\nroot /srv/www;\n}",
       Append("server {", "root /data;", "root /srv;"),
       "server {\nroot /srv/www;\n}",
       {}},
      {"a line that begins with the text is there",
       "server {\nroot /data; # x\n}",
       Append("server {", "root /data;", "no such key"),
       "server {\nroot /data; # x\n}",
       {}},
      {"without a key nothing happens",
       "server {\n}",
       Append("server {", "gzip on;", ""),
       "server {\n}",
       {}},
      {"a key of the terminator alone finds everything",
       "server {\n}",
       Append("server {", "gzip on;", ";"),
       "server {\n}",
       {}},
      {"a blank text does nothing",
       "server {\n}",
       Append("server {", " \t", "k"),
       "server {\n}",
       {}},
      {"outside every block nothing happens",
       "user www;",
       Append("", "gzip on;", "gzip on;"),
       "user www;",
       {}},
      {"a block that does not close: at its end",
       "server {\na;",
       Append("server {", "b;", "b;"),
       "server {\na;\nb;",
       {"append param 'b;'"}},
      {"a block inside: what is below it does not matter",
       "server {\nlocation / {\na;\n}\n}",
       Append("server {", "a;", "a;"),
       "server {\nlocation / {\na;\n}\na;\n}",
       {"append param 'a;'"}},
      {"a block whose end is recorded further out: behind its last own line",
       "http {\nserver {\nserver_name a;\n}\n}",
       Append("http {", "gzip on;", "gzip on;"),
       "http {\ngzip on;\nserver {\nserver_name a;\n}\n}",
       {"append param 'gzip on;'"}},
  };
  Check(cases);
}

TEST(ViewAppend, MakesAMissingBlock) {
  const Case cases[] = {
      {"at the end of the text",
       "user www;",
       Append("events {", "events {", "events {"),
       "user www;\nevents {",
       {}},
      {"in an empty text", "", Append("events {", "events {", ""), "events {", {}},
      {"from any line that is not unique and closes nothing",
       "",
       Append("a {", "x;", "x;"),
       "x;",
       {}},
      {"not from a closing line", "", Append("a {", " }", "}"), "", {}},
      {"not from a unique line", "", Append("a {", "listen 80;", "listen 80;"), "", {}},
      {"below an existing block: before its closing line",
       "server {\na;\n}\nuser www;",
       Append(Path({"server {", "location / {"}), "location / {", "location / {"),
       "server {\na;\nlocation / {\n}\nuser www;",
       {}},
      {"below a missing block: at the end of the text",
       "user www;",
       Append(Path({"server {", "location / {"}), "location / {", "location / {"),
       "user www;\nlocation / {",
       {}},
      {"line by line",
       "",
       All({Append("a {", "a {", "a {"), Append("a {", "x;", "x;"), Append("a {", "}", "}")}),
       "a {\nx;\n}",
       {"append param 'x;'", "append param '}'"}},
      {"two, one after the other",
       "server {\n}",
       All({Append(Path({"server {", "a {"}), "a {", "a {"),
            Append(Path({"server {", "a {"}), "}", "}"),
            Append(Path({"server {", "b {"}), "b {", "b {"),
            Append(Path({"server {", "b {"}), "}", "}")}),
       "server {\na {\n}\nb {\n}\n}",
       {"append param '}'", "append param '}'"}},
      {"under a path that ends with a separator, which is logged",
       "",
       Append("a {" + kSectionSeparator, " a { ", "a {"),
       " a { ",
       {"create section 'a {'"}},
  };
  Check(cases);
}

TEST(ViewAppend, ABlocksOpeningLineLeadsTheNextLinesOfItsParent) {
  // An opening line that its own block does not hold yet goes into that block, and what is made in
  // the parent from then on follows it.
  const Case cases[] = {
      {"a new block behind it, a line of the parent one line further on",
       "p {\nc {\nx;\n}\n}",
       All({Append(Path({"p {", "c {"}), "other {", "other {"),
            Append(Path({"p {", "d {"}), "d {", "d {"), Append("p {", "y;", "y;")}),
       "p {\nc {\nx;\nother {\nd {\n}\ny;\n}",
       {"append param 'other {'", "append param 'y;'"}},
      {"a line that opens nothing ends that",
       "p {\nc {\nx;\n}\n}",
       All({Append(Path({"p {", "c {"}), "other {", "other {"), Append("p {", "y;", "y;"),
            Append("p {", "z;", "z;")}),
       "p {\nc {\nx;\nother {\ny;\nz;\n}\n}",
       {"append param 'other {'", "append param 'y;'", "append param 'z;'"}},
      {"a line in a top-level block ends it for all blocks",
       "p {\nc {\nx;\n}\n}\nq {\n}",
       All({Append(Path({"p {", "c {"}), "other {", "other {"), Append("q {", "w;", "w;"),
            Append(Path({"p {", "d {"}), "d {", "d {")}),
       "p {\nc {\nx;\nother {\n}\nd {\n}\nq {\nw;\n}",
       {"append param 'other {'", "append param 'w;'"}},
      {"the last line of the text: there is nothing behind it to go on from",
       "p {\nc {\nx;",
       All({Append(Path({"p {", "c {"}), "other {", "other {"),
            Append(Path({"p {", "d {"}), "d {", "d {"),
            Append(Path({"p {", "e {"}), "e {", "e {")}),
       "p {\nc {\nx;\nother {\nd {\ne {",
       {"append param 'other {'"}},
  };
  Check(cases);
}

TEST(ViewAppend, HandsUniqueLinesToTheDialect) {
  const Case cases[] = {
      {"a new one",
       "server {\nlisten 80;\n}",
       Append("server {", "  listen 443 ssl;", "listen 443 ssl;"),
       "server {\nlisten 80;\n\tlisten 443 ssl;\n}",
       {"append unique param 'listen 443 ssl;'"}},
      {"one that is there is logged all the same",
       "server {\nlisten 80;\n}",
       Append("server {", "listen 80;", ""),
       "server {\nlisten 80;\n}",
       {"append unique param 'listen 80;'"}},
      {"into a block that does not close",
       "server {\nlisten 80;",
       Append("server {", "listen 81;", ""),
       "server {\nlisten 80;\n\tlisten 81;",
       {"append unique param 'listen 81;'"}},
  };
  Check(cases);
}

// --- Remove ---

TEST(ViewRemove, OneLine) {
  const Case cases[] = {
      {"the first that begins with the text",
       "server {\nroot /var/www2;\nroot /var/www;\n}",
       Remove("server {", "root /var/www;"),
       "server {\nroot /var/www;\n}",
       {"deleted param 'root /var/www;'"}},
      {"whatever its indentation",
       "server {\n\t  root /a; # note\n}",
       Remove("server {", "  root /a;  "),
       "server {\n}",
       {"deleted param 'root /a;'"}},
      {"not in a block below",
       "server {\nlocation / {\na;\n}\n}",
       Remove("server {", "a;"),
       "server {\nlocation / {\na;\n}\n}",
       {}},
      {"nothing found", "server {\na;\n}", Remove("server {", "b;"), "server {\na;\n}", {}},
      {"an unknown block", "server {\na;\n}", Remove("http {", "a;"), "server {\na;\n}", {}},
      {"a blank text", "server {\na;\n}", Remove("server {", " "), "server {\na;\n}", {}},
      {"no section", "a;", Remove("", "a;"), "a;", {}},
      {"the closing line",
       "server {\na;\n}",
       Remove("server {", "}"),
       "server {\na;",
       {"deleted param '}'"}},
      {"the terminator alone finds the opening line",
       "server {\na;\n}",
       Remove("server {", ";"),
       "a;\n}",
       {"deleted param ';'"}},
  };
  Check(cases);
}

TEST(ViewRemove, ABlock) {
  const Case cases[] = {
      {"with all that is in it",
       "a;\nserver {\nx;\nlocation / {\ny;\n}\n}\nb;",
       Remove("server {", "server {"),
       "a;\nb;",
       {}},
      {"found by its path, whatever opening line is named",
       "server {\nserver_name a;\n}\nb;",
       Remove("server { server_name a", "location / {"),
       "b;",
       {}},
      {"one that does not close", "server {\nx;", Remove("server {", "server {"), "", {}},
      {"the whole text", "server {\n}", Remove("server {", "server {"), "", {}},
      {"an unknown one", "server {\n}", Remove("http {", "http {"), "server {\n}", {}},
      {"two with one path: from the first to the last line, foreign lines between included",
       "a {\n1;\n}\nb {\n2;\n}\na {\n3;\n}\nc;",
       Remove("a {", "a {"),
       "c;",
       {}},
  };
  Check(cases);
}

TEST(ViewRemove, ABlockTakesTheEntriesThatBeginWithItsPath) {
  ViewProbe view = ViewOf<Nginx>(
      "server {\nserver_name a;\nlocation / {\nx;\n}\n}\nserver {\nserver_name ab;\ny;\n}");
  view.RemoveParam("server { server_name a", "server {", false);
  EXPECT_EQ(view.Text(), "server {\nserver_name ab;\ny;\n}");
  EXPECT_EQ(view.Dump(),
            "end server { server_name a > location / {: (none)\n"
            "end server { server_name ab: }\n");
  // What is forgotten cannot be edited any more, and is made anew.
  view.AppendParam("server { server_name ab", "server {", "server {");
  EXPECT_EQ(view.Text(), "server {\nserver_name ab;\ny;\n}\nserver {");
}

TEST(ViewRemove, HandsUniqueLinesToTheDialect) {
  const Case cases[] = {
      {"the line with its comment",
       "server {\nlisten 80; # default\nlisten 8080;\n}",
       Remove("server {", "listen 80;"),
       "server {\nlisten 8080;\n}",
       {"deleted unique param 'listen 80; # default'"}},
      {"logged with its indentation",
       "server {\n  listen 80;\n}",
       Remove("server {", "listen 80;"),
       "server {\n}",
       {"deleted unique param '  listen 80;'"}},
      {"several addresses, in their order in the text given",
       "server {\nlisten 10.0.0.1:80;\nlisten 10.0.0.2:80;\n}",
       Remove("server {", "listen 10.0.0.2:80 10.0.0.1:80;"),
       "server {\n}",
       {"deleted unique param 'listen 10.0.0.2:80;'",
        "deleted unique param 'listen 10.0.0.1:80;'"}},
      {"one that is not there",
       "server {\nlisten 80;\n}",
       Remove("server {", "listen 81;"),
       "server {\nlisten 80;\n}",
       {}},
      {"lines made by a change are unknown to the block",
       "server {\nlisten 80;\nx;\n}",
       All({Change("server {", "listen 80;", "listen 81;", ""), Remove("server {", "listen 81;")}),
       "server {\nx;\n\tlisten 81;\n}",
       {"Change param from 'listen 80;' to 'listen 81;'"}},
  };
  Check(cases);
}

// --- Change ---

TEST(ViewChange, OneLine) {
  const Case cases[] = {
      {"found by its key",
       "server {\nroot /a;\n}",
       Change("server {", "", "root /b;", "root /a;"),
       "server {\nroot /b;\n}",
       {"Change param from '' to 'root /b;'"}},
      {"found by the old text when there is no key",
       "server {\n  root /a;\n}",
       Change("server {", " root /a; ", "  root /b;", " "),
       "server {\n  root /b;\n}",
       {"Change param from 'root /a;' to 'root /b;'"}},
      {"the terminator is not cut off",
       "server {\nroot /ab;\n}",
       Change("server {", "root /a;", "root /b;", "root /a;"),
       "server {\nroot /ab;\n}",
       {}},
      {"the comment is kept",
       "server {\nroot /a; # by hand\n}",
       Change("server {", "root /a;", "root /b;", "root /a;"),
       "server {\nroot /b;# by hand\n}",
       {"Change param from 'root /a;' to 'root /b;'"}},
      {"the part of a comment behind its last marker is kept",
       "server {\nroot /a; # x # y\n}",
       Change("server {", "root /a;", "root /b;", "root /a;"),
       "server {\nroot /b;# y\n}",
       {"Change param from 'root /a;' to 'root /b;'"}},
      {"the first one only",
       "server {\nx 1;\nx 2;\n}",
       Change("server {", "", "x 3;", "x "),
       "server {\nx 3;\nx 2;\n}",
       {"Change param from '' to 'x 3;'"}},
      {"nothing found", "server {\n}", Change("server {", "a;", "b;", "a;"), "server {\n}", {}},
      {"a blank new text",
       "server {\na;\n}",
       Change("server {", "a;", " ", "a;"),
       "server {\na;\n}",
       {}},
      {"neither old text nor key",
       "server {\na;\n}",
       Change("server {", " ", "b;", ""),
       "server {\na;\n}",
       {}},
      {"an unknown block",
       "server {\na;\n}",
       Change("http {", "a;", "b;", "a;"),
       "server {\na;\n}",
       {}},
      {"no section", "a;", Change("", "a;", "b;", "a;"), "a;", {}},
  };
  Check(cases);
}

TEST(ViewChange, AnOpeningLineRenamesItsBlock) {
  ViewProbe view = ViewOf<Nginx>("http {\nlocation /a {\nif (x) {\n1;\n}\n}\n}");
  view.ChangeParam(Path({"http {", "location /a {"}), "location /a {", "  location /b {",
                   "location /a {");
  EXPECT_EQ(view.Text(), "http {\n  location /b {\nif (x) {\n1;\n}\n}\n}");
  EXPECT_EQ(view.Dump(),
            "http {: http { | }\n"
            "http { >   location /b {: location /b { | }\n"
            "http { >   location /b { > if (x) {: if (x) { | 1; | }\n"
            "end http {: }\n"
            "end http { >   location /b {: }\n"
            "end http { >   location /b { > if (x) {: }\n");
}

TEST(ViewChange, ATopLevelBlocksNewNameIsTrimmed) {
  ViewProbe view = ViewOf<Nginx>("events {\nx;\n}");
  view.ChangeParam("events {", "events {", "\tevents_2 { ", "events {");
  EXPECT_EQ(view.Dump(), "events_2 {: events_2 { | x; | }\nend events_2 {: }\n");
}

TEST(ViewChange, HandsUniqueLinesToTheDialect) {
  const Case cases[] = {
      {"all listen lines of the block are replaced",
       "server {\nlisten 80;\nlisten 81;\nx;\n}",
       Change("server {", "listen 80;", "listen 10.0.0.1:80 10.0.0.2:80 ssl;", "listen 80;"),
       "server {\nx;\n\tlisten 10.0.0.1:80 ssl;\n\tlisten 10.0.0.2:80 ssl;\n}",
       {"Change param from 'listen 80;' to 'listen 10.0.0.1:80 10.0.0.2:80 ssl;'"}},
      {"a block without a listen line is left alone, and logged",
       "server {\nx;\n}",
       Change("server {", "listen 80;", "listen 81;", ""),
       "server {\nx;\n}",
       {"Change param from 'listen 80;' to 'listen 81;'"}},
  };
  Check(cases);
}

TEST(ViewChange, TheDialectMayMoveTheBlocksLastElement) {
  ViewProbe view = ViewOf<MergingDialect>("a (\nset 1\nx\n)\nb (\ny\n)");
  view.ChangeParam("a (", "set 1", "set 2", "");
  EXPECT_EQ(view.Text(), "a (\nx\nset 2\n)\nb (\ny\n)");
  EXPECT_EQ(view.Dump(),
            "a (: a ( | x | set 2\n"
            "b (: b ( | y | )\n"
            "end a (: )\n"
            "end b (: )\n");
  view.RemoveParam("a (", "set", false);
  EXPECT_EQ(view.Text(), "a (\nx\n)\nb (\ny\n)");
  EXPECT_EQ(view.BrokenReferences(), "");
}

// --- Empty blocks ---

TEST(ViewRemoveEmptySections, RemovesBlocksOfAtMostTwoLines) {
  const Case cases[] = {
      {"an opening and a closing line; the parent stays",
       "server {\nlocation / {\n}\n}",
       RemoveEmpty(),
       "server {\n}",
       {"Remove empty section 'location / {'"}},
      {"also when asked again: what was below protects the parent",
       "server {\nlocation / {\n}\n}",
       All({RemoveEmpty(), RemoveEmpty()}),
       "server {\n}",
       {"Remove empty section 'location / {'"}},
      {"a block with a directive stays", "events {\nx;\n}", RemoveEmpty(), "events {\nx;\n}", {}},
      {"a comment is a line, too", "events {\n# x\n}", RemoveEmpty(), "events {\n# x\n}", {}},
      {"a block that does not close",
       "x;\nevents {\ny;",
       RemoveEmpty(),
       "x;",
       {"Remove empty section 'events {'"}},
      {"one whose path begins another's is kept",
       "a {\n}\na { b {\nx;\n}",
       RemoveEmpty(),
       "a {\n}\na { b {\nx;\n}",
       {}},
      {"in the order of their paths",
       "b {\n}\na {\n}",
       RemoveEmpty(),
       "",
       {"Remove empty section 'a {'", "Remove empty section 'b {'"}},
  };
  Check(cases);
}

TEST(ViewRemoveEmptySections, KeepsTheEndsOfWhatItRemoves) {
  ViewProbe view = ViewOf<Nginx>("server {\nlocation / {\n}\n}");
  view.RemoveEmptySections();
  EXPECT_EQ(view.Dump(),
            "server {: server { | }\n"
            "end server {: }\n"
            "end server { > location / {: server {\n");
}

// --- References to lines ---

TEST(ViewReferences, NoDangling) {
  const auto dump_after = [](const char* config, const Edit& edit) {
    ViewProbe view = ViewOf<Nginx>(config);
    edit(view);
    EXPECT_EQ(view.BrokenReferences(), "");
    return view.Dump();
  };
  // The end of a block moves to the line before the one erased.
  EXPECT_EQ(dump_after("a {\nx;\ny;", Remove("a {", "y;")), "a {: a { | x;\nend a {: x;\n");
  // Without a line before it, it becomes no line.
  EXPECT_EQ(dump_after("a {", Remove("a {", "a")), "a {: \nend a {: (none)\n");
  // A whole block: the ends of what was in it move before its first line.
  EXPECT_EQ(dump_after("z;\na {\nb {\n}\n}", Remove("a {", "a {")), "end a { > b {: z;\n");
  // A place for new blocks moves likewise, and goes when nothing is left before it.
  const Edit created = Append(Path({"p {", "c {"}), "o {", "o {");
  EXPECT_EQ(dump_after("p {\nc {\nx;\n}\n}", All({created, Remove(Path({"p {", "c {"}), "o")})),
            "p {: p { | }\n"
            "p { > c {: c { | x; | }\n"
            "end p {: }\n"
            "end p { > c {: x;\n"
            "created p {: x;\n");
  EXPECT_EQ(dump_after("p {\nc {\nx;\n}\n}", All({created, Remove("p {", "p {")})),
            "end p { > c {: (none)\n");
}

TEST(ViewReferences, TheDialectForgetsErasedLines) {
  struct Probe : Nginx {
    using Nginx::m_listen;
    using Nginx::Nginx;
  };
  const auto dialect =
      std::make_shared<Probe>("server {\nserver_name a;\nlisten 80;\nlisten 81;\n}");
  ViewProbe view(dialect);
  const std::string section = "server { server_name a";
  ASSERT_EQ(dialect->m_listen.at(section).size(), 2u);
  view.RemoveParam(section, "server {", false);
  EXPECT_EQ(dialect->m_listen.at(section).size(), 0u);
  view.AppendParam(section, "server {", "server {");
  view.AppendParam(section, "listen 80;", "listen 80;");
  EXPECT_EQ(view.Text(), "server {\n\tlisten 80;");
}

TEST(ViewReferences, ErasedOnce) {
  ViewProbe view = ViewOf<MergingDialect>("a (\nset 1\nset 2\nx\n)");
  LogCapture log;
  view.RemoveParam("a (", "set", false);  // the dialect names the line twice
  EXPECT_EQ(view.Text(), "a (\nx\n)");
  EXPECT_EQ(log.Messages(), Messages{"deleted unique param 'set 1 2'"});
  EXPECT_EQ(view.Dump(), "a (: a ( | x | x | )\nend a (: )\n");
}

TEST(ViewReferences, ASharedLineIsForgottenByEveryElement) {
  const Case cases[] = {
      {"a line",
       "a (\nset 1\nset 2\nset 3\nx\n)",
       Remove("a (", "x"),
       "a (\nset 1 2 3\n)",
       {"deleted param 'x'"}},
      {"the opening line of a block below, with that block",
       "a (\nset 1\nset 2\nb (\nx\n)\ny\n)",
       Remove(Path({"a (", "b ("}), "b ("),
       "a (\nset 1 2\ny\n)",
       {}},
      {"the closing line",
       "a (\nx\nset 1\nset 2\n)\nb (\ny\n)",
       Remove("a (", ")"),
       "a (\nx\nset 1 2\nb (\ny\n)",
       {"deleted param ')'"}},
  };
  Check<MergingDialect>(cases);
}

TEST(ViewReferences, NoLine) {
  // The last element stands for no line: it matches nothing, closes nothing, but counts.
  const char* const config = "a (\nset 1\nset 2";
  ViewProbe view = ViewOf<MergingDialect>(config);
  ASSERT_EQ(view.Dump(), "a (: a ( | set 1 2 | (none)\nend a (: set 1 2\n");
  view.RemoveParam("a (", "nothing", false);
  view.RemoveEmptySections();
  EXPECT_EQ(view.Text(), "a (\nset 1 2");
  view.AppendParam("a (", "x", "x");
  EXPECT_EQ(view.Dump(), "a (: a ( | set 1 2 | (none) | x\nend a (: x\n");
  EXPECT_EQ(view.Text(), "a (\nset 1 2\nx");

  // A block whose last element is no line is not removed.
  ViewProbe other = ViewOf<MergingDialect>(config);
  other.RemoveParam("a (", "a (", false);
  EXPECT_EQ(other.Text(), "a (\nset 1 2");

  // A block without an end, or whose end is no line, goes on at the end of the text.
  ViewProbe endless = ViewOf<Nginx>("a {\n}\nb {\n}");
  endless.m_ends.erase("a {");
  endless.m_ends["b {"] = endless.m_lines->end();
  endless.AppendParam("a {", "x;", "x;");
  endless.AppendParam("b {", "y;", "y;");
  EXPECT_EQ(endless.Text(), "a {\n}\nb {\n}\nx;\ny;");
}

TEST(ViewReferences, EmptyList) {
  // A block that has lost its last line counts as missing.
  ViewProbe view = ViewOf<Nginx>("z;\na {");
  view.RemoveParam("a {", "a", false);
  ASSERT_EQ(view.Dump(), "a {: \nend a {: z;\n");
  view.RemoveParam("a {", "a {", false);
  view.ChangeParam("a {", "a {", "b {", "a {");
  view.RemoveEmptySections();
  EXPECT_EQ(view.Text(), "z;");
  view.AppendParam("a {", "a {", "");
  EXPECT_EQ(view.Text(), "z;\na {");
  EXPECT_EQ(view.Dump(), "a {: a {\nend a {: a {\n");
}

TEST(ViewReferences, BackwardBlock) {
  // "x;" of "b {" is put before "b {" itself, as the block's end stands further up.
  ViewProbe view = ViewOf<Nginx>("a;\nb {");
  view.m_ends["b {"] = view.m_lines->begin();
  view.AppendParam("b {", "x;", "x;");
  ASSERT_EQ(view.Text(), "a;\nx;\nb {");
  ASSERT_EQ(view.Dump(), "b {: b { | x;\nend b {: x;\n");
  LogCapture log;
  view.RemoveEmptySections();
  view.RemoveParam("b {", "b {", false);
  EXPECT_EQ(view.Text(), "a;\nx;\nb {");
  EXPECT_EQ(view.Dump(), "b {: b { | x;\nend b {: x;\n");
  EXPECT_EQ(log.Messages(), Messages{});
}

TEST(ViewReferences, ForeignLines) {
  // Lines of "b {" stand between the two blocks that share the path "a {".
  ViewProbe view = ViewOf<Nginx>("b {\n1;\na {\n2;\n}\n3;\na {\n}\n}");
  ASSERT_EQ(view.Dump(),
            "b {: b { | 1; | 3; | }\n"
            "b { > a {: a { | 2; | } | }\n"
            "end b {: }\n"
            "end b { > a {: }\n");
  view.RemoveParam(Path({"b {", "a {"}), "a {", false);
  EXPECT_EQ(view.Text(), "b {\n1;\n}");
  EXPECT_EQ(view.Dump(), "b {: b { | 1; | }\nend b {: }\n");

  // An empty block that encloses a block under another path takes its lines along, and is examined
  // with the effects of the removals before it.
  ViewProbe enclosing = ViewOf<Nginx>("stream {\nserver {\nserver_name a;\n}\n}\nx {\ny;\n}");
  const std::string server = Path({"stream {", "server { server_name a"});
  enclosing.m_ends.erase(server);
  enclosing.m_params["stream {"].push_back({std::next(enclosing.m_lines->begin(), 4)});
  enclosing.RemoveEmptySections();
  EXPECT_EQ(enclosing.Text(), "x {\ny;\n}");
  EXPECT_EQ(enclosing.Dump(),
            "stream { > server { server_name a: \n"
            "x {: x { | y; | }\n"
            "end stream {: (none)\n"
            "end x {: }\n");
}

TEST(ViewReferences, ABlockRemovedAndMadeAnewStartsFresh) {
  ViewProbe view = ViewOf<Nginx>("server {\nlisten 80;\nroot /a;\n}\nuser www;");
  view.RemoveParam("server {", "server {", false);
  for (const char* line : {"server {", "listen 80;", "root /b;", "}"}) {
    view.AppendParam("server {", line, line);
  }
  EXPECT_EQ(view.Text(), "user www;\nserver {\n\tlisten 80;\nroot /b;\n}");
  view.RemoveParam("server {", "server {", false);
  EXPECT_EQ(view.Text(), "user www;");
}

}  // namespace
