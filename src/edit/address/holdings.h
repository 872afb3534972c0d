// SPDX-License-Identifier: Apache-2.0

// Which lines of a template the blocks of a configuration have, the conditions inside of them
// included.
#pragma once

#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "edit/address/evidence.h"
#include "edit/match/child_index.h"
#include "edit/match/contents.h"

namespace tov_edit {

// Used by one thread at a time.
class Holdings {
 public:
  // `contents` must outlive it.
  explicit Holdings(Contents& contents);

  // Whether the block has the line's directive with its old words, or with its new ones (`phase`);
  // of names, listens and options, one with all of these words.
  bool Has(BlockId id, const TemplateLine& line, Phase phase);

  // ... with its old words or with its new ones.
  bool Has(BlockId id, const TemplateLine& line);

  // The same for a line of which both are known, but of names and options a word that changes is
  // enough, and of listens the address.
  bool HasPart(BlockId id, const TemplateLine& line);

  // Whether a directive of the block is such a one.
  bool HasSuch(BlockId id, const std::function<bool(const Child&)>& fits);

 private:
  // What stands in a block, and its index.
  struct Indexed {
    Indexed(const Document& document, std::vector<const Child*> all)
        : children(std::move(all)), index(document, children) {}

    std::vector<const Child*> children;
    ChildIndex index;
  };

  // Words of a block, to be looked for.
  struct Said {
    explicit Said(Texts words) : all(std::move(words)), among(all) {}
    Said(const Said&) = delete;
    Said& operator=(const Said&) = delete;

    const Texts all;
    const Among among;
  };

  const Indexed& IndexedOf(BlockId id);
  const Among& NamesOf(BlockId id);
  const Among& AddressesOf(BlockId id);

  Contents& m_contents;
  const Document& m_document;
  const Dialect m_dialect;
  std::unordered_map<BlockId, Indexed> m_indexed;
  std::unordered_map<BlockId, Said> m_names;
  std::unordered_map<BlockId, Said> m_addresses;
};

}  // namespace tov_edit
