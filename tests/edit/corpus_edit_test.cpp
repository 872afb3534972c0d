// SPDX-License-Identifier: Apache-2.0

// The ordinary edits, one of each kind on every site of the files that people have. Done once more,
// an edit changes nothing.

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "edit/config_tree.h"
#include "edit/edit_adapter.h"
#include "edit/edit_judge.h"
#include "edit/site_edit.h"

namespace {

using namespace edit_judge;
namespace fs = std::filesystem;

enum class Verdict {
  kRight,
  kRefused,           // although just one site can be meant
  kWrong,             // or done to one of several that can be meant
  kAlike,             // refused: several sites have the name and the address
  kNameless,          // refused: several sites have the address, and no name
  kNamelessAndNamed,  // refused: a site without a name has its address with sites that have names
  kCount
};

constexpr std::size_t kVerdicts = static_cast<std::size_t>(Verdict::kCount);

struct Judged {
  Verdict verdict = Verdict::kRight;
  std::string reason;
};

// On one line, for a list.
std::string InOneLine(const std::string& text) {
  std::string line;
  std::istringstream words(text);
  for (std::string word; words >> word;) line += (line.empty() ? "" : " ") + word;
  return line;
}

Judged RefusalFor(Meant meant, const std::string& reason) {
  switch (meant) {
    case Meant::kOne:
      return {Verdict::kRefused, reason};
    case Meant::kPerhapsOne:
    case Meant::kSeveral:
      return {Verdict::kAlike, reason};
    case Meant::kSeveralNameless:
      return {Verdict::kNameless, reason};
    case Meant::kNamelessAndNamed:
      return {Verdict::kNamelessAndNamed, reason};
  }
  return {Verdict::kWrong, "no such meaning"};
}

Judged JudgeEdit(Dialect dialect, const std::string& text, const Tree& tree, std::size_t site,
                 const SiteEdit& edit) {
  const Outcome outcome = Apply(dialect, edit.template_text, edit.values, text);
  const Meant meant = SitesMeant(dialect, tree, site, edit.stated);
  if (outcome.what == Outcome::What::kFailed) return {Verdict::kWrong, "failed: " + outcome.reason};
  if (outcome.what == Outcome::What::kRefused) return RefusalFor(meant, outcome.reason);
  const std::string wrong = WhatIsWrong(dialect, text, tree, edit.change, outcome.text);
  if (!wrong.empty()) return {Verdict::kWrong, wrong};
  if (meant == Meant::kSeveral || meant == Meant::kSeveralNameless) {
    return {Verdict::kWrong, "done, but several sites have all that the template states"};
  }
  const Outcome again = Apply(dialect, edit.template_text, edit.values, outcome.text);
  if (again.what == Outcome::What::kDone && again.text == outcome.text) return {};
  return {Verdict::kWrong, "done once more, it does not leave the text alone: " + again.reason};
}

// How many edits of each kind came to what.
class Table {
 public:
  void Count(Kind kind, Verdict verdict) {
    ++m_counts.at(static_cast<std::size_t>(kind)).at(static_cast<std::size_t>(verdict));
  }

  int Sum(Verdict verdict) const {
    int sum = 0;
    for (const Row& row : m_counts) sum += row.at(static_cast<std::size_t>(verdict));
    return sum;
  }

  void Print(const std::string& title) const {
    static const std::array<const char*, kVerdicts> verdicts = {
        "right", "refused", "wrong", "alike", "nameless", "nameless+named"};
    std::cout << std::left << std::setw(24) << title << std::right;
    for (const char* verdict : verdicts) std::cout << std::setw(16) << verdict;
    std::cout << "\n";
    for (Kind kind : kKinds) {
      std::cout << std::left << std::setw(24) << NameOf(kind) << std::right;
      for (int count : m_counts.at(static_cast<std::size_t>(kind))) {
        std::cout << std::setw(16) << count;
      }
      std::cout << "\n";
    }
    std::cout << std::left << std::setw(24) << "all" << std::right;
    for (std::size_t i = 0; i < kVerdicts; ++i) {
      std::cout << std::setw(16) << Sum(static_cast<Verdict>(i));
    }
    std::cout << "\n\n";
  }

 private:
  using Row = std::array<int, kVerdicts>;
  std::array<Row, kKinds.size()> m_counts{};
};

class CorpusEdits {
 public:
  CorpusEdits(Dialect dialect, const fs::path& folder) : m_dialect(dialect) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
      std::ifstream in(entry.path(), std::ios::binary);
      m_files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(in), {}};
    }
  }

  void JudgeAll() {
    for (const auto& [name, text] : m_files) JudgeFile(name, text);
  }

  void Print(const std::string& title) const {
    m_table.Print(title);
    for (const std::string& line : m_listed) std::cout << line << "\n";
    std::cout << "\n";
  }

  int Sum(Verdict verdict) const { return m_table.Sum(verdict); }

 private:
  void JudgeFile(const std::string& name, const std::string& text) {
    const Tree tree = ReadTree(m_dialect, text);
    if (!tree.error.empty()) {
      m_listed.push_back("left out: " + name + ", " + tree.error);
      return;
    }
    for (std::size_t site : SitesOf(m_dialect, tree)) {
      const std::size_t line = LineNumber(text, tree.nodes.at(site).head.begin);
      for (Kind kind : kKinds) {
        JudgeSite(name + ":" + std::to_string(line), text, tree, site, kind);
      }
    }
  }

  void JudgeSite(const std::string& place, const std::string& text, const Tree& tree,
                 std::size_t site, Kind kind) {
    const auto edit = EditOf(kind, m_dialect, text, tree, site);
    if (!edit) return;
    const Judged judged = JudgeEdit(m_dialect, text, tree, site, *edit);
    m_table.Count(kind, judged.verdict);
    if (judged.verdict == Verdict::kRight) return;
    static const std::array<const char*, kVerdicts> words = {
        "right", "REFUSED", "WRONG", "alike", "nameless", "nameless beside named"};
    m_listed.push_back(std::string(words.at(static_cast<std::size_t>(judged.verdict))) + ": " +
                       place + ", " + NameOf(kind) + ": " + InOneLine(judged.reason));
  }

  const Dialect m_dialect;
  std::map<std::string, std::string> m_files;
  Table m_table;
  std::vector<std::string> m_listed;
};

void ExpectGoodEdits(Dialect dialect, const std::string& name, int fewest) {
  const fs::path folder = fs::path(QELTEMPLATE_SOURCE_DIR) / "../shared/corpus" / name;
  if (!fs::is_directory(folder)) GTEST_SKIP() << "the corpus is not at " << folder;
  CorpusEdits edits(dialect, folder);
  edits.JudgeAll();
  edits.Print(name);
  const int right = edits.Sum(Verdict::kRight);
  const int refused = edits.Sum(Verdict::kRefused);
  EXPECT_EQ(edits.Sum(Verdict::kWrong), 0);
  EXPECT_LE(100 * refused, right + refused) << "at most one of 100 may be refused";
  EXPECT_GE(right, fewest);
}

TEST(CorpusEdit, EditsEveryServerOfNginx) {
  ExpectGoodEdits(Dialect::kNginx, "nginx", 300);
}

TEST(CorpusEdit, EditsEveryVirtualHostOfApache) {
  ExpectGoodEdits(Dialect::kApache, "apache", 80);
}

}  // namespace
