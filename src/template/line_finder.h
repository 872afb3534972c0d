// SPDX-License-Identifier: Apache-2.0

// Finding lines by how they begin.
#pragma once

#include <algorithm>
#include <cstddef>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tov_template {

enum class Match { kBeginning, kWhole };

// A list of fewer elements is always searched from its front, a longer one until that has taken so
// many steps for each of its elements.
#ifdef QELTEMPLATE_EAGER_INDEXES  // so that tests with short lists see indexes at work
inline constexpr std::size_t kShortList = 0;
inline constexpr std::size_t kSearchesThatPay = 0;
#else
inline constexpr std::size_t kShortList = 32;
inline constexpr std::size_t kSearchesThatPay = 16;
#endif

// Finds the elements of lists by the beginnings of the lines they stand for. A list is searched
// from its front, until that has cost so much that an index of it pays: so a short list never has
// one, and a long one that is searched again and again soon has.
//
// `Text` says how an element is read:
//   std::optional<std::string_view> operator()(const Element&)   its text, none: never found
//   bool IsSteady(const Element&)   whether its text changes only when Changed is called
//
// An index holds copies of the texts. It knows the elements by their addresses, and the lists by
// theirs, so both have to stay where they are.
template <class Element, class Text>
class LineFinder {
 public:
  using List = std::list<Element>;
  using Iterator = typename List::iterator;

  explicit LineFinder(Text text = Text()) : m_text(std::move(text)) {}

  // The first element of `list` whose text begins with `key`, or is `key`; the list's end when
  // there is none.
  Iterator First(List& list, std::string_view key, Match match) {
    const Index* const index = FindIndex(list);
    return index == nullptr ? Search(list, list.begin(), key, match)
                            : FirstIndexed(list, *index, key, match);
  }

  // All of them, in the order of the list.
  std::vector<Iterator> All(List& list, std::string_view key, Match match) {
    std::vector<Iterator> found;
    const Index* const index = FindIndex(list);
    if (index == nullptr) {
      for (Iterator element = Search(list, list.begin(), key, match); element != list.end();
           element = Search(list, std::next(element), key, match)) {
        found.push_back(element);
      }
      return found;
    }
    std::map<Rank, Iterator> ranked = index->unsteady;
    for (auto entry = index->steady.lower_bound(key); InRange(*index, entry, key, match); ++entry) {
      ranked.emplace(entry->second.rank, entry->second.element);
    }
    for (const auto& [rank, element] : ranked) {
      if (Matches(*element, key, match)) found.push_back(element);
    }
    return found;
  }

  // To be called when `element` has been put at the end of `list`, or before its last element.
  void Added(List& list, Iterator element) {
    Update(list, [&](Index& index) {
      Rank rank = index.next_rank++;
      const Iterator next = std::next(element);
      if (next != list.end()) {
        const Rank last = Remove(index, next);
        Insert(index, next, rank);
        rank = last;
      }
      Insert(index, element, rank);
    });
  }

  // To be called before `element` is erased from `list`.
  void Erasing(List& list, Iterator element) {
    Update(list, [&](Index& index) { Remove(index, element); });
  }

  // To be called when the text of `element` has changed.
  void Changed(List& list, Iterator element) {
    Update(list, [&](Index& index) { Insert(index, element, Remove(index, element)); });
  }

  // Forgets what is known of `list`.
  void Forget(const List& list) { m_indexes.erase(&list); }

  // True while no list has an index: then nothing need be told about elements.
  bool IsIdle() const { return m_indexes.empty(); }

 private:
  friend struct IndexAudit;  // compares it with a fresh one, in tests

  // Tells which of two elements of a list comes first.
  using Rank = std::size_t;

  struct Entry {
    Rank rank;
    Iterator element;
  };
  using Steady = std::multimap<std::string, Entry, std::less<>>;

  struct Place {
    Rank rank;
    std::optional<typename Steady::iterator> steady;  // none: it is one of the unsteady
  };

  struct Index {
    std::size_t steps = 0;  // of the searches from the front
    bool made = false;
    Rank next_rank = 0;
    Steady steady;                      // by their texts
    std::map<Rank, Iterator> unsteady;  // those whose texts are to be read each time
    std::unordered_map<const Element*, Place> places;
  };

  static bool Fits(std::string_view text, std::string_view key, Match match) {
    return match == Match::kWhole ? text == key : text.substr(0, key.size()) == key;
  }

  bool Matches(const Element& element, std::string_view key, Match match) const {
    const std::optional<std::string_view> text = m_text(element);
    if (!text) return false;
    return Fits(*text, key, match);
  }

  Iterator Search(List& list, Iterator from, std::string_view key, Match match) {
    std::size_t steps = 1;
    const Iterator found = std::find_if(from, list.end(), [&](const Element& element) {
      ++steps;
      return Matches(element, key, match);
    });
    if (list.size() >= kShortList) m_indexes[&list].steps += steps;
    return found;
  }

  // The index of `list`; null while it does not pay.
  const Index* FindIndex(List& list) {
    if (m_indexes.empty()) return nullptr;
    const auto found = m_indexes.find(&list);
    if (found == m_indexes.end()) return nullptr;
    Index& index = found->second;
    if (!index.made) {
      if (index.steps < kSearchesThatPay * list.size()) return nullptr;
      Index made;
      for (Iterator element = list.begin(); element != list.end(); ++element) {
        Insert(made, element, made.next_rank++);
      }
      made.made = true;
      index = std::move(made);
    }
    return &index;
  }

  static bool InRange(const Index& index, typename Steady::const_iterator entry,
                      std::string_view key, Match match) {
    if (entry == index.steady.end()) return false;
    return Fits(entry->first, key, match);
  }

  // Where many texts match, one of the first elements is likely to be among them: the list is
  // searched from the front at the same time, and whichever search ends first has it.
  Iterator FirstIndexed(List& list, const Index& index, std::string_view key, Match match) const {
    std::optional<Entry> best;
    Iterator front = list.begin();
    for (auto entry = index.steady.lower_bound(key); InRange(index, entry, key, match);
         ++entry, ++front) {
      if (Matches(*front, key, match)) return front;
      if (best && best->rank < entry->second.rank) continue;
      if (Matches(*entry->second.element, key, match)) best = entry->second;
    }
    for (const auto& [rank, element] : index.unsteady) {
      if (best && best->rank < rank) break;
      if (Matches(*element, key, match)) return element;
    }
    return best ? best->element : list.end();
  }

  // Calls `update` with the index of `list`, if there is one, which is given up when that fails.
  template <class Change>
  void Update(const List& list, Change update) {
    if (m_indexes.empty()) return;
    const auto found = m_indexes.find(&list);
    if (found == m_indexes.end() || !found->second.made) return;
    try {
      update(found->second);
    } catch (...) {
      m_indexes.erase(found);
      throw;
    }
  }

  void Insert(Index& index, Iterator element, Rank rank) const {
    Place place{rank, std::nullopt};
    const std::optional<std::string_view> text = m_text(*element);
    if (text && m_text.IsSteady(*element)) {
      place.steady = index.steady.emplace(*text, Entry{rank, element});
    } else {
      index.unsteady.emplace(rank, element);
    }
    index.places.emplace(&*element, place);
  }

  static Rank Remove(Index& index, Iterator element) {
    const auto place = index.places.find(&*element);
    const Rank rank = place->second.rank;
    if (place->second.steady) {
      index.steady.erase(*place->second.steady);
    } else {
      index.unsteady.erase(rank);
    }
    index.places.erase(place);
    return rank;
  }

  Text m_text;
  std::unordered_map<const List*, Index> m_indexes;
};

}  // namespace tov_template
