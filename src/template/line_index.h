// SPDX-License-Identifier: Apache-2.0

// Who refers to a line.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tov_template {

// Finds the holders of references to a line by the line's address, so that a line that is erased
// can be forgotten by all of them without a search. `Holder` says where a reference is kept; the
// `id` of a holder, the address of the reference itself, tells the holders of one line apart.
//
// The line itself is never looked at: the address of a line that is just being erased will do.
//
// Cost: every operation is logarithmic in the number of references, plus the holders returned.
template <class Holder>
class LineIndex {
 public:
  // Does nothing when `id` is there for that line already.
  void Add(const std::string* line, const void* id, Holder holder) {
    m_holders.emplace(Key{line, id}, std::move(holder));
  }

  // Does nothing when `id` is not there for that line.
  void Remove(const std::string* line, const void* id) { m_holders.erase(Key{line, id}); }

  // The holders of `line`, none for a line that nobody refers to.
  std::vector<Holder> Of(const std::string* line) const {
    std::vector<Holder> holders;
    for (auto it = m_holders.lower_bound(Key{line, nullptr});
         it != m_holders.end() && it->first.line == line; ++it) {
      holders.push_back(it->second);
    }
    return holders;
  }

  // Removes the holders of `line` and returns them, none for a line that nobody refers to.
  std::vector<Holder> Take(const std::string* line) {
    std::vector<Holder> holders;
    auto it = m_holders.lower_bound(Key{line, nullptr});
    while (it != m_holders.end() && it->first.line == line) {
      holders.push_back(std::move(it->second));
      it = m_holders.erase(it);
    }
    return holders;
  }

 private:
  friend struct IndexAudit;  // compares it with a fresh one, in tests

  struct Key {
    const std::string* line;
    const void* id;

    bool operator<(const Key& other) const {
      const std::less<> before;
      if (line != other.line) return before(line, other.line);
      return before(id, other.id);
    }
  };

  std::map<Key, Holder> m_holders;
};

}  // namespace tov_template
