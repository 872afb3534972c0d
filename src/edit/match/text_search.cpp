// SPDX-License-Identifier: Apache-2.0

#include "edit/match/text_search.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>

namespace tov_edit {
namespace {

// Sums over the bytes of a window that moves on by one byte in constant time.
class Window {
 public:
  explicit Window(std::string_view first) {
    for (const char byte : first) {
      m_sum = m_sum * kFactor + Number(byte);
      m_leaving *= kFactor;
    }
  }

  void Move(char leaves, char comes) {
    m_sum = m_sum * kFactor + Number(comes) - Number(leaves) * m_leaving;
  }

  std::uint64_t Sum() const { return m_sum; }

 private:
  static constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15;

  static std::uint64_t Number(char byte) { return static_cast<unsigned char>(byte) + 1U; }

  std::uint64_t m_sum = 0;
  std::uint64_t m_leaving = 1;  // what the first byte of the window counts, one byte later
};

using BySum = std::unordered_map<std::uint64_t, std::vector<std::string_view>>;

void AddFound(std::string_view body, std::size_t size, const BySum& sought,
              std::unordered_set<std::string_view>& found) {
  Window window(body.substr(0, size));
  for (std::size_t at = 0;; ++at) {
    const auto same = sought.find(window.Sum());
    if (same != sought.end()) {
      for (const std::string_view text : same->second) {
        if (body.substr(at, size) == text) found.insert(text);
      }
    }
    if (at + size == body.size()) return;
    window.Move(body[at], body[at + size]);
  }
}

}  // namespace

std::unordered_set<std::string_view> TextsIn(std::string_view body,
                                             const std::vector<std::string_view>& texts) {
  std::unordered_set<std::string_view> found;
  std::map<std::size_t, BySum> sought;  // by sizes
  for (const std::string_view text : std::unordered_set(texts.begin(), texts.end())) {
    if (text.size() <= body.size()) sought[text.size()][Window(text).Sum()].push_back(text);
  }
  for (const auto& [size, by_sum] : sought) AddFound(body, size, by_sum, found);
  return found;
}

}  // namespace tov_edit
