// SPDX-License-Identifier: Apache-2.0

#include "cli/followed_lines.h"

namespace cli {

using tov_template::LineIterator;

FollowedLines::FollowedLines(std::list<std::string>& lines) : m_lines(lines) {
  m_before.reserve(lines.size());
  for (const std::string& line : lines) m_before.push_back(&line);
}

// The address of an erased line may be that of a new one: what was added counts as new first.
std::vector<FollowedLines::Line> FollowedLines::Result() const {
  std::vector<Line> result;
  result.reserve(m_before.size() + m_added.size());
  std::size_t next = 0;
  const auto add_gone = [&] {
    Line gone;
    gone.before = next;
    const auto erasure = m_erased.find(m_before[next++]);
    if (erasure != m_erased.end()) gone.item = erasure->second;
    result.push_back(gone);
  };
  for (const std::string& text : m_lines) {
    Line line;
    line.text = &text;
    const auto added = m_added.find(&text);
    if (added != m_added.end()) {
      while (next < m_before.size() && m_erased.count(m_before[next]) != 0) add_gone();
      line.item = added->second;
    } else {
      while (next < m_before.size() && m_before[next] != &text) add_gone();
      if (next < m_before.size()) line.before = next++;
      const auto changed = m_changed.find(&text);
      if (changed != m_changed.end()) line.item = changed->second;
    }
    result.push_back(line);
  }
  while (next < m_before.size()) add_gone();
  return result;
}

void FollowedLines::ItemBegins(std::size_t item, const std::string& /*section*/) {
  m_item = item;
}

void FollowedLines::Found(const LineIterator& line) {
  const auto changed = m_changed.find(&*line);
  if (changed != m_changed.end() && changed->second == m_item) return;
  m_found.push_back({m_item, *line, &*line});
}

void FollowedLines::Added(const LineIterator& line) {
  m_added[&*line] = m_item;
}

void FollowedLines::Changed(const LineIterator& line, const std::string& before) {
  if (*line != before && m_added.count(&*line) == 0) m_changed[&*line] = m_item;
}

void FollowedLines::Erasing(const LineIterator& line) {
  if (m_added.erase(&*line) != 0) return;
  m_changed.erase(&*line);
  m_erased[&*line] = m_item;
}

}  // namespace cli
