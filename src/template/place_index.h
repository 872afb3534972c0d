// Places by the lines they are on.
#pragma once

#include <cstddef>
#include <list>
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
    List added{&place};
    const auto element = added.begin();
    List& on_line = m_lines[&*place.second];
    m_elements.emplace(&place.second, element);
    on_line.splice(on_line.end(), added);
  }

  // Takes out the entry whose value is `place`. Does nothing when it is not there.
  void Remove(const LineIterator& place) {
    const auto found = m_elements.find(&place);
    if (found == m_elements.end()) return;
    const auto on_line = m_lines.find(&*place);
    on_line->second.erase(found->second);
    if (on_line->second.empty()) m_lines.erase(on_line);
    m_elements.erase(found);
  }

  // Moves all entries on `from`, in the map as well, to `to`, which is a line.
  void Move(const LineIterator& from, const LineIterator& to) {
    if (m_lines.count(&*from) == 0) return;
    List& on_line = m_lines[&*to];
    const auto found = m_lines.find(&*from);
    for (Place* const place : found->second) place->second = to;
    on_line.splice(on_line.end(), found->second);
    m_lines.erase(found);
  }

  // Takes out all entries on the line at the address `line` and returns them. The line need not be
  // there any more.
  std::vector<Place*> Take(const std::string* line) {
    const auto found = m_lines.find(line);
    if (found == m_lines.end()) return {};
    std::vector<Place*> places(found->second.begin(), found->second.end());
    for (const Place* const place : places) m_elements.erase(&place->second);
    m_lines.erase(found);
    return places;
  }

 private:
  using List = std::list<Place*>;

  std::unordered_map<const std::string*, List> m_lines;
  std::unordered_map<const LineIterator*, List::iterator> m_elements;
};

}  // namespace tov_template
