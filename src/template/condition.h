// SPDX-License-Identifier: Apache-2.0

// The conditions of a template's "if" and "elif" statements, and the chains they open.
#pragma once

#include <deque>
#include <map>
#include <stack>
#include <string>
#include <vector>

#include "template/export.h"

namespace tov_template {

// One condition: "if $ssl", "elif $port == 443 or $port == 8443".
//
// A comparison is "left operator right", each one word; what follows is ignored. An operand is the
// value whose name it holds, with or without "$", or itself where there is no such value; ""
// stands for the empty text. Operators are ==, !=, < and >, and compare texts: "10" < "9". A lone
// operand tests whether a value of that name is set. Comparisons are joined by the words or, and,
// with a space on either side; where both words occur, only the text before the first "or" counts.
class Condition {
 public:
  using Values = std::map<std::string, std::string>;

  // `statement` is the statement's text with its keyword, which is cut off up to the first space.
  // `values` are copied as far as the condition names them: the condition does not see later
  // changes of the map. Cost: grows with the statement, not with the map.
  QELTEMPLATE_EXPORT Condition(const std::string& statement, const Values& values);

  // Evaluates every comparison, logs each, and combines them. An unknown operator repeats the
  // result of the comparison before it, false at first. Never fails.
  QELTEMPLATE_EXPORT bool Result() const;

 private:
  // One comparison; what is absent is empty.
  struct Expression {
    std::string m_lvalue;
    std::string m_rvalue;
    std::string m_sign;
  };

  void KeepValue(const std::string& name, const Values& values);
  void Lookup(std::string& operand) const;
  Expression ParseExpression(const std::string& text) const;
  bool Compare(const Expression& expression, bool previous) const;

  std::string m_text;
  Values m_values;
};

// The if-chains that are open while a template is read.
class BoolStackTape {
 public:
  // One chain: whether each of its branches so far was taken, the latest on top.
  using Chain = std::stack<bool, std::deque<bool>>;

  // Opens a chain with its first branch.
  QELTEMPLATE_EXPORT void Open(bool taken);

  // Adds a branch to the innermost chain, and logs it. Without an open chain nothing is added.
  QELTEMPLATE_EXPORT void Append(const bool& taken);

  // Closes the innermost chain, if one is open.
  QELTEMPLATE_EXPORT void Close();

  // Whether a chain is open.
  bool InChain() const { return !m_stack.empty() && !m_stack.back().empty(); }

  // Whether the latest branch of the innermost chain was taken; true when no chain is open.
  QELTEMPLATE_EXPORT bool Enabled() const;

  // The same of the chain around the innermost one; true when there is none.
  QELTEMPLATE_EXPORT bool EnclosingEnabled() const;

  // Whether any branch of the innermost chain was taken; false when no chain is open.
  bool AnyTaken() const { return !m_any_taken.empty() && m_any_taken.back(); }

  // The open chains, the innermost last.
  std::vector<Chain> m_stack;

 private:
  void Push(bool taken);

  // Of each open chain, whether any of its branches was taken.
  std::vector<bool> m_any_taken;
};

}  // namespace tov_template
