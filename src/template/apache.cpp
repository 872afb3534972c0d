// SPDX-License-Identifier: Apache-2.0

#include "template/apache.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "template/framework/str.h"

namespace tov_template {
namespace {

constexpr std::string_view kOptions = "Options";

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
  const std::string_view name = str::view::FirstWord(line);
  return name == kOptions || name == "ServerAlias" || name == "DirectoryIndex";
}

std::string Apache::GetKeyFieldConstParam(const std::string& line) const {
  if (!IsConstExpression(line)) return line;
  std::string_view rest = str::view::Trim(line);
  std::string name(str::view::GetWord(rest));
  if (name != "php_admin_value") return name;
  return str::Append(name, std::string(str::view::GetWord(rest)), " ");
}

std::string Apache::PrepareLine(const std::string& section, const std::string& text) const {
  return Indented(str::Trim(section), str::Trim(text));
}

// Directives that are managed here

LineIterator Apache::RegisterUniqueParam(const std::string& section, LineIterator& pos) {
  if (section.empty() || pos == m_lines.end()) return pos;
  if (IsOptions(*pos)) return m_parse_options.Register(section, pos);
  m_parse_huge_param.Register(section, pos);
  return pos;
}

LineIterator Apache::AppendUniqueParam(const std::string& section, const LineIterator& pos,
                                       const std::string& text) {
  if (section.empty()) return pos;
  return IsOptions(text) ? m_parse_options.Append(section, pos, text)
                         : m_parse_huge_param.Append(section, pos, text);
}

void Apache::RemoveUniqueParam(const std::string& section, const std::string& text, bool flag,
                               std::list<LineIterator>& removed) {
  if (IsOptions(text)) {
    m_parse_options.Remove(section, text, flag);
  } else {
    m_parse_huge_param.Remove(section, text, flag, removed);
  }
}

void Apache::ChangeUniqueParam(const std::string& section, LineIterator& pos,
                               const std::string& text, std::list<LineIterator>& removed) {
  if (pos != m_lines.end() && IsOptions(*pos)) return;
  m_parse_huge_param.Change(section, pos, text, removed);
}

LineIterator Apache::SharedLine(const std::string& section, const std::string& text) {
  return IsOptions(text) ? m_parse_options.MergedLine(section) : m_lines.end();
}

std::vector<LineIterator> Apache::RegisteredLines() const {
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
  const bool first = m_words.count(section) == 0;
  const std::string added = AddWords(section, *pos);
  if (first) SetLine(section, pos);
  const auto merged = m_merged_lines.find(section);
  if (merged != m_merged_lines.end()) {
    // A block may have any number of such lines, which come in a row: only what is new is written,
    // behind what was written for the line before.
    const bool goes_on = m_registered_last == &merged->first;
    m_apache->Write(merged->second, goes_on ? std::move(*merged->second) + added : Line(section));
    m_registered_last = &merged->first;
  }
  return first ? pos : m_apache->RemoveParam(pos);
}

LineIterator Apache::ParseOptions::Append(const std::string& section, const LineIterator& pos,
                                          const std::string& text) {
  AddWords(section, text);
  const auto merged = m_merged_lines.find(section);
  if (merged != m_merged_lines.end()) {
    m_apache->Write(merged->second, Line(section));
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
  if (!flag) RemoveWords(section, text);
  if (words.empty()) return;
  if (!flag && words.back() != kOptions) {
    m_apache->Write(merged->second, Line(section));
    return;
  }
  m_positions[section].clear();
  words.clear();
  m_apache->Write(merged->second, "");
}

LineIterator Apache::ParseOptions::MergedLine(const std::string& section) const {
  const auto merged = m_merged_lines.find(section);
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
    m_positions.erase(m_positions.find(*section));
    m_words.erase(m_words.find(*section));
    m_merged_lines.erase(m_merged_lines.find(*section));
    m_registered_last = nullptr;
  }
}

void Apache::ParseOptions::AddLines(std::vector<LineIterator>& lines) const {
  for (const auto& [section, merged] : m_merged_lines) lines.push_back(merged);
}

// Adds the words of the line `text` that the block does not have yet. Returns them, each behind a
// blank.
std::string Apache::ParseOptions::AddWords(const std::string& section, std::string_view text) {
  std::string_view rest = str::view::Trim(text);
  const auto [entry, made] = m_words.try_emplace(section);
  std::list<std::string>& words = entry->second;
  auto& positions = m_positions[section];
  const auto add = [&](std::string_view word) {
    words.emplace_back(word);
    positions.emplace(words.back(), std::prev(words.end()));
  };
  if (made) add(str::view::GetWord(rest));
  std::string added;
  while (!rest.empty()) {
    const std::string_view word = str::view::GetWord(rest);
    if (positions.count(word) != 0) continue;
    add(word);
    added.append(" ").append(word);
  }
  return added;
}

void Apache::ParseOptions::RemoveWords(const std::string& section, std::string_view text) {
  std::string_view rest = str::view::Trim(text);
  str::view::GetWord(rest);  // the directive's name
  auto& positions = m_positions[section];
  while (!rest.empty()) {
    const auto found = positions.find(str::view::GetWord(rest));
    if (found == positions.end()) continue;
    const auto word = found->second;
    positions.erase(found);
    m_words[section].erase(word);
  }
}

void Apache::ParseOptions::SetLine(const std::string& section, const LineIterator& line) {
  const auto entry = m_merged_lines.emplace(section, line).first;
  if (m_sections) m_sections->Add(&*line, &entry->first, &entry->first);
}

std::string Apache::ParseOptions::Line(const std::string& section) const {
  return m_apache->PrepareLine(section, str::Join(m_words.at(section), " "));
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
  const std::string name(str::view::FirstWord(*pos));
  m_registry.Add(m_huge_lines[section][name], pos);
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
