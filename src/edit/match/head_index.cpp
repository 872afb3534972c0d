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
  std::vector<BlockId> found;
  if (head.empty()) return found;
  const std::vector<Entry>& entries = EntriesFor(scope);
  const BlockId end = m_contents.document().blocks()[scope].next;
  for (const std::string& key : KeysOf(m_contents.dialect(), head)) {
    auto entry = std::lower_bound(entries.begin(), entries.end(), Entry{key, scope + 1});
    for (; entry != entries.end() && entry->key == key && entry->block < end; ++entry) {
      found.push_back(entry->block);
    }
  }
  SortWithoutRepetition(found);
  return found;
}

std::vector<BlockId> HeadIndex::BeginningWith(BlockId scope, const Beginning& beginning) {
  const Dialect dialect = m_contents.dialect();
  const bool by_address =
      !beginning.words.empty() && IsVirtualHost(dialect, beginning.words.front());
  const std::string key =
      by_address ? KeyOf(dialect, Texts{beginning.words.front()}) : KeyOf(dialect, beginning);
  std::vector<BlockId> found;
  const std::vector<Entry>& entries = EntriesFor(scope);
  const BlockId end = m_contents.document().blocks()[scope].next;
  auto entry = std::lower_bound(entries.begin(), entries.end(), Entry{key, kWholeText});
  for (; entry != entries.end() && entry->key.compare(0, key.size(), key) == 0; ++entry) {
    if (entry->block > scope && entry->block < end) found.push_back(entry->block);
  }
  SortWithoutRepetition(found);
  return found;
}

const std::vector<HeadIndex::Entry>& HeadIndex::EntriesFor(BlockId scope) {
  const BlockId root = RootOf(scope);
  const auto [known, is_new] = m_entries.try_emplace(root);
  std::vector<Entry>& entries = known->second;
  if (!is_new) return entries;
  const auto& blocks = m_contents.document().blocks();
  for (BlockId id = root + 1; id < blocks[root].next;) {
    const Texts head = m_contents.HeadOf(id);
    for (std::string& key : KeysOf(m_contents.dialect(), head)) {
      entries.push_back({std::move(key), id});
    }
    id = MayBeLeftOut(m_contents.dialect(), head, root) ? id + 1 : blocks[id].next;
  }
  std::sort(entries.begin(), entries.end());
  return entries;
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
