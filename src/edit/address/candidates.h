// SPDX-License-Identifier: Apache-2.0

// The blocks of a configuration that a block of a template may be by its opening line, its name and
// its addresses.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "edit/address/evidence.h"
#include "edit/match/contents.h"
#include "edit/match/head_index.h"

namespace tov_edit {

using Blocks = std::vector<BlockId>;

// Used by one thread at a time.
class Candidates {
 public:
  // `contents` must outlive it. With `many_names` the names of all blocks are noted first: worth it
  // where more than a few are looked for.
  Candidates(const Contents& contents, bool many_names);

  // The blocks in `scope` whose opening line fits, and which have this name; null: whatever they
  // are called. What stands in what may be left out of a template counts as standing around it.
  Blocks Fitting(const Evidence& evidence, const std::string* name, BlockId scope);

  // What KeepListening would keep of those that fit, whatever they are called. None: that is for
  // the two to tell. Cost: little, however many there are, when it has been asked more than a few
  // times.
  Blocks FittingByAddress(const Evidence& evidence, BlockId scope);

  // Whether there is one by any of the names.
  bool HasFitting(const Evidence& evidence, BlockId scope);

  // Keeps of `blocks` those that have one of the addresses; false: none has, and all stay.
  bool KeepListening(Blocks& blocks, const Evidence& evidence) const;

 private:
  template <class Fits>
  Blocks Those(const Blocks& blocks, const Fits& fits) const;

  Blocks BlocksNamed(const std::string& name, BlockId scope) const;
  Blocks AllNamed(const std::string& name) const;
  bool IsIn(BlockId id, BlockId scope) const;
  Blocks Listening(const Blocks& blocks, const Texts& addresses) const;
  Blocks AllListening(const Texts& addresses, BlockId scope) const;
  void IndexAddresses();

  const Contents& m_contents;
  const Document& m_document;
  const Dialect m_dialect;
  HeadIndex m_heads;
  std::optional<std::unordered_map<std::string, Blocks>> m_by_name;  // none: few names are sought
  std::size_t m_sought_by_address = 0;
  std::unordered_map<std::string, Blocks> m_by_address;  // nginx's servers, when many are sought
};

}  // namespace tov_edit
