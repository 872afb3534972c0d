// SPDX-License-Identifier: Apache-2.0

#include "document/suspicion.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace tov_document {
namespace {

// What stands before `at` on its line, when that is nothing but blanks.
std::optional<std::string_view> IndentationAt(std::string_view text, std::size_t at) {
  const std::size_t end_before = at == 0 ? std::string_view::npos : text.rfind('\n', at - 1);
  const std::size_t begin = end_before == std::string_view::npos ? 0 : end_before + 1;
  const std::string_view before = text.substr(begin, at - begin);
  if (before.find_first_not_of(" \t") != std::string_view::npos) return std::nullopt;
  return before;
}

// Whether the rest of an expression has become the first directive, or head, of the block: its name
// holds the brace that was to close the other one.
bool HasCutWord(const Document& document, BlockId block) {
  for (const Node& node : document.Nodes(block)) {
    if (node.kind == NodeKind::kBlank || node.kind == NodeKind::kComment) continue;
    const std::vector<Word> words =
        node.kind == NodeKind::kBlock ? document.HeadWords(node.block) : document.Words(node);
    return !words.empty() && words.front().quote == '\0' &&
           document.Bytes(words.front().bytes).find('}') != std::string_view::npos;
  }
  return false;
}

// Whether its closing brace stands on a line of its own, less indented than its head.
bool ClosesTooFarLeft(const Document& document, const Block& block) {
  if (block.closing.size() == 0) return false;
  const auto opening = IndentationAt(document.text(), block.head.begin);
  const auto closing = IndentationAt(document.text(), block.closing.begin);
  return opening && closing && closing->size() < opening->size() &&
         opening->substr(0, closing->size()) == *closing;
}

}  // namespace

std::optional<Suspicion> Suspect(const Document& document) {
  if (document.dialect() != Dialect::kNginx || !document.error()) return std::nullopt;
  if (document.error()->problem != Problem::kUnclosedBlock) return std::nullopt;
  const std::vector<Block>& blocks = document.blocks();
  const Block* first_to_close = nullptr;
  for (BlockId id = 1; id < blocks.size(); ++id) {
    const Block& block = blocks[id];
    if (HasCutWord(document, id))
      return Suspicion{Suspicion::Kind::kBraceInWord, block.head.end - 1};
    if (!ClosesTooFarLeft(document, block)) continue;
    if (first_to_close == nullptr || block.closing.begin < first_to_close->closing.begin) {
      first_to_close = &block;
    }
  }
  if (first_to_close == nullptr) return std::nullopt;
  return Suspicion{Suspicion::Kind::kIndentation, first_to_close->head.begin};
}

std::string Describe(const Suspicion& suspicion) {
  return suspicion.kind == Suspicion::Kind::kBraceInWord
             ? "this brace opens a block: an expression with braces needs quotes"
             : "going by the indentation, the block that begins here does not close";
}

}  // namespace tov_document
