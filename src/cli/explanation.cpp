// SPDX-License-Identifier: Apache-2.0

#include "cli/explanation.h"

#include <algorithm>
#include <array>
#include <utility>

#include "cli/diagnostic.h"
#include "cli/findings.h"
#include "report/sayer.h"

namespace cli {
namespace {

using tov_edit::EditReport;
using Item = EditReport::Item;
using Statement = EditReport::Statement;
using report::ExplainedEdit;
using report::PlaceText;
using report::StatementText;

class Table {
 public:
  Table(const ExplainedEdit& edit, bool coloured)
      : m_edit(edit),
        m_report(edit.explained.report),
        m_sayer(edit.explained.report),
        m_coloured(coloured) {}

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
    const std::vector<tov_edit::Change>& changes = m_edit.explained.result.changes;
    for (const tov_edit::Change& change : changes) {
      gone += change.count;
      come += static_cast<std::size_t>(std::count(change.text.begin(), change.text.end(), '\n'));
      if (!change.text.empty() && change.text.back() != '\n') ++come;
    }
    const std::string what = changes.empty() ? std::string("nothing changes")
                                             : "lines that go: " + std::to_string(gone) +
                                                   ", that come: " + std::to_string(come);
    m_text = Bold(m_edit.config_name + " (" + NameOf(m_edit.request.dialect) + "): " + what,
                  m_coloured) +
             '\n';
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
      m_text += Said(finding) + '\n';
    }
  }

  const ExplainedEdit& m_edit;
  const EditReport& m_report;
  const report::Sayer m_sayer;
  const bool m_coloured;
  std::vector<Row> m_rows;
  std::string m_text;
};

}  // namespace

std::string Explanation(const ExplainedEdit& edit, bool coloured) {
  return Table(edit, coloured).Make();
}

}  // namespace cli
