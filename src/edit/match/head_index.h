// SPDX-License-Identifier: Apache-2.0

// Blocks by their opening lines, for a template that looks for many of them.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "edit/match/comparison.h"
#include "edit/match/contents.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

// Whether what stands in `block`, or in one with this head, may be looked for as if it stood around
// it, in a template's block whose own scope is `scope`.
bool MayBeLeftOut(const Contents& contents, BlockId block, BlockId scope);
bool MayBeLeftOut(Dialect dialect, const std::vector<std::string>& head, BlockId scope);

// What stands in what may be left out of a template counts as standing around it, see MayBeLeftOut.
// Used by one thread at a time.
class HeadIndex {
 public:
  // `contents` must outlive it.
  explicit HeadIndex(const Contents& contents) : m_contents(contents) {}

  // The blocks in `scope` that have this head (SameHead), or one that begins so (BeginsWith), in
  // the order of the text. Cost: the first two times one step for each block in `scope`, then a
  // logarithmic one, and one for each block that is found.
  std::vector<BlockId> Like(BlockId scope, const Texts& head);
  std::vector<BlockId> BeginningWith(BlockId scope, const Beginning& beginning);

 private:
  struct Entry {
    std::string key;
    BlockId block = tov_document::kWholeText;

    bool operator<(const Entry& other) const {
      return key != other.key ? key < other.key : block < other.block;
    }
  };

  using Entries = std::vector<Entry>;

  const Entries* EntriesFor(BlockId scope);
  BlockId RootOf(BlockId scope);

  template <class Use>
  void ForEachIn(BlockId scope, const Use& use) const;

  const Contents& m_contents;

  // By the block in which they stand; none: something has been looked for in there once.
  std::unordered_map<BlockId, std::optional<Entries>> m_entries;
  std::unordered_map<BlockId, BlockId> m_roots;
};

}  // namespace tov_edit
