// SPDX-License-Identifier: Apache-2.0

#include "document/places.h"

#include <algorithm>

#include "document/byte_map.h"

namespace tov_document {

Places::Places(std::string_view text) : m_line_begins{0} {
  using LineEnds = Bytes<'\n'>;
  for (std::size_t at = 0; at < text.size(); at += kMaskSize) {
    const char* const bytes = text.data() + at;
    const std::size_t left = text.size() - at;
    std::uint64_t ends =
        left < kMaskSize ? PartMask<LineEnds>(bytes, left) : WholeMask<LineEnds>(bytes);
    for (; ends != 0; ends &= ends - 1) {
      m_line_begins.push_back(static_cast<std::uint32_t>(at + LowestBit(ends) + 1));
    }
  }
}

Place Places::Of(std::uint32_t offset) const {
  const auto behind = std::upper_bound(m_line_begins.begin(), m_line_begins.end(), offset);
  return {static_cast<std::size_t>(behind - m_line_begins.begin()),
          static_cast<std::size_t>(offset - *std::prev(behind)) + 1};
}

std::size_t Places::LineFrom(std::size_t line, std::uint32_t offset) const {
  constexpr std::size_t kNear = 8;
  const std::size_t last = std::min(line + kNear, m_line_begins.size());
  if (m_line_begins[line - 1] > offset) return Of(offset).line;
  for (; line < last; ++line) {
    if (offset < m_line_begins[line]) return line;
  }
  return line == m_line_begins.size() ? line : Of(offset).line;
}

}  // namespace tov_document
