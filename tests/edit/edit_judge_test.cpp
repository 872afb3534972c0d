// SPDX-License-Identifier: Apache-2.0

#include "edit/edit_judge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "edit/config_tree.h"
#include "edit/site_edit.h"

namespace {

using namespace edit_judge;
namespace fs = std::filesystem;

struct Case {
  const char* name;
  Kind kind;
  std::size_t site;  // which of the text's
  const char* before;
  const char* after;
  const char* wrong;
};

void ExpectJudged(Dialect dialect, const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Tree tree = ReadTree(dialect, c.before);
    ASSERT_EQ(tree.error, "");
    const std::size_t site = SitesOf(dialect, tree).at(c.site);
    const auto edit = EditOf(c.kind, dialect, c.before, tree, site);
    ASSERT_TRUE(edit);
    EXPECT_EQ(WhatIsWrong(dialect, c.before, tree, edit->change, c.after), c.wrong);
  }
}

TEST(EditJudge, JudgesChangedWordsOfNginx) {
  const char* two = "server { server_name a; root /a; }\nserver { server_name b; root /a; }\n";
  const char* aliases = "server {\n  server_name a # first\n    b;\n}\n";
  ExpectJudged(
      Dialect::kNginx,
      {{"the root of the second of two", Kind::kRoot, 1, two,
        "server { server_name a; root /a; }\nserver { server_name b; root /srv/moved; }\n", ""},
       {"of the first instead", Kind::kRoot, 1, two,
        "server { server_name a; root /srv/moved; }\nserver { server_name b; root /a; }\n",
        "expected   [root][/a], found   [root][/srv/moved] in line 1"},
       {"of both", Kind::kRoot, 1, two,
        "server { server_name a; root /srv/moved; }\nserver { server_name b; root /srv/moved; }\n",
        "expected   [root][/a], found   [root][/srv/moved] in line 1"},
       {"of none", Kind::kRoot, 1, two, two,
        "expected   [root][/srv/moved], found   [root][/a] in line 2"},
       {"with a blank more", Kind::kRoot, 1, two,
        "server { server_name a;  root /a; }\nserver { server_name b; root /srv/moved; }\n",
        "bytes before the words differ"},
       {"with a line end less", Kind::kRoot, 1, two,
        "server { server_name a; root /a; }\nserver { server_name b; root /srv/moved; }",
        "bytes behind the words differ"},
       {"with a second root", Kind::kRoot, 1, two,
        "server { server_name a; root /a; }\n"
        "server { server_name b; root /srv/moved; root /a; }\n",
        "expected the end, found   [root][/a] in line 2"},
       {"an unreadable text", Kind::kRoot, 1, two,
        "server { server_name a; root /a; }\nserver { server_name b; root /srv/moved }\n",
        "line 2: nginx does not read it"},
       {"a name of two", Kind::kRename, 0, aliases,
        "server {\n  server_name renamed.judged.example # first\n    b;\n}\n", ""},
       {"a name whose alias is gone", Kind::kRename, 0, aliases,
        "server {\n  server_name renamed.judged.example # first\n    ;\n}\n",
        "expected   [server_name][renamed.judged.example][b], found   "
        "[server_name][renamed.judged.example] in line 2"},
       {"an alias more", Kind::kAlias, 0, aliases,
        "server {\n  server_name a # first\n    b alias.judged.example;\n}\n", ""},
       {"the first alias", Kind::kAlias, 0, "server { server_name a ; }\n",
        "server { server_name a alias.judged.example ; }\n", ""},
       {"the first alias, and the blank is gone", Kind::kAlias, 0, "server { server_name a ; }\n",
        "server { server_name a alias.judged.example; }\n", "bytes behind the words differ"}});
}

TEST(EditJudge, JudgesNewDirectivesOfNginx) {
  const char* plain =
      "server {\n  listen 80;\n  root /a; # a\n\n  # b\n  location / { }\n  gzip on;\n}\n";
  const char* late = "server {\n  location / { }\n  listen 80;\n}\n";
  ExpectJudged(
      Dialect::kNginx,
      {{"behind the last plain directive", Kind::kSize, 0, plain,
        "server {\n  listen 80;\n  root /a; # a\n  client_max_body_size 77m;\n\n  # b\n"
        "  location / { }\n  gzip on;\n}\n",
        ""},
       {"behind the blank line", Kind::kSize, 0, plain,
        "server {\n  listen 80;\n  root /a; # a\n\n  client_max_body_size 77m;\n  # b\n"
        "  location / { }\n  gzip on;\n}\n",
        "the new lines stand elsewhere, or other bytes differ"},
       {"at the end", Kind::kSize, 0, plain,
        "server {\n  listen 80;\n  root /a; # a\n\n  # b\n  location / { }\n  gzip on;\n"
        "  client_max_body_size 77m;\n}\n",
        "expected   [client_max_body_size][77m], found   [location][/] { in line 6"},
       {"before the comment of its line", Kind::kSize, 0, plain,
        "server {\n  listen 80;\n  root /a;\n  client_max_body_size 77m; # a\n\n  # b\n"
        "  location / { }\n  gzip on;\n}\n",
        "the new lines stand elsewhere, or other bytes differ"},
       {"without indentation", Kind::kSize, 0, plain,
        "server {\n  listen 80;\n  root /a; # a\nclient_max_body_size 77m;\n\n  # b\n"
        "  location / { }\n  gzip on;\n}\n",
        "other indentation: \"client_max_body_size 77m;\\n\""},
       {"with a comment", Kind::kSize, 0, plain,
        "server {\n  listen 80;\n  root /a; # a\n  client_max_body_size 77m;\n  # new\n\n  # b\n"
        "  location / { }\n  gzip on;\n}\n",
        "a line too many: \"  client_max_body_size 77m;\\n  # new\\n\""},
       {"with a blank line", Kind::kSize, 0, plain,
        "server {\n  listen 80;\n  root /a; # a\n\n  client_max_body_size 77m;\n\n  # b\n"
        "  location / { }\n  gzip on;\n}\n",
        "a blank line before the new one"},
       {"with a line less elsewhere", Kind::kSize, 0, plain,
        "server {\n  listen 80;\n  root /a; # a\n  client_max_body_size 77m;\n  # b\n"
        "  location / { }\n  gzip on;\n}\n",
        "the new lines stand elsewhere, or other bytes differ"},
       {"behind what precedes it in the template", Kind::kSize, 0, late,
        "server {\n  location / { }\n  listen 80;\n  client_max_body_size 77m;\n}\n", ""},
       {"before that", Kind::kSize, 0, late,
        "server {\n  client_max_body_size 77m;\n  location / { }\n  listen 80;\n}\n",
        "expected   [location][/] {, found   [client_max_body_size][77m] in line 2"},
       {"in a block of one line", Kind::kSize, 0, "server { listen 80; }\n",
        "server { listen 80; client_max_body_size 77m; }\n", ""},
       {"in a block of one line, which becomes two", Kind::kSize, 0, "server { listen 80; }\n",
        "server { listen 80;\n  client_max_body_size 77m; }\n", ""},
       {"in a block of one line, and another blank is gone", Kind::kSize, 0,
        "server { listen 80; }\n", "server {listen 80; client_max_body_size 77m; }\n",
        "other bytes than the new ones differ"},
       {"changed where it is already", Kind::kSize, 0,
        "server {\n  client_max_body_size\n    1m;\n}\n",
        "server {\n  client_max_body_size\n    77m;\n}\n", ""},
       {"with carriage returns", Kind::kSize, 0, "server {\r\n listen 80;\r\n}\r\n",
        "server {\r\n listen 80;\r\n client_max_body_size 77m;\r\n}\r\n", ""},
       {"without carriage returns", Kind::kSize, 0, "server {\r\n listen 80;\r\n}\r\n",
        "server {\r\n listen 80;\r\n client_max_body_size 77m;\n}\r\n", "other line ends"}});
}

TEST(EditJudge, JudgesNewBlocksOfNginx) {
  const char* apart =
      "server {\n\tlisten 80;\n\n\t# a\n\tlocation /a {\n\t}\n\n\tlocation /b {\n\t}\n\troot "
      "/;\n}\n";
  const char* together =
      "server {\n\tlisten 80;\n\tlocation /a {\n\t}\n\tlocation /b {\n\t}\n\troot /;\n}\n";
  const char* none = "server {\n\tlisten 80;\n\t# end\n}\n";
  ExpectJudged(
      Dialect::kNginx,
      {{"apart as the others", Kind::kLocation, 0, apart,
        "server {\n\tlisten 80;\n\n\t# a\n\tlocation /a {\n\t}\n\n\tlocation /b {\n\t}\n"
        "\n\tlocation /judged/ {\n\t\texpires 30d;\n\t}\n\troot /;\n}\n",
        ""},
       {"not apart as the others", Kind::kLocation, 0, apart,
        "server {\n\tlisten 80;\n\n\t# a\n\tlocation /a {\n\t}\n\n\tlocation /b {\n\t}\n"
        "\tlocation /judged/ {\n\t\texpires 30d;\n\t}\n\troot /;\n}\n",
        "no blank line before the new block"},
       {"together as the others", Kind::kLocation, 0, together,
        "server {\n\tlisten 80;\n\tlocation /a {\n\t}\n\tlocation /b {\n\t}\n"
        "\tlocation /judged/ {\n\t\texpires 30d;\n\t}\n\troot /;\n}\n",
        ""},
       {"not together as the others", Kind::kLocation, 0, together,
        "server {\n\tlisten 80;\n\tlocation /a {\n\t}\n\tlocation /b {\n\t}\n"
        "\n\tlocation /judged/ {\n\t\texpires 30d;\n\t}\n\troot /;\n}\n",
        "a blank line before the new block"},
       {"between the others", Kind::kLocation, 0, together,
        "server {\n\tlisten 80;\n\tlocation /a {\n\t}\n"
        "\tlocation /judged/ {\n\t\texpires 30d;\n\t}\n\tlocation /b {\n\t}\n\troot /;\n}\n",
        "expected   [location][/b] {, found   [location][/judged/] { in line 5"},
       {"the first, before a comment", Kind::kLocation, 0, none,
        "server {\n\tlisten 80;\n\tlocation /judged/ {\n\t\texpires 30d;\n\t}\n\t# end\n}\n", ""},
       {"the first, behind a comment", Kind::kLocation, 0, none,
        "server {\n\tlisten 80;\n\t# end\n\n\tlocation /judged/ {\n\t\texpires 30d;\n\t}\n}\n", ""},
       {"the first, and the comment is gone", Kind::kLocation, 0, none,
        "server {\n\tlisten 80;\n\tlocation /judged/ {\n\t\texpires 30d;\n\t}\n}\n",
        "the new lines stand elsewhere, or other bytes differ"}});
}

TEST(EditJudge, JudgesRemovalsFromNginx) {
  const char* two = "# a\n\nserver { server_name a; }\n\nserver {\n  server_name b;\n} # b\n";
  const char* nested = "http {\n  gzip on;\n\n  server { server_name a; }\n}\n";
  ExpectJudged(
      Dialect::kNginx,
      {{"the first with its blank line", Kind::kRemoval, 0, two,
        "# a\n\nserver {\n  server_name b;\n} # b\n", ""},
       {"the first without its blank line", Kind::kRemoval, 0, two,
        "# a\n\n\nserver {\n  server_name b;\n} # b\n", "other lines than the block's differ"},
       {"the last", Kind::kRemoval, 1, two, "# a\n\nserver { server_name a; }\n", ""},
       {"the other", Kind::kRemoval, 1, two, "# a\n\nserver {\n  server_name b;\n} # b\n",
        "expected   [server_name][a], found   [server_name][b] in line 4"},
       {"both", Kind::kRemoval, 1, two, "# a\n", "expected [server] {, found the end"},
       {"a comment, too", Kind::kRemoval, 1, two, "\nserver { server_name a; }\n",
        "other lines than the block's differ"},
       {"the last of a block", Kind::kRemoval, 0, nested, "http {\n  gzip on;\n}\n", ""},
       {"the first, with the blank line that it would leave behind", Kind::kRemoval, 0,
        "server {\n}\n\nserver { }\n", "server { }\n", ""},
       {"the first, without that blank line", Kind::kRemoval, 0, "server {\n}\n\nserver { }\n",
        "\nserver { }\n", "other lines than the block's differ"},
       {"the first of a block", Kind::kRemoval, 0, "http {\n  server { }\n\n  gzip on;\n}\n",
        "http {\n  gzip on;\n}\n", ""},
       {"the last of a file without a line end", Kind::kRemoval, 0, "gzip on;\nserver { }",
        "gzip on;", ""},
       {"the last of a file without a line end, which gets one", Kind::kRemoval, 0,
        "gzip on;\nserver { }", "gzip on;\n", ""},
       {"of several on a line", Kind::kRemoval, 0, "server { } server { }\n", "server { }\n", ""},
       {"of several on a line, and the blank stays", Kind::kRemoval, 0, "server { } server { }\n",
        " server { }\n", ""},
       {"of several on a line, and the line end goes", Kind::kRemoval, 0, "server { } server { }\n",
        "server { }", "other bytes than the block's differ"}});
}

TEST(EditJudge, JudgesEditsOfApache) {
  const char* two =
      "<VirtualHost *:80>\n  ServerName a\n  DocumentRoot \"/a\"\n</VirtualHost>\n"
      "<VirtualHost *:80>\n  ServerName b\n  ServerAlias \\\n    c\n  DocumentRoot /a\n"
      "  <Directory />\n  </Directory>\n</VirtualHost>\n";
  ExpectJudged(
      Dialect::kApache,
      {{"a root in quotes", Kind::kRoot, 0, two,
        "<VirtualHost *:80>\n  ServerName a\n  DocumentRoot /srv/moved\n</VirtualHost>\n"
        "<VirtualHost *:80>\n  ServerName b\n  ServerAlias \\\n    c\n  DocumentRoot /a\n"
        "  <Directory />\n  </Directory>\n</VirtualHost>\n",
        ""},
       {"the root of the other", Kind::kRoot, 0, two,
        "<VirtualHost *:80>\n  ServerName a\n  DocumentRoot \"/a\"\n</VirtualHost>\n"
        "<VirtualHost *:80>\n  ServerName b\n  ServerAlias \\\n    c\n  DocumentRoot /srv/moved\n"
        "  <Directory />\n  </Directory>\n</VirtualHost>\n",
        "expected   [DocumentRoot][/srv/moved], found   [DocumentRoot][/a] in line 3"},
       {"an alias behind one of two lines", Kind::kAlias, 1, two,
        "<VirtualHost *:80>\n  ServerName a\n  DocumentRoot \"/a\"\n</VirtualHost>\n"
        "<VirtualHost *:80>\n  ServerName b\n  ServerAlias \\\n    c\n"
        "  ServerAlias alias.judged.example\n  DocumentRoot /a\n"
        "  <Directory />\n  </Directory>\n</VirtualHost>\n",
        ""},
       {"an alias within its line", Kind::kAlias, 1, two,
        "<VirtualHost *:80>\n  ServerName a\n  DocumentRoot \"/a\"\n</VirtualHost>\n"
        "<VirtualHost *:80>\n  ServerName b\n  ServerAlias \\\n    c alias.judged.example\n"
        "  DocumentRoot /a\n  <Directory />\n  </Directory>\n</VirtualHost>\n",
        "expected   [ServerAlias][c], found   [ServerAlias][c][alias.judged.example] in line 7"},
       {"a limit before the first block", Kind::kSize, 1, two,
        "<VirtualHost *:80>\n  ServerName a\n  DocumentRoot \"/a\"\n</VirtualHost>\n"
        "<VirtualHost *:80>\n  ServerName b\n  ServerAlias \\\n    c\n  DocumentRoot /a\n"
        "  LimitRequestBody 77000000\n  <Directory />\n  </Directory>\n</VirtualHost>\n",
        ""},
       {"a block behind a block of another kind", Kind::kLocation, 1, two,
        "<VirtualHost *:80>\n  ServerName a\n  DocumentRoot \"/a\"\n</VirtualHost>\n"
        "<VirtualHost *:80>\n  ServerName b\n  ServerAlias \\\n    c\n  DocumentRoot /a\n"
        "  <Directory />\n  </Directory>\n  <Location /judged/>\n    Require all denied\n"
        "  </Location>\n</VirtualHost>\n",
        ""},
       {"one is removed", Kind::kRemoval, 1, two,
        "<VirtualHost *:80>\n  ServerName a\n  DocumentRoot \"/a\"\n</VirtualHost>\n", ""},
       {"both are removed", Kind::kRemoval, 1, two, "",
        "expected [VirtualHost][*:80] {, found the end"}});
}

TEST(SiteEdit, IsWrittenAsItsAuthorWould) {
  struct Written {
    Dialect dialect;
    const char* text;
    Kind kind;
    const char* template_text;
    std::vector<Value> values;
  };
  const char* nginx =
      "mail { server { listen 80 # a\n ssl; listen 81; server_name \"a\" 'b c' ''; root \"/a;b\"; "
      "} }";
  const char* apache =
      "<IfModule x>\n<Macro M $a>\n<virtualhost \"*:80\">\nservername A\nDocumentRoot \"/a b\"\n"
      "</virtualhost>\n</Macro>\n</IfModule>\n";
  const std::vector<Written> cases = {
      {Dialect::kNginx,
       nginx,
       Kind::kRename,
       "mail {\nserver {\n  listen 80 ssl;\n  server_name {% $name %};\n}\n}\n",
       {{"name", "a", "renamed.judged.example"}}},
      {Dialect::kNginx,
       nginx,
       Kind::kAlias,
       "mail {\nserver {\n  listen 80 ssl;\n  server_name a [% $aliases %];\n}\n}\n",
       {{"aliases", std::nullopt, "'b c' '' alias.judged.example"}}},
      {Dialect::kNginx,
       nginx,
       Kind::kRoot,
       "mail {\nserver {\n  listen 80 ssl;\n  server_name a;\n  root {% $text %};\n}\n}\n",
       {{"text", "\"/a;b\"", "/srv/moved"}}},
      {Dialect::kNginx,
       nginx,
       Kind::kRemoval,
       "mail {\n{% if $keep %}\nserver {\n  listen 80 ssl;\n  server_name a;\n}\n{% endif %}\n}\n",
       {}},
      {Dialect::kApache,
       apache,
       Kind::kRoot,
       "<Macro M $a>\n<virtualhost *:80>\n  ServerName A\n  DocumentRoot [% $new %]\n"
       "</virtualhost>\n</Macro>\n",
       {{"new", std::nullopt, "/srv/moved"}}},
      {Dialect::kApache,
       apache,
       Kind::kSize,
       "<Macro M $a>\n<virtualhost *:80>\n  ServerName A\n  LimitRequestBody [% $new %]\n"
       "</virtualhost>\n</Macro>\n",
       {{"new", std::nullopt, "77000000"}}}};
  for (const Written& c : cases) {
    SCOPED_TRACE(NameOf(c.kind));
    const Tree tree = ReadTree(c.dialect, c.text);
    ASSERT_EQ(tree.error, "");
    const auto edit = EditOf(c.kind, c.dialect, c.text, tree, SitesOf(c.dialect, tree).at(0));
    ASSERT_TRUE(edit);
    EXPECT_EQ(edit->template_text, c.template_text);
    ASSERT_EQ(edit->values.size(), c.values.size());
    for (std::size_t i = 0; i < c.values.size(); ++i) {
      EXPECT_EQ(edit->values.at(i).name, c.values.at(i).name);
      EXPECT_EQ(edit->values.at(i).old_text, c.values.at(i).old_text);
      EXPECT_EQ(edit->values.at(i).new_text, c.values.at(i).new_text);
    }
  }
}

TEST(SitesMeant, AreThoseWithAllThatIsStated) {
  struct Told {
    const char* name;
    Dialect dialect;
    const char* text;
    Kind kind;
    Meant meant;
  };
  const Told cases[] = {
      {"one", Dialect::kNginx, "server { }", Kind::kSize, Meant::kOne},
      {"another address", Dialect::kNginx,
       "server { server_name a; listen 80; } server { server_name a; listen 443 ssl; }",
       Kind::kSize, Meant::kOne},
      {"another form of the address", Dialect::kNginx,
       "server { server_name a; listen 80; } server { server_name A; listen *:80 default; }",
       Kind::kSize, Meant::kSeveral},
      {"another family", Dialect::kNginx,
       "server { server_name a; listen 80; } server { server_name a; listen [::]:80; }",
       Kind::kSize, Meant::kOne},
      {"an alias", Dialect::kNginx,
       "server { server_name a; listen 80; } server { server_name b a; listen 0.0.0.0:80; }",
       Kind::kSize, Meant::kSeveral},
      {"the line to be changed tells them apart", Dialect::kNginx,
       "server { server_name a; root /a; } server { server_name a; root /b; }", Kind::kRoot,
       Meant::kOne},
      {"it does not", Dialect::kNginx,
       "server { server_name a; root /a; } server { server_name a; root '/a'; }", Kind::kRoot,
       Meant::kSeveral},
      {"no address is written down", Dialect::kNginx,
       "server { server_name a; listen 80; } server { server_name a; }", Kind::kSize,
       Meant::kPerhapsOne},
      {"two without names", Dialect::kNginx, "server { listen 80; } server { listen 80; }",
       Kind::kSize, Meant::kSeveralNameless},
      {"one without a name", Dialect::kNginx,
       "server { listen 80; } server { listen 80; server_name a; }", Kind::kSize,
       Meant::kNamelessAndNamed},
      {"in another block", Dialect::kNginx,
       "http { server { listen 80; } } mail { server { listen 80; } }", Kind::kSize, Meant::kOne},
      {"names in one of two", Dialect::kApache,
       "<VirtualHost *:80>\nServerName a:80\n</VirtualHost>\n"
       "<virtualhost _default_:80>\nserveralias A\n</virtualhost>\n",
       Kind::kSize, Meant::kSeveral},
      {"a condition around it", Dialect::kApache,
       "<VirtualHost *:80>\nServerName a\n</VirtualHost>\n"
       "<IfModule x>\n<VirtualHost [::]:80 *:80>\nServerName a\n</VirtualHost>\n</IfModule>\n",
       Kind::kSize, Meant::kSeveral},
      {"any port", Dialect::kApache,
       "<VirtualHost *:80>\nServerName a\n</VirtualHost>\n"
       "<VirtualHost *>\nServerName a\n</VirtualHost>\n",
       Kind::kSize, Meant::kOne}};
  for (const Told& c : cases) {
    SCOPED_TRACE(c.name);
    const Tree tree = ReadTree(c.dialect, c.text);
    ASSERT_EQ(tree.error, "");
    const std::size_t site = SitesOf(c.dialect, tree).at(0);
    const auto edit = EditOf(c.kind, c.dialect, c.text, tree, site);
    ASSERT_TRUE(edit);
    EXPECT_EQ(SitesMeant(c.dialect, tree, site, edit->stated), c.meant);
  }
}

// Tries every way in which a change could be made by cutting and pasting.

std::string WrittenWord(const std::string& word) {
  const bool plain = !word.empty() && word.find_first_of(" \t;{}\"'") == std::string::npos;
  return plain ? word : "\"" + word + "\"";
}

std::string WrittenWords(const std::vector<std::string>& words) {
  std::string written;
  for (const std::string& word : words) written += (written.empty() ? "" : " ") + WrittenWord(word);
  return written;
}

std::string WithWords(const std::string& text, const Tree& tree, const Change& change) {
  const std::vector<Word>& words = tree.nodes.at(change.node).words;
  const std::size_t first = change.first_word;
  if (change.word_count == 0) {
    const std::size_t at = words.at(first - 1).bytes.end;
    return text.substr(0, at) + " " + WrittenWords(change.words) + text.substr(at);
  }
  return text.substr(0, words.at(first).bytes.begin) + WrittenWords(change.words) +
         text.substr(words.at(first + change.word_count - 1).bytes.end);
}

std::string LinesOf(Dialect dialect, const Outline& added, const std::string& indentation,
                    const std::string& line_end) {
  const bool nginx = dialect == Dialect::kNginx;
  std::string lines;
  for (const OutlineLine& line : added) {
    const std::string words = WrittenWords(line.words);
    lines += indentation + std::string(line.depth, '\t');
    if (line.is_block) {
      lines += nginx ? words + " {" : "<" + words + ">";
    } else {
      lines += nginx ? words + ";" : words;
    }
    lines += line_end;
  }
  if (!added.front().is_block) return lines;
  return lines + indentation + (nginx ? "}" : "</" + added.front().words.front() + ">") + line_end;
}

std::vector<std::string> TextsWithNew(Dialect dialect, const std::string& text, const Tree& tree,
                                      const Change& change) {
  const Node& block = tree.nodes.at(change.node);
  std::string indentation = "\t";
  for (std::size_t node : Inside(tree, change.node)) {
    const std::size_t begin = tree.nodes.at(node).head.begin;
    const std::size_t line = text.rfind('\n', begin) + 1;
    const std::string before = text.substr(line, begin - line);
    if (before.find_first_not_of(" \t") == std::string::npos) indentation = before;
  }
  const std::string line_end = text.find("\r\n") == std::string::npos ? "\n" : "\r\n";
  const std::string lines = LinesOf(dialect, change.added, indentation, line_end);
  std::vector<std::string> texts;
  for (std::size_t at = block.head.end; at <= block.closing.begin; ++at) {
    if (text.at(at - 1) != '\n') continue;
    texts.push_back(text.substr(0, at) + lines + text.substr(at));
    texts.push_back(text.substr(0, at) + line_end + lines + text.substr(at));
  }
  if (dialect == Dialect::kApache) return texts;
  std::vector<std::size_t> ends{block.head.end};
  for (std::size_t node : Inside(tree, change.node)) ends.push_back(tree.nodes.at(node).End());
  for (std::size_t at : ends) texts.push_back(text.substr(0, at) + lines + text.substr(at));
  return texts;
}

std::vector<std::string> TextsWithout(const std::string& text, const Tree& tree, std::size_t node) {
  const Node& block = tree.nodes.at(node);
  const std::size_t line_end = text.find('\n', block.closing.end);
  const std::size_t behind = line_end == std::string::npos ? text.size() : line_end + 1;
  const std::size_t next = std::min(text.find('\n', behind), text.size() - 1) + 1;
  std::vector<std::size_t> begins{block.head.begin};
  while (begins.size() < 3 && begins.back() > 0) {
    const std::size_t from = begins.back() - begins.size();
    const std::size_t above = from > text.size() ? std::string::npos : text.rfind('\n', from);
    begins.push_back(above == std::string::npos ? 0 : above + 1);
  }
  std::vector<std::string> texts;
  for (std::size_t begin : begins) {
    for (std::size_t end : {block.closing.end, behind, next}) {
      texts.push_back(text.substr(0, begin) + text.substr(end));
    }
  }
  return texts;
}

std::vector<std::string> AllTexts(Dialect dialect, const std::string& text, const Tree& tree,
                                  const Change& change) {
  switch (change.what) {
    case Change::What::kWords:
      return {WithWords(text, tree, change)};
    case Change::What::kNewDirective:
    case Change::What::kNewBlock:
      return TextsWithNew(dialect, text, tree, change);
    case Change::What::kRemoval:
      return TextsWithout(text, tree, change.node);
  }
  return {};
}

// A file, and the edits that the judge is tried with.
class Trial {
 public:
  Trial(Dialect dialect, const std::string& text)
      : m_dialect(dialect), m_text(text), m_tree(ReadTree(dialect, text)) {}

  // The number of edits.
  std::size_t Check() const {
    std::size_t edits = 0;
    if (!m_tree.error.empty()) return edits;
    for (Kind kind : kKinds) edits += CheckKind(kind);
    return edits;
  }

 private:
  struct Edited {
    std::size_t line;
    Change change;
    std::set<std::string> accepted;
  };

  std::size_t CheckKind(Kind kind) const {
    std::vector<Edited> edits;
    for (std::size_t site : SitesOf(m_dialect, m_tree)) {
      const auto edit = EditOf(kind, m_dialect, m_text, m_tree, site);
      if (!edit) continue;
      edits.push_back({LineNumber(m_text, m_tree.nodes.at(site).head.begin), edit->change,
                       Accepted(AllTexts(m_dialect, m_text, m_tree, edit->change), edit->change)});
    }
    for (const Edited& edited : edits) {
      SCOPED_TRACE(std::string(NameOf(kind)) + " in line " + std::to_string(edited.line));
      CheckEdit(edited);
      for (const Edited& other : edits) {
        if (other.line == edited.line) continue;
        EXPECT_TRUE(Accepted(other.accepted, edited.change).empty()) << "in line " << other.line;
      }
    }
    return edits.size();
  }

  template <typename Texts>
  std::set<std::string> Accepted(const Texts& texts, const Change& change) const {
    std::set<std::string> accepted;
    for (const std::string& text : texts) {
      if (WhatIsWrong(m_dialect, m_text, m_tree, change, text).empty()) accepted.insert(text);
    }
    return accepted;
  }

  void CheckEdit(const Edited& edited) const {
    const Change& change = edited.change;
    EXPECT_NE(WhatIsWrong(m_dialect, m_text, m_tree, change, m_text), "") << "nothing is done";
    EXPECT_GE(edited.accepted.size(), 1u);
    if (change.what == Change::What::kRemoval && SharesItsLastLine(change)) {
      EXPECT_LE(edited.accepted.size(), 2u) << "with the blanks before it and without";
    } else if (change.what != Change::What::kNewBlock) {
      EXPECT_EQ(edited.accepted.size(), 1u);
    } else if (HasSibling(change)) {
      EXPECT_LE(edited.accepted.size(), 2u) << "with a blank line before it and without";
    }
  }

  bool SharesItsLastLine(const Change& change) const {
    const std::size_t end = m_tree.nodes.at(change.node).closing.end;
    const std::size_t next = m_text.find_first_not_of(" \t\r", end);
    return next != std::string::npos && m_text.at(next) != '\n' && m_text.at(next) != '#';
  }

  bool HasSibling(const Change& change) const {
    const std::vector<std::size_t> inside = Inside(m_tree, change.node);
    return std::any_of(inside.begin(), inside.end(), [&](std::size_t node) {
      return IsCalled(m_dialect, m_tree.nodes.at(node), change.added.front().words.front());
    });
  }

  const Dialect m_dialect;
  const std::string& m_text;
  const Tree m_tree;
};

void ExpectOneWay(Dialect dialect, const std::string& name, std::size_t fewest) {
  const fs::path folder = fs::path(QELTEMPLATE_SOURCE_DIR) / "../shared/corpus" / name;
  if (!fs::is_directory(folder)) GTEST_SKIP() << "the corpus is not at " << folder;
  std::size_t edits = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    SCOPED_TRACE(entry.path());
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    edits += Trial(dialect, text).Check();
  }
  EXPECT_GE(edits, fewest);
}

TEST(EditJudge, LeavesOneWayToEditAServerOfNginx) {
  ExpectOneWay(Dialect::kNginx, "nginx", 300);
}

TEST(EditJudge, LeavesOneWayToEditAVirtualHost) {
  ExpectOneWay(Dialect::kApache, "apache", 80);
}

}  // namespace
