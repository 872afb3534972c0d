// SPDX-License-Identifier: Apache-2.0

// Jumps from one byte that decides to the next, past all that are only parts of words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace tov_document {

#ifdef __SSE2__
// Sixteen bytes, compared at once: each byte of a result has all bits set or none.
class Sixteen {
 public:
  explicit Sixteen(const char* bytes) { __builtin_memcpy(&m_bytes, bytes, sizeof(m_bytes)); }

  Sixteen Is(char byte) const { return Sixteen(_mm_cmpeq_epi8(m_bytes, _mm_set1_epi8(byte))); }

  // Whether they stand between `first` and `last`, both of ASCII, or are one of these.
  Sixteen Within(char first, char last) const {
    return Sixteen(
        _mm_and_si128(_mm_cmpgt_epi8(m_bytes, _mm_set1_epi8(static_cast<char>(first - 1))),
                      _mm_cmpgt_epi8(_mm_set1_epi8(static_cast<char>(last + 1)), m_bytes)));
  }

  // The bytes with the bits of `bits` set, or with no others than these.
  Sixteen With(int bits) const {
    return Sixteen(_mm_or_si128(m_bytes, _mm_set1_epi8(static_cast<char>(bits))));
  }
  Sixteen Only(int bits) const {
    return Sixteen(_mm_and_si128(m_bytes, _mm_set1_epi8(static_cast<char>(bits))));
  }

  Sixteen Or(Sixteen other) const { return Sixteen(_mm_or_si128(m_bytes, other.m_bytes)); }

  // A bit for each byte.
  std::uint64_t Bits() const { return static_cast<std::uint32_t>(_mm_movemask_epi8(m_bytes)); }

 private:
  explicit Sixteen(__m128i bytes) : m_bytes(bytes) {}

  __m128i m_bytes;
};
#endif

// Whether one of the bytes of `text` is an upper-case letter or a backslash.
inline bool HoldsUpperOrEscape(std::string_view text) {
  std::size_t at = 0;
#ifdef __SSE2__
  for (; at + 16 <= text.size(); at += 16) {
    const Sixteen some(text.data() + at);
    if (some.Within('A', 'Z').Or(some.Is('\\')).Bits() != 0) return true;
  }
#endif
  for (; at < text.size(); ++at) {
    if ((text[at] >= 'A' && text[at] <= 'Z') || text[at] == '\\') return true;
  }
  return false;
}

// The bytes of a text that decide ("stops") and those that are no blanks, from its front to its
// back. `Classes` says which they are: of one byte, IsStop and IsBlank; of sixteen, Stops and
// Blanks, of which Stops may count some bytes more.
template <class Classes>
class ByteMap {
 public:
  // Those from `begin` up to `end`.
  ByteMap(std::string_view text, std::size_t begin, std::size_t end)
      : m_text(text.data()), m_end(end) {
    Load(begin - begin % kStep);
  }

  // The first stop, the first byte that is no blank, at or behind `from`; the end when there is
  // none. Cost: little where `from` is not far from what was found last.
  std::size_t NextStop(std::size_t from) { return Next<&Bits::stops>(from); }
  std::size_t NextVisible(std::size_t from) { return Next<&Bits::visible>(from); }

 private:
  static constexpr std::size_t kStep = 64;

  struct Bits {
    std::uint64_t stops = 0;
    std::uint64_t visible = 0;
  };

  template <std::uint64_t Bits::*kWhich>
  // cppcheck-suppress unusedPrivateFunction  // it does not see the calls above
  std::size_t Next(std::size_t from) {
    const std::size_t ahead = from - m_base;  // large where `from` is before m_base
    if (ahead < kStep) {
      const std::uint64_t bits = m_bits.*kWhich >> ahead;
      if (bits != 0) return from + static_cast<std::size_t>(__builtin_ctzll(bits));
    }
    return Search<kWhich>(from);
  }

  template <std::uint64_t Bits::*kWhich>
  std::size_t Search(std::size_t from) {
    if (from >= m_end) return m_end;
    if (from - m_base >= kStep) Load(from - from % kStep);
    std::uint64_t bits = m_bits.*kWhich & (~std::uint64_t{0} << (from - m_base));
    while (bits == 0) {
      if (m_base + kStep >= m_end) return m_end;
      Load(m_base + kStep);
      bits = m_bits.*kWhich;
    }
    return m_base + static_cast<std::size_t>(__builtin_ctzll(bits));
  }

  void Load(std::size_t base) {
    m_base = base;
    m_bits = base + kStep <= m_end ? Whole(m_text + base) : Part(m_text + base, m_end - base);
  }

  static Bits Part(const char* bytes, std::size_t count) {
    Bits bits;
    for (std::size_t i = 0; i < count; ++i) {
      bits.stops |= std::uint64_t{Classes::IsStop(bytes[i])} << i;
      bits.visible |= std::uint64_t{!Classes::IsBlank(bytes[i])} << i;
    }
    return bits;
  }

#ifdef __SSE2__
  static Bits Whole(const char* bytes) {
    const Sixteen a(bytes);
    const Sixteen b(bytes + 16);
    const Sixteen c(bytes + 32);
    const Sixteen d(bytes + 48);
    const auto joined = [](std::uint64_t first, std::uint64_t second, std::uint64_t third,
                           std::uint64_t fourth) {
      return first | second << 16 | third << 32 | fourth << 48;
    };
    return {joined(Classes::Stops(a).Bits(), Classes::Stops(b).Bits(), Classes::Stops(c).Bits(),
                   Classes::Stops(d).Bits()),
            ~joined(Classes::Blanks(a).Bits(), Classes::Blanks(b).Bits(), Classes::Blanks(c).Bits(),
                    Classes::Blanks(d).Bits())};
  }
#else
  static Bits Whole(const char* bytes) {
    return Part(bytes, kStep);
  }
#endif

  const char* m_text;
  std::size_t m_end;
  std::size_t m_base = 0;
  Bits m_bits;  // of the bytes from m_base on
};

}  // namespace tov_document
