// SPDX-License-Identifier: Apache-2.0

#include "cli/explanation.h"

#include <algorithm>
#include <array>
#include <utility>

#include "cli/diagnostic.h"
#include "cli/findings.h"
#include "template/framework/str.h"

namespace cli {
namespace {

using edit::EditReport;
using nlohmann::ordered_json;
using Action = EditReport::Action;
using Event = EditReport::Event;
using Item = EditReport::Item;
using Kind = edit::Event::Kind;
using Statement = EditReport::Statement;

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

// What is said of a template line, for people and for programs.
class Sayer {
 public:
  explicit Sayer(const ExplainedEdit& edit) : m_report(edit.explained.report) {}

  // Why the line is as it is: the second half of Said.
  std::string Why(const Item& item) const {
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
        return (m_report.blocks[*item.block].undecided ? "its block may be each of several: "
                                                       : "its block is not there: ") +
               BlockOf(item);
      case Action::kNothing:
        break;
    }
    return std::string();
  }

  std::string Said(const Item& item) const {
    std::string said = Done(item);
    const std::string why = Why(item);
    if (!why.empty()) said += ": " + why;
    return said;
  }

  std::string Said(const Statement& statement) const {
    std::string said;
    if (statement.is_branch) {
      said = statement.result ? "taken" : "not taken";
    } else if (!statement.result) {
      said = "no such file: nothing is imported";
    }
    if (!statement.values.empty()) said += ": " + statement.values;
    return said;
  }

  // What the lines of the template's block `number` are looked for in.
  std::string Heading(std::size_t number) const {
    const EditReport::Block& block = m_report.blocks[number];
    if (block.created) return Quoted(block.text) + " (new)";
    if (block.undecided) return "may be each of several, see below: " + Quoted(block.text);
    if (block.found.empty()) return "not there: " + Quoted(block.text);
    std::string heading;
    for (const std::string& found : block.found) heading += (heading.empty() ? "" : "; ") + found;
    return heading + (block.renamed ? ", which becomes " + Quoted(block.text) : "");
  }

 private:
  static std::string Names(const std::vector<std::string>& names) {
    std::string joined;
    for (const std::string& name : names) joined += (joined.empty() ? "" : ", ") + Quoted(name);
    return joined;
  }

  std::string BlockOf(const Item& item) const { return Quoted(m_report.blocks[*item.block].text); }

  static std::string NoSuch(const Item& item) {
    return std::string("no directive of the block ") +
           (item.key_is_beginning ? "begins with " : "is ") + Quoted(item.key);
  }

  // Why nothing has been found that would have to go.
  std::string NotThere(const Item& item) const {
    if (item.block && m_report.blocks[*item.block].found.empty())
      return "its block is not there, and ";
    if (item.opens || item.key.empty()) return std::string();
    return NoSuch(item) + ", and ";
  }

  // The branch for which a line is not taken.
  std::string BranchOf(const Item& item) const {
    if (!item.stopped_by) return "its branch is not taken";
    const Statement& statement = m_report.statements[*item.stopped_by];
    std::string said =
        StatementText(statement) + " (" + PlaceText(statement.place) + ") is not taken";
    if (!statement.values.empty()) said += ", " + statement.values;
    return said;
  }

  std::string Done(const Item& item) const {
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

  std::string ChangeOf(const Item& item) const {
    std::string said;
    for (const Event& event : item.events) {
      if (event.kind == Kind::kFound) continue;
      said += said.empty() ? "" : "; ";
      if (event.kind == Kind::kAdded) {
        said += "added " + Quoted(event.to);
      } else {
        said += std::string(NameOf(event.kind)) + ' ' + PlaceText(event.place) + ' ' +
                Quoted(event.from);
        if (event.kind == Kind::kChanged) said += " to " + Quoted(event.to);
      }
    }
    return said;
  }

  // The lines of one kind of event; of many the first and their number.
  std::string Lines(const Item& item, Kind kind) const {
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

  const EditReport& m_report;
};

// --- For people ---

class Table {
 public:
  Table(const ExplainedEdit& edit, bool coloured)
      : m_edit(edit), m_report(edit.explained.report), m_sayer(edit), m_coloured(coloured) {}

  std::string Make() {
    AddSummary();
    AddLines();
    AddRows();
    AddFindings("Warnings:", m_edit.explained.result.warnings);
    AddFindings("apply refuses this edit:", m_edit.explained.result.refusals);
    return std::move(m_text);
  }

 private:
  using Row = std::array<std::string, 3>;

  void AddSummary() {
    std::size_t gone = 0;
    std::size_t come = 0;
    for (const edit::TextEdit& edit : m_report.edits) {
      gone += edit.count;
      come += static_cast<std::size_t>(std::count(edit.text.begin(), edit.text.end(), '\n'));
      if (!edit.text.empty() && edit.text.back() != '\n') ++come;
    }
    const std::string what = m_report.edits.empty() ? std::string("nothing changes")
                                                    : "lines that go: " + std::to_string(gone) +
                                                          ", that come: " + std::to_string(come);
    m_text =
        Bold(m_edit.config_name + " (" + m_edit.request.dialect + "): " + what, m_coloured) + '\n';
  }

  void AddLines() {
    std::size_t next_statement = 0;
    std::optional<std::size_t> block;
    for (std::size_t i = 0; i <= m_report.items.size(); ++i) {
      for (; next_statement < m_report.statements.size() &&
             m_report.statements[next_statement].next_item <= i;
           ++next_statement) {
        const Statement& statement = m_report.statements[next_statement];
        m_rows.push_back(
            {PlaceText(statement.place), StatementText(statement), m_sayer.Said(statement)});
      }
      if (i == m_report.items.size()) break;
      const Item& item = m_report.items[i];
      if (item.block && item.block != block) {
        m_rows.push_back({std::string(), std::string(), m_sayer.Heading(*item.block)});
      }
      block = item.block;
      m_rows.push_back({PlaceText(item.place), item.text, m_sayer.Said(item)});
    }
  }

  // A row without a place is a heading. Columns are as wide as most of them need.
  void AddRows() {
    constexpr std::size_t kWidest = 44;
    std::array<std::size_t, 2> widths{};
    for (const Row& row : m_rows) {
      for (std::size_t i = 0; i < widths.size(); ++i) {
        widths.at(i) = std::max(widths.at(i), std::min(row.at(i).size(), kWidest));
      }
    }
    for (const Row& row : m_rows) {
      if (row[0].empty()) {
        m_text += '\n' + Bold(Printable(row[2]), m_coloured) + '\n';
        continue;
      }
      std::string line;
      for (std::size_t i = 0; i < widths.size(); ++i) {
        line += row.at(i);
        if (row.at(i).size() < widths.at(i)) line.append(widths.at(i) - row.at(i).size(), ' ');
        line += "  ";
      }
      line += row[2];
      line.erase(line.find_last_not_of(' ') + 1);
      m_text += Printable(line) + '\n';
    }
  }

  void AddFindings(const char* heading, const std::vector<Finding>& findings) {
    if (findings.empty()) return;
    m_text += '\n' + Bold(heading, m_coloured) + '\n';
    for (const Finding& finding : findings) {
      m_text += Printable(finding.message) + " [" + finding.name + "]\n";
    }
  }

  const ExplainedEdit& m_edit;
  const EditReport& m_report;
  const Sayer m_sayer;
  const bool m_coloured;
  std::vector<Row> m_rows;
  std::string m_text;
};

// --- For programs ---

ordered_json Json(const FilePlace& place) {
  return ToJson(FilePlace{place.file, place.line, 0});
}

ordered_json Json(const Event& event) {
  ordered_json json = {{"kind", NameOf(event.kind)}};
  if (event.place.line != 0) {
    json["line"] = event.place.line;
    json["column"] = event.place.column;
  }
  if (event.kind != Kind::kAdded) json["from"] = event.from;
  if (event.kind != Kind::kRemoved) json["to"] = event.to;
  return json;
}

ordered_json Json(const Statement& statement) {
  ordered_json json = {{"place", Json(statement.place)}, {"text", statement.text}};
  if (statement.is_branch) json["taken"] = statement.result;
  if (!statement.is_branch && !statement.result) json["taken"] = false;
  if (!statement.values.empty()) json["values"] = statement.values;
  return json;
}

ordered_json Json(const Item& item, const Sayer& sayer) {
  ordered_json json = {{"place", Json(item.place)}, {"text", item.text}, {"taken", item.taken}};
  if (item.stopped_by) json["statement"] = *item.stopped_by;
  if (item.missing.empty()) {
    json["line"] = item.line;
  } else {
    json["missing"] = item.missing;
  }
  json["key"] = item.key;
  json["key_is_beginning"] = item.key_is_beginning;
  if (item.block) json["block"] = *item.block;
  json["action"] = NameOf(item.action);
  json["said"] = sayer.Said(item);
  json["lines"] = ordered_json::array();
  for (const Event& event : item.events) json["lines"].push_back(Json(event));
  return json;
}

ordered_json Json(const EditReport::Block& block) {
  ordered_json json = {{"opening", block.item},
                       {"text", block.text},
                       {"created", block.created},
                       {"renamed", block.renamed},
                       {"found", ordered_json::array()}};
  for (const FilePlace& place : block.places) {
    json["found"].push_back({{"line", place.line}, {"column", place.column}});
  }
  return json;
}

ordered_json Json(const std::vector<Finding>& findings) {
  ordered_json json = ordered_json::array();
  for (const Finding& finding : findings) {
    json.push_back({{"name", finding.name}, {"message", finding.message}});
  }
  return json;
}

ordered_json Json(const edit::TextEdit& edit) {
  return {{"line", edit.line},
          {"count", edit.count},
          {"text", edit.text},
          {"template_lines", edit.lines}};
}

template <class List, class... Rest>
ordered_json JsonList(const List& list, const Rest&... rest) {
  ordered_json json = ordered_json::array();
  for (const auto& each : list) json.push_back(Json(each, rest...));
  return json;
}

}  // namespace

std::string Explanation(const ExplainedEdit& edit, bool coloured) {
  return Table(edit, coloured).Make();
}

ordered_json ExplanationJson(const ExplainedEdit& edit) {
  const EditReport& report = edit.explained.report;
  const edit::Result& result = edit.explained.result;
  const Sayer sayer(edit);
  return {{"config", edit.config_name},
          {"dialect", edit.request.dialect},
          {"template", edit.request.edit.template_name},
          {"refused", !result.refusals.empty()},
          {"statements", JsonList(report.statements)},
          {"template_lines", JsonList(report.items, sayer)},
          {"blocks", JsonList(report.blocks)},
          {"edits", JsonList(report.edits)},
          {"warnings", Json(result.warnings)},
          {"refusals", Json(result.refusals)}};
}

}  // namespace cli
