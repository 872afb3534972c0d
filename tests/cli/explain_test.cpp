// SPDX-License-Identifier: Apache-2.0

// qeltemplate explain: what it says of each template line, and that it says what apply does.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/edit.h"
#include "cli/explanation.h"
#include "cli/json_text.h"
#include "cli/program.h"
#include "property/random_input.h"

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
  const json& edits = explanation["edits"];
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

cli::Request RandomRequest(const std::string& template_text) {
  cli::Request request;
  request.dialect = "nginx";
  request.template_file = "site.template";
  request.template_text = Ascii(template_text);
  request.values = {{"a", {"a", "b c"}},
                    {"b", {tov_template::NullValue(), "2"}},
                    {"ip", {"127.0.0.1", "10.0.0.1"}}};
  return request;
}

std::string Differ(const std::string& what, const std::string& a, const std::string& b) {
  return a == b ? "" : what + ":\n" + a + "\n-- is not --\n" + b;
}

// What explain says is the outcome of apply: the edits lead to its text, refusals stand where it
// refuses, and each edit has its reason.
std::string AgreesWithApply(const cli::Request& request, const std::string& config) {
  const std::string name = "site.conf";
  std::string applied;
  bool refused = false;
  try {
    applied = cli::Edit(request, config, name).text;
  } catch (const cli::Refusal&) {
    refused = true;
  }
  cli::Explained explained;
  try {
    explained = cli::Explain(request, config, name);
  } catch (const cli::Refusal&) {
    return refused ? "" : "explain refuses what apply does not";
  }
  const json parsed = json::parse(
      cli::JsonText(cli::ExplanationJson(cli::ExplainedEdit{request, name, explained.report})));
  if (refused != parsed["refused"].get<bool>()) return "refused by one of them only";
  const std::string replayed = Replayed(config, parsed);
  if (replayed != explained.edited.text) {
    return Differ("replayed", replayed, explained.edited.text);
  }
  if (!refused && replayed != applied) return Differ("replayed, as applied", replayed, applied);
  for (const json& edit : parsed["edits"]) {
    if (edit["template_lines"].empty() && !refused) {
      return "an edit without a reason: " + edit.dump();
    }
  }
  return "";
}

std::string ExplainIsApply(const std::string& config, const std::string& template_text) {
  return AgreesWithApply(RandomRequest(template_text), Ascii(config));
}

// Each value as it is, so that blocks are found and less is refused.
std::string ExplainIsApplyForSettledValues(const std::string& config,
                                           const std::string& template_text) {
  cli::Request request = RandomRequest(template_text);
  for (auto& [name, value] : request.values) value.old_value = value.new_value;
  return AgreesWithApply(request, Ascii(config));
}

// A template that is the configuration but for some lines: much of it is found.
std::string ExplainIsApplyForLikeTexts(const std::string& config,
                                       const std::string& template_text) {
  const std::string site = "server {\nserver_name a;\n" + Ascii(config) + "\n}\n\n# end";
  cli::Request request =
      RandomRequest("server {\nserver_name {% $a %};\nroot {% $a %};\n" + template_text + "\n}\n");
  request.forced = {"lost-lines",        "other-directive", "unbalanced",  "duplicate-identity",
                    "unmatched-section", "odd-line",        "not-applied", "template"};
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
      cli::Request request = RandomRequest(text);
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
      {"added", "gzip on;", "added", "added: no line of the block begins with 'gzip on;'"},
      {"there already", "index x;", "already-there", "already there site.conf:5 'index x;'"},
      {"there with other blanks", "etag off;", "already-there",
       "already there site.conf:6 'etag   off; # x'"},
      {"changed", "root [% $r %];", "changed", "changed site.conf:4 'root /srv/a;' to 'root /b;'"},
      {"changed by old value", "root {% $or %};", "changed",
       "changed site.conf:4 'root /srv/a;' to 'root /b;'"},
      {"listen is there", "listen 80;", "already-there", "already there site.conf:3 'listen 80;'"},
      {"listen is added", "listen 81;", "added", "added: no line"},
      {"a value is missing", "root {% $none %};", "missing-value",
       "nothing: no new value for 'none'"},
      {"nothing is left", "{% $empty %}", "no-key",
       "nothing: with its values, nothing is left of it"},
      {"an address that is not understood", "listen *:80;", "no-effect",
       "nothing: the library does not understand its value"},
  };
  m_sandbox.Write("site.conf",
                  "server {\nserver_name a.example;\nlisten 80;\nroot /srv/a;\nindex x;\n"
                  "etag   off; # x\n}\n");
  const Words values = {"--set",     "r=/b",  "--set",  "or=/b",    "--old",
                        "or=/srv/a", "--set", "empty=", "site.conf"};
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
                  "{% import nowhere %}\n}\n{% if $tls == on %}\nserver {\nserver_name b;\n}\n"
                  "{% endif %}\n");
  const std::string said = Explain({"--set", "tls=off", "site.conf"}).out;
  const std::string because = "{% if $tls == on %} (site.template:3) is not taken, tls is 'off'\n";
  EXPECT_THAT(said, HasSubstr("removed site.conf:3 'root /srv/a;': " + because));
  EXPECT_THAT(
      said,
      HasSubstr("nothing to remove: no line of the block begins with 'gzip on;', and " + because));
  EXPECT_THAT(said, HasSubstr("not taken: tls is 'off'\n"));
  EXPECT_THAT(said, HasSubstr("not taken: x has no value\n"));
  EXPECT_THAT(said, HasSubstr("no such file: nothing is imported\n"));
  EXPECT_THAT(said, HasSubstr("\nnot there: server { server_name b\n"));
  EXPECT_THAT(said, HasSubstr("added: no line of the block begins with 'etag off;'"));
}

TEST_F(ExplainProgram, ShowsTheBlocksThatLinesAreFor) {
  m_sandbox.Write("site.conf",
                  "events {\n}\nserver {\nserver_name a.example;\nlocation /img/ {\netag off;\n"
                  "}\nlocation /old/ {\netag off;\n}\n}\n");
  m_sandbox.Write("site.template",
                  "server {\nserver_name {% $name %};\nssl on;\nlocation /img/ {\n}\n"
                  "location {% $path %} {\n}\nlocation /new/ {\nreturn 404;\n}\n}\n");
  const std::string said = Explain({"--old", "name=a.example", "--set", "name=b.example", "--old",
                                    "path=/old/", "--set", "path=/other/", "site.conf"})
                               .out;
  EXPECT_THAT(said, HasSubstr("\nserver { server_name a.example (site.conf:3), which the template "
                              "calls 'server { server_name a.example ssl on'\n"));
  EXPECT_THAT(said, HasSubstr("\nserver { server_name a.example > location /img/ { (site.conf:5)"));
  EXPECT_THAT(said, HasSubstr("> location /other/ { (site.conf:8), before 'location /old/ {'\n"));
  EXPECT_THAT(said, HasSubstr("> location /new/ { (new)\n"));
}

TEST_F(ExplainProgram, ShowsLinesThatAreShownOtherwise) {
  m_sandbox.Write("site.conf", "server { # main\nserver_name   a.example;\n}\n");
  EXPECT_THAT(Explain({"--set", "name=a.example", "site.conf"}).out,
              HasSubstr("Shown to the library otherwise, so that it is recognised:\n"
                        "site.conf:1: 'server { # main' as 'server {'\n"
                        "site.conf:2: 'server_name   a.example;' as 'server_name a.example;'\n"));
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
      {"--raw", {"--raw", "name", "--set", "name=a; x"}, ""},
      {"--unset", {"--unset", "name"}, "[other-block]"},
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
  const Words words = {"--unset", "name", "--color", "always", "site.conf"};
  EXPECT_THAT(Explain(words).out, HasSubstr("\x1b[1m"));
  EXPECT_THAT(Explain(words).out, HasSubstr("[missing-value]"));
  EXPECT_THAT(Explain({"--unset", "name", "--ignore", "missing-value", "site.conf"}).out,
              Not(HasSubstr("[missing-value]")));
  const Outcome unknown = Explain({"--ignore", "x", "site.conf"});
  EXPECT_EQ(unknown.exit_code, 2);
  EXPECT_THAT(unknown.err, HasSubstr("--ignore: 'x' is no warning; known are: missing-value,"));
}

}  // namespace
