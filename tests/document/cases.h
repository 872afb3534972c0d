// SPDX-License-Identifier: Apache-2.0

// How many damaged texts a judge looks at, and which.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

// CASES in the environment asks for as many, and for others each time.
inline std::size_t Cases(std::size_t unless_asked_for) {
  const char* const cases = std::getenv("CASES");
  return cases == nullptr ? unless_asked_for : std::stoul(cases);
}

inline std::mt19937 RandomOfCases() {
  const std::uint32_t seed = std::getenv("CASES") == nullptr ? 1 : std::random_device()();
  std::cout << "seed " << seed << "\n";
  return std::mt19937(seed);
}
