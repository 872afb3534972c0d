// SPDX-License-Identifier: Apache-2.0

// Whether the values of an attempt stayed in their places, by readers that the edits do not use.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "edit/attack/attempt.h"
#include "edit/attack/line_reading.h"

namespace attack {

class Judge {
 public:
  // `quoted`: the program is to quote the values.
  Judge(const Attempt& attempt, bool quoted);

  // Why the edit must not be made; "": nothing speaks against it.
  const std::string& MustBeRefused() const { return m_refused; }

  // Whether every line of the template can be written with its values, the old ones, too.
  bool MayBeWritten() const;

  // What is wrong with a result; "": the configuration has what the template says, with each value
  // in its place, and all else is as it was.
  std::string WhatIsWrong(const std::string& result) const;

  // The same of a prototype, which has some lines of the template and nothing besides.
  std::string WhatIsWrongInPrototype(const std::string& prototype) const;

 private:
  struct Meant {
    std::optional<LineReading> now;  // none: a value is missing
    std::optional<LineReading> was;
  };

  struct Entry {
    std::string block;  // the label of the block around it
    bool is_block = false;
    std::vector<std::string> words;
  };
  using Entries = std::vector<Entry>;

  Entries EntriesOf(const std::string& text, std::string& error) const;
  std::string LabelOf(std::size_t block) const;
  bool IsName(const Entry& entry, const LineReading& reading) const;
  bool IsMadeBy(const Entry& entry, std::size_t line, const Entries& before) const;
  bool IsTakenBy(const Entry& entry, std::size_t line) const;
  std::size_t MostMadeBy(std::size_t number, const Entries& before) const;
  std::string WrongAdditions(const Entries& before, const Entries& added) const;
  std::string WrongRemovals(const Entries& removed) const;
  std::string Missing(const Entries& after) const;

  const Attempt& m_attempt;
  std::vector<Meant> m_meant;  // of each line
  std::string m_refused;
  bool m_is_open = false;  // the old values, quoted, are another block than the one that is there
};

}  // namespace attack
