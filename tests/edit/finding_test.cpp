// SPDX-License-Identifier: Apache-2.0

// What findings hold for programs, beside their sentences.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

std::string PlacesOf(const Finding& finding) {
  std::string text = Shown(finding.template_place) + " |";
  for (const FilePlace& place : finding.config_places) text += " " + Shown(place);
  return text + (finding.in_result ? " of the result" : "");
}

std::string RemediesOf(const Finding& finding) {
  std::string text;
  for (const Remedy remedy : finding.remedies) {
    text += remedy == Remedy::kAll ? "all " : remedy == Remedy::kQuote ? "quote " : "raw ";
  }
  for (const std::string& value : finding.values) text += value + " ";
  return text + (finding.can_be_forced ? "forced" : "");
}

struct Found {
  std::string name;
  std::string config;
  std::string template_text;
  NamedValues values;
  std::string finding;
  std::string message;
  std::string hint;
  std::string places;    // of the template | of the configuration
  std::string remedies;  // what would let the edit pass, the values that it is about
  Ask ask = nullptr;
};

constexpr char kTwo[] =
    "server {\nserver_name a;\nlisten 80;\n}\nserver {\nserver_name a;\nlisten 81;\n}\n";

TEST(AFinding, SaysWhatIsWrongAndWhatToDoApart) {
  const Found cases[] = {
      {"several blocks",
       kTwo,
       "server {\nserver_name a;\nroot /x;\n}\n",
       {},
       "ambiguous",
       "'server {' fits several blocks: site.conf:1:1 'server' (a, *:80), site.conf:5:1 'server' "
       "(a, "
       "*:81)",
       "'listen 80;' in the template would mean the first one",
       "site.template:1:1 | site.conf:1:1 site.conf:5:1",
       "all "},
      {"another value",
       "server {\nroot /a;\n}\n",
       "server {\nroot /b;\n}\n",
       {},
       "other-value",
       "'root /b;' is not there, but site.conf:2:1 'root /a;' is, and the server allows only one",
       "Give the value that is there as the old one, or write a trailing place: 'root [% $value "
       "%];'",
       "site.template:2:1 | site.conf:2:1",
       "forced"},
      {"a value of several words",
       "server {\nroot /a;\n}\n",
       "server {\nroot {% $r %};\n}\n",
       {{"r", "/a", "/b /c"}},
       "value",
       "the value 'r' does not stay in its place: 'root /b /c;'",
       "A full place is one word; for several use a trailing place",
       "site.template:2:1 |",
       "quote raw r "},
      {"a value of two directives, in a trailing place",
       "server {\nindex a;\n}\n",
       "server {\nindex [% $i %];\n}\n",
       {{"i", std::nullopt, "a; b c"}},
       "value",
       "the value 'i' does not stay in its place: 'index a; b c;'",
       "A trailing place is any number of words of one directive",
       "site.template:2:1 |",
       "raw i "},
      {"a value of two blocks, in a trailing place",
       "server {\n}\n",
       "server {\nlocation [% $l %] {\n}\n}\n",
       {{"l", std::nullopt, "/a { } location /b"}},
       "value",
       "the value 'l' does not stay in its place: 'location /a { } location /b {'",
       "A trailing place is any number of words of one opening line",
       "site.template:2:1 |",
       "raw l "},
      {"a value that ends the quotes of its trailing place",
       "server {\nindex a;\n}\n",
       "server {\nindex \"[% $i %]\";\n}\n",
       {{"i", std::nullopt, "a\" \"b"}},
       "value",
       "the value 'i' does not stay in its place: 'index \"a\" \"b\";'",
       "A trailing place in quotes is one word",
       "site.template:2:1 |",
       "quote raw i "},
      {"a syntax error",
       "server {\nroot /a;\n",
       "server {\nroot /a;\n}\n",
       {},
       "syntax",
       "the block that begins here does not close",
       "The server would not take this file: mend it first",
       " | site.conf:1:1",
       "forced"},
      {"a collision",
       "server {\nserver_name a;\n}\nserver {\nserver_name b;\n}\n",
       "server {\nserver_name {% $n %};\n}\n",
       {{"n", "a", "b"}},
       "collision",
       "site.conf:1:1 'server' (b) and site.conf:4:1 'server' (b) both answer to 'b' on *:80, and "
       "the server would ignore all but the first of them",
       "",
       " | site.conf:1:1 site.conf:4:1 of the result",
       "forced"},
      {"a value that nothing uses",
       "",
       "gzip on;\n",
       {{"x", std::nullopt, "1"}},
       "unused-value",
       "no line of the template uses the value 'x'",
       "Correct the name, or leave the value out",
       "site.template |",
       "x forced",
       [](Request& request) { request.must_be_used.insert("x"); }},
  };
  for (const Found& c : cases) {
    SCOPED_TRACE(c.name);
    const Result result = RecordedEdit(RequestOf(Dialect::kNginx, c), c.config, "site.conf");
    ASSERT_EQ(result.refusals.size(), 1U) << AllOf(result.refusals);
    const Finding& finding = result.refusals.front();
    EXPECT_EQ(finding.name, c.finding);
    EXPECT_EQ(finding.message, c.message);
    EXPECT_EQ(finding.hint, c.hint);
    EXPECT_EQ(PlacesOf(finding), c.places);
    EXPECT_EQ(RemediesOf(finding), c.remedies);
  }
}

TEST(APlace, IsShownAsFarAsItIsKnown) {
  EXPECT_EQ(Shown(FilePlace{"a", 0, 0}), "a");
  EXPECT_EQ(Shown(FilePlace{"a", 1, 0}), "a:1");
  EXPECT_EQ(Shown(FilePlace{"a\n", 1, 2}), "a?:1:2");
}

TEST(AQuotedText, IsOneShortLine) {
  struct Quotation {
    std::string text;
    std::string quoted;
  };
  const Quotation cases[] = {
      {"", "''"},
      {" \n", "''"},
      {"a", "'a'"},
      {"\ta \n\v\f\r b ", "'a b'"},
      {"a\x01\x1f\x7f"
       "b\xc3\xa4",
       "'a???b\xc3\xa4'"},
      {std::string(100, 'x'), "'" + std::string(100, 'x') + "'"},
      {std::string(101, 'x'), "'" + std::string(100, 'x') + "...'"},
      {std::string(99, 'x') + " y", "'" + std::string(99, 'x') + " ...'"},
      {std::string(98, 'x') + " y", "'" + std::string(98, 'x') + " y'"},
  };
  for (const Quotation& c : cases) EXPECT_EQ(Quoted(c.text), c.quoted);
  EXPECT_EQ(Printable("a\tb\n\x1f ~\x7f"), "a\tb?? ~?");
}

TEST(AFinding, IsShownWithItsPlaceAndItsHint) {
  Finding finding{"name", "this is wrong", "Mend it"};
  EXPECT_EQ(Shown(finding), "this is wrong. Mend it");
  finding.config_places = {{"a.conf", 3, 1}, {"a.conf", 9, 1}};
  EXPECT_EQ(Shown(finding), "a.conf:3:1: this is wrong. Mend it");
  finding.in_result = true;
  EXPECT_EQ(Shown(finding), "a.conf:3:1 of the edited text: this is wrong. Mend it");
  finding.in_result = false;
  finding.template_place = {"t", 2, 0};
  finding.hint.clear();
  EXPECT_EQ(Shown(finding), "t:2: this is wrong");
}

TEST(AnEdit, OfATextForTheOtherServerIsRefused) {
  Request request;
  request.dialect = Dialect::kApache;
  request.template_name = "t";
  request.template_text = "<VirtualHost *:80>\nServerName a\nTimeout 1\n</VirtualHost>\n";
  const std::string nginx = "server {\nserver_name a;\n}\n";
  Result result = RecordedEdit(request, nginx, "n.conf");
  EXPECT_EQ(result.text, nginx);
  EXPECT_EQ(AllOf(result.refusals),
            "n.conf: this is written for nginx, and would be read as apache. Correct the dialect, "
            "or name the right file [syntax]\n");
  request.template_text = "server {\nserver_name a;\n}\n";
  result = RecordedEdit(request, "<VirtualHost *:80>\nServerName a\n</VirtualHost>\n", "a.conf");
  EXPECT_EQ(AllOf(result.refusals),
            "t: this is written for nginx, and would be read as apache. Correct the dialect, or "
            "name the right file [syntax]\n");
}

TEST(AResult, ListsChangesUnlessToldOtherwise) {
  Request request;
  request.template_name = "t";
  request.template_text = "server {\ngzip on;\n}\n";
  Result result = RecordedEdit(request, "server {\n}\n", "c");
  EXPECT_TRUE(result.changed);
  ASSERT_EQ(result.changes.size(), 1U);
  EXPECT_EQ(Shown(result.changes[0].template_lines.at(0)), "t:2");
  request.list_changes = false;
  result = Edit(request, "server {\n}\n", "c");
  EXPECT_TRUE(result.changed);
  EXPECT_TRUE(result.changes.empty());
  EXPECT_FALSE(Edit(request, result.text, "c").changed);
}

}  // namespace
}  // namespace tov_edit
