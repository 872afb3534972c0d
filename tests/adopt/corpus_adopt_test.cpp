// SPDX-License-Identifier: Apache-2.0

// Every site of the files that people have becomes a template. An edit with it changes nothing;
// with another name each line that held the name has the new one, the server takes the result where
// it takes the original, and the way back gives the bytes.

#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "adopt/adopt.h"
#include "adopt/corpus_servers.h"
#include "adopt/corpus_sites.h"
#include "edit/edit.h"

namespace {

using namespace adopt_judge;

constexpr char kOtherName[] = "renamed.example";

tov_edit::Dialect Own(Dialect dialect) {
  return dialect == Dialect::kNginx ? tov_edit::Dialect::kNginx : tov_edit::Dialect::kApache;
}

std::string AllOf(const std::vector<tov_edit::Finding>& findings) {
  std::string all;
  for (const tov_edit::Finding& finding : findings) all += Shown(finding) + "; ";
  return all;
}

// The edited text, or why it is refused.
std::string Edited(const tov_edit::Request& request, const std::string& text) {
  const tov_edit::Result result = Edit(request, text, "site.conf");
  return result.refusals.empty() ? result.text : "refused: " + AllOf(result.refusals);
}

// The first lines in which two texts differ.
std::string Difference(const std::string& expected, const std::string& got) {
  std::istringstream a(expected);
  std::istringstream b(got);
  std::string line;
  std::string other;
  for (;;) {
    const bool more = static_cast<bool>(std::getline(a, line));
    const bool other_more = static_cast<bool>(std::getline(b, other));
    if (!more && !other_more) return "";
    if (line != other || more != other_more) return "'" + line + "' is '" + other + "'";
  }
}

class Corpus {
 public:
  explicit Corpus(Dialect dialect) : m_dialect(dialect) {}

  void JudgeAll() {
    for (const auto& [name, text] : CorpusFiles(m_dialect)) {
      const Tree tree = edit_judge::ReadTree(m_dialect, text);
      if (!tree.error.empty()) continue;
      for (const Site& site : SitesIn(m_dialect, text, tree)) Judge(name, text, tree, site);
    }
    std::cout << sites << " sites, " << whole << " without anything left out, " << asked
              << " renamed ones shown to the server\n";
  }

  int sites = 0;
  int whole = 0;
  int asked = 0;

 private:
  void Judge(const std::string& file, const std::string& text, const Tree& tree, const Site& site) {
    SCOPED_TRACE(file + " " + site.option);
    ++sites;
    tov_adopt::Options options;
    options.dialect = Own(m_dialect);
    options.site = site.option;
    const tov_adopt::Adopted adopted = Adopt(options, text, "site.conf");
    if (!adopted.refusals.empty() || !adopted.left_out.empty()) {
      std::cout << file << " " << site.option << ": " << AllOf(adopted.refusals)
                << AllOf(adopted.left_out) << "\n";
    }
    if (!adopted.refusals.empty()) return;
    if (adopted.left_out.empty()) ++whole;
    tov_edit::Request request;
    request.dialect = options.dialect;
    request.template_text = adopted.template_text;
    request.values = adopted.values;
    EXPECT_EQ(Difference(text, Edited(request, text)), "");
    EXPECT_EQ(adopted.values.count("name"), site.name.empty() ? 0U : 1U);
    if (site.name.empty() || adopted.values.count("name") == 0) return;
    EXPECT_EQ(adopted.values.at("name").old_value, site.name);
    if (adopted.left_out.empty()) Rename(file, text, tree, site, request);
  }

  void Rename(const std::string& file, const std::string& text, const Tree& tree, const Site& site,
              tov_edit::Request request) {
    request.values["name"].new_value = kOtherName;
    const std::string renamed = Edited(request, text);
    EXPECT_EQ(Difference(Renamed(m_dialect, text, tree, site, kOtherName), renamed), "");
    EXPECT_NE(renamed, text);
    for (auto& [name, value] : request.values) std::swap(value.old_value, value.new_value);
    EXPECT_EQ(Difference(text, Edited(request, renamed)), "");
    const auto [known, is_new] = m_contexts.try_emplace(file);
    if (is_new) known->second = m_servers.ContextOf(m_dialect, text);
    if (known->second.empty()) return;
    ++asked;
    EXPECT_EQ(m_servers.Refusal(m_dialect, renamed, known->second), "");
  }

  const Dialect m_dialect;
  CorpusServers m_servers;
  std::map<std::string, std::string> m_contexts;  // by files; "": the server does not take it
};

void ExpectAdopted(Dialect dialect, int fewest, int fewest_asked) {
  if (CorpusFiles(dialect).empty()) GTEST_SKIP() << "the corpus is not at hand";
  Corpus corpus(dialect);
  corpus.JudgeAll();
  EXPECT_GE(corpus.sites, fewest);
  EXPECT_GE(corpus.asked, fewest_asked);
  EXPECT_GE(100 * corpus.whole, 95 * corpus.sites);
}

TEST(CorpusAdopt, AdoptsEverySiteOfNginx) {
  ExpectAdopted(Dialect::kNginx, 80, 30);
}

TEST(CorpusAdopt, AdoptsEverySiteOfApache) {
  ExpectAdopted(Dialect::kApache, 20, 10);
}

}  // namespace
