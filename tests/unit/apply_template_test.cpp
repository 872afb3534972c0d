// SPDX-License-Identifier: Apache-2.0

// A template's two passes over a configuration: the text before, after the first pass, and after
// the second.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/template_probe.h"
#include "support/view_probe.h"
#include "template/nginx.h"

using testing::ElementsAre;
using testing::IsEmpty;
using tov_template::LineIterator;
using tov_template::Nginx;

namespace {

using Values = std::map<std::string, std::string>;

struct Case {
  const char* name;
  Values old_values, new_values;
  const char* config;
  const char* text;
  const char* after_first;
  const char* after_second;
};

void ExpectPasses(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TemplateProbe probe = TemplateOn<Nginx>(c.config);
    probe.old_values = c.old_values;
    probe.new_values = c.new_values;
    probe.SetTemplate(c.text);
    probe.ApplyTemplate(false);
    EXPECT_EQ(probe.Text(), c.after_first) << "first pass";
    probe.ApplyTemplate(true);
    EXPECT_EQ(probe.Text(), c.after_second) << "second pass";
  }
}

TEST(ApplyTemplate, AppendsInTheSecondPass) {
  ExpectPasses({
      {"a line, before the closing brace",
       {},
       {},
       "events {\na;\n}",
       "events {\nb;\nc;\n}",
       "events {\na;\n}",
       "events {\na;\nb;\nc;\n}"},
      {"a line that is there stays as it is",
       {},
       {},
       "events {\n  gzip  on;\nroot /a; # note\n}",
       "events {\nroot /a;\n}",
       "events {\n  gzip  on;\nroot /a; # note\n}",
       "events {\n  gzip  on;\nroot /a; # note\n}"},
      {"a block that is missing, at the end",
       {},
       {},
       "events {\n}",
       "http {\n  gzip on;\n}",
       "events {\n}",
       "events {\n}\nhttp {\n  gzip on;\n}"},
      {"a block below one just made goes behind that one's last line, and so behind its end",
       {},
       {},
       "",
       "http {\ngzip on;\ntypes {\na;\n}\n}",
       "",
       "http {\ngzip on;\n}\ntypes {\na;\n}"},
      {"to an empty configuration", {}, {}, "", "http {\na;\n}", "", "http {\na;\n}"},
      {"a block below one that is there",
       {},
       {},
       "http {\ngzip on;\n}",
       "http {\ntypes {\na;\n}\n}",
       "http {\ngzip on;\n}",
       "http {\ngzip on;\ntypes {\na;\n}\n}"},
      {"nothing outside every block",
       {},
       {{"user", "www"}},
       "events {\n}",
       "user [% $user %];\nevents {\n}\nworker_processes 1;\n}",
       "events {\n}",
       "events {\n}"},
      {"new values, and the line as the template has it",
       {},
       {{"dir", "/srv"}},
       "http {\n}",
       "http {\n\troot {% $dir %}; {#} note\n}",
       "http {\n}",
       "http {\n\troot /srv; \n}"},
      {"no line without its value",
       {},
       {},
       "http {\n}",
       "http {\nroot {% $dir %};\nindex [% $index %];\n\n}",
       "http {\n}",
       "http {\n}"},
      {"no line whose key is empty, to a block that is there",
       {},
       {{"line", "gzip on;"}},
       "http {\n}",
       "http {\n[% $line %]\n}",
       "http {\n}",
       "http {\n}"},
      {"a listen line",
       {},
       {},
       "server {\nlisten 80;\n}",
       "server {\nlisten 127.0.0.1:8080;\n}",
       "server {\nlisten 80;\n}",
       "server {\nlisten 80;\n\tlisten 127.0.0.1:8080;\n}"},
  });
}

TEST(ApplyTemplate, RemovesBranchesNotTakenInTheFirstPass) {
  ExpectPasses({
      {"a line, before anything is appended",
       {},
       {},
       "http {\na;\nb;\n}",
       "http {\nc;\n{% if $no %}\na;\n{% endif %}\n}",
       "http {\nb;\n}",
       "http {\nb;\nc;\n}"},
      {"a line that both branches begin with alike",
       {},
       {},
       "http {\ngzip on;\n}",
       "http {\n{% if $no %}\ngzip on;\n{% else %}\ngzip off;\n{% endif %}\n}",
       "http {\n}",
       "http {\ngzip off;\n}"},
      {"a block with all that is in it",
       {},
       {},
       "http {\nserver {\nroot /a;\nlocation / {\n}\n}\ngzip on;\n}",
       "http {\n{% if $no %}\nserver {\nx;\n}\n{% endif %}\n}",
       "http {\ngzip on;\n}",
       "http {\ngzip on;\n}"},
      {"what was never there",
       {},
       {},
       "http {\na;\n}",
       "{% if $no %}\nevents {\na;\n}\nb;\n{% endif %}",
       "http {\na;\n}",
       "http {\na;\n}"},
      {"the line with its old value",
       {{"dir", "/old"}},
       {{"dir", "/new"}},
       "http {\nroot /new;\nroot /old;\n}",
       "http {\n{% if $no %}\n  root {% $dir %};\n{% endif %}\n}",
       "http {\nroot /new;\n}",
       "http {\nroot /new;\n}"},
      {"the line with its new value, where there is no old one",
       {},
       {{"dir", "/new"}},
       "http {\nroot /old;\nroot /new;\n}",
       "http {\n{% if $no %}\n  root {% $dir %};\n{% endif %}\n}",
       "http {\nroot /old;\n}",
       "http {\nroot /old;\n}"},
      {"the line with its old value, where there is no new one",
       {{"dir", "/old"}},
       {},
       "http {\nroot /old;\n}",
       "http {\n{% if $no %}\nroot {% $dir %};\n{% endif %}\n}",
       "http {\n}",
       "http {\n}"},
      {"no line without any value",
       {},
       {},
       "http {\nroot /old;\n}",
       "http {\n{% if $no %}\nroot {% $dir %};\n{% endif %}\n}",
       "http {\nroot /old;\n}",
       "http {\nroot /old;\n}"},
      {"by the text before a trailing place, whatever the value is",
       {},
       {{"dir", "/new"}},
       "http {\nroot /other;\nroot /new;\n}",
       "http {\n{% if $no %}\nroot [% $dir %];\n{% endif %}\n}",
       "http {\nroot /new;\n}",
       "http {\nroot /new;\n}"},
      {"by the line where the key is empty",
       {},
       {{"name", "root"}},
       "http {\ngzip on;\nroot /a;\n}",
       "http {\n{% if $no %}\n[% $name %] /a;\n{% endif %}\n}",
       "http {\ngzip on;\n}",
       "http {\ngzip on;\n}"},
      {"by its name alone where that finds it",
       {},
       {{"c", "HIGH"}},
       "http {\nssl_ciphers LOW;\n}",
       "http {\n{% if $no %}\nssl_ciphers {% $c %};\n{% endif %}\n}",
       "http {\n}",
       "http {\n}"},
      {"a listen line",
       {},
       {},
       "server {\nlisten 127.0.0.1:80 ssl;\nroot /a;\n}",
       "server {\n{% if $no %}\nlisten 127.0.0.1:80 ssl;\n{% endif %}\n}",
       "server {\nroot /a;\n}",
       "server {\nroot /a;\n}"},
      {"a block is found by its old identity",
       {{"name", "a"}},
       {{"name", "b"}},
       "server {\nserver_name b;\n}\nserver {\nserver_name a;\n}",
       "{% if $no %}\nserver {\nserver_name {% $name %};\n}\n{% endif %}",
       "server {\nserver_name b;\n}",
       "server {\nserver_name b;\n}"},
  });
}

TEST(ApplyTemplate, ChangesPlainLinesInTheSecondPass) {
  ExpectPasses({
      {"by the old value, with the comment kept",
       {{"dir", "/old"}},
       {{"dir", "/new"}},
       "http {\nroot /other;\n  root /old; # note\n}",
       "http {\nroot {% $dir %};\n}",
       "http {\nroot /other;\n  root /old; # note\n}",
       "http {\nroot /other;\nroot /new;# note\n}"},
      {"equal values change nothing",
       {{"dir", "/a"}},
       {{"dir", "/a"}},
       "http {\n  root /a;\n}",
       "http {\nroot {% $dir %};\n}",
       "http {\n  root /a;\n}",
       "http {\n  root /a;\n}"},
      {"what is not there is appended",
       {{"dir", "/old"}},
       {{"dir", "/new"}},
       "http {\n}",
       "http {\nroot {% $dir %};\n}",
       "http {\n}",
       "http {\nroot /new;\n}"},
      {"an old value whose line is there, and the new one, too",
       {{"dir", "/old"}},
       {{"dir", "/new"}},
       "http {\nroot /new;\nroot /old;\n}",
       "http {\nroot {% $dir %};\n}",
       "http {\nroot /new;\nroot /old;\n}",
       "http {\nroot /new;\nroot /new;\n}"},
      {"an old value alone leaves the line",
       {{"dir", "/old"}},
       {},
       "http {\nroot /old;\n}",
       "http {\nroot {% $dir %};\n}",
       "http {\nroot /old;\n}",
       "http {\nroot /old;\n}"},
      {"a new value alone changes nothing",
       {},
       {{"dir", "/new"}},
       "http {\nroot /old;\n}",
       "http {\nroot {% $dir %};\n}",
       "http {\nroot /old;\n}",
       "http {\nroot /old;\nroot /new;\n}"},
      {"a new value alone leaves the line that has it, with its blanks",
       {},
       {{"dir", "/new"}},
       "http {\n\troot /new; # note\n}",
       "http {\nroot {% $dir %};\n}",
       "http {\n\troot /new; # note\n}",
       "http {\n\troot /new; # note\n}"},
      {"a trailing place finds any value",
       {},
       {{"dir", "/new"}},
       "http {\n\troot /any; # note\nroot /other;\n}",
       "http {\n\troot [% $dir %];\n}",
       "http {\n\troot /any; # note\nroot /other;\n}",
       "http {\n\troot /new;# note\nroot /other;\n}"},
      {"a trailing place appends where there is none",
       {},
       {{"dir", "/new"}},
       "http {\n}",
       "http {\nroot [% $dir %];\n}",
       "http {\n}",
       "http {\nroot /new;\n}"},
      {"a key that is empty: the old line finds it",
       {{"line", "gzip on;"}},
       {{"line", "gzip off;"}},
       "http {\ngzip on;\n}",
       "http {\n[% $line %]\n}",
       "http {\ngzip on;\n}",
       "http {\ngzip off;\n}"},
      {"a directive that is found by its name",
       {},
       {},
       "http {\nssl_ciphers LOW;\n}",
       "http {\nssl_ciphers HIGH;\n}",
       "http {\nssl_ciphers LOW;\n}",
       "http {\nssl_ciphers HIGH;\n}"},
      {"such a directive with both kinds of place is found by its beginning",
       {},
       {{"a", "A"}, {"b", "B"}},
       "http {\nssl_ciphers LOW;\nssl_ciphers A:x;\n}",
       "http {\nssl_ciphers {% $a %}:[% $b %];\n}",
       "http {\nssl_ciphers LOW;\nssl_ciphers A:x;\n}",
       "http {\nssl_ciphers LOW;\nssl_ciphers A:B;\n}"},
      {"the listen lines as a group",
       {{"ip", "1.1.1.1"}},
       {{"ip", "2.2.2.2"}},
       "server {\nlisten 1.1.1.1:80;\nlisten 1.1.1.1:81;\n}",
       "server {\nlisten {% $ip %}:80;\n}",
       "server {\nlisten 1.1.1.1:80;\nlisten 1.1.1.1:81;\n}",
       "server {\n\tlisten 2.2.2.2:80;\n}"},
  });
}

TEST(ApplyTemplate, ChangesOpeningLinesInTheFirstPass) {
  ExpectPasses({
      {"and finds the block under its new name from then on",
       {{"path", "/old"}},
       {{"path", "/new"}},
       "location /old {\nroot /a;\n}",
       "location {% $path %} {\nroot /b;\n}",
       "location /new {\nroot /a;\n}",
       "location /new {\nroot /a;\nroot /b;\n}"},
      {"also for the lines that go",
       {{"path", "/old"}},
       {{"path", "/new"}},
       "location /old {\nroot /a;\nx;\n}",
       "location {% $path %} {\n{% if $no %}\nroot /a;\n{% endif %}\n}",
       "location /new {\nx;\n}",
       "location /new {\nx;\n}"},
      {"below another block",
       {{"path", "/old"}},
       {{"path", "/new"}},
       "http {\nlocation /old {\n  if ($x) {\n  a;\n  }\n}\n}",
       "http {\nlocation {% $path %} {\n  if ($x) {\n  b;\n  }\n}\nc;\n}",
       "http {\nlocation /new {\n  if ($x) {\n  a;\n  }\n}\n}",
       "http {\nlocation /new {\n  if ($x) {\n  a;\n  b;\n  }\n}\nc;\n}"},
      {"with its comment kept, the text as the template has it",
       {{"path", "/old"}},
       {{"path", "/new"}},
       "location /old { # here\n}",
       "  location {% $path %} {\na;\n}",
       "  location /new {# here\n}",
       "  location /new {# here\na;\n}"},
      {"by a trailing place: the block must have the new name already",
       {},
       {{"path", "/b"}},
       "location /a {\n}\nlocation /b {\nx;\n}",
       "\tlocation [% $path %] {\ny;\n}",
       "location /a {\n}\n\tlocation /b {\nx;\n}",
       "location /a {\n}\n\tlocation /b {\nx;\ny;\n}"},
      {"not where the line goes",
       {{"path", "/old"}},
       {{"path", "/new"}},
       "location /old {\na;\n}",
       "{% if $no %}\nlocation {% $path %} {\na;\n}\n{% endif %}",
       "",
       ""},
      {"not without an old value",
       {},
       {{"path", "/new"}},
       "location /old {\na;\n}",
       "location {% $path %} {\nb;\n}",
       "location /old {\na;\n}",
       "location /old {\na;\n}\nlocation /new {\nb;\n}"},
  });
}

// The first pass renames the block, the second makes it anew under its old name, meets it there
// when it comes to the other item, and changes it again.
TEST(ApplyTemplate, ChangesOpeningLinesInTheSecondPassToo) {
  ExpectPasses({{"a block made by an item before",
                 {{"path", "/old"}},
                 {{"path", "/new"}},
                 "location /old {\na;\n}",
                 "location /old {\nb;\n}\nlocation {% $path %} {\nc;\n}",
                 "location /new {\na;\n}",
                 "location /new {\na;\nc;\n}\nlocation /new {\nb;\n}"}});
}

TEST(ApplyTemplate, FindsABlockByItsOldIdentity) {
  ExpectPasses({
      {"the identifying line is changed in the second pass",
       {{"name", "a"}},
       {{"name", "b"}},
       "server {\nserver_name b;\n}\nserver {\nserver_name a;\n}",
       "server {\nserver_name {% $name %};\nroot /x;\n}",
       "server {\nserver_name b;\n}\nserver {\nserver_name a;\n}",
       "server {\nserver_name b;\n}\nserver {\nserver_name b;\nroot /x;\n}"},
      {"by the new one where both are equal",
       {{"name", "b"}},
       {{"name", "b"}},
       "server {\nserver_name a;\n}\nserver {\nserver_name b;\n}",
       "server {\nserver_name {% $name %};\nroot /x;\n}",
       "server {\nserver_name a;\n}\nserver {\nserver_name b;\n}",
       "server {\nserver_name a;\n}\nserver {\nserver_name b;\nroot /x;\n}"},
      {"without an old value it is looked for without a name",
       {},
       {{"name", "a"}},
       "server {\nserver_name a;\n}",
       "server {\nserver_name {% $name %};\n}",
       "server {\nserver_name a;\n}",
       "server {\nserver_name a;\n}\nserver {\nserver_name a;\n}"},
      {"a branch not taken may name it",
       {},
       {},
       "server {\nserver_name a;\n}\nserver {\nserver_name b;\n}",
       "server {\n{% if $no %}\nserver_name a;\n{% else %}\nserver_name c;\n{% endif %}\n}",
       "server {\n}\nserver {\nserver_name b;\n}",
       "server {\nserver_name c;\n}\nserver {\nserver_name b;\n}"},
      {"an opening line that changes leaves its identity behind in the view",
       {{"kind", "server"}},
       {{"kind", "upstream"}},
       "server {\nserver_name a;\n}",
       "{% $kind %} {\nserver_name a;\n}",
       "upstream {\nserver_name a;\n}",
       "upstream {\nserver_name a;\n}\nupstream {\nserver_name a;\n}"},
  });
}

// The worked example: what the view was asked to do, in each pass.
TEST(ApplyTemplate, HandsTheOldNameToTheView) {
  TemplateProbe probe = TemplateOn<Nginx>("server {\nserver_name a;\n}");
  probe.old_values["name"] = "a";
  probe.new_values["name"] = "b";
  probe.SetTemplate("server {\nserver_name {% $name %};\n}");
  ASSERT_THAT(probe.Sections(), ElementsAre("server { server_name a -> server { server_name b"));

  LogCapture log;
  probe.ApplyTemplate(false);
  EXPECT_THAT(log.Messages(), IsEmpty());
  probe.ApplyTemplate(true);
  EXPECT_THAT(log.Messages(),
              ElementsAre("Change param from 'server_name a;' to 'server_name b;'"));
  EXPECT_EQ(probe.Text(), "server {\nserver_name b;\n}");
  EXPECT_EQ(probe.m_params.count("server { server_name a"), 1u);
  EXPECT_EQ(probe.m_params.size(), 1u);
}

TEST(ApplyTemplate, KeepsItsPathByOpeningAndClosingLines) {
  ExpectPasses({
      {"blocks side by side and below each other",
       {},
       {},
       "a {\nb {\n}\nc {\n}\n}\nd {\n}",
       "a {\nb {\n1;\n}\nc {\n2;\n}\n3;\n}\nd {\n4;\n}",
       "a {\nb {\n}\nc {\n}\n}\nd {\n}",
       "a {\nb {\n1;\n}\nc {\n2;\n}\n3;\n}\nd {\n4;\n}"},
      {"a closing line of a branch not taken closes",
       {},
       {},
       "a {\nb {\nx;\n}\n}",
       "a {\n{% if $no %}\nb {\nx;\n}\n{% endif %}\ny;\n}",
       "a {\n}",
       "a {\ny;\n}"},
      {"a closing line too many",
       {},
       {},
       "a {\n}",
       "}\n}\na {\nx;\n}\n}\na {\ny;\n}",
       "a {\n}",
       "a {\nx;\ny;\n}"},
      {"a block that never closes",
       {},
       {},
       "a {\nb {\n}\n}",
       "a {\nb {\nx;",
       "a {\nb {\n}\n}",
       "a {\nb {\nx;\n}\n}"},
      {"a line that closes and opens is left at once, and makes no block",
       {},
       {},
       "a {\n}",
       "a {\n} else {\nx;\n}",
       "a {\n}",
       "a {\nx;\n}"},
      {"an opening line without its value opens nothing, and what closes it closes the next",
       {},
       {},
       "a {\n}",
       "a {\nb {% $none %} {\nx;\n}\ny;\n}",
       "a {\n}",
       "a {\nx;\n}"},
      {"blanks around the opening line do not count",
       {},
       {},
       "  a { \n}",
       "\ta {\t\nx;\n}",
       "  a { \n}",
       "  a { \nx;\n}"},
      {"a value may close a block",
       {},
       {{"end", "}"}},
       "a {\nb {\n}\n}",
       "a {\nb {\nx;\n{% $end %}\ny;\n}",
       "a {\nb {\n}\n}",
       "a {\nb {\nx;\n}\ny;\n}"},
  });
}

// The old name is cut off the path with its blanks: where it has some, it is not found, the whole
// path goes, and the block counts as one outside every block.
TEST(ApplyTemplate, CutsTheOldNameUntrimmed) {
  ExpectPasses({{"an old value with blanks in front",
                 {{"kind", "  server"}},
                 {{"kind", "stream"}},
                 "http {\nserver {\n}\n}",
                 "http {\n{% $kind %} {\ngzip on;\n}\n}",
                 "http {\nstream {\n}\n}",
                 "http {\nstream {\n}\n}\nstream {\ngzip on;\n}"}});
}

TEST(ApplyTemplate, AnOldNameThatIsEmptyAddsNoLevel) {
  // The old value brings a place whose content, nothing, is the whole line.
  ExpectPasses({{"the lines go to the block around, without the opening line, which has no key",
                 {{"kind", "[%%]"}},
                 {{"kind", "server"}},
                 "http {\n}",
                 "http {\n{% $kind %} {\ngzip on;\n}\n}",
                 "http {\n}",
                 "http {\ngzip on;\n}"}});
}

TEST(ApplyTemplate, LogsWhatItDoesInTheOrderOfThePasses) {
  TemplateProbe probe =
      TemplateOn<Nginx>("http {\ngone;\nroot /old;\nlocation /old {\nalso_gone;\n}\n}");
  probe.old_values = {{"dir", "/old"}};
  probe.new_values = {{"dir", "/new"}};
  probe.SetTemplate(
      "http {\nadded;\nroot {% $dir %};\nlocation {% $dir %} {\nadded;\n{% if $no %}\nalso_gone;\n"
      "{% endif %}\n}\n{% if $no %}\ngone;\n{% endif %}\n}");
  LogCapture log;
  probe.ApplyTemplate(false);
  std::vector<std::string> messages = log.Messages();
  EXPECT_THAT(messages, ElementsAre("Change param from 'location /old {' to 'location /new {'",
                                    "deleted param 'also_gone;'", "deleted param 'gone;'"));
  EXPECT_EQ(probe.Text(), "http {\nroot /old;\nlocation /new {\n}\n}");
  probe.ApplyTemplate(true);
  messages = log.Messages();
  messages.erase(messages.begin(), messages.begin() + 3);
  EXPECT_THAT(messages,
              ElementsAre("append param 'added;'", "Change param from 'root /old;' to 'root /new;'",
                          "append param 'added;'"));
  EXPECT_EQ(probe.Text(), "http {\nroot /new;\nlocation /new {\nadded;\n}\nadded;\n}");
}

TEST(ApplyTemplate, RemovesByTheKey) {
  TemplateProbe probe = TemplateOn<Nginx>("http {\nroot /any;\n}");
  probe.SetTemplate("http {\n{% if $no %}\nroot [% $dir %];\n{% endif %}\n}");
  LogCapture log;
  probe.ApplyTemplate(false);
  EXPECT_THAT(log.Messages(), ElementsAre("deleted param 'root'"));
  probe.ApplyTemplate(true);
  EXPECT_EQ(log.Records().size(), 1u) << "nothing to do in the second pass";
}

// Notes what the dialect is asked to remove among the lines it manages itself.
class RecordingNginx : public Nginx {
 public:
  using Nginx::Nginx;
  void RemoveUniqueParam(const std::string& section, const std::string& text, bool flag,
                         std::list<LineIterator>& removed) override {
    removals.push_back(section + " | " + text + (flag ? " | part" : " | whole"));
    Nginx::RemoveUniqueParam(section, text, flag, removed);
  }
  std::vector<std::string> removals;
};

TEST(ApplyTemplate, TellsTheDialectWhetherTheKeyIsWhole) {
  const auto config = std::make_shared<RecordingNginx>("server {\nlisten 80;\n}");
  TemplateProbe probe(config);
  probe.new_values["port"] = "80";
  probe.SetTemplate(
      "server {\n{% if $no %}\nlisten [% $port %];\n listen {% $port %};\nlisten {% $none %};\n"
      "{% endif %}\n}");
  probe.ApplyTemplate(false);
  probe.ApplyTemplate(true);
  EXPECT_THAT(config->removals,
              ElementsAre("server { | listen  | part", "server { | listen 80; | whole"));
}

TEST(ApplyTemplate, ChangesNoItem) {
  TemplateProbe probe = TemplateOn<Nginx>("server {\nserver_name a;\nx;\n}\nlocation /a {\n}");
  probe.old_values["name"] = "a";
  probe.new_values["name"] = "b";
  probe.SetTemplate(
      "server {\nserver_name {% $name %};\n{% if $no %}\nx;\n{% endif %}\nroot [% $name %];\n}\n"
      "location /{% $name %} {\n}");
  std::vector<std::string> before, after;
  for (const auto& item : probe.m_actions) before.push_back(TemplateProbe::Shown(item));
  probe.ApplyTemplate(false);
  probe.ApplyTemplate(true);
  for (const auto& item : probe.m_actions) after.push_back(TemplateProbe::Shown(item));
  EXPECT_EQ(after, before);
  EXPECT_EQ(probe.Text(), "server {\nserver_name b;\nroot b;\n}\nlocation /b {\n}");
}

TEST(ApplyTemplate, WithoutItemsDoesNothing) {
  const std::string config = "a {\nx;\n}\nb {\n}";
  TemplateProbe probe = TemplateOn<Nginx>(config);
  probe.ApplyTemplate(false);
  probe.ApplyTemplate(true);
  EXPECT_EQ(probe.Text(), config);
}

TEST(ApplyTemplate, ASecondApplicationOfTheSameTemplateChangesNothing) {
  TemplateProbe probe = TemplateOn<Nginx>("http {\ngone;\nserver {\nserver_name a;\n}\n}");
  probe.new_values["dir"] = "/srv";
  probe.SetTemplate(
      "http {\n{% if $no %}\ngone;\n{% endif %}\nserver {\nserver_name a;\nroot [% $dir %];\n}\n"
      "server {\nserver_name b;\n}\ngzip on;\n}");
  probe.ApplyTemplate(false);
  probe.ApplyTemplate(true);
  const std::string once = probe.Text();
  probe.ApplyTemplate(false);
  probe.ApplyTemplate(true);
  EXPECT_EQ(probe.Text(), once);
}

TEST(ApplyTemplate, TakesTwoHundredThousandLines) {
  std::string text;
  for (int i = 0; i < 20000; ++i) {
    text += "location /" + std::to_string(i) + " {\n";
    for (char name = 'a'; name < 'i'; ++name) text += std::string("\t") + name + " on;\n";
    text += "}\n";
  }
  text.pop_back();
  TemplateProbe probe = TemplateOn<Nginx>("");
  probe.SetTemplate(text);
  ASSERT_EQ(probe.m_actions.size(), 200000u);
  probe.ApplyTemplate(false);
  probe.ApplyTemplate(true);
  EXPECT_TRUE(probe.Text() == text);
}

}  // namespace
