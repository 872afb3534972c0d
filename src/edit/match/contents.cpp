// SPDX-License-Identifier: Apache-2.0

#include "edit/match/contents.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "document/meaning.h"

namespace tov_edit {

using tov_document::NodeKind;

const std::vector<Child>& Contents::Of(BlockId block) {
  const auto [entry, is_new] = m_read.try_emplace(block);
  if (!is_new) return entry->second;
  std::vector<Child>& children = entry->second;
  const std::vector<tov_document::Node> nodes = m_document.Nodes(block);
  const auto is_child = [](const tov_document::Node& node) {
    return node.kind != NodeKind::kBlank && node.kind != NodeKind::kOpaque;
  };
  children.reserve(static_cast<std::size_t>(std::count_if(nodes.begin(), nodes.end(), is_child)));
  for (const tov_document::Node& node : nodes) {
    if (!is_child(node)) continue;
    Child& child = children.emplace_back();
    child.kind = node.kind;
    child.bytes = node.bytes;
    child.block = node.block;
    child.around = block;
    child.position = children.size() - 1;
    child.words = m_document.Words(node);
    child.values = m_document.Values(child.words);
  }
  return children;
}

std::vector<const Child*> Contents::WithConditions(BlockId block, const std::set<BlockId>& closed) {
  std::vector<const Child*> all;
  all.reserve(Of(block).size());
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
  return m_document.Values(m_document.HeadWords(block));
}

FilePlace Contents::PlaceOf(const std::string& name, std::size_t offset) const {
  if (m_parts != nullptr) return m_parts->PlaceOf(offset);
  if (!m_places) m_places.emplace(m_document.text());
  const tov_document::Place place = m_places->Of(static_cast<std::uint32_t>(offset));
  return {name, place.line, place.column};
}

}  // namespace tov_edit
