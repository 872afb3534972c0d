// SPDX-License-Identifier: Apache-2.0

// Chance from a seed: the same on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

namespace alike {

class Dice {
 public:
  explicit Dice(std::uint32_t seed) : m_engine(seed) {}

  // 0 to `limit` - 1.
  std::size_t Below(std::size_t limit) { return m_engine() % limit; }
  bool Percent(std::size_t percent) { return Below(100) < percent; }

  template <typename T>
  const T& Pick(const std::vector<T>& from) {
    return from.at(Below(from.size()));
  }

  template <typename T>
  void Shuffle(std::vector<T>& items) {
    for (std::size_t i = items.size(); i > 1; --i) std::swap(items.at(i - 1), items.at(Below(i)));
  }

 private:
  std::mt19937 m_engine;
};

}  // namespace alike
