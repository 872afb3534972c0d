// SPDX-License-Identifier: Apache-2.0

#include "edit/match/parts.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace tov_edit {

void Parts::Append(std::size_t file, std::size_t begin, std::size_t end) {
  if (begin == end) return;
  m_stretches.push_back({m_text.size(), file, begin, end});
  m_text.append(m_files[file].text.substr(begin, end - begin));
}

void Parts::EndLine() {
  if (!m_text.empty() && m_text.back() != '\n') m_text += '\n';
}

std::size_t Parts::StretchOf(std::size_t offset) const {
  const auto behind =
      std::upper_bound(m_stretches.begin(), m_stretches.end(), offset,
                       [](std::size_t at, const Stretch& stretch) { return at < stretch.at; });
  return static_cast<std::size_t>(behind - m_stretches.begin()) -
         (behind == m_stretches.begin() ? 0 : 1);
}

std::size_t Parts::FileOf(std::size_t offset) const {
  return m_stretches.empty() ? 0 : m_stretches[StretchOf(offset)].file;
}

std::size_t Parts::InFile(std::size_t offset) const {
  if (m_stretches.empty()) return 0;
  const Stretch& stretch = m_stretches[StretchOf(offset)];
  return std::min(stretch.begin + (offset - stretch.at), stretch.end);
}

tov_document::Span Parts::InFile(tov_document::Span bytes) const {
  const auto begin = static_cast<std::uint32_t>(InFile(bytes.begin));
  if (bytes.empty()) return {begin, begin};
  return {begin, static_cast<std::uint32_t>(InFile(bytes.end - 1) + 1)};
}

bool Parts::IsOfOneFile(tov_document::Span bytes) const {
  const std::size_t file = FileOf(bytes.begin);
  for (std::size_t i = StretchOf(bytes.begin);
       i < m_stretches.size() && m_stretches[i].at < bytes.end; ++i) {
    if (m_stretches[i].file != file) return false;
  }
  return true;
}

FilePlace Parts::PlaceOf(std::size_t offset) const {
  return PlaceIn(FileOf(offset), InFile(offset));
}

FilePlace Parts::PlaceIn(std::size_t file, std::size_t offset_in_file) const {
  auto known = m_places.find(file);
  if (known == m_places.end()) {
    known = m_places.emplace(file, tov_document::Places(m_files[file].text)).first;
  }
  const tov_document::Place place = known->second.Of(static_cast<std::uint32_t>(offset_in_file));
  return {m_files[file].name, place.line, place.column};
}

}  // namespace tov_edit
