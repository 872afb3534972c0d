// SPDX-License-Identifier: Apache-2.0

#include "edit/reporter.h"

#include <algorithm>
#include <set>

#include "edit/address/shown_blocks.h"
#include "template/framework/str.h"

namespace tov_edit {
namespace {

using Kind = TemplateLine::Kind;
using Action = EditReport::Action;

bool IsCondition(const Statement& statement) {
  const std::string_view keyword = str::view::FirstWord(statement.text);
  return str::view::StartsWith(keyword, "if") || str::view::StartsWith(keyword, "elif");
}

bool IsBranch(const Statement& statement) {
  return IsCondition(statement) || str::view::StartsWith(statement.text, "else");
}

// Says of each name in a condition what its value is.
std::string ConditionValues(const Statement& statement, const Values& values) {
  static const std::set<std::string_view> kWords = {"and", "or", "==", "!=", "<", ">", "\"\""};
  std::string said;
  std::set<std::string> known;
  std::string_view rest = statement.text;
  str::view::GetWord(rest);  // the keyword
  while (!str::view::Trim(rest).empty()) {
    std::string_view word = str::view::GetWord(rest);
    const bool marked = str::view::StartsWith(word, "$");
    if (marked) word.remove_prefix(1);
    if (word.empty() || kWords.count(word) != 0) continue;
    const std::string name(word);
    const auto value = values.find(name);
    const bool is_set = value != values.end() && value->second.new_value;
    if ((!is_set && !marked) || !known.insert(name).second) continue;
    said += (said.empty() ? "" : ", ") + name +
            (is_set ? " is " + Quoted(*value->second.new_value) : std::string(" is not set"));
  }
  return said;
}

class Reporter {
 public:
  explicit Reporter(const ReportSource& source)
      : m_source(source), m_tree(source.tree), m_found(source.tree.blocks.size()) {
    for (const Match& match : source.matches) {
      if (match.at) m_found[match.block].push_back(*match.at);
    }
  }

  EditReport Make() {
    for (const Statement& statement : m_tree.statements) {
      m_report.statements.push_back({statement.place, statement.text,
                                     IsCondition(statement)
                                         ? ConditionValues(statement, m_source.request.values)
                                         : std::string(),
                                     IsBranch(statement), statement.result, statement.next});
    }
    for (std::size_t i = 0; i < m_tree.lines.size(); ++i) AddItem(i);
    for (const Event& event : m_source.plan.events) AddEvent(event);
    for (std::size_t i = 1; i < m_tree.blocks.size(); ++i) AddBlock(i);
    FindStoppers();
    for (std::size_t i = 0; i < m_tree.lines.size(); ++i) {
      m_report.items[i].action = ActionOf(i);
    }
    return std::move(m_report);
  }

 private:
  void AddItem(std::size_t number) {
    const TemplateLine& line = m_tree.lines[number];
    EditReport::Item item;
    item.place = line.place;
    item.place.column = 0;
    item.text = line.text;
    item.taken = line.enabled;
    if (line.now) item.line = line.now->text;
    item.key_is_beginning = line.beginning.has_value();
    item.key = KeyOf(line);
    item.missing = line.now ? std::vector<std::string>() : line.missing;
    if (line.block != 0) item.block = line.block - 1;
    item.opens = line.kind == Kind::kOpening;
    m_report.items.push_back(std::move(item));
  }

  static std::string KeyOf(const TemplateLine& line) {
    if (!line.beginning) {
      return line.was ? line.was->text : line.now ? line.now->text : std::string();
    }
    std::string key;
    for (const std::string& word : line.beginning->words) key += (key.empty() ? "" : " ") + word;
    return line.beginning->next.empty() ? key : key + " " + line.beginning->next;
  }

  void AddEvent(const Event& event) {
    EditReport::Event reported;
    reported.kind = event.kind;
    if (event.kind != Event::Kind::kAdded) {
      reported.place = m_source.contents.PlaceOf(m_source.config_name, event.bytes.begin);
      reported.from = m_source.contents.document().Bytes(event.bytes);
    }
    reported.to = event.to;
    m_report.items[event.line].events.push_back(std::move(reported));
  }

  void AddBlock(std::size_t number) {
    EditReport::Block block;
    block.item = m_tree.blocks[number].opening;
    block.text = m_tree.lines[block.item].text;
    for (const BlockId id : m_found[number]) {
      const auto& head = m_source.contents.document().blocks()[id].head;
      block.places.push_back(m_source.contents.PlaceOf(m_source.config_name, head.begin));
      block.found.push_back(Described(m_source.contents, m_source.config_name, id));
    }
    for (const EditReport::Event& event : m_report.items[block.item].events) {
      block.created = block.created || event.kind == Event::Kind::kAdded;
      block.renamed = block.renamed || event.kind == Event::Kind::kChanged;
    }
    block.undecided = IsUndecided(number);
    m_report.blocks.push_back(std::move(block));
  }

  // A block that was looked for is matched, if only by none, unless several fit.
  bool IsUndecided(std::size_t number) const {
    const TemplateBlock& block = m_tree.blocks[number];
    const bool sought = !m_found[block.parent].empty() && m_tree.blocks[block.parent].enabled;
    return sought && m_source.is_ambiguous &&
           std::none_of(m_source.matches.begin(), m_source.matches.end(),
                        [number](const Match& match) { return match.block == number; });
  }

  // Walks the statements along the lines: the innermost branch that is open and not taken stops
  // those behind it.
  void FindStoppers() {
    std::vector<std::size_t> open;
    std::size_t next = 0;
    for (std::size_t i = 0; i < m_report.items.size(); ++i) {
      for (; next < m_tree.statements.size() && m_tree.statements[next].next <= i; ++next) {
        Follow(next, open);
      }
      if (m_report.items[i].taken) continue;
      const auto stopper = std::find_if(open.begin(), open.end(), [this](std::size_t statement) {
        return !m_tree.statements[statement].result;
      });
      if (stopper != open.end()) m_report.items[i].stopped_by = *stopper;
    }
  }

  void Follow(std::size_t number, std::vector<std::size_t>& open) const {
    const std::string& text = m_tree.statements[number].text;
    if (str::view::StartsWith(text, "endif")) {
      if (!open.empty()) open.pop_back();
    } else if (str::view::StartsWith(text, "if")) {
      open.push_back(number);
    } else if (str::view::StartsWith(text, "el") && !open.empty()) {
      open.back() = number;
    }
  }

  Action ActionOf(std::size_t number) const {
    const EditReport::Item& item = m_report.items[number];
    const auto has = [&](Event::Kind kind) {
      return std::any_of(item.events.begin(), item.events.end(),
                         [kind](const EditReport::Event& event) { return event.kind == kind; });
    };
    if (has(Event::Kind::kChanged)) return Action::kChanged;
    if (has(Event::Kind::kRemoved)) return Action::kRemoved;
    if (has(Event::Kind::kAdded)) return Action::kAdded;
    if (has(Event::Kind::kFound)) return Action::kAlreadyThere;
    const TemplateLine& line = m_tree.lines[number];
    const bool sought = !m_source.matches.empty();  // else the template itself is refused
    if (!sought || line.kind == Kind::kBlank || line.kind == Kind::kClosing) {
      return Action::kNothing;
    }
    if (!item.taken) return IsGoneWithBlock(line) ? Action::kRemoved : Action::kNotThere;
    if (!line.now) return Action::kMissingValue;
    return !m_found[line.block].empty() ? Action::kNothing : Action::kNoBlock;
  }

  bool IsGoneWithBlock(const TemplateLine& line) const {
    for (std::size_t block = line.block; block != 0; block = m_tree.blocks[block].parent) {
      if (!m_tree.blocks[block].enabled && !m_found[block].empty()) return true;
    }
    return false;
  }

  const ReportSource& m_source;
  const TemplateTree& m_tree;
  std::vector<std::vector<BlockId>> m_found;  // by blocks of the template
  EditReport m_report;
};

}  // namespace

EditReport ReportEdit(const ReportSource& source) {
  return Reporter(source).Make();
}

}  // namespace tov_edit
