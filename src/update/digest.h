// SPDX-License-Identifier: Apache-2.0

// Tells what a file holds from what it held before, without keeping that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tov_update {

// A digest of a text. It is made to be quick, for texts that differ by accident: somebody who wants
// to can find two texts that share one.
class Digest {
 public:
  // Adds what comes next. A text gives the same digest only if it is cut at the same places.
  void Add(std::string_view piece);

  std::uint64_t Value() const { return m_value; }

 private:
  std::uint64_t m_value = 0;
};

// That of `text`, cut into pieces of `size` bytes, the last one of fewer.
std::uint64_t DigestOf(std::string_view text, std::size_t size);

}  // namespace tov_update
