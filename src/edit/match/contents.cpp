// SPDX-License-Identifier: Apache-2.0

#include "edit/match/contents.h"

#include <cstdint>
#include <utility>

#include "document/meaning.h"

namespace tov_edit {

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
    child.around = block;
    child.position = entry->second.size();
    if (child.IsDirective()) child.words = m_document.Words(node);
    if (child.IsBlock()) child.words = m_document.HeadWords(node.block);
    child.values.reserve(child.words.size());
    for (const tov_document::Word& word : child.words) {
      child.values.push_back(m_document.Value(word));
    }
    entry->second.push_back(std::move(child));
  }
  return entry->second;
}

std::vector<const Child*> Contents::WithConditions(BlockId block, const std::set<BlockId>& closed) {
  std::vector<const Child*> all;
  // What is still to be listed, the innermost block last.
  std::vector<std::pair<const std::vector<Child>*, std::size_t>> unread = {{&Of(block), 0}};
  while (!unread.empty()) {
    auto& [children, next] = unread.back();
    if (next == children->size()) {
      unread.pop_back();
      continue;
    }
    const Child& child = (*children)[next++];
    all.push_back(&child);
    const bool open = child.IsBlock() && closed.count(child.block) == 0 &&
                      tov_document::IsCondition(dialect(), child.values.front());
    if (open) unread.emplace_back(&Of(child.block), 0);
  }
  return all;
}

std::vector<std::string> Contents::HeadOf(BlockId block) const {
  std::vector<std::string> values;
  for (const tov_document::Word& word : m_document.HeadWords(block)) {
    values.push_back(m_document.Value(word));
  }
  return values;
}

FilePlace Contents::PlaceOf(const std::string& name, std::size_t offset) const {
  if (m_parts != nullptr) return m_parts->PlaceOf(offset);
  if (!m_places) m_places.emplace(m_document.text());
  const tov_document::Place place = m_places->Of(static_cast<std::uint32_t>(offset));
  return {name, place.line, place.column};
}

}  // namespace tov_edit
