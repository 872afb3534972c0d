// SPDX-License-Identifier: Apache-2.0

#include "template/apache.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <typeinfo>
#include <utility>
#include <vector>

#include "template/framework/str.h"

namespace tov_template {
namespace {

constexpr std::string_view kOptions = "Options";

// The directives that are managed here.
constexpr std::array<std::string_view, 3> kManaged = {kOptions, "ServerAlias", "DirectoryIndex"};

// A line of more words is not looked at before it is registered.
constexpr std::size_t kFewWords = 16;

// `line` is trimmed.
bool IsManaged(std::string_view line) {
  return std::any_of(kManaged.begin(), kManaged.end(), [&](std::string_view name) {
    return str::view::StartsWith(line, name) &&
           (line.size() == name.size() || str::IsBlank(line[name.size()]));
  });
}

// How far a line of `section` is indented.
std::size_t Depth(const std::string& section) {
  const std::string_view trimmed = str::view::Trim(section);
  if (trimmed.size() == section.size()) return SectionDepth(section);
  return SectionDepth(std::string(trimmed));
}

bool IsOptions(std::string_view text) {
  return str::view::StartsWith(str::view::Trim(text), kOptions);
}

}  // namespace

Apache::Apache(const std::string& text)
    : LineListConfig(text, {"SSLProtocol", "SSLCipherSuite", "php_admin_value"}),
      m_parse_options(this),
      m_parse_huge_param(this) {}

// Lines

bool Apache::StartsSection(const std::string& line) const {
  return str::view::StartsWith(str::view::Trim(line), "<") && !EndedSection(line);
}

bool Apache::EndedSection(const std::string& line) const {
  return str::view::StartsWith(str::view::Trim(line), "</");
}

bool Apache::IsUniqueParam(const std::string& line) const {
  return IsManaged(str::view::Trim(line));
}

Apache::LineLook Apache::Look(const std::string& line) {
  LineLook look;
  look.text = str::view::Trim(line);
  if (look.text.empty()) return look;
  if (look.text.front() != '<') {
    look.unique = IsManaged(look.text);
    return look;
  }
  if (look.text.find('#') != std::string_view::npos) {
    look.text = str::view::Trim(look.text.substr(0, look.text.rfind('#')));
  }
  look.ends = str::view::StartsWith(look.text, "</");
  look.starts = !look.ends;
  return look;
}

Apache::LookAtLine Apache::GetLookAtLine() const {
  return typeid(*this) == typeid(Apache) ? Look : nullptr;
}

bool Apache::CanRegisterLate(std::size_t depth, const std::vector<LineIterator>& lines) const {
  if (typeid(*this) != typeid(Apache)) return false;
  if (!m_parse_options.IsEmpty() || !m_parse_huge_param.IsEmpty()) return false;
  const std::string* options = nullptr;
  for (const LineIterator& line : lines) {
    if (!IsOptions(*line)) continue;
    if (options != nullptr) return false;
    options = &*line;
  }
  return options == nullptr || ParseOptions::IsAsWritten(*options, depth);
}

std::string Apache::GetKeyFieldConstParam(const std::string& line) const {
  if (!IsConstExpression(line)) return line;
  std::string_view rest = str::view::Trim(line);
  std::string name(str::view::GetWord(rest));
  if (name != "php_admin_value") return name;
  return str::Append(name, std::string(str::view::GetWord(rest)), " ");
}

std::string Apache::PrepareLine(const std::string& section, const std::string& text) const {
  std::string line(Depth(section), '\t');
  return line += str::view::Trim(text);
}

// Directives that are managed here

LineIterator Apache::RegisterUniqueParam(const std::string& section, LineIterator& pos) {
  RegisterRest();
  if (section.empty() || pos == m_lines.end()) return pos;
  if (IsOptions(*pos)) return m_parse_options.Register(section, pos);
  m_parse_huge_param.Register(section, pos);
  return pos;
}

LineIterator Apache::AppendUniqueParam(const std::string& section, const LineIterator& pos,
                                       const std::string& text) {
  RegisterRest();
  if (section.empty()) return pos;
  return IsOptions(text) ? m_parse_options.Append(section, pos, text)
                         : m_parse_huge_param.Append(section, pos, text);
}

void Apache::RemoveUniqueParam(const std::string& section, const std::string& text, bool flag,
                               std::list<LineIterator>& removed) {
  RegisterRest();
  if (IsOptions(text)) {
    m_parse_options.Remove(section, text, flag);
  } else {
    m_parse_huge_param.Remove(section, text, flag, removed);
  }
}

void Apache::ChangeUniqueParam(const std::string& section, LineIterator& pos,
                               const std::string& text, std::list<LineIterator>& removed) {
  RegisterRest();
  if (pos != m_lines.end() && IsOptions(*pos)) return;
  m_parse_huge_param.Change(section, pos, text, removed);
}

LineIterator Apache::SharedLine(const std::string& section, const std::string& text) {
  RegisterRest();
  return IsOptions(text) ? m_parse_options.MergedLine(section) : m_lines.end();
}

std::vector<LineIterator> Apache::RegisteredLines() const {
  RegisterRest();
  std::vector<LineIterator> lines;
  m_parse_options.AddLines(lines);
  m_parse_huge_param.AddLines(lines);
  return lines;
}

void Apache::ForgetLine(const LineIterator& line) {
  m_parse_options.Forget(line);
  m_parse_huge_param.Forget(line);
}

void Apache::LineChanged(const LineIterator& line) {
  m_parse_options.Changed();
  m_parse_huge_param.Changed(line);
}

// Options

LineIterator Apache::ParseOptions::Register(const std::string& section, LineIterator& pos) {
  const auto [entry, first] = EntryInOrder(m_words, section);
  if (first) return RegisterFirst(entry, pos);
  const std::string added = AddWords(*entry, first, *pos);
  const auto merged = FindInOrder(m_merged_lines, section);
  if (merged != m_merged_lines.end()) WriteWords(*merged, added);
  return m_apache->RemoveParam(pos);
}

// Where memory fails, all is as before, and the line is still to become the block's first.
LineIterator Apache::ParseOptions::RegisterFirst(Words::iterator block,
                                                 const LineIterator& pos) try {
  const std::string added = AddWords(*block, true, *pos);
  const Lines::value_type& merged = SetLine(block->first, pos);
  if (IsWritten(*block, *pos, added)) {
    m_written_last = &merged.first;
  } else {
    WriteWords(merged, added);
  }
  return pos;
} catch (...) {
  const auto merged = m_merged_lines.find(block->first);
  if (merged != m_merged_lines.end()) {
    if (m_sections) m_sections->Remove(&*pos, &merged->first);
    m_merged_lines.erase(merged);
  }
  m_positions.erase(block->first);
  m_words.erase(block);
  throw;
}

LineIterator Apache::ParseOptions::Append(const std::string& section, const LineIterator& pos,
                                          const std::string& text) {
  const auto [entry, first] = EntryInOrder(m_words, section);
  const std::string added = AddWords(*entry, first, text);
  const auto merged = m_merged_lines.find(section);
  if (merged != m_merged_lines.end()) {
    WriteWords(*merged, added);
    return pos;
  }
  const LineIterator line = m_apache->AppendParam(pos, Line(section));
  SetLine(section, line);
  return line;
}

void Apache::ParseOptions::Remove(const std::string& section, const std::string& text, bool flag) {
  const auto merged = m_merged_lines.find(section);
  const auto entry = m_words.find(section);
  if (merged == m_merged_lines.end() || entry == m_words.end()) return;
  std::list<std::string>& words = entry->second;
  m_written_last = nullptr;
  if (!flag) RemoveWords(section, words, text);
  if (words.empty()) return;
  if (!flag && words.back() != kOptions) {
    m_apache->Write(merged->second, Line(section));
    return;
  }
  m_positions.erase(section);
  words.clear();
  m_apache->Write(merged->second, "");
}

LineIterator Apache::ParseOptions::MergedLine(const std::string& section) const {
  const auto merged = FindInOrder(m_merged_lines, section);
  return merged == m_merged_lines.end() ? m_apache->m_lines.end() : merged->second;
}

void Apache::ParseOptions::Forget(const LineIterator& line) {
  if (m_merged_lines.empty()) return;
  if (!m_sections) {
    LineIndex<const std::string*> made;
    for (const auto& [section, merged] : m_merged_lines) made.Add(&*merged, &section, &section);
    m_sections = std::move(made);
  }
  for (const std::string* section : m_sections->Take(&*line)) {
    m_positions.erase(*section);
    m_words.erase(m_words.find(*section));
    m_merged_lines.erase(m_merged_lines.find(*section));
    m_written_last = nullptr;
  }
}

void Apache::ParseOptions::AddLines(std::vector<LineIterator>& lines) const {
  for (const auto& [section, merged] : m_merged_lines) lines.push_back(merged);
}

// The index of `words`, those of `section`, made when they are many by now; null when they have
// always been few.
Apache::ParseOptions::Positions* Apache::ParseOptions::PositionsOf(const std::string& section,
                                                                   std::list<std::string>& words) {
  const bool few = words.size() < kShortList;
  if (few && m_positions.empty()) return nullptr;
  auto entry = m_positions.find(section);
  if (entry != m_positions.end()) return &entry->second;
  if (few) return nullptr;
  entry = m_positions.try_emplace(section).first;
  try {
    for (auto word = words.begin(); word != words.end(); ++word) {
      entry->second.emplace(*word, word);
    }
  } catch (...) {
    m_positions.erase(entry);
    throw;
  }
  return &entry->second;
}

// Adds the words of the line `text` that the block does not have yet, and returns them, each behind
// a blank. Of the `first` line of a block the directive's name is kept, too, and not returned.
std::string Apache::ParseOptions::AddWords(Words::value_type& block, bool first,
                                           std::string_view text) {
  auto& [section, words] = block;
  std::string_view rest = str::view::Trim(text);
  if (first) words.emplace_back(str::view::GetWord(rest));
  std::string added;
  Positions* positions = nullptr;
  while (!rest.empty()) {
    const std::string_view word = str::view::GetWord(rest);
    if (positions == nullptr) positions = PositionsOf(section, words);
    const bool known = positions != nullptr
                           ? positions->count(word) != 0
                           : std::find(words.begin(), words.end(), word) != words.end();
    if (known) continue;
    std::list<std::string> one;
    one.emplace_back(word);
    if (positions != nullptr) positions->emplace(one.front(), one.begin());
    words.splice(words.end(), one);
    added.append(" ").append(word);
  }
  return added;
}

void Apache::ParseOptions::RemoveWords(const std::string& section, std::list<std::string>& words,
                                       std::string_view text) {
  std::string_view rest = str::view::Trim(text);
  str::view::GetWord(rest);  // the directive's name
  const auto many = m_positions.find(section);
  while (!rest.empty()) {
    const std::string_view word = str::view::GetWord(rest);
    auto found = words.end();
    if (many == m_positions.end()) {
      found = std::find(words.begin(), words.end(), word);
    } else if (const auto position = many->second.find(word); position != many->second.end()) {
      found = position->second;
      many->second.erase(position);
    }
    if (found != words.end()) words.erase(found);
  }
}

const Apache::ParseOptions::Lines::value_type& Apache::ParseOptions::SetLine(
    const std::string& section, const LineIterator& line) {
  const auto [entry, made] = EntryInOrder(m_merged_lines, section);
  if (made) entry->second = line;
  if (m_sections) m_sections->Add(&*line, &entry->first, &entry->first);
  return *entry;
}

// Writes a block's line, whose words are the same as before but for those `added`. Where they come
// in a row, only these are written.
void Apache::ParseOptions::WriteWords(const Lines::value_type& merged, const std::string& added) {
  const auto& [section, line] = merged;
  const bool goes_on = m_written_last == &section;
  m_apache->Write(line, goes_on ? std::move(*line) + added : Line(section));
  m_written_last = &section;
}

// Whether the only line of `block` is, to the byte, what would be written for its words: the
// directive's name, and `added`, each behind a blank.
bool Apache::ParseOptions::IsWritten(const Words::value_type& block, const std::string& line,
                                     const std::string& added) {
  const auto& [section, words] = block;
  const std::string_view text = str::view::Trim(line);
  const std::size_t indentation = Depth(section);
  return line.size() == indentation + text.size() && line.find_first_not_of('\t') == indentation &&
         words.front().size() + added.size() == text.size() && str::view::EndsWith(text, added);
}

// The same of a line by itself, before its words are known.
bool Apache::ParseOptions::IsAsWritten(std::string_view line, std::size_t depth) {
  const std::size_t begin = line.find_first_not_of('\t');
  if (begin != depth) return false;
  std::array<std::string_view, kFewWords> words;
  std::size_t number = 0;
  for (std::string_view rest = line.substr(begin); !rest.empty();) {
    const std::string_view before = rest;
    const std::string_view word = str::view::GetWord(rest);
    if (!str::view::StartsWith(before, word) || number == words.size()) return false;
    const bool goes_on = word.size() < before.size();
    if (goes_on && (before[word.size()] != ' ' || rest.empty())) return false;
    auto* const end = words.begin() + number;
    if (std::find(words.begin(), end, word) != end) return false;
    words.at(number++) = word;
  }
  return true;
}

std::string Apache::ParseOptions::Line(const std::string& section) const {
  return m_apache->PrepareLine(section, str::Join(FindInOrder(m_words, section)->second, " "));
}

// ServerAlias and DirectoryIndex

// The pieces of a value, one after the other. Trimming does not look at the same blanks again.
class Apache::ParseHugeParam::Pieces {
 public:
  explicit Pieces(std::string_view value)
      : m_value(value), m_end(value.find_last_not_of(" \t\n\r\v\f") + 1) {}

  bool AtEnd() const { return m_next == m_value.size(); }

  // How much of the value the pieces so far have used up.
  std::size_t Used() const { return m_next; }

  std::string_view Next() {
    if (m_value.size() - m_next <= kMaxPiece) return Take(m_value.substr(m_next), m_value.size());
    m_start = std::max(m_start, m_next);
    while (m_start < m_end && str::IsBlank(m_value[m_start])) ++m_start;
    if (m_start >= m_end) return Take("", m_value.size());
    const std::string_view piece = m_value.substr(m_start, std::min(kMaxPiece, m_end - m_start));
    const std::size_t blank = piece.find_last_of(" \t\n\r");
    if (blank == std::string_view::npos) return Take(piece, m_next + piece.size());
    return Take(piece.substr(0, blank), m_next + blank + 1);
  }

 private:
  std::string_view Take(std::string_view piece, std::size_t next) {
    m_next = next;
    return piece;
  }

  std::string_view m_value;
  std::size_t m_next = 0;   // where the rest of the value begins
  std::size_t m_start = 0;  // where the trimmed rest begins, as far as that has been looked for
  std::size_t m_end;        // where it ends
};

std::string Apache::ParseHugeParam::GetPartParam(std::string& value) {
  Pieces pieces(value);
  std::string piece(pieces.Next());
  value.erase(0, pieces.Used());
  return piece;
}

void Apache::ParseHugeParam::Register(const std::string& section, const LineIterator& pos) {
  auto& directives = EntryInOrder(m_huge_lines, section).first->second;
  m_registry.Add(directives[std::string(str::view::FirstWord(*pos))], pos);
}

LineIterator Apache::ParseHugeParam::Append(const std::string& section, const LineIterator& pos,
                                            const std::string& text) {
  std::string_view value = str::view::Trim(text);
  const std::string name(str::view::GetWord(value));
  LineRegistry::List* lines = Find(section, name);
  LineIterator last = pos;
  for (Pieces pieces(value); !pieces.AtEnd();) {
    const std::string candidate = str::Append(name, std::string(pieces.Next()), " ");
    if (lines != nullptr && m_registry.Holds(*lines, str::view::Trim(candidate))) continue;
    if (lines == nullptr) lines = &m_huge_lines[section][name];
    last = MakeLine(section, *lines, pos, candidate);
  }
  return last;
}

void Apache::ParseHugeParam::Remove(const std::string& section, const std::string& text, bool flag,
                                    std::list<LineIterator>& removed) {
  const std::string_view value = str::view::Trim(text);
  LineRegistry::List* const lines = Find(section, std::string(str::view::FirstWord(value)));
  if (lines == nullptr) return;
  if (flag) {
    m_registry.HandBackAll(*lines, removed);
    return;
  }
  for (Pieces pieces(value); !pieces.AtEnd();) {
    for (const auto& element : m_registry.Find(*lines, pieces.Next(), Match::kWhole)) {
      m_registry.HandBack(*lines, element, removed);
    }
  }
}

void Apache::ParseHugeParam::Change(const std::string& section, const LineIterator& pos,
                                    const std::string& text, std::list<LineIterator>& removed) {
  std::string_view value = str::view::Trim(text);
  const std::string name(str::view::GetWord(value));
  LineRegistry::List* const lines = Find(section, name);
  if (lines == nullptr) return;
  m_registry.HandBackAll(*lines, removed);
  for (Pieces pieces(value); !pieces.AtEnd();) {
    MakeLine(section, *lines, pos, str::Append(name, std::string(pieces.Next()), " "));
  }
}

void Apache::ParseHugeParam::Forget(const LineIterator& line) {
  m_registry.Forget(line);
}

void Apache::ParseHugeParam::AddLines(std::vector<LineIterator>& lines) const {
  for (const auto& [section, directives] : m_huge_lines) {
    for (const auto& [name, recorded] : directives) {
      lines.insert(lines.end(), recorded.begin(), recorded.end());
    }
  }
}

// The recorded lines of a directive; null when it was never recorded for the block.
LineRegistry::List* Apache::ParseHugeParam::Find(const std::string& section,
                                                 const std::string& name) {
  const auto directives = m_huge_lines.find(section);
  if (directives == m_huge_lines.end()) return nullptr;
  const auto lines = directives->second.find(name);
  return lines == directives->second.end() ? nullptr : &lines->second;
}

LineIterator Apache::ParseHugeParam::MakeLine(const std::string& section, LineRegistry::List& lines,
                                              const LineIterator& pos, const std::string& text) {
  const LineIterator line = m_apache->AppendParam(pos, m_apache->PrepareLine(section, text));
  m_registry.Add(lines, line);
  return line;
}

}  // namespace tov_template
