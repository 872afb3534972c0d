// SPDX-License-Identifier: Apache-2.0

#include "edit/contents.h"

#include <cstdint>

namespace edit {

using tov_document::NodeKind;

const std::vector<Child>& Contents::Of(BlockId block) {
  const auto [entry, is_new] = m_read.try_emplace(block);
  if (!is_new) return entry->second;
  for (const tov_document::Node& node : m_document.Nodes(block)) {
    if (node.kind == NodeKind::kBlank || node.kind == NodeKind::kOpaque) continue;
    Child child;
    child.kind = node.kind;
    child.bytes = node.bytes;
    child.block = node.block;
    if (child.IsDirective()) child.words = m_document.Words(node);
    if (child.IsBlock()) child.words = m_document.HeadWords(node.block);
    for (const tov_document::Word& word : child.words) {
      child.values.push_back(m_document.Value(word));
    }
    entry->second.push_back(std::move(child));
  }
  return entry->second;
}

std::vector<std::string> Contents::HeadOf(BlockId block) const {
  std::vector<std::string> values;
  for (const tov_document::Word& word : m_document.HeadWords(block)) {
    values.push_back(m_document.Value(word));
  }
  return values;
}

FilePlace Contents::PlaceOf(const std::string& name, std::size_t offset) const {
  if (!m_places) m_places.emplace(m_document.text());
  const tov_document::Place place = m_places->Of(static_cast<std::uint32_t>(offset));
  return {name, place.line, place.column};
}

}  // namespace edit
