// SPDX-License-Identifier: Apache-2.0

// A template that is read once for many texts: what is said and made of each is what it would be
// alone.

#include "edit/prepared_edit.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit_case.h"

namespace tov_edit {
namespace {

using tov_document::Dialect;

struct Outcome {
  std::string config;
  std::string expected;   // "skipped", refusals and warnings by their names; none: the edited text
  bool by_names = false;  // it is skipped without a closer look
};

struct ManyTexts {
  std::string name;
  std::string template_text;
  NamedValues values;
  std::vector<Outcome> texts;
  Ask ask = nullptr;
};

std::string OutcomeOf(const Result& result) {
  std::string said = result.skipped ? "skipped\n" : "";
  for (const Finding& finding : result.refusals) said += finding.name + "\n";
  for (const Finding& finding : result.warnings) said += "warned: " + finding.name + "\n";
  return said.empty() ? result.text : said;
}

void ExpectTheSame(const Result& a, const Result& b) {
  EXPECT_EQ(a.text, b.text);
  EXPECT_EQ(a.changed, b.changed);
  EXPECT_EQ(a.skipped, b.skipped);
  EXPECT_EQ(AllOf(a.refusals), AllOf(b.refusals));
  EXPECT_EQ(AllOf(a.warnings), AllOf(b.warnings));
}

void ExpectEach(Dialect dialect, const std::vector<ManyTexts>& cases) {
  for (const ManyTexts& c : cases) {
    SCOPED_TRACE(c.name);
    const Request request = RequestOf(dialect, c);
    const PreparedEdit edit(request);
    for (const Outcome& text : c.texts) {
      SCOPED_TRACE(text.config);
      const Result result = edit.On(text.config, "site.conf");
      EXPECT_EQ(OutcomeOf(result), text.expected);
      EXPECT_EQ(edit.Skips(text.config), text.by_names);
      ExpectTheSame(result, Edit(request, text.config, "site.conf"));
    }
  }
}

void SkipMissing(Request& request) {
  request.skip_missing = true;
}

// The values without an old one are read, too.
void SkipMissingAndRead(Request& request) {
  request.skip_missing = true;
  for (auto& [name, value] : request.values) value.read_old = !value.old_value;
}

const char* const kRename = "server {\nserver_name {% $name %};\ngzip on;\n}\n";
const char* const kSite = "server {\n  server_name a.example;\n}\n";
const char* const kOther = "server {\n  server_name x.example;\n}\n";
const char* const kBroken = "server {\n  server_name x.example;\n";

TEST(APreparedEdit, DoesWithEachTextWhatAnEditDoes) {
  const char* const edited = "server {\n  server_name b.example;\n  gzip on;\n}\n";
  const NamedValues rename = {{"name", "a.example", "b.example"}};
  ExpectEach(Dialect::kNginx,
             {{"the names of all texts are sought",
               kRename,
               rename,
               {{kSite, edited},
                {kOther, "skipped\n", true},
                {kBroken, "skipped\n", true},
                {"# a.example\n", "skipped\n"},
                {kSite, edited},
                {edited, edited}},
               SkipMissing},
              {"a text without the site is not to be skipped",
               kRename,
               rename,
               {{kOther, "unmatched-section\n"}, {kSite, edited}}},
              {"a warning of one text is none of the next one",
               "{% if $on %}\nserver {\nserver_name a.example;\nroot /a;\n}\n{% endif %}\n",
               {},
               {{kSite, "skipped\nwarned: not-removed\n"},
                {kOther, "skipped\n", true},
                {"server {\n  server_name a.example;\n  root /a;\n}\n", ""}},
               SkipMissing}});
}

// No text is left alone without a word because its names are not there, when nothing could be made
// of one that has them.
TEST(ATemplateWithAMistake, IsRefusedForEachText) {
  ExpectEach(Dialect::kNginx, {{"a statement that is not ended",
                                "server {\nserver_name a.example;\n{% if $tls %}\nssl on;\n}\n",
                                {},
                                {{kOther, "template\n"}, {kSite, "template\n"}},
                                SkipMissing},
                               {"the template of another server",
                                "<VirtualHost *:80>\nServerName a.example\n</VirtualHost>\n",
                                {},
                                {{kOther, "syntax\n"}, {kSite, "syntax\n"}},
                                SkipMissing}});
}

// The name may be one that only the text says.
TEST(AnOldValueThatIsRead, IsReadInEachText) {
  ExpectEach(Dialect::kNginx, {{"in texts with other old values",
                                "server {\nserver_name a.example;\nroot /srv/{% $user %};\n}\n",
                                {{"user", kNone, "new"}},
                                {{"server {\n  server_name a.example;\n  root /srv/one;\n}\n",
                                  "server {\n  server_name a.example;\n  root /srv/new;\n}\n"},
                                 {"server {\n  server_name a.example;\n  root /srv/two;\n}\n",
                                  "server {\n  server_name a.example;\n  root /srv/new;\n}\n"},
                                 {kOther, "skipped\n"}},
                                SkipMissingAndRead},
                               {"where the text has the server's name only once it is read",
                                "server {\nlisten 80;\nserver_name {% $name %};\n}\n",
                                {{"name", kNone, "b.example"}},
                                {{"server {\n  listen 80;\n  server_name x.example;\n}\n",
                                  "server {\n  listen 80;\n  server_name b.example;\n}\n"}},
                                SkipMissingAndRead},
                               {"where that goes wrong in a text without the names",
                                "server {\nserver_name a.example;\nroot /srv/{% $user %};\n}\n",
                                {{"user", kNone, "new"}},
                                {{kBroken, "syntax\n"}},
                                SkipMissingAndRead}});
}

}  // namespace
}  // namespace tov_edit
