// SPDX-License-Identifier: Apache-2.0

// Jumps from one byte that decides to the next, past all that are only parts of words.
//
// Bytes are compared by dozens. What of them decides is told by a type, such as
//
//   AnyOf<Bytes<'\n'>, Range<'0', '9'>>
//
// of which the comparisons for every kind of processor are made.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#ifdef __SSE2__
#include <immintrin.h>
#endif

namespace tov_document {

// The bytes that are `kByte` when the bits of `kSet` are set in them and those of `kCleared` are
// not: one comparison for two or four of them.
template <char kByte, int kSet = 0, int kCleared = 0>
struct Bytes {
  static constexpr bool Has(char byte) {
    return static_cast<char>((byte | kSet) & ~kCleared) == kByte;
  }
};

// The bytes from `kFirst` to `kLast`, both of ASCII.
template <char kFirst, char kLast>
struct Range {
  static constexpr bool Has(char byte) { return byte >= kFirst && byte <= kLast; }
};

template <class... Sets>
struct AnyOf {
  static constexpr bool Has(char byte) { return (Sets::Has(byte) || ...); }
};

// Letters of either case.
using Letters = AnyOf<Range<'a', 'z'>, Range<'A', 'Z'>>;

// How many bytes a mask is for: the bit of the first one is the lowest.
inline constexpr std::size_t kMaskSize = 64;

inline std::size_t LowestBit(std::uint64_t bits) {
  return static_cast<std::size_t>(__builtin_ctzll(bits));
}

#ifdef __SSE2__

// --- Sixteen bytes at once ---

// Each byte of a result has all bits set or none.
template <char kByte, int kSet, int kCleared>
__m128i Found(Bytes<kByte, kSet, kCleared> /*set*/, __m128i bytes) {
  if constexpr (kSet != 0) bytes = _mm_or_si128(bytes, _mm_set1_epi8(kSet));
  if constexpr (kCleared != 0) bytes = _mm_andnot_si128(_mm_set1_epi8(kCleared), bytes);
  return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(kByte));
}

template <char kFirst, char kLast>
__m128i Found(Range<kFirst, kLast> /*set*/, __m128i bytes) {
  return _mm_and_si128(_mm_cmpgt_epi8(bytes, _mm_set1_epi8(kFirst - 1)),
                       _mm_cmpgt_epi8(_mm_set1_epi8(kLast + 1), bytes));
}

template <class... Sets>
__m128i Found(AnyOf<Sets...> /*set*/, __m128i bytes) {
  return (Found(Sets{}, bytes) | ...);
}

inline __m128i Sixteen(const char* bytes) {
  __m128i loaded;
  __builtin_memcpy(&loaded, bytes, sizeof(loaded));
  return loaded;
}

inline std::uint32_t BitsOf(__m128i bytes) {
  return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
}

// A bit for each of kMaskSize bytes that is in `Set`.
template <class Set>
std::uint64_t WholeMask(const char* bytes) {
  const auto part = [bytes](std::size_t at) {
    return std::uint64_t{BitsOf(Found(Set{}, Sixteen(bytes + at)))} << at;
  };
  return part(0) | part(16) | part(32) | part(48);
}

// --- Thirty-two bytes at once, on processors that can ---

template <char kByte, int kSet, int kCleared>
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i Found(
    Bytes<kByte, kSet, kCleared> /*set*/, __m256i bytes) {
  if constexpr (kSet != 0) bytes = _mm256_or_si256(bytes, _mm256_set1_epi8(kSet));
  if constexpr (kCleared != 0) bytes = _mm256_andnot_si256(_mm256_set1_epi8(kCleared), bytes);
  return _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(kByte));
}

template <char kFirst, char kLast>
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i Found(Range<kFirst, kLast> /*set*/,
                                                                 __m256i bytes) {
  return _mm256_and_si256(_mm256_cmpgt_epi8(bytes, _mm256_set1_epi8(kFirst - 1)),
                          _mm256_cmpgt_epi8(_mm256_set1_epi8(kLast + 1), bytes));
}

template <class... Sets>
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i Found(AnyOf<Sets...> /*set*/,
                                                                 __m256i bytes) {
  return (Found(Sets{}, bytes) | ...);
}

template <class Set>
[[gnu::target("avx2"), gnu::always_inline]] inline std::uint64_t WideMask(const char* bytes) {
  __m256i low;
  __m256i high;
  __builtin_memcpy(&low, bytes, sizeof(low));
  __builtin_memcpy(&high, bytes + sizeof(low), sizeof(high));
  const auto low_bits = static_cast<std::uint32_t>(_mm256_movemask_epi8(Found(Set{}, low)));
  const auto high_bits = static_cast<std::uint32_t>(_mm256_movemask_epi8(Found(Set{}, high)));
  return low_bits | std::uint64_t{high_bits} << 32;
}

#else

template <class Set>
std::uint64_t WholeMask(const char* bytes) {
  std::uint64_t mask = 0;
  for (std::size_t i = 0; i < kMaskSize; ++i) mask |= std::uint64_t{Set::Has(bytes[i])} << i;
  return mask;
}

#endif

// A bit for each of `count` bytes, fewer than kMaskSize, that are in `Set`.
template <class Set>
std::uint64_t PartMask(const char* bytes, std::size_t count) {
  std::array<char, kMaskSize> padded = {};
  std::copy_n(bytes, count, padded.begin());
  return WholeMask<Set>(padded.data()) & ((std::uint64_t{1} << count) - 1);
}

// The bytes of a text that decide ("stops") and those that are no blanks, from its front to its
// back. `Classes` says which they are, by the sets Stops and Blanks.
template <class Classes>
class ByteMap {
 public:
  // Those from `begin` up to `end`.
  ByteMap(std::string_view text, std::size_t begin, std::size_t end) : m_text(text), m_end(end) {
    Load(begin - begin % kMaskSize);
  }

  // Those up to another end, which is in the text as well.
  void SetEnd(std::size_t end) { m_end = end; }

  // The first stop, the first byte that is no blank, at or behind `from`; the end when there is
  // none. Cost: little where `from` is not far from what was found last.
  std::size_t NextStop(std::size_t from) { return Next<&Bits::stops>(from); }
  std::size_t NextVisible(std::size_t from) { return Next<&Bits::visible>(from); }

 private:
  struct Bits {
    std::uint64_t stops = 0;
    std::uint64_t visible = 0;
  };

  template <std::uint64_t Bits::*kWhich>
  // cppcheck-suppress unusedPrivateFunction  // it does not see the calls above
  std::size_t Next(std::size_t from) {
    const std::size_t ahead = from - m_base;  // large where `from` is before m_base
    if (ahead < kMaskSize) {
      const std::uint64_t bits = m_bits.*kWhich >> ahead;
      if (bits != 0) return std::min(from + LowestBit(bits), m_end);
    }
    return Search<kWhich>(from);
  }

  template <std::uint64_t Bits::*kWhich>
  std::size_t Search(std::size_t from) {
    if (from >= m_end) return m_end;
    if (from - m_base >= kMaskSize) Load(from - from % kMaskSize);
    std::uint64_t bits = m_bits.*kWhich & (~std::uint64_t{0} << (from - m_base));
    while (bits == 0) {
      if (m_base + kMaskSize >= m_end) return m_end;
      Load(m_base + kMaskSize);
      bits = m_bits.*kWhich;
    }
    return std::min(m_base + LowestBit(bits), m_end);
  }

  // Bytes behind the end are looked at where the text has them: all at once is faster than some.
  void Load(std::size_t base) {
    using Stops = typename Classes::Stops;
    using Blanks = typename Classes::Blanks;
    const char* const bytes = m_text.data() + base;
    m_base = base;
    if (base + kMaskSize <= m_text.size()) {
      m_bits = {WholeMask<Stops>(bytes), ~WholeMask<Blanks>(bytes)};
    } else {
      const std::size_t count = m_text.size() - base;
      const std::uint64_t all = (std::uint64_t{1} << count) - 1;
      m_bits = {PartMask<Stops>(bytes, count), PartMask<Blanks>(bytes, count) ^ all};
    }
  }

  std::string_view m_text;
  std::size_t m_end;
  std::size_t m_base = 0;
  Bits m_bits;  // of the bytes from m_base on
};

}  // namespace tov_document
