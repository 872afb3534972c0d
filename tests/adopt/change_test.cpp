// SPDX-License-Identifier: Apache-2.0

// Random changes of the files that people have, made by a tree that shares nothing with what looks
// for them, are found again: the template leads from one text to the other and back. The sites of
// the changed texts are adopted.
//
// SEED and CASES, how often each file is changed, come from the environment.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "adopt/adopt.h"
#include "adopt/corpus_sites.h"
#include "edit/edit.h"
#include "support/real_configs.h"

namespace {

using namespace adopt_judge;
using edit_judge::Node;

int NumberFrom(const char* variable, int fallback) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? fallback : std::atoi(text);
}

class RandomChange {
 public:
  // Of words only, or of lines as well.
  enum class Kind { kWords, kLines };

  RandomChange(Dialect dialect, Kind kind, unsigned seed)
      : m_dialect(dialect), m_kind(kind), m_random(seed) {}

  // `text` with a few changes; the same where it has nothing that they could be made to.
  std::string Of(std::string text) {
    for (int left = 1 + Below(4); left > 0; --left) text = Once(text);
    return text;
  }

 private:
  int Below(std::size_t bound) {
    return static_cast<int>(std::uniform_int_distribution<std::size_t>(0, bound - 1)(m_random));
  }

  std::string Once(const std::string& text) {
    const Tree tree = edit_judge::ReadTree(m_dialect, text);
    std::vector<std::size_t> directives;
    std::vector<std::size_t> blocks;
    for (std::size_t i = 1; i < tree.nodes.size(); ++i) {
      const Node& node = tree.nodes.at(i);
      if (node.is_block) blocks.push_back(i);
      // httpd takes no odd words among Options.
      const bool options = edit_judge::IsCalled(Dialect::kApache, node, "Options");
      if (!node.is_block && node.words.size() > 1 && !options) directives.push_back(i);
    }
    if (directives.empty()) return text;
    const Node& node =
        tree.nodes.at(directives.at(static_cast<std::size_t>(Below(directives.size()))));
    switch (m_kind == Kind::kWords ? 0 : Below(5)) {
      case 0:
      case 1:
        return WithOtherWord(text, node);
      case 2:
        return WithoutLines(text, node.head);
      case 3:
        return WithLine(text, node);
      default:
        if (blocks.empty()) return text;
        return WithoutBlock(
            text, tree.nodes.at(blocks.at(static_cast<std::size_t>(Below(blocks.size())))));
    }
  }

  std::string NewText() { return "new" + std::to_string(++m_count); }

  std::string WithOtherWord(const std::string& text, const Node& node) {
    const auto& bytes =
        node.words.at(1 + static_cast<std::size_t>(Below(node.words.size() - 1))).bytes;
    return text.substr(0, bytes.begin) + NewText() + text.substr(bytes.end);
  }

  // The lines that the bytes have to themselves; none: others stand there, too.
  static edit_judge::Bytes OwnLines(const std::string& text, edit_judge::Bytes bytes) {
    std::size_t begin = bytes.begin;
    while (begin > 0 && (text[begin - 1] == ' ' || text[begin - 1] == '\t')) --begin;
    const std::size_t end = text.find_first_not_of(" \t\r", bytes.end);
    if (end == std::string::npos || text[end] != '\n' || (begin > 0 && text[begin - 1] != '\n')) {
      return {};
    }
    return {begin, end + 1};
  }

  static std::string WithoutLines(const std::string& text, edit_judge::Bytes bytes) {
    const edit_judge::Bytes lines = OwnLines(text, bytes);
    return text.substr(0, lines.begin) + text.substr(lines.end);
  }

  std::string WithoutBlock(const std::string& text, const Node& node) {
    const std::string inside = text.substr(node.head.begin, node.closing.end - node.head.begin);
    // What a template cannot put back: comments and blank lines are no part of it.
    const bool plain =
        inside.find('#') == std::string::npos && inside.find("\n\n") == std::string::npos;
    if (!plain) return text;
    return WithoutLines(text, {node.head.begin, node.closing.end});
  }

  // With a line behind the directive's.
  std::string WithLine(const std::string& text, const Node& node) {
    const edit_judge::Bytes lines = OwnLines(text, node.head);
    if (lines.end == 0) return text;
    const std::string indentation = text.substr(lines.begin, node.head.begin - lines.begin);
    const bool crlf = lines.end > 1 && text[lines.end - 2] == '\r';
    const std::string line = m_dialect == Dialect::kNginx ? "add_header X-" + NewText() + " always;"
                                                          : "SetEnv " + NewText() + " yes";
    return text.substr(0, lines.end) + indentation + line + (crlf ? "\r\n" : "\n") +
           text.substr(lines.end);
  }

  const Dialect m_dialect;
  const Kind m_kind;
  std::mt19937 m_random;
  int m_count = 0;
};

std::string Edited(const tov_edit::Request& request, const std::string& text) {
  const tov_edit::Result result = Edit(request, text, "site.conf");
  return result.refusals.empty() ? result.text : "refused: " + Shown(result.refusals.front());
}

struct Counts {
  int exact = 0;                       // the bytes are recovered
  int found = 0;                       // what the server reads is
  std::map<std::string, int> refused;  // by names
};

// The directives and blocks of a text, each with the blocks around it, in no order.
std::vector<std::string> Unordered(Dialect dialect, const std::string& text) {
  std::vector<std::string> around;
  std::vector<std::string> all;
  for (const edit_judge::OutlineLine& line :
       edit_judge::OutlineOf(edit_judge::ReadTree(dialect, text))) {
    around.resize(line.depth);
    all.push_back(around.empty() ? "" : around.back());
    for (const std::string& word : line.words) all.back() += word + '\0';
    around.push_back(all.back() + '{');
  }
  std::sort(all.begin(), all.end());
  return all;
}

// `left_out`: what is said of what `made` has not of `wanted`.
void ExpectMade(Dialect dialect, const std::string& made, const std::string& wanted,
                const std::string& left_out) {
  if (left_out.empty()) {
    EXPECT_EQ(made, wanted);
  } else if (left_out.find("the order of lines is left out") != std::string::npos) {
    EXPECT_EQ(Unordered(dialect, made), Unordered(dialect, wanted));
  } else {
    EXPECT_TRUE(edit_judge::OutlineOf(edit_judge::ReadTree(dialect, made)) ==
                edit_judge::OutlineOf(edit_judge::ReadTree(dialect, wanted)))
        << made << wanted;
  }
}

void Try(Dialect dialect, const std::string& before, const std::string& after, Counts& counts) {
  tov_adopt::Options options;
  options.dialect =
      dialect == Dialect::kNginx ? tov_edit::Dialect::kNginx : tov_edit::Dialect::kApache;
  const tov_adopt::Adopted adopted =
      AdoptChange(options, {before, "before.conf"}, {after, "after.conf"});
  if (!adopted.refusals.empty()) {
    const tov_edit::Finding& refusal = adopted.refusals.front();
    ++counts.refused[refusal.name];
    EXPECT_EQ(adopted.template_text, "");
    if (std::getenv("SHOW") != nullptr) std::cout << Shown(refusal) << "\n";
    if (refusal.name == "difference") {
      EXPECT_GT(refusal.config_places.size(), 0U);
    }
    return;
  }
  std::map<std::string, std::string> left_out;  // by the file that is not reached
  bool no_way_back = false;
  for (const tov_edit::Finding& finding : adopted.left_out) {
    if (finding.message.find("there is no way back") == 0) {
      no_way_back = true;
      continue;
    }
    left_out[finding.config_places.at(0).file] = finding.message;
  }
  ++counts.found;
  if (adopted.left_out.empty()) ++counts.exact;
  tov_edit::Request request;
  request.dialect = options.dialect;
  request.template_text = adopted.template_text;
  request.values = adopted.values;
  ExpectMade(dialect, Edited(request, before), after, left_out["after.conf"]);
  for (auto& [name, value] : request.values) std::swap(value.old_value, value.new_value);
  if (no_way_back) {
    EXPECT_NE(Edited(request, after), before);
  } else {
    ExpectMade(dialect, Edited(request, after), before, left_out["before.conf"]);
  }
}

// `exact` and `found`: how many of a hundred at least.
void ExpectFound(Dialect dialect, RandomChange::Kind kind, int exact, int found) {
  Counts counts;
  const auto seed = static_cast<unsigned>(NumberFrom("SEED", 1));
  const int rounds = NumberFrom("CASES", 3);
  unsigned number = 0;
  for (const auto& [name, text] : RealConfigs(dialect == Dialect::kNginx ? "nginx" : "apache")) {
    if (!edit_judge::ReadTree(dialect, text).error.empty() || text.size() > 20'000) continue;
    for (int round = 0; round < rounds; ++round) {
      SCOPED_TRACE(name + ", round " + std::to_string(round));
      const std::string after = RandomChange(dialect, kind, seed * 100'000 + ++number).Of(text);
      if (after == text || !edit_judge::ReadTree(dialect, after).error.empty()) continue;
      Try(dialect, text, after, counts);
    }
  }
  int refused = 0;
  std::cout << counts.found << " found, " << counts.exact << " of them exactly";
  for (const auto& [name, count] : counts.refused) {
    std::cout << ", " << count << " refused as " << name;
    refused += count;
  }
  std::cout << "\n";
  EXPECT_GT(counts.found, 50);
  EXPECT_GE(100 * counts.exact, exact * (counts.found + refused));
  EXPECT_GE(100 * counts.found, found * (counts.found + refused));
}

TEST(RandomChanges, OfWordsOfNginxAreFoundAgain) {
  ExpectFound(Dialect::kNginx, RandomChange::Kind::kWords, 90, 95);
}

TEST(RandomChanges, OfWordsOfApacheAreFoundAgain) {
  ExpectFound(Dialect::kApache, RandomChange::Kind::kWords, 90, 95);
}

// A line that comes back stands where an edit puts it, not always where it stood among blank lines
// and comments.
TEST(RandomChanges, OfLinesOfNginxAreFoundAgain) {
  ExpectFound(Dialect::kNginx, RandomChange::Kind::kLines, 60, 90);
}

TEST(RandomChanges, OfLinesOfApacheAreFoundAgain) {
  ExpectFound(Dialect::kApache, RandomChange::Kind::kLines, 60, 90);
}

// A site of a text becomes a template, an edit with which changes nothing. With another name it can
// be edited back.
void TryToAdopt(Dialect dialect, const std::string& text, const std::string& site, int& adopted) {
  SCOPED_TRACE(site);
  tov_adopt::Options options;
  options.dialect =
      dialect == Dialect::kNginx ? tov_edit::Dialect::kNginx : tov_edit::Dialect::kApache;
  options.site = site;
  const tov_adopt::Adopted made = Adopt(options, text, "site.conf");
  if (!made.refusals.empty()) return;
  ++adopted;
  tov_edit::Request request;
  request.dialect = options.dialect;
  request.template_text = made.template_text;
  request.values = made.values;
  EXPECT_EQ(Edited(request, text), text);
  if (made.values.count("name") == 0) return;
  request.values["name"].new_value = "other.example";
  const std::string renamed = Edited(request, text);
  EXPECT_NE(renamed, text);
  for (auto& [name, value] : request.values) std::swap(value.old_value, value.new_value);
  EXPECT_EQ(Edited(request, renamed), text);
}

void ExpectAdopted(Dialect dialect, int fewest) {
  const auto seed = static_cast<unsigned>(NumberFrom("SEED", 1));
  const int rounds = NumberFrom("CASES", 3);
  unsigned number = 0;
  int sites = 0;
  int adopted = 0;
  for (const auto& [name, text] : RealConfigs(dialect == Dialect::kNginx ? "nginx" : "apache")) {
    if (!edit_judge::ReadTree(dialect, text).error.empty() || text.size() > 20'000) continue;
    for (int round = 0; round < rounds; ++round) {
      SCOPED_TRACE(name + ", round " + std::to_string(round));
      const std::string changed =
          RandomChange(dialect, RandomChange::Kind::kLines, seed * 100'000 + ++number).Of(text);
      const Tree tree = edit_judge::ReadTree(dialect, changed);
      if (!tree.error.empty()) continue;
      for (const Site& site : SitesIn(dialect, changed, tree)) {
        ++sites;
        TryToAdopt(dialect, changed, site.option, adopted);
      }
    }
  }
  std::cout << adopted << " of " << sites << " sites adopted\n";
  EXPECT_GE(adopted, fewest);
  EXPECT_GE(100 * adopted, 90 * sites);
}

TEST(RandomTexts, OfNginxAreAdopted) {
  ExpectAdopted(Dialect::kNginx, 100);
}

TEST(RandomTexts, OfApacheAreAdopted) {
  ExpectAdopted(Dialect::kApache, 50);
}

}  // namespace
