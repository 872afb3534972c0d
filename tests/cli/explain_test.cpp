// SPDX-License-Identifier: Apache-2.0

// qeltemplate explain: what it says of each template line, and that it says what apply does.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "cli/explanation.h"
#include "cli/program.h"
#include "edit/edit.h"
#include "property/random_input.h"
#include "report/json.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

// --- It agrees with apply ---

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t newline = text.find('\n', begin);
    const std::size_t end = newline == std::string::npos ? text.size() : newline + 1;
    lines.push_back(text.substr(begin, end - begin));
    begin = end;
  }
  return lines;
}

// `text` with the edits of `explanation` carried out.
std::string Replayed(const std::string& text, const json& explanation) {
  std::vector<std::string> lines = LinesOf(text);
  const json& edits = explanation["changes"];
  for (auto edit = edits.rbegin(); edit != edits.rend(); ++edit) {
    const auto first = lines.begin() + ((*edit)["line"].get<std::ptrdiff_t>() - 1);
    const auto after = lines.erase(first, first + (*edit)["count"].get<std::ptrdiff_t>());
    lines.insert(after, (*edit)["text"].get<std::string>());
  }
  std::string result;
  for (const std::string& line : lines) result += line;
  return result;
}

// JSON holds UTF-8 only.
std::string Ascii(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) c = 'x';
  }
  return text;
}

tov_edit::Request RandomRequest(const std::string& template_text) {
  tov_edit::Request request;
  request.template_name = "site.template";
  request.template_text = Ascii(template_text);
  request.values = {
      {"a", {"a", "b c"}}, {"b", {std::nullopt, "2"}}, {"ip", {"127.0.0.1", "10.0.0.1"}}};
  request.dialect = tov_edit::Dialect::kNginx;
  return request;
}

std::string Differ(const std::string& what, const std::string& a, const std::string& b) {
  return a == b ? "" : what + ":\n" + a + "\n-- is not --\n" + b;
}

// What explain says in JSON is the outcome of apply: the edits lead to its text, refusals stand
// where it refuses, and each edit has its reason.
std::string AgreesWithApply(const tov_edit::Request& request, const std::string& config) {
  const std::string name = "site.conf";
  const tov_edit::Result applied = tov_edit::Edit(request, config, name);
  const bool refused = !applied.refusals.empty();
  const tov_edit::Explained explained = tov_edit::Explain(request, config, name);
  const json parsed = json::parse(report::Json(report::ExplainedEdit{request, name, explained}));
  if (refused != parsed["refused"].get<bool>()) return "refused by one of them only";
  if (parsed["refusals"].size() != applied.refusals.size()) return "other refusals";
  if (refused) return "";
  const std::string replayed = Replayed(config, parsed);
  if (replayed != applied.text) return Differ("replayed", replayed, applied.text);
  for (const json& edit : parsed["changes"]) {
    if (edit["template_lines"].empty()) return "an edit without a reason: " + edit.dump();
  }
  return "";
}

std::string ExplainIsApply(const std::string& config, const std::string& template_text) {
  return AgreesWithApply(RandomRequest(template_text), Ascii(config));
}

// Each value as it is, and the text as its server would not take it: less is refused.
std::string ExplainIsApplyForSettledValues(const std::string& config,
                                           const std::string& template_text) {
  tov_edit::Request request = RandomRequest(template_text);
  request.values["a"] = {"b", "b"};
  request.forced = {"syntax", "other-value"};
  return AgreesWithApply(request, Ascii(config));
}

// A template that is the configuration but for some lines: much of it is found.
std::string ExplainIsApplyForLikeTexts(const std::string& config,
                                       const std::string& template_text) {
  const std::string site = "server {\nserver_name a;\n" + Ascii(config) + "\n}\n\n# end";
  tov_edit::Request request =
      RandomRequest("server {\nserver_name {% $a %};\nroot {% $a %};\n" + template_text + "\n}\n");
  request.values["a"] = {"a", "b"};
  for (const tov_edit::FindingKind& kind : tov_edit::kForcedRefusals)
    request.forced.insert(kind.name);
  return AgreesWithApply(request, site);
}

TEST(Explain, SaysWhatApplyDoes) {
  EXPECT_EQ(ForAllRequests(ExplainIsApply), "");
  EXPECT_EQ(ForAllRequests(ExplainIsApplyForSettledValues), "");
  EXPECT_EQ(ForAllRequests(ExplainIsApplyForLikeTexts), "");
}

TEST(Explain, EditsKeepBlankLinesAndLineEnds) {
  struct Case {
    const char* name;
    const char* config;
  };
  const Case cases[] = {
      {"nothing there", ""},
      {"only blank lines", "\n \n"},
      {"no line end at the end", "server {\nserver_name a;\nroot /a;\n}"},
      {"no line end, the last line is new", "# x"},
      {"CRLF", "server {\r\n\r\nserver_name a;\r\nroot /a;\r\n}\r\n\r\n"},
      {"blank lines", "\n\nserver {\n\nserver_name a;\n\nroot /a;\n\n}\n\n"},
      {"blank lines without an end", "server {\nserver_name a;\n\nroot /b;\n}\n\n  "},
      {"no line end at the end, the last line goes",
       "server {\nserver_name a;\nroot /b;\n}\n\nserver {\nserver_name c;\n}"},
  };
  const char* const templates[] = {"server {\nserver_name a;\nroot {% $r %};\n}\n",
                                   "{% if $no %}\nserver {\nserver_name a;\n}\n{% endif %}\n",
                                   "{% if $no %}\nserver {\nserver_name c;\n}\n{% endif %}\n"};
  for (const Case& c : cases) {
    for (const char* const text : templates) {
      SCOPED_TRACE(std::string(c.name) + "\n" + text);
      tov_edit::Request request = RandomRequest(text);
      request.values["r"] = {"/a", "/b"};
      EXPECT_EQ(AgreesWithApply(request, c.config), "");
    }
  }
}

// --- What it says ---

class ExplainProgram : public Program {
 protected:
  Outcome Explain(const Words& more, const std::string& input = "") const {
    return RunOn("explain", more, input);
  }

  json ExplainJson(const Words& more) const {
    Words words = more;
    words.insert(words.begin(), "--json");
    return json::parse(Explain(words).out);
  }
};

TEST_F(ExplainProgram, SaysOfEachLineWhatBecomesOfIt) {
  struct Case {
    const char* name;
    const char* line;    // of the template, in the server a.example
    const char* action;  // in JSON
    const char* said;    // in the table
  };
  const Case cases[] = {
      {"added", "gzip on;", "added", "added: no directive of the block is 'gzip on;'"},
      {"there already", "index x;", "already-there", "already there site.conf:5 'index x;'"},
      {"there with other blanks", "etag off;", "already-there",
       "already there site.conf:6 'etag off;'"},
      {"changed", "root [% $r %];", "changed", "changed site.conf:4 'root /srv/a;' to 'root /b;'"},
      {"changed by old value", "root {% $or %};", "changed",
       "changed site.conf:4 'root /srv/a;' to 'root /b;'"},
      {"listen is there", "listen 80;", "already-there", "already there site.conf:3 'listen 80;'"},
      {"listen is added", "listen 81;", "added",
       "added: no directive of the block is 'listen 81;'"},
      {"added by its beginning", "add_header [% $r %];", "added",
       "added: no directive of the block begins with 'add_header'"},
      {"a value is missing", "root {% $none %};", "missing-value",
       "nothing: no new value for 'none'"},
      {"an address that is written otherwise", "listen *:80;", "already-there",
       "already there site.conf:3 'listen 80;'"},
  };
  m_sandbox.Write("site.conf",
                  "server {\nserver_name a.example;\nlisten 80;\nroot /srv/a;\nindex x;\n"
                  "etag   off; # x\n}\n");
  const Words values = {"--set",     "r=/b",      "--set",   "or=/b",       "--old",
                        "or=/srv/a", "site.conf", "--force", "unused-value"};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_sandbox.Write("site.template",
                    "server {\nserver_name a.example;\n" + std::string(c.line) + "\n}\n");
    const json line = ExplainJson(values)["template_lines"][2];
    EXPECT_EQ(line["text"], c.line);
    EXPECT_EQ(line["place"], (json{{"file", "site.template"}, {"line", 3}}));
    EXPECT_EQ(line["action"], c.action);
    EXPECT_THAT(Explain(values).out, HasSubstr(c.said));
  }
}

TEST_F(ExplainProgram, SaysWhyALineIsNotTaken) {
  m_sandbox.Write("site.template",
                  "server {\nserver_name a.example;\n{% if $tls == on %}\nroot /srv/a;\n"
                  "{% if $x %}\ngzip on;\n{% endif %}\n{% else %}\netag off;\n{% endif %}\n"
                  "}\n{% if $tls == on %}\nserver {\nserver_name b;\n}\n{% endif %}\n");
  const std::string said = Explain({"--set", "tls=off", "site.conf"}).out;
  const std::string because = "{% if $tls == on %} (site.template:3) is not taken, tls is 'off'\n";
  EXPECT_THAT(said, HasSubstr("removed site.conf:3 'root /srv/a;': " + because));
  EXPECT_THAT(said, HasSubstr("nothing to remove: no directive of the block is 'gzip on;', and " +
                              because));
  EXPECT_THAT(said, HasSubstr("not taken: tls is 'off'\n"));
  EXPECT_THAT(said, HasSubstr("not taken: x is not set\n"));
  EXPECT_THAT(said, HasSubstr("\nnot there: 'server {'\n"));
  EXPECT_THAT(said, HasSubstr("added: no directive of the block is 'etag off;'"));
}

TEST_F(ExplainProgram, SaysWhichImportsAreNotThere) {
  m_sandbox.Write("site.template", "{% import nowhere %}\n");
  const Outcome outcome = Explain({"site.conf"});
  EXPECT_EQ(outcome.exit_code, 4);
  EXPECT_THAT(outcome.out, HasSubstr("{% import nowhere %}  no such file: nothing is imported\n"));
  EXPECT_THAT(outcome.out, HasSubstr("[import]\n"));
}

TEST_F(ExplainProgram, ShowsTheBlocksThatLinesAreFor) {
  m_sandbox.Write("site.conf",
                  "events {\n}\nserver {\nserver_name a.example;\nlocation /img/ {\netag off;\n"
                  "}\nlocation /old/ {\netag off;\n}\n}\n");
  m_sandbox.Write("site.template",
                  "server {\nserver_name {% $name %};\nlocation /img/ {\n}\n"
                  "location {% $path %} {\n}\nlocation /new/ {\nreturn 404;\n}\n}\n");
  const Words values = {"--old",      "name=a.example", "--set",        "name=b.example", "--old",
                        "path=/old/", "--set",          "path=/other/", "site.conf"};
  const std::string said = Explain(values).out;
  EXPECT_THAT(said, HasSubstr("\nsite.conf:3:1 'server' (a.example)\n"));
  EXPECT_THAT(said, HasSubstr("\nsite.conf:5:1 'location /img/'\n"));
  EXPECT_THAT(said, HasSubstr("\nsite.conf:8:1 'location /old/', which becomes "
                              "'location {% $path %} {'\n"));
  EXPECT_THAT(said, HasSubstr("\n'location /new/ {' (new)\n"));
  const json blocks = ExplainJson(values)["blocks"];
  ASSERT_EQ(blocks.size(), 4U);
  EXPECT_EQ(blocks[2]["found"], (json{{{"line", 8}, {"column", 1}}}));
  EXPECT_EQ(blocks[2]["renamed"], true);
  EXPECT_EQ(blocks[2]["created"], false);
  EXPECT_EQ(blocks[3]["found"], json::array());
  EXPECT_EQ(blocks[3]["created"], true);
}

TEST_F(ExplainProgram, ShowsEachDirectiveOnALineOfItsOwnPlace) {
  m_sandbox.Write("site.conf", "server { server_name a.example; root /srv/a; }\n");
  m_sandbox.Write("site.template", "server {\nserver_name a.example;\nroot {% $root %};\n}\n");
  const json line =
      ExplainJson({"--old", "root=/srv/a", "--set", "root=/b", "site.conf"})["template_lines"][2];
  EXPECT_EQ(line["lines"], (json{{{"kind", "changed"},
                                  {"line", 1},
                                  {"column", 33},
                                  {"from", "root /srv/a;"},
                                  {"to", "root /b;"}}}));
}

TEST_F(ExplainProgram, ShowsRefusalsAndEndsLikeApply) {
  const Words refused = {"--old", "name=x", "--set", "name=y", "site.conf"};
  const Outcome explained = Explain(refused);
  const Outcome applied = Apply(refused);
  EXPECT_EQ(explained.exit_code, 4);
  EXPECT_EQ(applied.exit_code, 4);
  EXPECT_THAT(explained.out, HasSubstr("\napply refuses this edit:\n"));
  EXPECT_THAT(explained.out, HasSubstr("[unmatched-section]\n"));
  EXPECT_EQ(ExplainJson(refused)["refused"], true);

  Words forced = refused;
  forced.insert(forced.begin(), {"--force", "unmatched-section"});
  EXPECT_EQ(Explain(forced).exit_code, 0);
  EXPECT_THAT(Explain(forced).out, Not(HasSubstr("refuses")));
}

TEST_F(ExplainProgram, TakesTheOptionsOfApply) {
  struct Case {
    const char* name;
    Words words;
    const char* refusal;  // "" for none
  };
  m_sandbox.Write("values.json", R"({"name": "b.example"})");
  const Case cases[] = {
      {"--values", {"--values", "values.json"}, ""},
      {"--no-create", {"--no-create", "--set", "name=b"}, "[unmatched-section]"},
      {"--only-create", {"--only-create", "--set", "name=a.example"}, "[exists]"},
      {"a value with a semicolon", {"--set", "name=a; x"}, "[value]"},
      {"--raw", {"--raw", "name", "--set", "name=a.example b"}, ""},
      {"--unset", {"--unset", "name"}, "[missing-value]"},
      {"--must-exist", {"--must-exist", "--set", "name=a.example"}, ""},
      {"--all", {"--all", "--set", "name=a.example"}, ""},
      {"--import-root", {"--import-root", ".", "--set", "name=b"}, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Words words = c.words;
    words.emplace_back("site.conf");
    const Outcome outcome = Explain(words);
    EXPECT_EQ(outcome.exit_code, *c.refusal == '\0' ? 0 : 4) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr(c.refusal));
    EXPECT_EQ(Apply(words).exit_code, outcome.exit_code);
  }
}

TEST_F(ExplainProgram, ReadsStandardInputAndGuesses) {
  const Words words = {"explain", "--template", "site.template", "--set", "name=a.example"};
  const Outcome outcome = Run(words, kSite);
  EXPECT_THAT(outcome.out, HasSubstr("(standard input) (nginx): nothing changes\n"));
  EXPECT_THAT(outcome.err, HasSubstr("(standard input): taken for nginx"));
  EXPECT_EQ(outcome.exit_code, 0);
}

TEST_F(ExplainProgram, KeepsTheTerminalAsItIs) {
  m_sandbox.Write("site.template", "server {\nserver_name a.example;\n# \x1b[2J\n}\n\x1b[2J\n");
  EXPECT_EQ(Explain({"site.conf"}).out.find('\x1b'), std::string::npos);
}

TEST_F(ExplainProgram, ColoursAndIgnores) {
  m_sandbox.Write("site.template", "server {\nserver_name a.example;\nroot {% $root %};\n}\n");
  const Words words = {"--color", "always", "site.conf"};
  EXPECT_THAT(Explain(words).out, HasSubstr("\x1b[1m"));
  EXPECT_THAT(Explain(words).out, HasSubstr("[missing-value]"));
  EXPECT_THAT(Explain({"--ignore", "missing-value", "site.conf"}).out,
              Not(HasSubstr("[missing-value]")));
  const Outcome unknown = Explain({"--ignore", "x", "site.conf"});
  EXPECT_EQ(unknown.exit_code, 2);
  EXPECT_THAT(unknown.err, HasSubstr("--ignore: 'x' is no warning; known are: missing-value,"));
}

TEST_F(ExplainProgram, SaysOfABlockThatIsThereTwiceThatItMayBeEach) {
  m_sandbox.Write("two.conf", "server {\nserver_name a;\n}\nserver {\nserver_name a;\n}\n");
  m_sandbox.Write("two.template", "server {\nserver_name a;\ngzip on;\n}\n");
  const Outcome outcome =
      Run({"explain", "--dialect", "nginx", "--template", "two.template", "two.conf"});
  EXPECT_THAT(outcome.out, HasSubstr("\nseveral blocks fit, see below: 'server {'\n"));
  EXPECT_THAT(outcome.out, HasSubstr("nothing: several blocks fit: 'server {'\n"));
  EXPECT_THAT(outcome.out, Not(HasSubstr("not there")));
}

// --- A whole server ---

class ExplainServer : public ExplainProgram {
 protected:
  // A server with two sites in files of their own.
  ExplainServer() {
    std::filesystem::create_directory(m_sandbox.PathOf("sites"));
    m_sandbox.Write("nginx.conf", "http {\n    include sites/*;\n}\n");
    m_sandbox.Write("sites/a", ServerNamed("a.example"));
    m_sandbox.Write("sites/b", ServerNamed("b.example"));
  }

  json JsonOf(const Words& more) const {
    Words words = {"--server", "nginx.conf"};
    words.insert(words.end(), more.begin(), more.end());
    return ExplainJson(words);
  }

  // The names of the files that the JSON says change. apply makes each what it says.
  Words ChangedFiles(const Words& more) const {
    const json told = JsonOf(more);
    Words names;
    std::vector<std::string> texts;
    for (const json& file : told["files"]) {
      names.push_back(file["file"]);
      EXPECT_EQ(file["is_new"], !std::filesystem::exists(m_sandbox.PathOf(names.back())));
      texts.push_back(Replayed(file["is_new"] ? "" : m_sandbox.Read(names.back()), file));
    }
    Words words = {"--server", "--in-place", "nginx.conf"};
    words.insert(words.end(), more.begin(), more.end());
    const Outcome outcome = Apply(words);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    for (std::size_t i = 0; i < names.size(); ++i) {
      EXPECT_EQ(m_sandbox.Read(names[i]), texts[i]) << names[i];
    }
    EXPECT_EQ(told["main"], "nginx.conf");
    EXPECT_EQ(told["refused"], false);
    return names;
  }
};

TEST_F(ExplainServer, SaysInWhichFileEachLineIs) {
  m_sandbox.Write("site.template", "server {\nserver_name b.example;\nroot [% $root %];\n}\n");
  const Words words = {"--set", "root=/b"};
  const json told = JsonOf(words);
  const json& blocks = told["blocks"];
  ASSERT_EQ(blocks.size(), 1U);
  EXPECT_EQ(blocks[0]["found"], (json{{{"file", "sites/b"}, {"line", 1}, {"column", 1}}}));
  EXPECT_EQ(told["template_lines"][1]["lines"][0]["file"], "sites/b");
  EXPECT_EQ(told["template_lines"][2]["lines"], (json{{{"kind", "changed"},
                                                       {"file", "sites/b"},
                                                       {"line", 3},
                                                       {"column", 1},
                                                       {"from", "root /srv/a;"},
                                                       {"to", "root /b;"}}}));
  EXPECT_EQ(ChangedFiles(words), Words{"sites/b"});
}

TEST_F(ExplainServer, HasTheChangesOfEachFile) {
  m_sandbox.Write("site.template", "server {\nroot /srv/a;\ngzip on;\n}\n");
  EXPECT_EQ(ChangedFiles({"--all"}), (Words{"sites/a", "sites/b"}));
  m_sandbox.Write("site.template", "server {\nserver_name new.example;\n}\n");
  EXPECT_EQ(ChangedFiles({"--new-in", "sites/{name}"}), Words{"sites/new.example"});
  EXPECT_EQ(ChangedFiles({"--new-in", "sites/{name}"}), Words{});
}

TEST_F(ExplainServer, SaysWhyApplyRefuses) {
  m_sandbox.Write("site.template", "server {\nserver_name {% $name %};\n}\n");
  const json told = JsonOf({"--old", "name=a.example", "--set", "name=b.example"});
  EXPECT_EQ(told["refused"], true);
  EXPECT_EQ(told["files"], json::array());
  ASSERT_EQ(told["refusals"].size(), 1U);
  EXPECT_EQ(told["refusals"][0]["name"], "collision");
  std::set<std::string> files;
  for (const json& place : told["refusals"][0]["config_places"]) files.insert(place["file"]);
  EXPECT_EQ(files, (std::set<std::string>{"sites/a", "sites/b"}));
}

}  // namespace
