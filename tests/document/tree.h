// SPDX-License-Identifier: Apache-2.0

// What a document has read, as a test shows it or goes through it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "document/document.h"

inline bool IsSame(const tov_document::Placed& a, const tov_document::Placed& b) {
  return a.node.kind == b.node.kind && a.node.bytes.begin == b.node.bytes.begin &&
         a.node.bytes.end == b.node.bytes.end && a.node.block == b.node.block &&
         a.around == b.around && a.depth == b.depth;
}

// "" when the nodes of all blocks are, in their order, the bytes of the text, and are visited in
// this order, but for blanks; else what is wrong.
inline std::string Untiled(const tov_document::Document& document) {
  using namespace tov_document;
  std::uint32_t at = 0;
  std::string wrong;
  const auto take = [&](Span bytes, const char* what) {
    if (wrong.empty() && (bytes.begin != at || bytes.end < bytes.begin)) {
      wrong = std::string(what) + " at " + std::to_string(bytes.begin) + " follows " +
              std::to_string(at);
    }
    at = bytes.end;
  };
  // A block that is being gone through, and how far. No recursion: blocks may be nested deep.
  struct Open {
    BlockId block;
    std::vector<Node> nodes;
    std::size_t next = 0;
  };
  std::vector<Open> open;
  std::vector<Placed> told;
  open.push_back({kWholeText, document.Nodes(kWholeText)});
  BlockId last = kWholeText;
  while (!open.empty() && wrong.empty()) {
    Open& inner = open.back();
    const Block& block = document.blocks()[inner.block];
    if (inner.next == inner.nodes.size()) {
      take(block.closing, "a closing");
      open.pop_back();
      continue;
    }
    const Node node = inner.nodes[inner.next++];
    if (node.kind != NodeKind::kBlank) told.push_back({node, inner.block, open.size() - 1});
    if (node.kind != NodeKind::kBlock) {
      take(node.bytes, "a node");
      if (node.bytes.empty()) wrong = "an empty node at " + std::to_string(at);
      continue;
    }
    const Block& nested = document.blocks()[node.block];
    if (node.block != last + 1) return "block " + std::to_string(node.block) + " is out of order";
    if (nested.parent != inner.block) return "a block has another parent";
    if (nested.head.begin != node.bytes.begin || nested.closing.end != node.bytes.end) {
      return "a block's node has other bytes than the block";
    }
    last = node.block;
    take(nested.head, "a head");
    open.push_back({node.block, document.Nodes(node.block)});
  }
  if (!wrong.empty()) return wrong;
  if (last + 1 != document.blocks().size()) return "a block is not among the nodes";
  if (at != document.text().size()) return "the nodes end before the text";
  std::size_t visited = 0;
  document.Visit([&](const Placed& placed) {
    if (visited == told.size() || !IsSame(told[visited++], placed)) {
      wrong = "another node is visited at " + std::to_string(placed.node.bytes.begin);
    }
  });
  if (wrong.empty() && visited != told.size()) wrong = "not all nodes are visited";
  return wrong;
}

// A line for each node but blanks, the inside of blocks indented:
//
//   server
//     listen | 80
//     # note
inline std::string Tree(const tov_document::Document& document,
                        tov_document::BlockId block = tov_document::kWholeText,
                        const std::string& indentation = "") {
  using namespace tov_document;
  std::string tree;
  for (const Node& node : document.Nodes(block)) {
    if (node.kind == NodeKind::kBlank) continue;
    std::string line;
    const char* separator = "";
    for (const Word& word : document.Words(node)) {
      line += separator + document.Value(word);
      separator = " | ";
    }
    if (node.kind == NodeKind::kComment) line = document.Bytes(node.bytes);
    if (node.kind == NodeKind::kOpaque) line = "(" + std::string(document.Bytes(node.bytes)) + ")";
    tree += indentation + line + "\n";
    if (node.kind == NodeKind::kBlock) tree += Tree(document, node.block, indentation + "  ");
  }
  return tree;
}
