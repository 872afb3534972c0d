// SPDX-License-Identifier: Apache-2.0

#include "edit/match/head_index.h"

#include <algorithm>
#include <utility>

#include "document/meaning.h"

namespace tov_edit {
namespace {

using tov_document::kWholeText;

// Virtual hosts are the same when they share an address.
std::vector<std::string> KeysOf(Dialect dialect, const Texts& head) {
  if (!IsVirtualHost(dialect, head.front())) return {KeyOf(dialect, head)};
  std::vector<std::string> keys;
  for (const std::string& address : AddressesIn(dialect, head)) {
    keys.push_back(KeyOf(dialect, Texts{head.front(), address}));
  }
  return keys;
}

void SortWithoutRepetition(std::vector<BlockId>& blocks) {
  std::sort(blocks.begin(), blocks.end());
  blocks.erase(std::unique(blocks.begin(), blocks.end()), blocks.end());
}

}  // namespace

bool MayBeLeftOut(const Contents& contents, BlockId block, BlockId scope) {
  return MayBeLeftOut(contents.dialect(), contents.HeadOf(block), scope);
}

bool MayBeLeftOut(Dialect dialect, const Texts& head, BlockId scope) {
  if (dialect == Dialect::kApache) {
    return tov_document::IsCondition(Dialect::kApache, head.front());
  }
  return scope == kWholeText && head.front() == "http" && head.size() == 1;
}

std::vector<BlockId> HeadIndex::Like(BlockId scope, const Texts& head) {
  const Dialect dialect = m_contents.dialect();
  std::vector<BlockId> found;
  if (head.empty()) return found;
  const auto add = [&](BlockId id, const Texts& other) {
    if (SameHead(dialect, other, head)) found.push_back(id);
  };
  const Entries* const entries = EntriesFor(scope);
  if (entries == nullptr) {
    ForEachIn(scope, add);
    return found;
  }
  std::vector<BlockId> similar;
  const BlockId end = m_contents.document().blocks()[scope].next;
  for (const std::string& key : KeysOf(dialect, head)) {
    auto entry = std::lower_bound(entries->begin(), entries->end(), Entry{key, scope + 1});
    for (; entry != entries->end() && entry->key == key && entry->block < end; ++entry) {
      similar.push_back(entry->block);
    }
  }
  SortWithoutRepetition(similar);
  for (const BlockId id : similar) add(id, m_contents.HeadOf(id));
  return found;
}

std::vector<BlockId> HeadIndex::BeginningWith(BlockId scope, const Beginning& beginning) {
  const Dialect dialect = m_contents.dialect();
  std::vector<BlockId> found;
  const auto add = [&](BlockId id, const Texts& head) {
    if (BeginsWith(dialect, head, beginning)) found.push_back(id);
  };
  const Entries* const entries = EntriesFor(scope);
  if (entries == nullptr) {
    ForEachIn(scope, add);
    return found;
  }
  const bool by_address =
      !beginning.words.empty() && IsVirtualHost(dialect, beginning.words.front());
  const std::string key =
      by_address ? KeyOf(dialect, Texts{beginning.words.front()}) : KeyOf(dialect, beginning);
  std::vector<BlockId> similar;
  const BlockId end = m_contents.document().blocks()[scope].next;
  auto entry = std::lower_bound(entries->begin(), entries->end(), Entry{key, kWholeText});
  for (; entry != entries->end() && entry->key.compare(0, key.size(), key) == 0; ++entry) {
    if (entry->block > scope && entry->block < end) similar.push_back(entry->block);
  }
  SortWithoutRepetition(similar);
  for (const BlockId id : similar) add(id, m_contents.HeadOf(id));
  return found;
}

// Null the first time: to look at each block once takes less than to sort them.
const HeadIndex::Entries* HeadIndex::EntriesFor(BlockId scope) {
  const BlockId root = RootOf(scope);
  const auto [known, is_new] = m_entries.try_emplace(root);
  std::optional<Entries>& entries = known->second;
  if (is_new) return nullptr;
  if (entries) return &*entries;
  entries.emplace();
  ForEachIn(root, [&](BlockId id, const Texts& head) {
    for (std::string& key : KeysOf(m_contents.dialect(), head)) {
      entries->push_back({std::move(key), id});
    }
  });
  std::sort(entries->begin(), entries->end());
  return &*entries;
}

// In the order of the text.
template <class Use>
void HeadIndex::ForEachIn(BlockId scope, const Use& use) const {
  const auto& blocks = m_contents.document().blocks();
  for (BlockId id = scope + 1; id < blocks[scope].next;) {
    const Texts head = m_contents.HeadOf(id);
    use(id, head);
    id = MayBeLeftOut(m_contents.dialect(), head, scope) ? id + 1 : blocks[id].next;
  }
}

// The block around `scope` that no condition is, which has all that `scope` has: conditions may
// stand in one another, and each by itself would have all that is in them.
BlockId HeadIndex::RootOf(BlockId scope) {
  if (m_contents.dialect() != Dialect::kApache) return scope;
  std::vector<BlockId> conditions;
  BlockId root = scope;
  while (root != kWholeText && MayBeLeftOut(m_contents, root, kWholeText)) {
    const auto known = m_roots.find(root);
    if (known != m_roots.end()) {
      root = known->second;
      break;
    }
    conditions.push_back(root);
    root = m_contents.document().blocks()[root].parent;
  }
  for (const BlockId condition : conditions) m_roots.emplace(condition, root);
  return root;
}

}  // namespace tov_edit
