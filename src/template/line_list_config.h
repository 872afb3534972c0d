// SPDX-License-Identifier: Apache-2.0

// What all dialects share whose lines stand in one list.
#pragma once

#include <list>
#include <set>
#include <string>
#include <vector>

#include "template/base_config.h"
#include "template/export.h"

namespace tov_template {

// A dialect that keeps its lines in a std::list, one element for each line that is not empty. A
// derived dialect says how its lines are told apart (the pure operations that remain), and
// overrides ForgetLine when it keeps line iterators of its own: here it is called with each line
// before RemoveParam erases it, too.
class QELTEMPLATE_EXPORT LineListConfig : public BaseConfig {
 public:
  // Cuts `text` at each "\n" and keeps the pieces that are not empty: blank lines and the last line
  // end do not survive, a line of blanks and a "\r" at the end of a line do. `const_params` are the
  // names of the directives that are found by their name alone.
  LineListConfig(const std::string& text, std::set<std::string> const_params);

  std::list<std::string>* GetList() override;

  LineIterator AppendParam(const LineIterator& pos, const std::string& text) override;
  LineIterator RemoveParam(const LineIterator& pos) override;
  LineIterator RemoveParam(const LineIterator& first, const LineIterator& last) override;
  void ChangeParam(const LineIterator& pos, const std::string& text) override;

  // The lines joined by "\n", without a line end after the last; empty lines leave no trace.
  std::string Str() const override;

  // Whether the first word of `line` is one of the constructor's names.
  bool IsConstExpression(const std::string& line) const override;

  // The lines that the dialect keeps iterators to, each of which is in the list; a line may come
  // more than once. Default: there are none. Cost: linear in their number.
  virtual std::vector<LineIterator> RegisteredLines() const;

 protected:
  // Makes `text` the text of `line`, which is a line. Whatever writes to a line comes here.
  void Write(const LineIterator& line, std::string text);

  // Called when the text of `line` has changed. Default: does nothing.
  virtual void LineChanged(const LineIterator& line);

  // `text` behind one tab for each level of `section`.
  static std::string Indented(const std::string& section, const std::string& text);

  std::list<std::string> m_lines;
  const std::set<std::string> m_const_params;
};

}  // namespace tov_template
