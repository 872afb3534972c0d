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
// be moved away before it is erased. A line may have any number of them, and all move at once, as a
// pile.
//
// Entries are known by the addresses of their values, which have to stay where they are. Cost: each
// operation takes constant time, plus a moment for each entry that it hands out, or that joins a
// larger pile, or whose value it writes.
//
// When an operation fails for lack of memory it has done nothing.
class PlaceIndex {
 public:
  using Place = std::map<std::string, LineIterator>::value_type;

  // When an entry moves, is its value in the map written? kAtOnce: yes. kWhenSettled: by Settle
  // only, so that it may be an erased line until then; LineOf knows the true one.
  enum class Values { kAtOnce, kWhenSettled };

  explicit PlaceIndex(Values values = Values::kAtOnce) : m_values(values) {}

  // `place` is on a line, and not in the index.
  void Add(Place& place) {
    Pile& pile = m_piles.try_emplace(&*place.second, Pile{place.second, {}}).first->second;
    pile.places.push_back(&place);
    try {
      m_positions.emplace(&place.second, Position{&pile, pile.places.size() - 1});
    } catch (...) {
      pile.places.pop_back();
      throw;
    }
  }

  // Takes out the entry whose value is `place`. Does nothing when it is not there.
  void Remove(const LineIterator& place) {
    const auto position = m_positions.find(&place);
    if (position == m_positions.end()) return;
    const auto [pile, number] = position->second;
    Place* const last = pile->places.back();
    m_positions.find(&last->second)->second.number = number;
    pile->places[number] = last;
    pile->places.pop_back();
    m_positions.erase(position);
    if (pile->places.empty()) m_piles.erase(&*pile->line);
  }

  // The line of the entry whose value is `place`, which need not be in the index.
  const LineIterator& LineOf(const LineIterator& place) const {
    const auto position = m_positions.find(&place);
    return position == m_positions.end() ? place : position->second.pile->line;
  }

  // Moves all entries on `from` to `to`, which is another line.
  void Move(const LineIterator& from, const LineIterator& to) {
    auto moving = m_piles.find(&*from);
    if (moving == m_piles.end()) return;
    auto there = m_piles.find(&*to);
    if (there != m_piles.end()) {
      if (there->second.places.size() > moving->second.places.size()) {
        if (m_values == Values::kAtOnce) Write(moving->second, to);
        Join(moving->second, there->second);
        m_piles.erase(moving);
        return;
      }
      Join(there->second, moving->second);
      m_piles.erase(there);
    }
    auto node = m_piles.extract(moving);
    node.key() = &*to;
    node.mapped().line = to;
    if (m_values == Values::kAtOnce) Write(node.mapped(), to);
    m_piles.insert(std::move(node));
  }

  // Takes out all entries on the line at the address `line` and returns them. The line itself need
  // not be there any more.
  std::vector<Place*> Take(const std::string* line) {
    const auto found = m_piles.find(line);
    if (found == m_piles.end()) return {};
    std::vector<Place*> places = std::move(found->second.places);
    m_piles.erase(found);
    for (const Place* const place : places) m_positions.erase(&place->second);
    return places;
  }

  // Writes the values of all entries.
  void Settle() {
    for (auto& [line, pile] : m_piles) Write(pile, pile.line);
  }

 private:
  friend struct IndexAudit;  // compares it with a fresh one, in tests

  // The entries on a line.
  struct Pile {
    LineIterator line;
    std::vector<Place*> places;
  };

  struct Position {
    Pile* pile;
    std::size_t number;  // in the pile
  };

  static void Write(const Pile& pile, const LineIterator& line) {
    for (Place* const place : pile.places) place->second = line;
  }

  void Join(const Pile& smaller, Pile& larger) {
    const std::size_t size = smaller.places.size() + larger.places.size();
    if (size > larger.places.capacity()) larger.places.reserve(2 * size);
    for (Place* const place : smaller.places) {
      m_positions.find(&place->second)->second = {&larger, larger.places.size()};
      larger.places.push_back(place);
    }
  }

  Values m_values;
  std::unordered_map<const std::string*, Pile> m_piles;
  std::unordered_map<const LineIterator*, Position> m_positions;
};

}  // namespace tov_template
