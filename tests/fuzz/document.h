// SPDX-License-Identifier: Apache-2.0

// What holds for a document over any bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "document/document.h"
#include "document/meaning.h"
#include "document/places.h"
#include "document/tree.h"
#include "fuzz/input.h"

// Every question may be asked of every block and every node, and places lie where they belong.
inline void AskAll(const tov_document::Document& document) {
  using namespace tov_document;
  for (BlockId id = 0; id < document.blocks().size(); ++id) {
    const Block& block = document.blocks()[id];
    Require(id == kWholeText || block.parent < id, "a block stands inside of one that follows it");
    Require(block.next > id, "no block follows a block");
    for (const std::string& name : ServerNames(document, id)) {
      Require(!BlocksNamed(document, name).empty(), "no block has the name of a block");
    }
    ServerAddresses(document, id);
    for (const Word& word : document.HeadWords(id)) document.Value(word);
    for (const Node& node : document.Nodes(id)) {
      std::uint32_t at = node.bytes.begin;
      for (const Word& word : document.Words(node)) {
        Require(at <= word.bytes.begin && word.bytes.begin <= word.inner.begin &&
                    word.inner.end <= word.bytes.end,
                "words do not follow one another");
        const std::string value = document.Value(word);
        Require(!word.as_written || value == document.Bytes(word.inner), "a value is not written");
        at = word.bytes.end;
      }
      Require(at <= node.bytes.end, "a word stands outside of its node");
    }
  }
}

inline void ReadAnything(tov_document::Dialect dialect, const std::uint8_t* data,
                         std::size_t size) {
  using namespace tov_document;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const Document document(dialect, text);
  RequireNone(Untiled(document));
  AskAll(document);
  if (!document.error()) return;
  Require(document.error()->at <= size, "an error lies behind the text");
  Require(!Describe(*document.error()).empty(), "an error says nothing");
  Require(Places(text).Of(document.error()->at).column > 0, "an error has no place");
}
