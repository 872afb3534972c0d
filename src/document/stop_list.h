// SPDX-License-Identifier: Apache-2.0

// The stops of a whole text in their order: the bytes at which a reader of blocks has to look. They
// are found ahead of the reader, some thousand bytes of text at a time and with nothing that
// depends on what the text says, which a processor does several times faster than to find one, look
// at it, and then find the next.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "document/byte_map.h"

namespace tov_document {

// The first byte that is no blank behind each of some bytes, through all masks of a text.
class FirstsBehind {
 public:
  // Those behind the bytes `before`, and at first the one at the text's begin. Adding a bit to the
  // lowest blank of several carries it to the byte behind the last one.
  std::uint64_t Of(std::uint64_t before, std::uint64_t blanks) {
    const std::uint64_t next = before << 1U | m_next;
    std::uint64_t sum = 0;
    const bool carry = __builtin_add_overflow(blanks, next & blanks, &sum);
    m_carry = static_cast<std::uint64_t>(__builtin_add_overflow(sum, m_carry, &sum) || carry);
    m_next = before >> (kMaskSize - 1);
    return (sum | next) & ~blanks;
  }

 private:
  std::uint64_t m_next = 1;   // the next mask begins behind such a byte,
  std::uint64_t m_carry = 0;  // or behind blanks that follow one
};

// Sets of bytes whose masks are made together.
template <class... Sets>
struct SetList {
  using Masks = std::array<std::uint64_t, sizeof...(Sets)>;

  static Masks Part(const char* bytes, std::size_t count) {
    return {PartMask<Sets>(bytes, count)...};
  }
  static Masks Whole(const char* bytes) { return {WholeMask<Sets>(bytes)...}; }
#ifdef __SSE2__
  [[gnu::target("avx2"), gnu::always_inline]] static Masks Wide(const char* bytes) {
    return {WideMask<Sets>(bytes)...};
  }
#endif
};

// `Finder` knows what the stops are. It has a SetList `Sets`, and
//
//   std::uint64_t Stops(const Sets::Masks& masks, std::string_view text, std::size_t base)
//
// gives the stops among the kMaskSize bytes of the text at `base`, or among those left; it is asked
// for all of them in their order. Behind the text's end no bit of a mask is set, and what is said
// of the bytes there does not count.
template <class Finder>
class StopList {
 public:
  explicit StopList(std::string_view text) : StopList(text, CanBeWide()) {}

  // `wide`: to compare as many bytes at once as CanBeWide says; false: half of them. The stops are
  // the same.
  StopList(std::string_view text, bool wide) : m_text(text), m_wide(wide) {}

  StopList(const StopList&) = delete;
  StopList& operator=(const StopList&) = delete;
  StopList(StopList&&) = delete;
  StopList& operator=(StopList&&) = delete;
  ~StopList() = default;

  // Whether the processor compares 32 bytes at once.
  static bool CanBeWide() {
#ifdef __SSE2__
    static const bool kCan = __builtin_cpu_supports("avx2") != 0 &&
                             __builtin_cpu_supports("bmi") != 0 &&
                             __builtin_cpu_supports("popcnt") != 0;
    return kCan;
#else
    return false;
#endif
  }

  // Whether there are two stops that have not been dropped.
  bool HasTwo() {
    return m_last - m_first >= 2 || FindMore();
  }

  // The first two of them.
  std::size_t First() const {
    return *m_first;
  }
  std::size_t Second() const {
    return *(m_first + 1);
  }

  void Drop(std::size_t count) {
    m_first += count;
  }

  // Drops those before `offset`.
  void DropBefore(std::size_t offset) {
    do {
      while (m_first != m_last && *m_first < offset) ++m_first;
    } while (m_first == m_last && m_found < offset && FindMore());
  }

 private:
  static constexpr std::size_t kText = 4096;  // how much of it at a time
  static constexpr std::size_t kUnwound = 8;

  bool FindMore() {
    std::uint32_t* end = std::copy(m_first, m_last, m_stops.data());
    while (end - m_stops.data() < 2 && m_found < m_text.size()) end = FindSome(end);
    m_first = m_stops.data();
    m_last = end;
    return m_last - m_first >= 2;
  }

  // Puts the stops of some more text at `to`, and returns the end of them.
  std::uint32_t* FindSome(std::uint32_t* to) {
    const std::size_t left = m_text.size() - m_found;
    if (left < kMaskSize) {
      const auto masks = Finder::Sets::Part(m_text.data() + m_found, left);
      const std::uint64_t own = (std::uint64_t{1} << left) - 1;
      to = Put(m_finder.Stops(masks, m_text, m_found) & own, m_found, to);
      m_found = m_text.size();
      return to;
    }
    const std::size_t end = m_found + std::min(left - left % kMaskSize, kText);
#ifdef __SSE2__
    if (m_wide) return FindWide(end, to);
#endif
    for (; m_found < end; m_found += kMaskSize) {
      const auto masks = Finder::Sets::Whole(m_text.data() + m_found);
      to = Put(m_finder.Stops(masks, m_text, m_found), m_found, to);
    }
    return to;
  }

  static std::uint32_t* Put(std::uint64_t stops, std::size_t base, std::uint32_t* to) {
    for (; stops != 0; stops &= stops - 1) {
      *to++ = static_cast<std::uint32_t>(base + LowestBit(stops));
    }
    return to;
  }

#ifdef __SSE2__
  // How many stops there are among a few bytes is hard to foresee, so they are put down by the
  // eight, whether there are as many or not.
  [[gnu::target("avx2,bmi,popcnt")]] std::uint32_t* FindWide(std::size_t end, std::uint32_t* to) {
    const std::string_view text = m_text;
    Finder finder = m_finder;
    std::size_t at = m_found;
    for (; at < end; at += kMaskSize) {
      const auto masks = Finder::Sets::Wide(text.data() + at);
      std::uint64_t stops = finder.Stops(masks, text, at);
      std::uint32_t* const behind = to + __builtin_popcountll(stops);
      do {
        PutFour(stops, at, to);
        PutFour(stops, at, to + kUnwound / 2);
        to += kUnwound;
      } while (stops != 0);
      to = behind;
    }
    m_finder = finder;
    m_found = at;
    return to;
  }

  // Puts down the lowest stops, and takes them away.
  [[gnu::target("avx2,bmi,popcnt"), gnu::always_inline]] static void PutFour(std::uint64_t& stops,
                                                                             std::size_t base,
                                                                             std::uint32_t* to) {
    *to = static_cast<std::uint32_t>(base + _tzcnt_u64(stops));
    stops &= stops - 1;
    *(to + 1) = static_cast<std::uint32_t>(base + _tzcnt_u64(stops));
    stops &= stops - 1;
    *(to + 2) = static_cast<std::uint32_t>(base + _tzcnt_u64(stops));
    stops &= stops - 1;
    *(to + 3) = static_cast<std::uint32_t>(base + _tzcnt_u64(stops));
    stops &= stops - 1;
  }
#endif

  std::string_view m_text;
  [[maybe_unused]] bool m_wide;
  Finder m_finder;
  std::size_t m_found = 0;  // up to where the stops are known
  std::array<std::uint32_t, 2 + kText + kUnwound> m_stops;
  const std::uint32_t* m_first = m_stops.data();  // what has not been dropped
  const std::uint32_t* m_last = m_stops.data();
};

}  // namespace tov_document
