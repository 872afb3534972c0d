// SPDX-License-Identifier: Apache-2.0

// The code of the page for C++ programs is this file's: it compiles, and does what the page says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qeltemplate/edit/edit.h>
#include <qeltemplate/edit/file_importer.h>
#include <qeltemplate/edit/lint.h>
#include <qeltemplate/server/sites.h>
#include <qeltemplate/update/update.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

// Moves the site to another directory.
std::string Moved(const std::string& config, const std::string& root) {
  tov_edit::Request request;
  request.dialect = tov_edit::Dialect::kNginx;
  request.template_name = "site.template";
  request.template_text =
      "server {\n"
      "  listen 443;\n"
      "  server_name a.example;\n"
      "  root [% $root %];\n"
      "}\n";
  request.values["root"] = {std::nullopt, root};

  const tov_edit::Result result = tov_edit::Edit(request, config, "site.conf");
  if (!result.refusals.empty()) throw std::runtime_error(tov_edit::Shown(result.refusals.front()));
  return result.text;
}

// Gives the site another name, in each of its blocks.
tov_edit::Result Renamed(const std::string& config, const std::string& from,
                         const std::string& to) {
  tov_edit::Request request;
  request.dialect = tov_edit::Dialect::kNginx;
  request.template_name = "name.template";
  request.template_text = "server {\n  server_name {% $name %};\n}\n";
  request.values["name"] = {from, to};
  request.all = true;
  return tov_edit::Edit(request, config, "site.conf");
}

// What to tell the user of an edit that was refused.
std::string Reasons(const tov_edit::Result& result) {
  std::ostringstream reasons;
  for (const tov_edit::Finding& refusal : result.refusals) {
    reasons << tov_edit::Shown(tov_edit::PlaceOf(refusal)) << ": " << refusal.message << '\n';
    for (const tov_edit::FilePlace& place : refusal.config_places) {
      reasons << "  see " << tov_edit::Shown(place) << '\n';
    }
    if (!refusal.hint.empty()) reasons << "  " << refusal.hint << '\n';
  }
  return reasons.str();
}

// Whether the same request with Request::all would do.
bool WouldAllDo(const tov_edit::Finding& refusal) {
  return std::count(refusal.remedies.begin(), refusal.remedies.end(), tov_edit::Remedy::kAll) != 0;
}

// Each directive that the edit would add, change or remove, behind the line of the template.
std::vector<std::string> Plan(const tov_edit::Request& request, const std::string& config) {
  const tov_edit::EditReport report = tov_edit::Explain(request, config, "site.conf").report;
  std::vector<std::string> plan;
  for (const tov_edit::EditReport::Item& item : report.items) {
    for (const tov_edit::EditReport::Event& event : item.events) {
      if (event.kind == tov_edit::EditReport::Event::Kind::kFound) continue;
      plan.push_back(tov_edit::Shown(item.place) + ": '" + event.from + "' -> '" + event.to + "'");
    }
  }
  return plan;
}

// What is wrong with a template that somebody has just written.
std::vector<std::string> Mistakes(const std::string& template_text) {
  tov_edit::Request request;
  request.dialect = tov_edit::Dialect::kNginx;
  request.template_name = "site.template";
  request.template_text = template_text;
  std::vector<std::string> mistakes;
  for (const tov_edit::Finding& finding : tov_edit::Lint(request, tov_edit::ValuesGiven::kNone)) {
    mistakes.push_back(tov_edit::Shown(finding) + " [" + finding.name + "]");
  }
  return mistakes;
}

// Gives a site of the file another name. `all`: in each of its blocks, as for ports 80 and 443;
// else several are refused. Returns why not, and where; nothing: it is done.
std::vector<std::string> RenameSite(const std::string& file, const std::string& from,
                                    const std::string& to, bool all) {
  tov_edit::Request request;
  request.dialect = tov_edit::Dialect::kNginx;
  request.template_name = "name.template";
  request.template_text = "server {\n\tserver_name {% $name %};\n}\n";
  request.values["name"] = {from, to};
  request.all = all;

  tov_update::FileUpdate update({file});
  const tov_edit::Result result = tov_edit::Edit(request, update.Read(0), file);
  std::vector<std::string> reasons;
  for (const tov_edit::Finding& refusal : result.refusals) {
    reasons.push_back(tov_edit::Shown(refusal));
  }
  if (reasons.empty()) {
    update.Replace(0, result.text);
    update.Commit({});
  }
  return reasons;
}

// Where the sites of a server stand that have this name: "/etc/nginx/sites-enabled/shop:1:1".
std::vector<std::string> PlacesOf(const std::string& main, const std::string& name) {
  tov_server::ReadingOptions options;
  options.dialect = tov_server::Dialect::kNginx;
  options.main = main;
  std::vector<std::string> places;
  for (const tov_server::Site& site : tov_server::ReadSites(options).sites) {
    if (!tov_server::HasName(site, options.dialect, name)) continue;
    places.push_back(tov_edit::Shown(site.place));
  }
  return places;
}

// Edits the files, all of them or none.
void EditFiles(const tov_edit::Request& request, const std::vector<std::string>& names,
               const tov_update::UpdateOptions& options) {
  tov_update::FileUpdate files(names);
  for (std::size_t i = 0; i < files.Size(); ++i) {
    const tov_edit::Result result = tov_edit::Edit(request, files.Read(i), files.Name(i));
    if (!result.refusals.empty())
      throw std::runtime_error(tov_edit::Shown(result.refusals.front()));
    files.Replace(i, result.text);
  }
  files.Commit(options);
}

// --- What the page says of them ---

std::string TextOf(const std::string& file) {
  std::ifstream stream(QELTEMPLATE_SOURCE_DIR "/" + file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// The blocks of code in `language` of a page, without the lines that include something.
std::vector<std::string> Blocks(const std::string& page, const std::string& language) {
  std::vector<std::string> blocks;
  std::istringstream lines(TextOf(page));
  bool inside = false;
  for (std::string line; std::getline(lines, line);) {
    if (!inside && line == "```" + language) {
      inside = true;
      blocks.emplace_back();
    } else if (line == "```") {
      inside = false;
    } else if (inside && line.rfind("#include", 0) != 0) {
      blocks.back() += line + "\n";
    }
  }
  for (std::string& block : blocks) block.erase(0, block.find_first_not_of('\n'));
  return blocks;
}

constexpr char kPage[] = "docs/cpp.md";

// The block of text number `number` of the page.
std::string Shown(std::size_t number) {
  const std::vector<std::string> blocks = Blocks(kPage, "text");
  return number < blocks.size() ? blocks[number] : "there is no such block";
}

const std::string& Config() {
  static const std::string config = Blocks(kPage, "nginx").at(0);
  return config;
}

tov_edit::Request RequestFor(const std::string& template_text) {
  tov_edit::Request request;
  request.template_name = "site.template";
  request.template_text = template_text;
  return request;
}

std::string Lines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

TEST(CppPage, ShowsTheCodeOfThisFile) {
  const std::string here = TextOf("tests/docs/cpp_page_test.cpp");
  const std::vector<std::string> blocks = Blocks(kPage, "cpp");
  EXPECT_GE(blocks.size(), 6U);
  for (const std::string& block : blocks) EXPECT_THAT(here, testing::HasSubstr(block));
  const std::vector<std::string> readme = Blocks("README.md", "cpp");
  EXPECT_EQ(readme.size(), 1U);
  for (const std::string& block : readme) EXPECT_THAT(here, testing::HasSubstr(block));
}

TEST(CppPage, MovesTheSite) {
  std::string expected = Config();
  const std::string from = "/srv/a.example;";
  expected.replace(expected.find(from), from.size(), "/data/a.example;");
  EXPECT_EQ(Moved(Config(), "/data/a.example"), expected);
}

TEST(CppPage, RenamesEachBlock) {
  const tov_edit::Result result = Renamed(Config(), "a.example", "b.example");
  EXPECT_THAT(result.refusals, testing::IsEmpty());
  EXPECT_EQ(result.changes.size(), 2U);
  EXPECT_THAT(Reasons(Renamed(Config(), "x.example", "b.example")),
              testing::HasSubstr("x.example"));
}

TEST(CppPage, ShowsTheReasonsOfARefusal) {
  const tov_edit::Request request =
      RequestFor("server {\n  server_name a.example;\n  gzip on;\n}\n");
  const tov_edit::Result result = tov_edit::Edit(request, Config(), "site.conf");
  EXPECT_EQ(Reasons(result), Shown(0));
  ASSERT_EQ(result.refusals.size(), 1U);
  EXPECT_TRUE(WouldAllDo(result.refusals.front()));
}

TEST(CppPage, ShowsWhatIsExplained) {
  tov_edit::Request request =
      RequestFor("server {\n  listen 443;\n  root {% $root %};\n  gzip on;\n}\n");
  request.values["root"] = {"/srv/a.example", "/data/a.example"};
  EXPECT_EQ(Lines(Plan(request, Config())), Shown(1));
}

TEST(CppPage, ShowsTheMistakesOfATemplate) {
  EXPECT_EQ(Lines(Mistakes("server {\n  root {% $root;\n}\n")), Shown(2));
}

TEST(CppPage, EditsFilesAllOrNone) {
  const Sandbox sandbox;
  sandbox.Write("part.template", "  gzip on;\n");
  sandbox.Write("a", "server {\n}\n");
  sandbox.Write("b", "server {\n}\n");
  tov_edit::Request request = RequestFor("server {\n{% import part.template %}\n}\n");
  request.importer = tov_edit::FileImporter(sandbox.PathOf(""));
  const std::vector<std::string> names = {sandbox.PathOf("a"), sandbox.PathOf("b")};
  tov_update::UpdateOptions options;
  options.check = "false";
  EXPECT_THROW(EditFiles(request, names, options), tov_update::ServerRefusal);
  EXPECT_EQ(sandbox.Read("a"), "server {\n}\n");
  options.check = "true";
  options.backup_suffix = ".orig";
  EditFiles(request, names, options);
  for (const char* const name : {"a", "b"}) {
    EXPECT_THAT(sandbox.Read(name), testing::HasSubstr("gzip on;"));
  }
  EXPECT_EQ(sandbox.Read("b.orig"), "server {\n}\n");
}

// What it does beside the program, and beside other languages, tests/install/rename.sh asks.
TEST(CppPage, RenamesASiteOfAFile) {
  const Sandbox sandbox;
  sandbox.Write("a", "server {\n  server_name a.example;\n}\n");
  const std::string file = sandbox.PathOf("a");
  EXPECT_THAT(RenameSite(file, "a.example", "b.example", false), testing::IsEmpty());
  EXPECT_EQ(sandbox.Read("a"), "server {\n  server_name b.example;\n}\n");
  EXPECT_THAT(RenameSite(file, "a.example", "c.example", true),
              testing::ElementsAre(testing::HasSubstr("name.template:1:1: there is no")));
  EXPECT_EQ(sandbox.Read("a"), "server {\n  server_name b.example;\n}\n");

  const std::string two = sandbox.PathOf("two");
  const std::string name = "  server_name a.example;\n}\n";
  sandbox.Write("two", "server {\n  listen 80;\n" + name + "server {\n  listen 443 ssl;\n" + name);
  EXPECT_THAT(RenameSite(two, "a.example", "b.example", false),
              testing::ElementsAre(testing::HasSubstr("fits several blocks: ")));
  EXPECT_THAT(RenameSite(two, "a.example", "b.example", true), testing::IsEmpty());
  EXPECT_THAT(sandbox.Read("two"), testing::Not(testing::HasSubstr("a.example")));
}

TEST(CppPage, FindsTheSitesOfAServer) {
  const Sandbox sandbox;
  std::filesystem::create_directory(sandbox.PathOf("sites"));
  sandbox.Write("nginx.conf", "http {\n  include sites/*;\n}\n");
  sandbox.Write("sites/a", "server {\n  server_name a.example;\n}\n");
  sandbox.Write("sites/b", "\n  server {\n    server_name *.b.example;\n  }\n");
  const std::string main = sandbox.PathOf("nginx.conf");
  EXPECT_THAT(PlacesOf(main, "x.b.example"),
              testing::ElementsAre(sandbox.PathOf("sites/b") + ":2:3"));
  EXPECT_THAT(PlacesOf(main, "c.example"), testing::IsEmpty());
}

}  // namespace
