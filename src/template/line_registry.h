// SPDX-License-Identifier: Apache-2.0

// The lines of the directives that a dialect manages itself.
#pragma once

#include <iterator>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "template/base_config.h"
#include "template/export.h"
#include "template/line_finder.h"
#include "template/line_index.h"

namespace tov_template {

// Keeps lists of lines, which a dialect owns and reads as it likes, free of lines that are erased.
// The lists change through this class only, and stay where they are while it lives.
class LineRegistry {
 public:
  using List = std::list<LineIterator>;

  // Appends `line`, which must be a line, to `list`.
  void Add(List& list, const LineIterator& line) {
    if (list.empty() && !m_index) m_lists.push_back(&list);
    List added{line};
    const auto element = added.begin();
    if (m_index) Index(*m_index, list, element);
    list.splice(list.end(), added);
    m_finder.Added(list, element);
  }

  // Whether the trimmed text of a line of `list` is `text`.
  bool Holds(List& list, std::string_view text) {
    return m_finder.First(list, text, Match::kWhole) != list.end();
  }

  // The elements whose lines' trimmed texts begin with `text`, or are `text`, in their order.
  std::vector<List::iterator> Find(List& list, std::string_view text, Match match) {
    return m_finder.All(list, text, match);
  }

  // To be called when the text of `line` has changed, whether it is in a list or not. Cost: as that
  // of Forget, but none while every list is short.
  void Changed(const LineIterator& line) {
    if (m_finder.IsIdle()) return;
    MakeIndex();
    for (const Place& place : m_index->Of(&*line)) m_finder.Changed(*place.list, place.element);
  }

  // Moves `element` from `list` to the end of `removed`. The line stays in other lists until it is
  // forgotten, since it may not go after all.
  void HandBack(List& list, List::iterator element, List& removed) {
    if (m_index) m_index->Remove(&**element, &*element);
    m_finder.Erasing(list, element);
    removed.splice(removed.end(), list, element);
  }

  // The same with all elements of `list`.
  void HandBackAll(List& list, List& removed) {
    while (!list.empty()) HandBack(list, list.begin(), removed);
  }

  // Drops `line`, which is about to be erased, from every list. Cost: logarithmic, but for the
  // first call, which looks at all lines.
  void Forget(const LineIterator& line) {
    MakeIndex();
    for (const Place& place : m_index->Take(&*line)) {
      m_finder.Erasing(*place.list, place.element);
      place.list->erase(place.element);
    }
  }

 private:
  friend struct IndexAudit;  // compares it with a fresh one, in tests

  struct Place {
    List* list;
    List::iterator element;
  };
  using ListIndex = LineIndex<Place>;

  struct Text {
    QELTEMPLATE_EXPORT std::optional<std::string_view> operator()(const LineIterator& line) const;
    bool IsSteady(const LineIterator& /*line*/) const { return true; }
  };

  static void Index(ListIndex& index, List& list, List::iterator element) {
    index.Add(&**element, &*element, {&list, element});
  }

  void MakeIndex() {
    if (m_index) return;
    ListIndex made;
    for (List* const list : m_lists) {
      for (auto element = list->begin(); element != list->end(); ++element) {
        Index(made, *list, element);
      }
    }
    m_index = std::move(made);
  }

  // Those that had any elements before the index was made. One may come more than once.
  std::vector<List*> m_lists;

  // The elements by their lines. Made when it is first needed.
  std::optional<ListIndex> m_index;

  LineFinder<LineIterator, Text> m_finder;
};

}  // namespace tov_template
