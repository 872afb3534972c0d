// SPDX-License-Identifier: Apache-2.0

// Values that try to leave their places, in templates that have places everywhere. An edit that is
// made has to give what the template says, with each value inside the word where its place stands;
// where a value cannot stay in there, the edit has to be refused.
//
//   CASES=100000 edit_attack_test   that many attempts
//   SEED=4711 CASES=1 ...           one attempt again, shown whole with SHOW=1

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <optional>
#include <string>
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

// The names of files that the edit asks for go to `imports`.
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
  bool rightly = false;  // it has to be
  std::string why;       // by the names of the reasons
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

std::string WrongPrototype(const Judge& judge, const edit::Request& request) {
  edit::Findings findings;
  const std::string prototype = edit::Prototype(request, findings);
  if (!findings.refusals.empty()) return "";
  const std::string wrong = judge.WhatIsWrongInPrototype(prototype);
  return wrong.empty() ? "" : "in the prototype: " + wrong + "\n" + prototype;
}

// Of such a directive a word comes once only, however often the template has it.
bool JoinsWords(const Attempt& attempt) {
  return attempt.template_text.find("Options") != std::string::npos ||
         attempt.template_text.find("ServerAlias") != std::string::npos;
}

// Once more, with every value as it is then.
std::string WrongAgain(const Attempt& attempt, edit::Request request, const edit::Result& result) {
  if (JoinsWords(attempt)) return "";
  for (auto& [name, value] : request.values) {
    if (!value.new_value) return "";
    value.old_value = value.new_value;
  }
  const edit::Result again = edit::Edit(request, result.text, "site.conf");
  if (!again.refusals.empty()) return "the second time: " + MessagesOf(again.refusals);
  return again.text == result.text ? "" : "the second time it gives another text:\n" + again.text;
}

// Whether nothing speaks against writing the values in quotes. A directive's own name may look like
// a section's in Apache, quotes or not, and a backslash with blanks like the end of a line.
bool IsWritable(const Attempt& attempt) {
  const auto is_harmless = [](const std::optional<std::string>& value) {
    return !value || (value->size() < 1000 && value->substr(0, 1) != "{" &&
                      value->find("\\ ") == std::string::npos &&
                      std::all_of(value->begin(), value->end(), [](char c) {
                        return static_cast<unsigned char>(c) >= 0x20 && c != 0x7f && c != '$';
                      }));
  };
  const bool names_directives =
      std::any_of(attempt.lines.begin(), attempt.lines.end(), [](const Line& line) {
        return line.text.rfind("{%", 0) == 0 || line.text.rfind("<{%", 0) == 0;
      });
  return !names_directives && attempt.template_text.find("import") == std::string::npos &&
         std::all_of(attempt.values.begin(), attempt.values.end(), [&](const auto& value) {
           return is_harmless(value.second.old_value) && is_harmless(value.second.new_value);
         });
}

Tried Try(const Attempt& attempt, bool quoted) {
  Tried tried;
  std::vector<std::string> imports;
  const Judge judge(attempt, quoted);
  edit::Request request = RequestOf(attempt, imports);
  request.quote = quoted;
  const edit::Result result = edit::Edit(request, attempt.config, "site.conf");
  tried.refused = !result.refusals.empty();
  tried.rightly = !judge.MustBeRefused().empty();
  tried.why = NamesOf(result.refusals);
  tried.messages = MessagesOf(result.refusals);
  tried.text = result.text;
  const edit::Explained explained = edit::Explain(request, attempt.config, "site.conf");
  const bool agrees = explained.result.text == result.text &&
                      NamesOf(explained.result.refusals) == NamesOf(result.refusals);
  if (!agrees) tried.wrong = "explain says otherwise";
  if (tried.wrong.empty()) tried.wrong = WrongImports(attempt, imports);
  if (tried.wrong.empty()) tried.wrong = WrongPrototype(judge, request);
  if (tried.refused && result.text != attempt.config) tried.wrong = "refused, and changed";
  if (!tried.wrong.empty()) return tried;
  if (!tried.refused) {
    tried.wrong = judge.WhatIsWrong(result.text);
    if (tried.wrong.empty()) tried.wrong = WrongAgain(attempt, request, result);
  } else if (tried.why == "value " && judge.MayBeWritten() && quoted && IsWritable(attempt)) {
    tried.wrong = "refused, though it can be written";
  }
  return tried;
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

void TryAll(bool quoted) {
  const std::size_t cases = FromEnvironment("CASES", 2000);
  const std::size_t first = FromEnvironment("SEED", 1);
  std::cout << "  SEED=" << first << " CASES=" << cases << "\n";
  Table table;
  std::size_t failures = 0;
  for (std::size_t number = first; number < first + cases; ++number) {
    const Attempt attempt = MakeAttempt(number);
    const Tried tried = Try(attempt, quoted);
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
}

TEST(Attack, NoValueLeavesItsPlace) {
  TryAll(false);
}

TEST(Attack, QuotedValuesAreWhatTheServerReads) {
  TryAll(true);
}

}  // namespace
}  // namespace attack
