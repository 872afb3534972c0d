// SPDX-License-Identifier: Apache-2.0

// What becomes of the lines of a template, in words, for people and for programs.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "edit/report.h"

namespace report {

// "{% if $ssl == on %}".
std::string StatementText(const tov_edit::EditReport::Statement& statement);

// "site.template:3": without the column.
std::string PlaceText(const tov_edit::FilePlace& place);

const char* NameOf(tov_edit::EditReport::Action action);
const char* NameOf(tov_edit::EditReport::Event::Kind kind);

class Sayer {
 public:
  using Event = tov_edit::EditReport::Event;
  using Item = tov_edit::EditReport::Item;
  using Statement = tov_edit::EditReport::Statement;

  // `report` must outlive it.
  explicit Sayer(const tov_edit::EditReport& report) : m_report(report) {}

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

  const tov_edit::EditReport& m_report;
};

}  // namespace report
