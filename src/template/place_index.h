// SPDX-License-Identifier: Apache-2.0

// Places by the lines they are on.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "template/base_config.h"

namespace tov_template {

// Finds the entries of a map of places (section path -> line) that are on a line, so that they can
// be moved away before it is erased. A line may have any number of them, and all move at once.
//
// Entries are known by the addresses of their values, which have to stay where they are. Cost: each
// operation takes constant time, plus a moment for each entry that it moves or hands out.
class PlaceIndex {
 public:
  using Place = std::map<std::string, LineIterator>::value_type;

  // `place` is on a line, and not in the index.
  void Add(Place& place) {
    std::vector<Place*>& on_line = m_lines[&*place.second];
    on_line.push_back(&place);
    m_positions[&place.second] = on_line.size() - 1;
  }

  // Takes out the entry whose value is `place`. Does nothing when it is not there.
  void Remove(const LineIterator& place) {
    const auto position = m_positions.find(&place);
    if (position == m_positions.end()) return;
    const auto found = m_lines.find(&*place);
    std::vector<Place*>& on_line = found->second;
    m_positions[&on_line.back()->second] = position->second;
    on_line[position->second] = on_line.back();
    on_line.pop_back();
    if (on_line.empty()) m_lines.erase(found);
    m_positions.erase(position);
  }

  // Moves all entries on `from`, in the map as well, to `to`, which is another line.
  void Move(const LineIterator& from, const LineIterator& to) {
    const auto found = m_lines.find(&*from);
    if (found == m_lines.end()) return;
    std::vector<Place*> moving = std::move(found->second);
    m_lines.erase(found);
    for (Place* const place : moving) place->second = to;
    std::vector<Place*>& on_line = m_lines[&*to];
    if (on_line.size() < moving.size()) std::swap(on_line, moving);
    for (Place* const place : moving) Add(*place);
  }

  // Takes out all entries on the line at the address `line` and returns them. The line itself need
  // not be there any more.
  std::vector<Place*> Take(const std::string* line) {
    const auto found = m_lines.find(line);
    if (found == m_lines.end()) return {};
    std::vector<Place*> places = std::move(found->second);
    m_lines.erase(found);
    for (const Place* const place : places) m_positions.erase(&place->second);
    return places;
  }

 private:
  friend struct IndexAudit;  // compares it with a fresh one, in tests

  std::unordered_map<const std::string*, std::vector<Place*>> m_lines;
  std::unordered_map<const LineIterator*, std::size_t> m_positions;  // in the vector of its line
};

}  // namespace tov_template
