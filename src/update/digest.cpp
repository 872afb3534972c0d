// SPDX-License-Identifier: Apache-2.0

#include "update/digest.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace tov_update {
namespace {

// Each step can be taken back, so that no difference within a word is ever lost. The low bits of a
// product depend on few bits of its factors: the high ones are laid over them.
std::uint64_t Mixed(std::uint64_t lane, std::uint64_t word) {
  constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15;  // odd, with bits of all weights
  const std::uint64_t product = (lane ^ word) * kFactor;
  return product ^ product >> 32;
}

// Lanes of their own, which a processor works on at the same time.
using Lanes = std::array<std::uint64_t, 8>;

void AddWords(const char* words, Lanes& lanes) {
  Lanes added;
  std::memcpy(added.data(), words, sizeof(added));
#pragma GCC unroll 8  // into registers
  for (std::size_t i = 0; i < lanes.size(); ++i) lanes[i] = Mixed(lanes[i], added[i]);
}

}  // namespace

void Digest::Add(std::string_view piece) {
  Lanes lanes = {m_value};
  const std::size_t size = piece.size();
  for (; piece.size() >= sizeof(Lanes); piece.remove_prefix(sizeof(Lanes))) {
    AddWords(piece.data(), lanes);
  }
  std::array<char, sizeof(Lanes)> rest = {};
  piece.copy(rest.data(), piece.size());
  AddWords(rest.data(), lanes);
  m_value = size;
  for (const std::uint64_t lane : lanes) m_value = Mixed(m_value, lane);
}

std::uint64_t DigestOf(std::string_view text, std::size_t size) {
  Digest digest;
  for (; !text.empty(); text.remove_prefix(std::min(size, text.size()))) {
    digest.Add(text.substr(0, size));
  }
  return digest.Value();
}

}  // namespace tov_update
