// SPDX-License-Identifier: Apache-2.0

// Values that try to leave their places, in templates that have places everywhere. An edit that is
// made has to give what the template says, with each value inside the word where its place stands;
// where a value cannot stay in there, the edit has to be refused.
//
//   CASES=100000 edit_attack_test   that many attempts
//   SEED=4711 CASES=1 ...           one attempt again, shown whole with SHOW=1

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "edit/attack/attempt.h"
#include "edit/attack/judge.h"
#include "edit/edit.h"
#include "edit/template_tree.h"

namespace attack {
namespace {

constexpr std::size_t kShownFailures = 5;

std::size_t FromEnvironment(const char* name, std::size_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr || *text == '\0' ? otherwise : std::strtoul(text, nullptr, 10);
}

// What an edit has to say of an attempt.
struct Asked {
  edit::Request request;
  std::vector<std::string> imports;  // the names that were asked for
};

edit::Request RequestOf(const Attempt& attempt, std::vector<std::string>& imports) {
  edit::Request request;
  request.dialect =
      attempt.dialect == Dialect::kNginx ? edit::Dialect::kNginx : edit::Dialect::kApache;
  request.template_name = "site.template";
  request.template_text = attempt.template_text;
  for (const auto& [name, value] : attempt.values) {
    request.values[name] = {value.old_value, value.new_value};
  }
  request.importer = [&](const std::string& name,
                         const edit::FilePlace&) -> std::optional<edit::ImportedFile> {
    imports.push_back(name);
    if (attempt.imported_name != name) return std::nullopt;
    return edit::ImportedFile{name, attempt.imported_text};
  };
  return request;
}

std::string NamesOf(const std::vector<edit::Finding>& findings) {
  std::string names;
  for (const edit::Finding& finding : findings) {
    if (names.find(finding.name) == std::string::npos) names += finding.name + " ";
  }
  return names;
}

std::string MessagesOf(const std::vector<edit::Finding>& findings) {
  std::string messages;
  for (const edit::Finding& finding : findings) messages += finding.message + "\n";
  return messages;
}

struct Tried {
  bool refused = false;
  std::string why;       // it is refused, by the names of the reasons
  std::string messages;  // the same, as somebody would read them
  std::string text;      // the result
  std::string wrong;     // "": nothing
};

std::string WrongImports(const Attempt& attempt, const std::vector<std::string>& imports) {
  for (const std::string& name : imports) {
    if (attempt.imported_name != name) return "the file '" + name + "' is imported";
  }
  return "";
}

std::string WrongPrototype(const Attempt& attempt, const Judge& judge,
                           const edit::Request& request) {
  edit::Findings findings;
  const std::string prototype = edit::Prototype(request, findings);
  if (!findings.refusals.empty()) return "";
  const std::string wrong = judge.WhatIsWrongInPrototype(prototype);
  return wrong.empty() ? "" : "in the prototype: " + wrong + "\n" + prototype + attempt.config;
}

Tried Try(const Attempt& attempt) {
  Tried tried;
  std::vector<std::string> imports;
  const Judge judge(attempt, false);
  const edit::Request request = RequestOf(attempt, imports);
  const edit::Result result = edit::Edit(request, attempt.config, "site.conf");
  tried.refused = !result.refusals.empty();
  tried.why = NamesOf(result.refusals);
  tried.messages = MessagesOf(result.refusals);
  tried.text = result.text;
  tried.wrong = WrongImports(attempt, imports);
  if (tried.refused && result.text != attempt.config) tried.wrong = "refused, and changed";
  if (tried.wrong.empty() && !tried.refused) tried.wrong = judge.WhatIsWrong(result.text);
  const edit::Explained explained = edit::Explain(request, attempt.config, "site.conf");
  if (explained.result.text != result.text ||
      NamesOf(explained.result.refusals) != NamesOf(result.refusals)) {
    tried.wrong = "explain says otherwise";
  }
  if (tried.wrong.empty()) tried.wrong = WrongPrototype(attempt, judge, request);
  return tried;
}

struct Table {
  std::size_t made = 0;
  std::size_t rightly = 0;                    // refused, and the judge agrees
  std::map<std::string, std::size_t> others;  // refused where nothing speaks against it

  void Print() const {
    std::cout << "  made: " << made << ", rightly refused: " << rightly
              << ", refused for other reasons:\n";
    for (const auto& [why, count] : others) std::cout << "    " << count << " " << why << "\n";
  }
};

TEST(Attack, NoValueLeavesItsPlace) {
  const std::size_t cases = FromEnvironment("CASES", 2000);
  const std::size_t first = FromEnvironment("SEED", 1);
  std::cout << "  SEED=" << first << " CASES=" << cases << "\n";
  Table table;
  std::size_t failures = 0;
  for (std::size_t number = first; number < first + cases; ++number) {
    const Attempt attempt = MakeAttempt(number);
    const Tried tried = Try(attempt);
    const bool expected = !Judge(attempt, false).MustBeRefused().empty();
    if (!tried.refused) {
      ++table.made;
    } else if (expected) {
      ++table.rightly;
    } else {
      ++table.others[tried.why];
    }
    const bool show = FromEnvironment("SHOW", 0) != 0 ||
                      (std::getenv("WHY") != nullptr && tried.refused && !expected &&
                       tried.why.find(std::getenv("WHY")) != std::string::npos);
    if (tried.wrong.empty() && !show) continue;
    if (!tried.wrong.empty() && ++failures > kShownFailures) continue;
    std::cout << "======== SEED=" << number << " " << tried.wrong << "\n"
              << Shown(attempt) << "--- refused: " << tried.messages << "--- result:\n"
              << tried.text << "\n";
  }
  table.Print();
  EXPECT_EQ(failures, 0U);
}

}  // namespace
}  // namespace attack
