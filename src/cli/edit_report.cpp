// SPDX-License-Identifier: Apache-2.0

#include "cli/edit_report.h"

#include <algorithm>
#include <list>
#include <map>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "cli/blocks.h"
#include "cli/syntax.h"
#include "template/framework/str.h"
#include "template/section_path.h"

namespace cli {
namespace {

using Action = EditReport::Action;
using Event = EditReport::Event;
using Kind = EditReport::Event::Kind;

std::string Trimmed(std::string_view text) {
  return std::string(str::view::Trim(text));
}

bool IsBranch(std::string_view text) {
  return str::view::StartsWith(text, "if") || str::view::StartsWith(text, "el");
}

bool IsCondition(std::string_view text) {
  return str::view::StartsWith(text, "if") || str::view::StartsWith(text, "elif");
}

// The levels of the path of a block.
std::vector<std::string> LevelsOf(const std::string& path) {
  std::vector<std::string> levels;
  for (std::string_view rest = path; !rest.empty();) {
    levels.emplace_back(str::view::GetWord(rest, tov_template::kSectionSeparator));
  }
  return levels;
}

class Reporter {
 public:
  explicit Reporter(const ReportSource& source)
      : m_source(source), m_edit(source.edit), m_syntax(SyntaxOf(source.edit.request.dialect)) {}

  EditReport Make() {
    AddStatements();
    AddItems();
    AddBlocks();
    AddLines();
    AddFound();
    for (std::size_t i = 0; i < m_report.items.size(); ++i) m_report.items[i].action = ActionOf(i);
    PlaceBlocks();
    AddEdits();
    for (const auto& [position, other] : m_edit.shown.others) {
      m_report.shown.push_back({NumberOf(position), TextOf(position), Trimmed(other.text)});
    }
    for (const std::size_t position : m_source.put_back) {
      m_report.put_back.push_back({NumberOf(position), TextOf(position), std::string()});
    }
    return std::move(m_report);
  }

 private:
  std::size_t NumberOf(std::size_t position) const {
    return m_edit.source.lines()[position].number;
  }

  std::string TextOf(std::size_t position) const {
    return Trimmed(m_edit.source.lines()[position].text);
  }

  ReportedPlace PlaceOf(const tov_template::Template::Place& place) const {
    return {place.file ? *place.file : m_edit.request.template_file, place.line};
  }

  // --- The template ---

  void AddStatements() {
    const RunValues values = NewValuesOf(m_edit.request);
    for (const auto& record : m_source.as_written.statements()) {
      EditReport::Statement statement;
      statement.place = PlaceOf(record.m_place);
      statement.text = record.m_text;
      statement.is_branch = IsBranch(record.m_text);
      statement.is_condition = IsCondition(record.m_text);
      if (statement.is_condition) {
        statement.values = ConditionValues(record.m_text, values.new_values);
      }
      statement.result = record.m_result;
      statement.next_item = record.m_next_item;
      m_report.statements.push_back(std::move(statement));
    }
  }

  void AddItems() {
    std::vector<std::size_t> branches;  // of the open chains, the outermost first
    std::size_t next_statement = 0;
    for (std::size_t i = 0; i < m_source.as_written.items().size(); ++i) {
      for (; next_statement < m_report.statements.size() &&
             m_report.statements[next_statement].next_item <= i;
           ++next_statement) {
        Enter(next_statement, branches);
      }
      m_report.items.push_back(ItemOf(*m_source.as_written.items()[i], branches));
    }
  }

  void Enter(std::size_t number, std::vector<std::size_t>& branches) const {
    const EditReport::Statement& statement = m_report.statements[number];
    if (str::view::StartsWith(statement.text, "if")) {
      branches.push_back(number);
    } else if (!branches.empty() && statement.is_branch) {
      branches.back() = number;
    } else if (!branches.empty() && str::view::StartsWith(statement.text, "endif")) {
      branches.pop_back();
    }
  }

  EditReport::Item ItemOf(const TemplateRun::Item& item,
                          const std::vector<std::size_t>& branches) const {
    const RunValues values = NewValuesOf(m_edit.request);
    EditReport::Item reported;
    reported.place = PlaceOf(item.m_place);
    reported.text = Trimmed(item.m_text);
    reported.taken = item.m_enabled;
    if (!item.m_enabled) {
      const auto stop = std::find_if(branches.begin(), branches.end(), [this](std::size_t branch) {
        return !m_report.statements[branch].result;
      });
      if (stop != branches.end()) reported.stopped_by = *stop;
    }
    reported.line = item.m_param.m_value.Str();
    reported.key = item.m_param.m_key.Str();
    reported.part_key = item.m_param.m_part_key;
    reported.opens = !item.m_section.m_value.Str().empty();
    if (item.m_param.m_value.IsNull()) {
      for (std::string& name : PlaceNames(item.m_text)) {
        if (values.new_values.count(name) == 0) reported.missing.push_back(std::move(name));
      }
    }
    return reported;
  }

  void AddBlocks() {
    for (std::size_t i = 0; i < m_edit.blocks.blocks.size(); ++i) {
      const TemplateBlock& block = m_edit.blocks.blocks[i];
      EditReport::Block reported;
      reported.item = block.opening;
      if (block.path) reported.path = LevelsOf(*block.path);
      if (block.parent) reported.own = m_report.blocks[*block.parent].own;
      const auto& section = m_source.as_written.items()[block.opening]->m_section;
      reported.own.push_back(
          Trimmed((section.m_old_value.IsNull() ? section.m_value : section.m_old_value).Str()));
      reported.created = m_source.created[i];
      reported.renamed = m_source.renamed[i];
      m_report.blocks.push_back(std::move(reported));
      // Blocks come outermost first, so that the innermost one stays.
      for (std::size_t item = block.opening; item <= block.closing; ++item) {
        m_report.items[item].block = i;
      }
    }
  }

  // --- The lines ---

  // With their texts as they are written: a change may come to nothing.
  void AddLines() {
    auto written = m_source.edited.begin();
    for (const FollowedLines::Line& line : m_edit.lines) {
      const bool is_written = line.text != nullptr && !line.text->empty();
      const std::string to = is_written ? Trimmed((written++)->text) : std::string();
      if (!line.item) continue;
      Event event{Kind::kAdded, 0, std::string(), to};
      if (line.before) {
        event.line = NumberOf(*line.before);
        event.from = TextOf(*line.before);
        event.kind = line.text == nullptr ? Kind::kRemoved
                     : event.from == to   ? Kind::kFound
                                          : Kind::kChanged;
      }
      m_report.items[*line.item].events.push_back(std::move(event));
    }
  }

  // Lines that stand for one of the template. One that the same template line has just made is no
  // news.
  void AddFound() {
    std::unordered_map<const std::string*, const FollowedLines::Line*> by_address;
    if (!m_edit.followed.found().empty()) {
      for (const FollowedLines::Line& line : m_edit.lines) {
        if (line.text != nullptr) by_address.emplace(line.text, &line);
      }
    }
    for (const FollowedLines::FoundLine& found : m_edit.followed.found()) {
      EditReport::Item& item = m_report.items[found.item];
      if (!item.events.empty()) continue;
      const auto line = by_address.find(found.line);
      const bool was_there = line != by_address.end() && line->second->before;
      const std::size_t number = was_there ? NumberOf(*line->second->before) : 0;
      const std::string text = was_there ? TextOf(*line->second->before) : Trimmed(found.text);
      item.events.push_back({Kind::kFound, number, text, text});
    }
  }

  Action ActionOf(std::size_t number) {
    EditReport::Item& item = m_report.items[number];
    const auto has = [&item](Kind kind) {
      return std::any_of(item.events.begin(), item.events.end(),
                         [kind](const Event& event) { return event.kind == kind; });
    };
    const bool changed = has(Kind::kChanged) || (has(Kind::kAdded) && has(Kind::kRemoved));
    if (changed) return Action::kChanged;
    if (has(Kind::kAdded)) return Action::kAdded;
    if (has(Kind::kRemoved)) return Action::kRemoved;
    if (has(Kind::kFound)) return Action::kAlreadyThere;
    if (!item.taken) return Action::kNotThere;
    if (!item.missing.empty()) return Action::kMissingValue;
    if (!item.block) return Action::kOutside;
    if (m_report.blocks[*item.block].path.empty()) return Action::kNoBlock;
    if (item.line.empty() || item.key.empty()) return Action::kNoKey;
    return FindUnique(item) ? Action::kAlreadyThere : Action::kNoEffect;
  }

  // The dialect does not say where it found the directives that it manages itself.
  bool FindUnique(EditReport::Item& item) {
    if (!m_edit.run.config().IsUniqueParam(item.line)) return false;
    if (m_blocks_of.empty()) FindBlocksOfLines();
    const std::optional<std::size_t> opening =
        PositionOf(m_edit.blocks.blocks[*item.block].opening);
    for (std::size_t i = 0; opening && i < m_edit.lines.size(); ++i) {
      const FollowedLines::Line& line = m_edit.lines[i];
      if (line.text == nullptr || m_blocks_of[i] != *opening) continue;
      if (!StandsFor(*line.text, item.line)) continue;
      const std::string text = line.before ? TextOf(*line.before) : Trimmed(*line.text);
      item.events.push_back({Kind::kFound, line.before ? NumberOf(*line.before) : 0, text, text});
      return true;
    }
    return false;
  }

  // The position of the line that stands for the item `number` now.
  std::optional<std::size_t> PositionOf(std::size_t number) const {
    const std::string* found = nullptr;
    for (const FollowedLines::FoundLine& line : m_edit.followed.found()) {
      if (line.item == number) found = line.line;
    }
    for (std::size_t i = 0; i < m_edit.lines.size(); ++i) {
      const FollowedLines::Line& line = m_edit.lines[i];
      if (line.text != nullptr && (line.item == number || line.text == found)) return i;
    }
    return std::nullopt;
  }

  // Whether `line` says what `wanted` says; a line of Apache may hold more words.
  bool StandsFor(const std::string& line, const std::string& wanted) const {
    if (m_syntax == Syntax::kNginx)
      return NormalForm(m_syntax, line) == NormalForm(m_syntax, wanted);
    if (str::view::FirstWord(line) != str::view::FirstWord(wanted)) return false;
    const std::set<std::string> words = WordsOf(line);
    const std::set<std::string> wanted_words = WordsOf(wanted);
    return std::includes(words.begin(), words.end(), wanted_words.begin(), wanted_words.end());
  }

  static std::set<std::string> WordsOf(const std::string& line) {
    std::list<std::string> words;
    str::Split(line, " ", words);
    return {words.begin(), words.end()};
  }

  // For each line, the position of the opening line of its block; its own outside every block.
  void FindBlocksOfLines() {
    std::vector<std::string> texts;
    std::vector<std::size_t> positions;
    for (std::size_t i = 0; i < m_edit.lines.size(); ++i) {
      m_blocks_of.push_back(i);
      if (m_edit.lines[i].text == nullptr) continue;
      texts.push_back(*m_edit.lines[i].text);
      positions.push_back(i);
    }
    for (const cli::Block& block : FindBlocks(m_edit.run.config(), texts)) {
      const std::size_t end = block.closing.value_or(texts.size() - 1);
      for (std::size_t i = block.opening; i <= end; ++i) {
        m_blocks_of[positions[i]] = positions[block.opening];
      }
    }
  }

  void PlaceBlocks() {
    for (EditReport::Block& block : m_report.blocks) {
      for (const Event& event : m_report.items[block.item].events) {
        if (event.line == 0) continue;
        block.line = event.line;
        break;
      }
    }
  }

  // --- The text ---

  void AddEdits() {
    std::map<std::size_t, std::size_t> item_of;  // by the numbers of lines before
    for (std::size_t i = 0; i < m_report.items.size(); ++i) {
      for (const Event& event : m_report.items[i].events) {
        if (event.line != 0 && event.kind != Kind::kFound) item_of.emplace(event.line, i);
      }
    }
    const std::vector<std::optional<std::size_t>> items = ItemsOfEdited();
    for (TextEdit& edit : EditsOf(m_edit.source, m_source.edited)) {
      std::set<std::size_t> of;
      for (const std::size_t line : edit.lines) {
        if (items[line]) of.insert(*items[line]);
      }
      for (auto item = item_of.lower_bound(edit.line);
           item != item_of.end() && item->first < edit.line + edit.count; ++item) {
        of.insert(item->second);
      }
      m_report.edits.push_back(
          {edit.line, edit.count, std::move(edit.text), {of.begin(), of.end()}});
    }
    // A line that only loses its end does so because of what goes behind it.
    for (std::size_t i = m_report.edits.size(); i-- > 1;) {
      EditReport::Edit& before = m_report.edits[i - 1];
      if (before.items.empty()) before.items = m_report.edits[i].items;
    }
  }

  // The template line behind each edited line.
  std::vector<std::optional<std::size_t>> ItemsOfEdited() const {
    std::vector<std::optional<std::size_t>> items;
    for (const FollowedLines::Line& line : m_edit.lines) {
      if (line.text != nullptr && !line.text->empty()) items.push_back(line.item);
    }
    return items;
  }

  const ReportSource& m_source;
  const MadeEdit& m_edit;
  const Syntax m_syntax;
  EditReport m_report;
  std::vector<std::size_t> m_blocks_of;  // of the lines
};

}  // namespace

EditReport ReportEdit(const ReportSource& source) {
  return Reporter(source).Make();
}

std::vector<std::string> PlaceNames(const std::string& line) {
  std::vector<std::string> names;
  for (std::size_t at = 0; (at = line.find('%', at)) != std::string::npos; ++at) {
    const bool opens = at > 0 && (line[at - 1] == '{' || line[at - 1] == '[');
    if (!opens) continue;
    const std::size_t end = line.find(line[at - 1] == '{' ? "%}" : "%]", at + 1);
    const std::string_view content = str::view::Trim(
        std::string_view(line).substr(at + 1, end == std::string::npos ? end : end - at - 1));
    if (str::view::StartsWith(content, "$")) names.emplace_back(content.substr(1));
    if (end == std::string::npos) break;
    at = end;
  }
  return names;
}

std::string ConditionValues(const std::string& statement,
                            const tov_template::Template::Values& values) {
  std::string_view rest = statement;
  str::view::GetWord(rest);  // the keyword
  std::string said;
  std::set<std::string> seen;
  while (!rest.empty()) {
    std::string word(str::view::GetWord(rest));
    const bool named = str::view::StartsWith(word, "$");
    if (named) word.erase(0, 1);
    const auto value = values.find(word);
    if ((!named && value == values.end()) || word.empty() || !seen.insert(word).second) continue;
    said += (said.empty() ? "" : ", ") + word +
            (value == values.end() ? std::string(" has no value") : " is '" + value->second + "'");
  }
  return said;
}

}  // namespace cli
