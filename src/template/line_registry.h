// The lines of the directives that a dialect manages itself.
#pragma once

#include <iterator>
#include <list>
#include <optional>
#include <string>
#include <utility>

#include "template/base_config.h"
#include "template/line_index.h"

namespace tov_template {

// Keeps lists of lines, which a dialect owns and reads as it likes, free of lines that are erased.
// The lists change through this class only, and stay where they are while it lives.
class LineRegistry {
 public:
  using List = std::list<LineIterator>;

  // Appends `line`, which must be a line, to `list`.
  void Add(List& list, const LineIterator& line) {
    List added{line};
    if (m_index) Index(*m_index, list, added.begin());
    list.splice(list.end(), added);
  }

  // Moves `element` from `list` to the end of `removed`.
  void HandBack(List& list, List::iterator element, List& removed) {
    if (m_index) m_index->Remove(&**element, &*element);
    removed.splice(removed.end(), list, element);
  }

  // The same with all elements of `list`.
  void HandBackAll(List& list, List& removed) {
    while (!list.empty()) HandBack(list, list.begin(), removed);
  }

  // Drops `line`, which is about to be erased, from every list. `for_each_list(use)` has to call
  // `use` with each list there is. Cost: logarithmic, but for the first call, which looks at all.
  template <class ForEachList>
  void Forget(const LineIterator& line, ForEachList for_each_list) {
    if (!m_index) {
      ListIndex index;
      for_each_list([&index](List& list) {
        for (auto element = list.begin(); element != list.end(); ++element) {
          Index(index, list, element);
        }
      });
      m_index = std::move(index);
    }
    for (const Place& place : m_index->Take(&*line)) place.list->erase(place.element);
  }

 private:
  struct Place {
    List* list;
    List::iterator element;
  };
  using ListIndex = LineIndex<Place>;

  static void Index(ListIndex& index, List& list, List::iterator element) {
    index.Add(&**element, &*element, {&list, element});
  }

  // The elements by their lines. Made when the first line is erased.
  std::optional<ListIndex> m_index;
};

}  // namespace tov_template
