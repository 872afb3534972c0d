// SPDX-License-Identifier: Apache-2.0

// The conditions of "if" and "elif", and the chains they open.
#include "template/condition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/log_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using tov_template::BoolStackTape;
using tov_template::Condition;

namespace {

using Values = Condition::Values;

struct Case {
  const char* name;
  const char* statement;
  Values values;
  bool result;
};

void ExpectResults(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Condition(c.statement, c.values).Result(), c.result) << c.statement;
  }
}

TEST(Condition, ALoneOperandTestsWhetherAValueIsSet) {
  ExpectResults({
      {"set", "if $ssl", {{"ssl", "on"}}, true},
      {"set to the empty text", "if $ssl", {{"ssl", ""}}, true},
      {"set to a word that says no", "if $ssl", {{"ssl", "false"}}, true},
      {"not set", "if $ssl", {}, false},
      {"without $, set", "if ssl", {{"ssl", "on"}}, true},
      {"without $, not set", "if ssl", {}, false},
      {"the name counts, not the value", "if $ssl", {{"on", "ssl"}}, false},
      {"the value is not taken for a name", "if $a", {{"a", "b"}}, true},
      {"names are case-sensitive", "if $ssl", {{"SSL", "on"}}, false},
      {"only one $ is removed", "if $$ssl", {{"ssl", "on"}}, false},
      {"only one $ is removed: the name begins with $", "if $$ssl", {{"$ssl", "on"}}, true},
      {"a $ alone names the empty text", "if $", {{"", "x"}}, true},
      {"quotes are removed before the $", "if \"\"$ssl", {{"ssl", "on"}}, true},
      {"pairs of quotes are removed everywhere", "if $s\"\"s\"\"l", {{"ssl", "on"}}, true},
      {"a single quote stays", "if \"ssl", {{"ssl", "on"}}, false},
      {"quotes around a name stay", "if \"ssl\"", {{"ssl", "on"}}, false},
      {"of three quotes one stays", "if \"\"\"ssl", {{"\"ssl", "on"}}, true},
  });
}

TEST(Condition, ComparesTexts) {
  ExpectResults({
      {"== equal", "if $a == 1", {{"a", "1"}}, true},
      {"== differs", "if $a == 1", {{"a", "2"}}, false},
      {"== is case-sensitive", "if $a == On", {{"a", "on"}}, false},
      {"== is no numeric comparison", "if $a == 1", {{"a", "01"}}, false},
      {"!= differs", "if $a != 1", {{"a", "2"}}, true},
      {"!= equal", "if $a != 1", {{"a", "1"}}, false},
      {"> greater", "if $a > b", {{"a", "c"}}, true},
      {"> equal", "if $a > c", {{"a", "c"}}, false},
      {"> less", "if $a > d", {{"a", "c"}}, false},
      {"< less", "if $a < d", {{"a", "c"}}, true},
      {"< equal", "if $a < c", {{"a", "c"}}, false},
      {"< greater", "if $a < b", {{"a", "c"}}, false},
      {"10 is not greater than 9", "if $n > 9", {{"n", "10"}}, false},
      {"10 is less than 9", "if $n < 9", {{"n", "10"}}, true},
      {"a prefix is less", "if $a < ab", {{"a", "a"}}, true},
      {"bytes are compared unsigned", "if $a > z", {{"a", "\xc3\xa4"}}, true},
      {"both operands are values", "if $a == $b", {{"a", "x"}, {"b", "x"}}, true},
      {"names without $ are looked up, too", "if a == b", {{"a", "x"}, {"b", "x"}}, true},
      {"a constant on the left", "if 80 == $port", {{"port", "80"}}, true},
      {"an unknown name on the left stands for itself", "if $port == port", {}, true},
      {"an unknown name is no 80", "if $port == 80", {}, false},
      {"an unknown name on the right stands for itself", "if $a == $b", {{"a", "b"}}, true},
      {"a value is not looked up again", "if $a == c", {{"a", "b"}, {"b", "c"}}, false},
      {"$ in a value stays", "if $a == b", {{"a", "$b"}}, false},
      {"a constant that is a value's name is replaced",
       "if $a == on",
       {{"a", "x"}, {"on", "x"}},
       true},
  });
}

TEST(Condition, APairOfQuotesIsTheEmptyText) {
  ExpectResults({
      {"set to the empty text", "if $mode == \"\"", {{"mode", ""}}, true},
      {"set to a text", "if $mode == \"\"", {{"mode", "x"}}, false},
      {"not set: the name is compared", "if $mode == \"\"", {}, false},
      {"differs", "if $mode != \"\"", {{"mode", "x"}}, true},
      {"on the left", "if \"\" == $mode", {{"mode", ""}}, true},
      {"on both sides", "if \"\" == \"\"", {}, true},
      {"a value whose name is the empty text",
       "if $mode == \"\"",
       {{"mode", "x"}, {"", "x"}},
       true},
      {"inside a word", "if $mode == a\"\"b", {{"mode", "ab"}}, true},
      {"before a name", "if $mode == \"\"$b", {{"mode", "x"}, {"b", "x"}}, true},
  });
}

TEST(Condition, ReadsThreeWords) {
  ExpectResults({
      {"what follows is ignored", "if $x == two words", {{"x", "two"}}, true},
      {"an operand holds no blank", "if $x == two words", {{"x", "two words"}}, false},
      {"blanks between the words", "if   $a  ==   1  ", {{"a", "1"}}, true},
      {"tabs between the words", "if $a\t==\t1", {{"a", "1"}}, true},
      {"blanks around the statement", " \t if $a == 1 \r\n", {{"a", "1"}}, true},
      {"without blanks it is one name", "if $a==1", {{"a", "1"}}, false},
      {"without blanks it is one name, which is set", "if $a==1", {{"a==1", "x"}}, true},
      {"the keyword is whatever comes first", "elif $a == 1", {{"a", "1"}}, true},
      {"the keyword is not looked at", "$b $a == 1", {{"a", "1"}}, true},
      {"an operator without a right operand", "if $a ==", {{"a", ""}}, false},
      {"an operator without a right operand is no lookup",
       "if a == ",
       {{"a", ""}, {"", "a"}},
       false},
      {"two words, the second unknown", "if $a set", {{"a", "1"}}, false},
  });
}

// What "if $a !=" compares: the bare name with the empty text.
TEST(Condition, WithoutARightOperandTheBareNameIsCompared) {
  ExpectResults({
      {"the value is empty, the name is not", "if $a !=", {{"a", ""}}, true},
      {"greater", "if $a >", {{"a", ""}}, true},
      {"less", "if $a <", {{"a", ""}}, false},
      {"the empty name", "if \"\" ==", {{"", "x"}}, true},
  });
}

TEST(Condition, CombinesByOrOrAnd) {
  const char* const any = "if $a == 1 or $b == 2 or $c == 3";
  const char* const all = "if $a == 1 and $b == 2 and $c == 3";
  for (int bits = 0; bits < 8; ++bits) {
    SCOPED_TRACE(bits);
    const Values values = {{"a", (bits & 1) != 0 ? "1" : "x"},
                           {"b", (bits & 2) != 0 ? "2" : "x"},
                           {"c", (bits & 4) != 0 ? "3" : "x"}};
    EXPECT_EQ(Condition(any, values).Result(), bits != 0);
    EXPECT_EQ(Condition(all, values).Result(), bits == 7);
  }
}

TEST(Condition, WhereBothOccurOnlyTheTextBeforeTheFirstOrCounts) {
  const char* const statements[] = {
      "if $a == 1 or $b == 2 and $c == 3",
      "if $a == 1 and $b == 2 or $c == 3",
      "if $a == 1 or $b == 2 or $c == 3 and $a == 1",
      "if $a == 1 and $b == 2 and $c == 3 or $b == 2",
  };
  for (const char* statement : statements) {
    for (int bits = 0; bits < 8; ++bits) {
      SCOPED_TRACE(std::string(statement) + " " + std::to_string(bits));
      const Values values = {{"a", (bits & 1) != 0 ? "1" : "x"},
                             {"b", (bits & 2) != 0 ? "2" : "x"},
                             {"c", (bits & 4) != 0 ? "3" : "x"}};
      EXPECT_EQ(Condition(statement, values).Result(), (bits & 1) != 0);
    }
  }
  ExpectResults({
      {"it is read as one comparison: \"and\" becomes its operator",
       "if $a and $b or $c",
       {{"a", "1"}, {"b", "1"}, {"c", "1"}},
       false},
      {"a lone operand", "if $a or $b and $c", {{"a", "1"}}, true},
      {"a lone operand, not set", "if $a or $b and $c", {{"b", "1"}, {"c", "1"}}, false},
  });
}

TEST(Condition, FindsTheWordsBetweenComparisons) {
  ExpectResults({
      {"lone operands, or", "if $a or $b", {{"b", "1"}}, true},
      {"lone operands, and", "if $a and $b", {{"b", "1"}}, false},
      {"more blanks", "if $a == 1   or   $b == 2", {{"b", "2"}}, true},
      {"in upper case it is no word", "if $a OR $b", {{"b", "1"}}, false},
      {"between tabs it is no word", "if $a\tor\t$b", {{"b", "1"}}, false},
      {"within a word it is none", "if $normal", {{"normal", "1"}}, true},
      {"at the end it is none: the third word alone is compared",
       "if $a == 1 or",
       {{"a", "1"}},
       true},
      {"at the start, blank before it: an empty piece is dropped", "if  or $a", {{"a", "1"}}, true},
      {"at the start, and", "if  and $a", {}, false},
      {"twice: the second becomes an operand", "if $a or or $b", {{"b", "1"}}, false},
      {"nothing between two of them is dropped",
       "if $a and  and $b",
       {{"a", "1"}, {"b", "1"}},
       true},
      {"blanks between two of them are an empty comparison", "if $a or   or $b", {{"", "1"}}, true},
      {"which is false as a rule", "if $a and   and $b", {{"a", "1"}, {"b", "1"}}, false},
  });
}

TEST(Condition, EmptyCondition) {
  ExpectResults({
      {"the keyword alone", "if", {{"if", "1"}}, false},
      {"blanks behind it", "if   ", {}, false},
      {"no text at all", "", {}, false},
      {"a value whose name is the empty text", "if", {{"", "x"}}, true},
      {"the same, without a keyword", "", {{"", "x"}}, true},
      {"a keyword that goes on", "iffy", {{"iffy", "1"}, {"fy", "1"}}, false},
  });
}

TEST(Condition, UnknownSign) {
  ExpectResults({
      {"first comparison", "if $x =~ y", {{"x", "y"}}, false},
      {"one sign of equality", "if $x = y", {{"x", "y"}}, false},
      {"not less or equal", "if $x <= y", {{"x", "a"}}, false},
      {"first of an and", "if $x =~ y and $x == y", {{"x", "y"}}, false},
      {"repeats true, or: no harm", "if $x == y or $x =~ y", {{"x", "y"}}, true},
      {"repeats true", "if $x == y and $x =~ z", {{"x", "y"}}, true},
      {"repeats false", "if $x == z or $x =~ y", {{"x", "y"}}, false},
      {"repeats the one just before", "if $x == y or $x == z or $x =~ y", {{"x", "y"}}, true},
      {"repeats what was repeated", "if $x == y and $x =~ z and $x =~ z", {{"x", "y"}}, true},
      {"the same from false", "if $x =~ y or $x =~ y or $x =~ y", {{"x", "y"}}, false},
  });
}

TEST(Condition, LooksAtItsOwnCopyOfTheValues) {
  Values values = {{"a", "1"}, {"b", "2"}};
  std::string statement = "if $a == 1 and $b and $c";
  const Condition condition(statement, values);
  const Condition later(statement, {{"a", "1"}, {"b", "2"}, {"c", ""}});
  values = {{"c", "3"}};
  statement = "if nothing";
  EXPECT_FALSE(condition.Result());
  EXPECT_TRUE(later.Result());
  EXPECT_TRUE(later.Result()) << "a second time";
}

TEST(Condition, LogsEachComparisonAfterSubstitution) {
  struct LogCase {
    const char* name;
    const char* statement;
    Values values;
    std::vector<std::string> messages;
  };
  const LogCase cases[] = {
      {"three words",
       "if $port == $ssl",
       {{"port", "80"}, {"ssl", "443"}},
       {"lvalue 80, m_sign ==, rvalue 443"}},
      {"a lone operand keeps its bare name",
       "if $port",
       {{"port", "80"}},
       {"lvalue port, m_sign , rvalue "}},
      {"an operator alone: no lookup",
       "if $port ==",
       {{"port", "80"}},
       {"lvalue port, m_sign ==, rvalue "}},
      {"an unknown name", "if $port == \"\"", {}, {"lvalue port, m_sign ==, rvalue "}},
      {"the empty condition", "if", {}, {"lvalue , m_sign , rvalue "}},
      {"or does not stop at true",
       "if $a or $b == 2 or $c",
       {{"a", "1"}},
       {"lvalue a, m_sign , rvalue ", "lvalue b, m_sign ==, rvalue 2",
        "lvalue c, m_sign , rvalue "}},
      {"and does not stop at false",
       "if $a and $b == 2 and $c",
       {},
       {"lvalue a, m_sign , rvalue ", "lvalue b, m_sign ==, rvalue 2",
        "lvalue c, m_sign , rvalue "}},
      {"both: the text is cut at \" or \", then again at \" and \"",
       "if $a == 1 or $b == 2 and $c == 3",
       {{"a", "A"}, {"b", "B"}, {"c", "C"}},
       {"lvalue A, m_sign ==, rvalue 1", "lvalue B, m_sign ==, rvalue 2",
        "lvalue A, m_sign ==, rvalue 1", "lvalue C, m_sign ==, rvalue 3"}},
  };
  for (const LogCase& c : cases) {
    SCOPED_TRACE(c.name);
    const Condition condition(c.statement, c.values);
    LogCapture log;
    condition.Result();
    EXPECT_EQ(log.Messages(), c.messages);
  }
}

TEST(Condition, LogPrefix) {
  LogCapture log;
  Condition("if $a", {}).Result();
  ASSERT_EQ(log.Records().size(), 1u);
  const LogCapture::Record& record = log.Records().front();
  EXPECT_EQ(record.level, 9);
  EXPECT_EQ(record.module, "template");
  EXPECT_EQ(record.channel, "core");
  EXPECT_THAT(record.text, MatchesRegex("template\\.cpp:[0-9]+ lvalue a, m_sign , rvalue "));
}

TEST(Condition, LogNul) {
  using namespace std::string_literals;
  const Condition condition("if $a == x"s, {{"a", "x\0y"s}});
  LogCapture log;
  EXPECT_FALSE(condition.Result());
  EXPECT_THAT(log.Messages(), ElementsAre("lvalue x, m_sign ==, rvalue x"));
}

TEST(Condition, TakesAHundredThousandComparisons) {
  constexpr int kCount = 100000;
  for (const std::string word : {" or ", " and "}) {
    SCOPED_TRACE(word);
    std::string all_true = "if $a == 1";
    std::string one_false = "if $a == 2";
    for (int i = 1; i < kCount; ++i) {
      all_true += word + "$a == 1";
      one_false += word + "$a == 1";
    }
    const Values values = {{"a", "1"}};
    EXPECT_TRUE(Condition(all_true, values).Result());
    EXPECT_EQ(Condition(one_false, values).Result(), word == " or ");
  }
}

TEST(BoolStackTape, WithoutAChainNothingIsAdded) {
  BoolStackTape tape;
  LogCapture log;
  tape.Append(false);
  tape.Append(true);
  EXPECT_TRUE(tape.m_stack.empty());
  EXPECT_FALSE(tape.InChain());
  EXPECT_THAT(log.Messages(), ElementsAre("Append 'false' into stack", "Append 'true' into stack"));
}

TEST(BoolStackTape, AddsToTheInnermostChain) {
  BoolStackTape tape;
  tape.m_stack.resize(2);
  tape.m_stack[0].push(true);
  tape.m_stack[1].push(true);
  LogCapture log;
  tape.Append(false);
  EXPECT_THAT(log.Messages(), ElementsAre("Append 'false' into stack"));
  EXPECT_EQ(log.Records().front().level, 9);
  ASSERT_EQ(tape.m_stack.size(), 2u);
  EXPECT_EQ(tape.m_stack[0].size(), 1u);
  ASSERT_EQ(tape.m_stack[1].size(), 2u);
  EXPECT_FALSE(tape.m_stack[1].top());
}

TEST(BoolStackTape, LogsNothingWhenTheLogIsOff) {
  BoolStackTape tape;
  LogCapture log(8);
  tape.Append(true);
  EXPECT_THAT(log.Records(), IsEmpty());
}

TEST(BoolStackTape, AnswersForTheBranchTheChainAndTheOneAround) {
  struct TapeCase {
    const char* name;
    std::vector<std::vector<bool>> chains;
    bool enabled, enclosing_enabled, any_taken;
  };
  const TapeCase cases[] = {
      {"no chain", {}, true, true, false},
      {"an empty chain", {{}}, true, true, false},
      {"taken", {{true}}, true, true, true},
      {"not taken", {{false}}, false, true, false},
      {"only the latest branch enables", {{true, false}}, false, true, true},
      {"a later branch taken", {{false, true}}, true, true, true},
      {"none of three", {{false, false, false}}, false, true, false},
      {"the first of three", {{true, false, false}}, false, true, true},
      {"within a branch taken", {{true}, {false}}, false, true, false},
      {"within a branch not taken", {{true, false}, {false}}, false, false, false},
      {"the next one around counts only", {{false}, {true}, {true}}, true, true, true},
  };
  for (const TapeCase& c : cases) {
    SCOPED_TRACE(c.name);
    BoolStackTape tape;
    for (const auto& branches : c.chains) {
      tape.m_stack.emplace_back();
      for (const bool taken : branches) tape.Append(taken);
    }
    EXPECT_EQ(tape.Enabled(), c.enabled);
    EXPECT_EQ(tape.EnclosingEnabled(), c.enclosing_enabled);
    EXPECT_EQ(tape.AnyTaken(), c.any_taken);
  }
}

}  // namespace
