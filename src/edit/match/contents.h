// SPDX-License-Identifier: Apache-2.0

// What stands in the blocks of a document, read when somebody asks for it.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "document/document.h"
#include "document/places.h"
#include "edit/finding.h"
#include "edit/match/parts.h"

namespace tov_edit {

using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::Span;

// A directive, a comment or a block. Blanks, and what is not read, are left out.
struct Child {
  tov_document::NodeKind kind = tov_document::NodeKind::kDirective;
  Span bytes;
  BlockId block = tov_document::kWholeText;   // which one it is: of a block only
  BlockId around = tov_document::kWholeText;  // the block that it stands in
  std::size_t position = 0;                   // among what stands there

  // Of a directive, or of a block's head; none for a comment.
  std::vector<tov_document::Word> words;
  std::vector<std::string> values;  // what the server makes of each

  bool IsDirective() const { return kind == tov_document::NodeKind::kDirective; }
  bool IsBlock() const { return kind == tov_document::NodeKind::kBlock; }
};

// Used by one thread at a time.
class Contents {
 public:
  // `document` must outlive it.
  explicit Contents(const Document& document) : m_document(document) {}

  // Of a text that is made of the parts of others: they know the places of its bytes. Both must
  // outlive it.
  Contents(const Document& document, const Parts& parts) : m_document(document), m_parts(&parts) {}

  const Document& document() const { return m_document; }
  Dialect dialect() const { return m_document.dialect(); }

  // In the order of the text. The reference stays valid. Cost: reads the block once.
  const std::vector<Child>& Of(BlockId block);

  // The same with what stands in the conditions inside, behind each of them, but for `closed` ones:
  // what counts as the block's own when they hold. See tov_document::ConditionsIn.
  std::vector<const Child*> WithConditions(BlockId block, const std::set<BlockId>& closed);

  // What a block's head says, as Child::values.
  std::vector<std::string> HeadOf(BlockId block) const;

  // Where a byte of the text stands, in the file `name` or in the one that it is from. Cost: the
  // first time a pass over the text.
  FilePlace PlaceOf(const std::string& name, std::size_t offset) const;

  // Where the block begins.
  FilePlace PlaceOfBlock(const std::string& name, BlockId block) const {
    return PlaceOf(name, document().blocks()[block].head.begin);
  }

 private:
  const Document& m_document;
  const Parts* m_parts = nullptr;
  mutable std::optional<tov_document::Places> m_places;
  std::unordered_map<BlockId, std::vector<Child>> m_read;
};

}  // namespace tov_edit
