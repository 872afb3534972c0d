// SPDX-License-Identifier: Apache-2.0

#include "template/line_list_config.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "template/framework/str.h"

namespace tov_template {

LineListConfig::LineListConfig(const std::string& text, std::set<std::string> const_params)
    : BaseConfig(text), m_const_params(std::move(const_params)) {
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    if (end != begin) m_lines.emplace_back(text, begin, end - begin);
    begin = end + 1;
  }
}

std::list<std::string>* LineListConfig::GetList() {
  RegisterRest();
  return &m_lines;
}

LineIterator LineListConfig::AppendParam(const LineIterator& pos, const std::string& text) {
  return m_lines.insert(pos, text);
}

LineIterator LineListConfig::RemoveParam(const LineIterator& pos) {
  RegisterRest();
  ForgetLine(pos);
  return m_lines.erase(pos);
}

LineIterator LineListConfig::RemoveParam(const LineIterator& first, const LineIterator& last) {
  RegisterRest();
  for (LineIterator line = first; line != last; ++line) ForgetLine(line);
  return m_lines.erase(first, last);
}

void LineListConfig::ChangeParam(const LineIterator& pos, const std::string& text) {
  RegisterRest();
  if (pos != m_lines.end()) Write(pos, text);
}

std::string LineListConfig::Str() const {
  return str::Join(m_lines, "\n");
}

bool LineListConfig::IsConstExpression(const std::string& line) const {
  return m_const_params.count(std::string(str::view::FirstWord(line))) != 0;
}

std::vector<LineIterator> LineListConfig::RegisteredLines() const {
  return {};
}

void LineListConfig::Write(const LineIterator& line, std::string text) {
  *line = std::move(text);
  LineChanged(line);
}

void LineListConfig::LineChanged(const LineIterator& /*line*/) {}

std::string LineListConfig::Indented(const std::string& section, const std::string& text) {
  return std::string(SectionDepth(section), '\t') + text;
}

}  // namespace tov_template
