// SPDX-License-Identifier: Apache-2.0

// Values that try to leave their places, in templates that have places everywhere. An edit that is
// made has to give what the template says, with each value inside the word where its place stands;
// where a value cannot stay in there, the edit has to be refused.
//
//   CASES=100000 edit_attack_test   that many attempts, each with the values as they are, quoted
//   and raw SEED=4711 CASES=1 ...           one attempt again, shown whole with SHOW=1

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <string>

#include "edit/attack/attempt.h"
#include "edit/attack/trial.h"

namespace attack {
namespace {

constexpr std::size_t kShownFailures = 5;

// The sanitizers take some twenty times as long.
#ifdef _GLIBCXX_DEBUG
constexpr std::size_t kCases = 200;
#else
constexpr std::size_t kCases = 3000;
#endif

std::size_t FromEnvironment(const char* name, std::size_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr || *text == '\0' ? otherwise : std::strtoul(text, nullptr, 10);
}

struct Table {
  std::size_t made = 0;
  std::size_t rightly = 0;                    // refused, and the judge agrees
  std::map<std::string, std::size_t> others;  // refused where nothing speaks against it

  void Count(bool refused, bool is_right, const std::string& why) {
    if (!refused) {
      ++made;
    } else if (is_right) {
      ++rightly;
    } else {
      ++others[why];
    }
  }

  void Print() const {
    std::cout << "  made: " << made << ", rightly refused: " << rightly
              << ", refused for other reasons:\n";
    for (const auto& [why, count] : others) std::cout << "    " << count << " " << why << "\n";
  }
};

enum class Kind { kPlain, kQuoted, kRaw };

void TryAll(Kind kind) {
  const std::size_t cases = FromEnvironment("CASES", kCases);
  const std::size_t first = FromEnvironment("SEED", 1);
  std::cout << "  SEED=" << first << " CASES=" << cases << "\n";
  Table table;
  std::size_t failures = 0;
  for (std::size_t number = first; number < first + cases; ++number) {
    const Attempt attempt = MakeAttempt(number);
    const Tried tried = kind == Kind::kRaw ? TryRaw(attempt) : Try(attempt, kind == Kind::kQuoted);
    table.Count(tried.refused, tried.rightly, tried.why);
    if (!tried.wrong.empty()) ++failures;
    const bool is_shown = !tried.wrong.empty() && failures <= kShownFailures;
    if (!is_shown && FromEnvironment("SHOW", 0) == 0) continue;
    std::cout << "======== SEED=" << number << " " << tried.wrong << "\n"
              << Shown(attempt) << "--- refused: " << tried.messages << "--- result:\n"
              << tried.text << "\n";
  }
  table.Print();
  EXPECT_EQ(failures, 0U);
  if (cases >= 100) {
    EXPECT_GT(table.made, cases / 10) << "too little is made";
    if (kind == Kind::kRaw) return;
    EXPECT_GT(table.rightly, cases / 20) << "too little is refused";
  }
}

TEST(Attack, NoValueLeavesItsPlace) {
  TryAll(Kind::kPlain);
}

TEST(Attack, QuotedValuesAreWhatTheServerReads) {
  TryAll(Kind::kQuoted);
}

TEST(Attack, RawValuesAreTextAllTheSame) {
  TryAll(Kind::kRaw);
}

}  // namespace
}  // namespace attack
