// SPDX-License-Identifier: Apache-2.0

// Edits of configurations whose blocks look alike. A case is made from a seed: a tree of a
// configuration, a layout and an edit. Judged from the tree alone, the edit must be made in one
// block and nowhere else, or be refused because several fit or none does.
//
//   CASES=100000 edit_alike_test    that many cases (of each dialect half as many)
//   SEED=4711 CASES=1 ...           one case again, shown whole with SHOW=1

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "adapter.h"
#include "expectation.h"
#include "generator.h"
#include "judge.h"
#include "layout.h"
#include "template_text.h"

namespace alike {
namespace {

constexpr std::size_t kShownFailures = 5;

std::size_t FromEnvironment(const char* name, std::size_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr || *text == '\0' ? otherwise : std::strtoul(text, nullptr, 10);
}

struct Case {
  std::size_t seed = 0;
  Source source;
  Node root;
  Edit edit;
  Verdict verdict;
};

// From the first number of a series of its own that gives an edit with a right answer.
Case MakeCase(std::size_t seed, std::size_t& open) {
  for (std::size_t attempt = 0;; ++attempt) {
    Dice dice(static_cast<std::uint32_t>(seed * 1000 + attempt));
    Case made;
    made.seed = seed;
    made.source.dialect = seed % 2 == 0 ? Dialect::kNginx : Dialect::kApache;
    made.source.layout = {static_cast<Style>(dice.Below(kStyles)), dice.Percent(12),
                          !dice.Percent(8)};
    made.root = MakeConfiguration(made.source.dialect, dice);
    made.source.rendered = Render(made.source.dialect, made.source.layout, made.root, dice);
    made.edit = MakeEdit(made.source.dialect, made.root, dice);
    made.verdict = Judge(made.source.dialect, made.root, made.edit);
    if (!made.verdict.open) return made;
    ++open;
  }
}

Question QuestionFor(const Case& tried, const Edit& edit, const std::string& config) {
  Question question;
  question.dialect = tried.source.dialect;
  question.config = config;
  question.template_text = TemplateText(tried.source.dialect, edit);
  question.values = edit.values;
  if (question.template_text.find("{% if $keep") != std::string::npos) {
    question.values["keep"] = {std::nullopt, "no"};
  }
  question.all = edit.all;
  question.must_exist = edit.must_exist;
  return question;
}

enum class Kind { kRight, kRightlyRefused, kWronglyRefused, kWrong };

struct Tried {
  Kind kind = Kind::kRight;
  std::string what;
};

// What is wrong with another edit of the result. "": nothing.
std::string WrongAfterwards(const Case& tried, const Outcome& outcome, const std::string& result) {
  const Node after = After(outcome.root);
  const Edit settled = Settled(tried.edit);
  const Verdict again = Judge(tried.source.dialect, after, settled);
  const bool settles = !again.open && again.accepted.size() == 1 && !again.MayBeRefused() &&
                       ChangesNothing(again.accepted.front().root);
  if (settles) {
    const Answer answer = Ask(QuestionFor(tried, settled, result));
    if (answer.refused) return "refused when made a second time: " + answer.reasons;
    if (answer.text != result) return "made a second time it gives another text:\n" + answer.text;
  }
  const Answer once_more = Ask(QuestionFor(tried, tried.edit, result));
  const Verdict same = Judge(tried.source.dialect, after, tried.edit);
  const bool may_change = same.open || same.accepted.size() != 1 || same.MayBeRefused() ||
                          !ChangesNothing(same.accepted.front().root);
  if (!may_change && (once_more.refused || once_more.text != result)) {
    return "the same edit once more is not nothing:\n" + once_more.reasons + once_more.text;
  }
  return "";
}

bool ChangesWordsOnly(const Node& node) {
  if (node.is_new || node.removed || node.tail || node.address || node.respelled) return false;
  return std::all_of(node.children.begin(), node.children.end(), ChangesWordsOnly);
}

// What is wrong when the edit is taken back.
std::string WrongBackwards(const Case& tried, const Outcome& outcome, const std::string& result) {
  if (!ChangesWordsOnly(outcome.root) || ChangesNothing(outcome.root)) return "";
  const Edit reversed = Reversed(tried.edit);
  const Verdict back = Judge(tried.source.dialect, After(outcome.root), reversed);
  const bool certain = !back.open && back.accepted.size() == 1 && !back.MayBeRefused() &&
                       ChangesWordsOnly(back.accepted.front().root) &&
                       !ChangesNothing(back.accepted.front().root);
  if (!certain) return "";
  for (const auto& [name, value] : reversed.values) {
    if (value.old_text && NeedsQuotes(*value.old_text)) return "";  // the quotes stay
  }
  const Answer answer = Ask(QuestionFor(tried, reversed, result));
  if (answer.refused) return "refused when taken back: " + answer.reasons;
  const std::string& before = tried.source.rendered.text;
  return answer.text == before ? "" : "taken back it gives another text:\n" + answer.text;
}

Tried Try(const Case& tried) {
  const Verdict& verdict = tried.verdict;
  const Answer answer = Ask(QuestionFor(tried, tried.edit, tried.source.rendered.text));
  if (answer.refused) {
    return {verdict.MayBeRefused() ? Kind::kRightlyRefused : Kind::kWronglyRefused, answer.reasons};
  }
  std::string differences;
  for (const Outcome& outcome : verdict.accepted) {
    if (outcome.refused) {
      differences += "- should be refused: " + outcome.why + "\n";
      continue;
    }
    const std::string difference = Difference(tried.source, outcome, answer.text);
    if (!difference.empty()) {
      differences += "- " + difference + "\n";
      continue;
    }
    std::string wrong = WrongAfterwards(tried, outcome, answer.text);
    if (wrong.empty()) wrong = WrongBackwards(tried, outcome, answer.text);
    return {wrong.empty() ? Kind::kRight : Kind::kWrong, wrong};
  }
  return {Kind::kWrong, differences + "--- actual:\n" + answer.text};
}

// A reason for which it may be refused.
std::string WhyRefused(const Verdict& verdict) {
  for (const Outcome& outcome : verdict.accepted) {
    if (outcome.refused) return outcome.why;
  }
  return "";
}

std::string Shown(const Case& tried) {
  const Question question = QuestionFor(tried, tried.edit, tried.source.rendered.text);
  std::ostringstream text;
  text << "SEED=" << tried.seed << " (" << tried.edit.kind << ", "
       << (tried.source.dialect == Dialect::kNginx ? "nginx" : "apache")
       << (question.all ? ", all" : "") << (question.must_exist ? ", must exist" : "")
       << ")\n--- config:\n"
       << question.config << "\n--- template:\n"
       << question.template_text << "--- values:\n";
  for (const auto& [name, value] : question.values) {
    text << name << ": " << value.old_text.value_or("(none)") << " -> "
         << value.new_text.value_or("(none)") << "\n";
  }
  for (const Outcome& outcome : tried.verdict.accepted) {
    text << "--- expected" << (tried.verdict.accepted.size() > 1 ? " (one of several)" : "")
         << ":\n";
    text << (outcome.refused ? "refused: " + outcome.why + "\n" : Example(tried.source, outcome));
  }
  return text.str();
}

struct Table {
  std::map<std::string, std::map<Kind, std::size_t>> by_edit;
  std::map<Kind, std::size_t> all;
  std::map<std::string, std::size_t> refusals;  // that are right, by their reasons
  std::size_t either = 0;  // cases in which being made and being refused are both right
  std::map<std::string, std::size_t> either_refused;  // of these, refused, by their reasons
  std::size_t open = 0;  // made and left out, since nothing says what is right

  void Print(std::ostream& to) const {
    const auto row = [&to](const std::string& name, std::map<Kind, std::size_t> counts) {
      to << "  " << name << std::string(16 - name.size(), ' ') << counts[Kind::kRight] << " right, "
         << counts[Kind::kRightlyRefused] << " rightly refused, " << counts[Kind::kWronglyRefused]
         << " wrongly refused, " << counts[Kind::kWrong] << " wrong\n";
    };
    for (const auto& [name, counts] : by_edit) row(name, counts);
    row("all", all);
    to << "  to be refused:\n";
    for (const auto& [why, count] : refusals) to << "    " << count << " " << why << "\n";
    to << "  of " << either << " that may be made or refused, refused:\n";
    for (const auto& [why, count] : either_refused) to << "    " << count << " " << why << "\n";
    to << "  left out: " << open << "\n";
  }
};

TEST(EditAlike, FindsTheRightBlockOrNone) {
  const std::size_t cases = FromEnvironment("CASES", 1500);
  const std::size_t first = FromEnvironment("SEED", 1);
  Table table;
  std::size_t shown = 0;
  for (std::size_t seed = first; seed < first + cases; ++seed) {
    const Case tried = MakeCase(seed, table.open);
    const Tried result = Try(tried);
    ++table.all[result.kind];
    ++table.by_edit[tried.edit.kind][result.kind];
    if (tried.verdict.MayBeDone() && tried.verdict.MayBeRefused()) {
      ++table.either;
      if (result.kind == Kind::kRightlyRefused) ++table.either_refused[WhyRefused(tried.verdict)];
    }
    if (!tried.verdict.MayBeDone()) ++table.refusals[WhyRefused(tried.verdict)];
    const bool failed = result.kind == Kind::kWrong || result.kind == Kind::kWronglyRefused;
    if ((failed && shown < FromEnvironment("SHOWN", kShownFailures)) ||
        FromEnvironment("SHOW", 0) != 0) {
      ++shown;
      std::cout << "\n======== " << (failed ? "FAILED " : "") << Shown(tried) << "--- but:\n"
                << result.what << "\n";
    }
  }
  table.Print(std::cout);
  EXPECT_GE(table.all[Kind::kRight], cases < 100 ? 0 : cases / 2) << "too little is asked";
  EXPECT_EQ(table.all[Kind::kWrong], 0U);
  EXPECT_EQ(table.all[Kind::kWronglyRefused], 0U);
}

std::string WithLine(const std::string& text, std::size_t behind, const std::string& line) {
  std::size_t at = 0;
  for (; behind > 0; --behind) at = text.find('\n', at) + 1;
  return text.substr(0, at) + line + "\n" + text.substr(at);
}

// Where several blocks fit, and the refusal says which line in the template would mean one of them,
// that line makes an end of it.
TEST(EditAlike, AdvisesALineThatTellsBlocksApart) {
  const std::size_t cases = FromEnvironment("CASES", 1500);
  const std::size_t first = FromEnvironment("SEED", 1);
  std::size_t open = 0;
  std::size_t advised = 0;
  std::size_t in_vain = 0;
  for (std::size_t seed = first; seed < first + cases; ++seed) {
    const Case tried = MakeCase(seed, open);
    Question question = QuestionFor(tried, tried.edit, tried.source.rendered.text);
    const Answer answer = Ask(question);
    if (!answer.advice) continue;
    ++advised;
    const Advice& advice = *answer.advice;
    question.template_text = WithLine(question.template_text, advice.template_line, advice.line);
    const Answer again = Ask(question);
    if (!again.advice || again.advice->template_line != advice.template_line) continue;
    if (++in_vain > kShownFailures) continue;
    std::cout << "\n======== FAILED " << Shown(tried) << "--- but:\n"
              << answer.reasons << "--- and with that line:\n"
              << again.reasons;
  }
  std::cout << "  " << advised << " lines advised, " << in_vain << " in vain\n";
  if (cases >= 100) {
    EXPECT_GT(advised, cases / 50);
  }
  EXPECT_EQ(in_vain, 0U);
}

// Texts without the blocks are told at a glance, and no others.
TEST(EditAlike, SkipsNoTextThatHasTheBlock) {
  const std::size_t cases = FromEnvironment("CASES", 1500);
  const std::size_t first = FromEnvironment("SEED", 1);
  std::size_t open = 0;
  std::size_t found = 0;
  for (std::size_t seed = first; seed < first + cases; ++seed) {
    const Case tried = MakeCase(seed, open);
    Question question = QuestionFor(tried, tried.edit, tried.source.rendered.text);
    question.never_create = true;
    const Answer answer = Ask(question);
    if (answer.refused || answer.text == question.config) continue;
    ++found;
    question.skip_missing = true;
    EXPECT_EQ(Ask(question).text, answer.text) << Shown(tried);
  }
  EXPECT_GE(found, cases < 100 ? 0 : cases / 4) << "too little is asked";
}

// Who leaves it to the configuration to say the old values gets what one gets who knows them, or is
// refused. Names are told: an alias is not what stands first. So are old texts that the
// configuration does not have, or that are the new ones already.
TEST(EditAlike, ReadsOldValuesRightlyOrNot) {
  const std::size_t cases = FromEnvironment("CASES", 1500);
  const std::size_t first = FromEnvironment("SEED", 1);
  std::size_t open = 0;
  std::size_t refused = 0;
  std::size_t same = 0;
  std::size_t other = 0;
  for (std::size_t seed = first; seed < first + cases; ++seed) {
    const Case tried = MakeCase(seed, open);
    Question question = QuestionFor(tried, tried.edit, tried.source.rendered.text);
    const Answer known = Ask(question);
    bool reads = false;
    for (auto& [name, value] : question.values) {
      value.read_old = value.old_text && value.old_text != value.new_text &&
                       value.old_text->find("xample") == std::string::npos &&
                       question.config.find(*value.old_text) != std::string::npos;
      reads = reads || value.read_old;
    }
    if (!reads || known.refused || known.text == question.config) continue;
    const Answer read = Ask(question);
    if (read.refused) {
      ++refused;
      continue;
    }
    if (read.text == known.text) {
      ++same;
      continue;
    }
    if (++other > FromEnvironment("SHOWN", kShownFailures)) continue;
    std::cout << "\n======== FAILED " << Shown(tried) << "--- with the values known:\n"
              << known.text << "--- with the values read:\n"
              << read.text;
  }
  std::cout << "  " << same << " the same, " << refused << " refused, " << other << " others\n";
  EXPECT_GE(same, cases < 100 ? 0 : cases / 20) << "too little is asked";
  EXPECT_EQ(other, 0U);
}

// The judge of texts takes what was asked for, and nothing else.
class EditAlikeJudge : public testing::Test {
 protected:
  static constexpr std::size_t kCases = 1500;

  template <typename Check>
  static void ForEachDone(const Check& check) {
    std::size_t open = 0;
    std::size_t tried = 0;
    for (std::size_t seed = 1; seed <= kCases; ++seed) {
      const Case made = MakeCase(seed, open);
      for (const Outcome& outcome : made.verdict.accepted) {
        if (outcome.refused) continue;
        SCOPED_TRACE(Shown(made));
        check(made, outcome);
        ++tried;
        if (testing::Test::HasFailure()) return;
      }
    }
    EXPECT_GT(tried, kCases / 2);
  }
};

TEST_F(EditAlikeJudge, TakesAnExampleOfWhatItExpects) {
  ForEachDone([](const Case& made, const Outcome& outcome) {
    EXPECT_EQ(Difference(made.source, outcome, Example(made.source, outcome)), "");
  });
}

TEST_F(EditAlikeJudge, DoesNotTakeTheTextAsItWas) {
  ForEachDone([](const Case& made, const Outcome& outcome) {
    const std::string difference = Difference(made.source, outcome, made.source.rendered.text);
    EXPECT_EQ(difference.empty(), ChangesNothing(outcome.root));
  });
}

// A blank at the place of a change may be one of its own. So what is damaged is a visible byte.
TEST_F(EditAlikeJudge, DoesNotTakeADamagedByte) {
  std::size_t noticed = 0;
  ForEachDone([&noticed](const Case& made, const Outcome& outcome) {
    std::string text = Example(made.source, outcome);
    if (text.empty()) return;
    Dice dice(static_cast<std::uint32_t>(made.seed));
    const std::size_t at = dice.Below(text.size());
    if (std::string_view(" \t\r\n").find(text.at(at)) != std::string_view::npos) return;
    text.at(at) = text.at(at) == 'q' ? 'z' : 'q';
    ++noticed;
    EXPECT_NE(Difference(made.source, outcome, text), "") << "at " << at << ":\n" << text;
  });
  EXPECT_GT(noticed, kCases / 4);
}

}  // namespace
}  // namespace alike
