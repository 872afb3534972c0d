// SPDX-License-Identifier: Apache-2.0

// What becomes of the lines of a template, in words, for people and for programs.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "edit/report.h"

namespace report {

// "{% if $ssl == on %}".
std::string StatementText(const edit::EditReport::Statement& statement);

// "site.template:3": without the column.
std::string PlaceText(const edit::FilePlace& place);

const char* NameOf(edit::EditReport::Action action);
const char* NameOf(edit::EditReport::Event::Kind kind);

class Sayer {
 public:
  using Event = edit::EditReport::Event;
  using Item = edit::EditReport::Item;
  using Statement = edit::EditReport::Statement;

  // `report` must outlive it.
  explicit Sayer(const edit::EditReport& report) : m_report(report) {}

  // "added: there was no such block". What is done with a line, and why.
  std::string Said(const Item& item) const;

  // "not taken: ssl is 'off'".
  std::string Said(const Statement& statement) const;

  // What the lines of the template's block `number` are looked for in.
  std::string Heading(std::size_t number) const;

 private:
  std::string Why(const Item& item) const;
  std::string BlockOf(const Item& item) const;
  std::string NotThere(const Item& item) const;
  std::string BranchOf(const Item& item) const;
  std::string Done(const Item& item) const;
  std::string ChangeOf(const Item& item) const;
  std::string Lines(const Item& item, Event::Kind kind) const;

  const edit::EditReport& m_report;
};

}  // namespace report
