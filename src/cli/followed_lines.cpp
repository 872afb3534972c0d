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
    if (erasure != m_erased.end()) {
      gone.item = erasure->second.item;
      gone.empty_block = erasure->second.empty_block;
    }
    result.push_back(std::move(gone));
  };
  for (const std::string& text : m_lines) {
    Line line;
    line.text = &text;
    const auto added = m_added.find(&text);
    if (added != m_added.end()) {
      line.item = added->second;
    } else {
      while (next < m_before.size() && m_before[next] != &text) add_gone();
      if (next < m_before.size()) line.before = next++;
      const auto changed = m_changed.find(&text);
      if (changed != m_changed.end()) line.item = changed->second;
    }
    result.push_back(std::move(line));
  }
  while (next < m_before.size()) add_gone();
  return result;
}

void FollowedLines::ItemBegins(std::size_t item, const std::string& /*section*/) {
  m_item = item;
  m_emptying = false;
}

void FollowedLines::RemovingEmptyBlock(const std::string& section) {
  m_emptying = true;
  m_empty_blocks.push_back(section);
}

void FollowedLines::Found(const LineIterator& line) {
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
  Erasure& erasure = m_erased[&*line];
  if (m_emptying) {
    erasure.empty_block = m_empty_blocks.size() - 1;
  } else {
    erasure.item = m_item;
  }
}

}  // namespace cli
