// SPDX-License-Identifier: Apache-2.0

#include "report/sayer.h"

namespace report {

using tov_edit::EditReport;
using tov_edit::FilePlace;
using tov_edit::Quoted;
using Action = EditReport::Action;
using Event = EditReport::Event;
using Item = EditReport::Item;
using Kind = Event::Kind;
using Statement = EditReport::Statement;

namespace {

std::string Names(const std::vector<std::string>& names) {
  std::string joined;
  for (const std::string& name : names) joined += (joined.empty() ? "" : ", ") + Quoted(name);
  return joined;
}

std::string NoSuch(const Item& item) {
  return std::string("no directive of the block ") +
         (item.key_is_beginning ? "begins with " : "is ") + Quoted(item.key);
}

}  // namespace

const char* NameOf(Action action) {
  switch (action) {
    case Action::kAdded:
      return "added";
    case Action::kChanged:
      return "changed";
    case Action::kRemoved:
      return "removed";
    case Action::kAlreadyThere:
      return "already-there";
    case Action::kNotThere:
      return "not-there";
    case Action::kMissingValue:
      return "missing-value";
    case Action::kNoBlock:
      return "no-block";
    case Action::kNothing:
      return "nothing";
  }
  return "";
}

const char* NameOf(Kind kind) {
  switch (kind) {
    case Kind::kFound:
      return "found";
    case Kind::kAdded:
      return "added";
    case Kind::kChanged:
      return "changed";
    case Kind::kRemoved:
      return "removed";
  }
  return "";
}

std::string StatementText(const Statement& statement) {
  return "{% " + statement.text + " %}";
}

std::string PlaceText(const FilePlace& place) {
  return Shown(FilePlace{place.file, place.line, 0});
}

// Why the line is as it is: the second half of Said.
std::string Sayer::Why(const Item& item) const {
  switch (item.action) {
    case Action::kAdded:
      if (item.opens) return "there was no such block";
      if (item.block && m_report.blocks[*item.block].created) return "its block is new";
      return NoSuch(item);
    case Action::kChanged:
      return std::string();
    case Action::kRemoved:
      return BranchOf(item);
    case Action::kNotThere:
      return NotThere(item) + BranchOf(item);
    case Action::kAlreadyThere:
      return item.taken ? std::string() : BranchOf(item);
    case Action::kMissingValue:
      return "no new value for " + Names(item.missing) +
             "; such a line neither adds, changes nor removes anything";
    case Action::kNoBlock:
      if (!item.block) return std::string();
      return (m_report.blocks[*item.block].undecided ? "several blocks fit: "
                                                     : "its block is not there: ") +
             BlockOf(item);
    case Action::kNothing:
      break;
  }
  return std::string();
}

std::string Sayer::Said(const Item& item) const {
  std::string said = Done(item);
  const std::string why = Why(item);
  if (!why.empty()) said += ": " + why;
  return said;
}

std::string Sayer::Said(const Statement& statement) const {
  std::string said;
  if (statement.is_branch) {
    said = statement.result ? "taken" : "not taken";
  } else if (!statement.result) {
    said = "no such file: nothing is imported";
  }
  if (!statement.values.empty()) said += ": " + statement.values;
  return said;
}

std::string Sayer::Heading(std::size_t number) const {
  const EditReport::Block& block = m_report.blocks[number];
  if (block.created) return Quoted(block.text) + " (new)";
  if (block.undecided) return "several blocks fit, see below: " + Quoted(block.text);
  if (block.found.empty()) return "not there: " + Quoted(block.text);
  std::string heading;
  for (const std::string& found : block.found) heading += (heading.empty() ? "" : "; ") + found;
  return heading + (block.renamed ? ", which becomes " + Quoted(block.text) : "");
}

std::string Sayer::BlockOf(const Item& item) const {
  return Quoted(m_report.blocks[*item.block].text);
}

// Why nothing has been found that would have to go.
std::string Sayer::NotThere(const Item& item) const {
  if (item.block && m_report.blocks[*item.block].found.empty())
    return "its block is not there, and ";
  if (item.opens || item.key.empty()) return std::string();
  return NoSuch(item) + ", and ";
}

// The branch for which a line is not taken.
std::string Sayer::BranchOf(const Item& item) const {
  if (!item.stopped_by) return "its branch is not taken";
  const Statement& statement = m_report.statements[*item.stopped_by];
  std::string said =
      StatementText(statement) + " (" + PlaceText(statement.place) + ") is not taken";
  if (!statement.values.empty()) said += ", " + statement.values;
  return said;
}

std::string Sayer::Done(const Item& item) const {
  switch (item.action) {
    case Action::kAdded:
      return "added";
    case Action::kChanged:
      return ChangeOf(item);
    case Action::kRemoved:
      return "removed " + Lines(item, Kind::kRemoved);
    case Action::kAlreadyThere:
      return (item.taken ? "already there " : "stays ") + Lines(item, Kind::kFound);
    case Action::kNotThere:
      return "nothing to remove";
    default:
      return "nothing";
  }
}

std::string Sayer::ChangeOf(const Item& item) const {
  std::string said;
  for (const Event& event : item.events) {
    if (event.kind == Kind::kFound) continue;
    said += said.empty() ? "" : "; ";
    if (event.kind == Kind::kAdded) {
      said += "added " + Quoted(event.to);
    } else {
      said +=
          std::string(NameOf(event.kind)) + ' ' + PlaceText(event.place) + ' ' + Quoted(event.from);
      if (event.kind == Kind::kChanged) said += " to " + Quoted(event.to);
    }
  }
  return said;
}

// The lines of one kind of event; of many the first and their number.
std::string Sayer::Lines(const Item& item, Kind kind) const {
  std::string said;
  std::size_t count = 0;
  for (const Event& event : item.events) {
    if (event.kind != kind || count++ != 0) continue;
    const std::string& text = kind == Kind::kRemoved ? event.from : event.to;
    if (event.place.line != 0) said = PlaceText(event.place) + ' ';
    said += Quoted(text);
  }
  if (count > 1) said += " and " + std::to_string(count - 1) + " more";
  return said;
}

}  // namespace report
