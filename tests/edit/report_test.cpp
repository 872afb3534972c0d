// SPDX-License-Identifier: Apache-2.0

// What is told of an edit.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edit/edit.h"
#include "edit/edit_case.h"

namespace tov_edit {
namespace {

using Action = EditReport::Action;

std::string NameOf(Action action) {
  switch (action) {
    case Action::kAdded:
      return "added";
    case Action::kChanged:
      return "changed";
    case Action::kRemoved:
      return "removed";
    case Action::kAlreadyThere:
      return "already there";
    case Action::kNotThere:
      return "not there";
    case Action::kMissingValue:
      return "missing value";
    case Action::kNoBlock:
      return "no block";
    case Action::kNothing:
      return "nothing";
  }
  return "";
}

std::string NameOf(EditReport::Event::Kind kind) {
  switch (kind) {
    case EditReport::Event::Kind::kFound:
      return "found";
    case EditReport::Event::Kind::kAdded:
      return "added";
    case EditReport::Event::Kind::kChanged:
      return "changed";
    case EditReport::Event::Kind::kRemoved:
      return "removed";
  }
  return "";
}

// "site.template:3 'root {% $r %};' changed: changed site.conf:4:2 'root /a;' -> 'root /b;'", for
// each line of the template that is not blank.
std::string LinesOf(const EditReport& report) {
  std::string text;
  for (const EditReport::Item& item : report.items) {
    if (item.text.empty()) continue;
    text += Shown(item.place) + " '" + item.text + "' " + NameOf(item.action);
    if (!item.taken) text += ", untaken";
    if (item.stopped_by) text += " by '" + report.statements[*item.stopped_by].text + "'";
    for (const std::string& name : item.missing) text += ", no value " + name;
    for (const EditReport::Event& event : item.events) {
      text += "; " + NameOf(event.kind);
      if (event.place.line != 0) text += " " + Shown(event.place) + " '" + event.from + "'";
      if (!event.to.empty() && event.to != event.from) text += " -> '" + event.to + "'";
    }
    text += "\n";
  }
  return text;
}

std::string BlocksOf(const EditReport& report) {
  std::string text;
  for (const EditReport::Block& block : report.blocks) {
    text += Shown(report.items[block.item].place) + " '" + block.text + "'";
    for (const std::string& found : block.found) text += ", " + found;
    text += block.created ? ", created" : "";
    text += block.renamed ? ", renamed" : "";
    text += block.undecided ? ", undecided" : "";
    text += "\n";
  }
  return text;
}

// The text with the changes in it.
std::string Edited(const std::string& text, const std::vector<Change>& changes) {
  std::string result;
  std::size_t at = 0;
  std::size_t number = 1;
  const auto copy_until = [&](std::size_t line, bool keep) {
    for (; number < line; ++number) {
      const std::size_t end = text.find('\n', at);
      const std::size_t next = end == std::string::npos ? text.size() : end + 1;
      if (keep) result += text.substr(at, next - at);
      at = next;
    }
  };
  for (const Change& change : changes) {
    EXPECT_GE(change.line, number) << "changes in their order that do not touch";
    copy_until(change.line, true);
    result += change.text;
    copy_until(change.line + change.count, false);
  }
  return result.append(text, at);
}

struct Reported {
  std::string name;
  std::string config;
  std::string template_text;
  NamedValues values;
  std::string lines;
  std::string blocks;
  Ask ask = nullptr;
};

void ExpectReports(Dialect dialect, const std::vector<Reported>& cases) {
  for (const Reported& c : cases) {
    SCOPED_TRACE(c.name);
    const Request request = RequestOf(dialect, c);
    const Explained explained = Explain(request, c.config, "site.conf");
    EXPECT_EQ(AllOf(explained.result.refusals), "");
    EXPECT_EQ(LinesOf(explained.report), c.lines);
    EXPECT_EQ(BlocksOf(explained.report), c.blocks);
    const Result result = RecordedEdit(request, c.config, "site.conf");
    EXPECT_EQ(explained.result.text, result.text);
    EXPECT_EQ(AllOf(explained.result.warnings), AllOf(result.warnings));
    EXPECT_EQ(Edited(c.config, explained.result.changes), result.text);
    EXPECT_EQ(Edited(c.config, result.changes), result.text);
  }
}

TEST(AReport, TellsWhatBecomesOfEachLine) {
  ExpectReports(
      Dialect::kNginx,
      {{"of a block that is there",
        "user www;\nserver {\n\tserver_name a www.a;\n\troot\n\t\t/a;\n\tgzip on; etag on;\n}\n",
        R"(server {
  server_name {% $n %};
  root {% $r %};
{% if $z == on %}
  gzip on;
  expires 1d;
{% else %}
  gzip off;
{% endif %}
  etag on;
  index {% $i %};
  # note
}
)",
        {{"n", "a", "b"}, {"r", "/a", "/b"}, {"z", kNone, "off"}},
        "site.template:1 'server {' already there; found site.conf:2:1 'server {'\n"
        "site.template:2 'server_name {% $n %};' changed; changed site.conf:3:2 "
        "'server_name a www.a;' -> 'server_name b www.a;'\n"
        "site.template:3 'root {% $r %};' changed; changed site.conf:4:2 'root\n\t\t/a;' -> "
        "'root /b;'\n"
        "site.template:5 'gzip on;' removed, untaken by 'if $z == on'; removed site.conf:6:2 "
        "'gzip on;'\n"
        "site.template:6 'expires 1d;' not there, untaken by 'if $z == on'\n"
        "site.template:8 'gzip off;' added; added -> 'gzip off;'\n"
        "site.template:10 'etag on;' already there; found site.conf:6:11 'etag on;'\n"
        "site.template:11 'index {% $i %};' missing value, no value i\n"
        "site.template:12 '# note' added; added -> '# note'\n"
        "site.template:13 '}' nothing\n",
        "site.template:1 'server {', site.conf:2:1 'server' (a, www.a)\n"},
       {"of blocks that are made",
        "server {\n\tserver_name b;\n}\n",
        "server {\nserver_name a;\nlocation / {\nroot /a;\n}\n}\n",
        {},
        "site.template:1 'server {' added; added -> 'server {'\n"
        "site.template:2 'server_name a;' added; added -> 'server_name a;'\n"
        "site.template:3 'location / {' added; added -> 'location / {'\n"
        "site.template:4 'root /a;' added; added -> 'root /a;'\n"
        "site.template:5 '}' added; added -> '}'\n"
        "site.template:6 '}' added; added -> '}'\n",
        "site.template:1 'server {', created\nsite.template:3 'location / {', created\n"},
       {"of a block that goes",
        "server {\n\tserver_name a;\n\tlocation /x {\n\t\treturn 404;\n\t}\n}\n",
        "server {\nserver_name a;\n{% if $x %}\nlocation /x {\nreturn 404;\n}\n{% endif %}\n}\n",
        {},
        "site.template:1 'server {' already there; found site.conf:1:1 'server {'\n"
        "site.template:2 'server_name a;' already there; found site.conf:2:2 'server_name a;'\n"
        "site.template:4 'location /x {' removed, untaken by 'if $x'; removed site.conf:3:2 "
        "'location /x {\n\t\treturn 404;\n\t}'\n"
        "site.template:5 'return 404;' removed, untaken by 'if $x'\n"
        "site.template:6 '}' nothing, untaken by 'if $x'\n"
        "site.template:8 '}' nothing\n",
        "site.template:1 'server {', site.conf:1:1 'server' (a)\n"
        "site.template:4 'location /x {', site.conf:3:2 'location /x'\n"},
       {"of a block that is renamed",
        "server {\n\tserver_name a;\n\tlocation /x {\n\t}\n}\n",
        "server {\nserver_name a;\nlocation {% $p %} {\n}\n}\n",
        {{"p", "/x", "/y"}},
        "site.template:1 'server {' already there; found site.conf:1:1 'server {'\n"
        "site.template:2 'server_name a;' already there; found site.conf:2:2 'server_name a;'\n"
        "site.template:3 'location {% $p %} {' changed; changed site.conf:3:2 'location /x {' -> "
        "'location /y {'\n"
        "site.template:4 '}' nothing\n"
        "site.template:5 '}' nothing\n",
        "site.template:1 'server {', site.conf:1:1 'server' (a)\n"
        "site.template:3 'location {% $p %} {', site.conf:3:2 'location /x', renamed\n"},
       {"of a block that is not there and has to go",
        "user www;\n",
        "{% if $x %}\nserver {\nserver_name a;\n}\n{% endif %}\n",
        {},
        "site.template:2 'server {' not there, untaken by 'if $x'\n"
        "site.template:3 'server_name a;' not there, untaken by 'if $x'\n"
        "site.template:4 '}' nothing, untaken by 'if $x'\n",
        "site.template:2 'server {'\n"}});
}

TEST(AReport, NamesTheInnermostBranchThatStopsALine) {
  ExpectReports(Dialect::kNginx,
                {{"branches in branches",
                  "",
                  "{% if $a %}\nenv A;\n{% if $a %}\nenv B;\n{% else %}\nenv C;\n"
                  "{% endif %}\n{% if $b %}\nenv D;\n{% if $a %}\nenv E;\n{% endif "
                  "%}\n{% endif %}\n{% elif $b %}\nenv F;\n{% endif %}\n",
                  {{"a", kNone, "1"}},
                  "site.template:2 'env A;' added; added -> 'env A;'\n"
                  "site.template:4 'env B;' added; added -> 'env B;'\n"
                  "site.template:6 'env C;' not there, untaken by 'else'\n"
                  "site.template:9 'env D;' not there, untaken by 'if $b'\n"
                  "site.template:11 'env E;' not there, untaken by 'if $b'\n"
                  "site.template:15 'env F;' not there, untaken by 'elif $b'\n",
                  ""}});
}

TEST(AReport, TellsOfEachBlockThatIsEdited) {
  const auto all = [](Request& request) { request.all = true; };
  ExpectReports(
      Dialect::kApache,
      {{"two virtual hosts",
        "<VirtualHost *:80>\n  ServerName a\n</VirtualHost>\n<IfModule ssl>\n"
        "  <VirtualHost *:443>\n    ServerName b\n    ServerAlias a\n  </VirtualHost>\n"
        "</IfModule>\n",
        "<VirtualHost *:80 *:443>\nServerName a\nProtocols h2\n</VirtualHost>\n",
        {},
        "site.template:1 '<VirtualHost *:80 *:443>' already there; found site.conf:1:1 "
        "'<VirtualHost *:80>'; found site.conf:5:3 '<VirtualHost *:443>'\n"
        "site.template:2 'ServerName a' already there; found site.conf:2:3 'ServerName a'; found "
        "site.conf:7:5 'ServerAlias a'\n"
        "site.template:3 'Protocols h2' added; added -> 'Protocols h2'; added -> 'Protocols h2'\n"
        "site.template:4 '</VirtualHost>' nothing\n",
        "site.template:1 '<VirtualHost *:80 *:443>', site.conf:1:1 'VirtualHost *:80' (a), "
        "site.conf:5:3 'VirtualHost *:443' (b, a)\n",
        all}});
}

TEST(AReport, TellsOfTheStatements) {
  const Case c = {"",
                  "",
                  "{% if $x == on and $y %}\nuser a;\n{% elif z != \"\" %}\nuser b;\n{% else %}\n"
                  "user c;\n{% endif %}\n{% import more %}\n",
                  {{"x", kNone, "off"}, {"z", kNone, ""}},
                  "",
                  [](Request& request) {
                    request.importer = [](const std::string& name, const FilePlace&) {
                      return ImportedFile{name, "pid x;"};
                    };
                  }};
  const EditReport report = Explain(RequestOf(Dialect::kNginx, c), "", "site.conf").report;
  std::string text;
  for (const EditReport::Statement& statement : report.statements) {
    text += Shown(statement.place) + " '" + statement.text + "'" +
            (statement.values.empty() ? "" : ", " + statement.values) +
            (statement.is_branch ? ", a branch" : "") + (statement.result ? ", holds" : "") +
            ", before line " + std::to_string(statement.next_item) + "\n";
  }
  EXPECT_EQ(
      text,
      "site.template:1:1 'if $x == on and $y', x is 'off', y is not set, a branch, before line "
      "0\n"
      "site.template:3:1 'elif z != \"\"', z is '', a branch, before line 1\n"
      "site.template:5:1 'else', a branch, holds, before line 2\n"
      "site.template:7:1 'endif', holds, before line 3\n"
      "site.template:8:4 'import more', holds, before line 3\n");
}

TEST(AReport, TellsByWhatALineIsFound) {
  const Case c = {"",
                  "server {\n\tserver_name a;\n}\n",
                  "server {\nserver_name a;\nroot {% $r %};\naccess_log /var/[% $l %] x;\n"
                  "ssl_protocols TLSv1.3;\nindex {% $i %};\n}\n",
                  {{"r", "/a", "/b"}, {"l", kNone, "z"}},
                  ""};
  const EditReport report = Explain(RequestOf(Dialect::kNginx, c), c.config, "site.conf").report;
  std::string text;
  for (const EditReport::Item& item : report.items) {
    text += item.line + " by " + (item.key_is_beginning ? "beginning " : "") + item.key +
            (item.opens ? " opens" : "") +
            (item.block ? " in " + std::to_string(*item.block) : std::string()) + "\n";
  }
  EXPECT_EQ(text,
            "server { by server { opens in 0\n"
            "server_name a; by server_name a; in 0\n"
            "root /b; by root /a; in 0\n"
            "access_log /var/z x; by beginning access_log /var/ in 0\n"
            "ssl_protocols TLSv1.3; by beginning ssl_protocols in 0\n"
            " by  in 0\n"
            "} by } in 0\n");
}

TEST(AReport, OfARefusedEditTellsWhatIsKnown) {
  const auto explained = [](const std::string& config, const std::string& text) {
    const Case c = {"", config, text, {}, ""};
    return Explain(RequestOf(Dialect::kNginx, c), config, "site.conf");
  };
  const std::string two = "server {\n\tlisten 80;\n}\nserver {\n\tlisten 81;\n}\n";
  const Explained ambiguous = explained(two, "server {\ngzip on;\n}\n");
  EXPECT_EQ(ambiguous.result.text, two);
  ASSERT_EQ(ambiguous.result.refusals.size(), 1U);
  EXPECT_EQ(ambiguous.result.refusals[0].name, "ambiguous");
  EXPECT_EQ(BlocksOf(ambiguous.report), "site.template:1 'server {', undecided\n");
  EXPECT_TRUE(ambiguous.result.changes.empty());

  const Explained beside = explained(two + "upstream u {\n}\n",
                                     "upstream u {\n}\nupstream v {\n}\nserver {\ngzip on;\n"
                                     "location / {\n}\n}\n");
  EXPECT_EQ(BlocksOf(beside.report),
            "site.template:1 'upstream u {', site.conf:7:1 'upstream u'\n"
            "site.template:3 'upstream v {', created\n"
            "site.template:5 'server {', undecided\n"
            "site.template:7 'location / {'\n");

  const std::string config = "server {\n\troot /a;\n\tetag on;\n}\n";
  const Explained other = explained(config, "server {\nroot /b;\netag on;\nexpires 1d;\n}\n");
  EXPECT_EQ(other.result.text, config);
  EXPECT_EQ(LinesOf(other.report),
            "site.template:1 'server {' already there; found site.conf:1:1 'server {'\n"
            "site.template:2 'root /b;' nothing\n"
            "site.template:3 'etag on;' already there; found site.conf:3:2 'etag on;'\n"
            "site.template:4 'expires 1d;' added; added -> 'expires 1d;'\n"
            "site.template:5 '}' nothing\n");

  const Explained broken = explained(config, "server {\nroot /b\n}\n");
  ASSERT_EQ(broken.result.refusals.size(), 1U);
  EXPECT_EQ(broken.result.refusals[0].name, "template");
  EXPECT_EQ(broken.report.items.size(), 3U);
}

// --- The changes of lines ---

std::string ChangesOf(const std::string& config, const std::string& text,
                      const NamedValues& values) {
  const Case c = {"", config, text, values, ""};
  std::string listed;
  for (const Change& change :
       RecordedEdit(RequestOf(Dialect::kNginx, c), config, "site.conf").changes) {
    listed += std::to_string(change.line) + "+" + std::to_string(change.count) + " by";
    for (const FilePlace& place : change.template_lines) {
      listed += " " + std::to_string(place.line);
      EXPECT_EQ(place.column, 0U);  // it is the whole line
    }
    listed += ": '" + change.text + "'\n";
  }
  return listed;
}

TEST(TheChanges, AreOfWholeLines) {
  const std::string config =
      "server {\n\tserver_name a;\n\troot /a;\n\tgzip on;\n\n\tlocation /x {\n\t}\n}\n";
  EXPECT_EQ(ChangesOf(config, "server {\nserver_name a;\nroot {% $r %};\n}\n", {{"r", "/a", "/b"}}),
            "3+1 by 3: '\troot /b;\n'\n");
  EXPECT_EQ(ChangesOf(config, "server {\nserver_name a;\netag on;\nallow all;\n}\n", {}),
            "5+0 by 3 4: '\tetag on;\n\tallow all;\n'\n");
  EXPECT_EQ(
      ChangesOf(config, "server {\nserver_name a;\n{% if $x %}\ngzip on;\n{% endif %}\n}\n", {}),
      "4+1 by 4: ''\n");
  EXPECT_EQ(
      ChangesOf(config, "server {\nserver_name a;\n{% if $x %}\nlocation /x {\n}\n{% endif %}\n}\n",
                {}),
      "5+3 by 4: ''\n");
  EXPECT_EQ(
      ChangesOf("server { server_name a; root /a; }\n",
                "server {\nserver_name a;\nroot {% $r %};\netag on;\n}\n", {{"r", "/a", "/b"}}),
      "1+1 by 3 4: 'server { server_name a; root /b; etag on; }\n'\n");
  EXPECT_EQ(ChangesOf(config, "server {\nserver_name a;\nroot /a;\n}\n", {}), "");
}

}  // namespace
}  // namespace tov_edit
