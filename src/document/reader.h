// SPDX-License-Identifier: Apache-2.0

// What is the same for both grammars: how items become blocks and nodes. Each scanner's source file
// makes an instance of it, next to the scanner, since reading has to be fast.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "document/document.h"
#include "document/scanner.h"

namespace tov_document {

// Goes through the text once and notes where blocks begin and end. What stands in them is read
// again, by Nodes, when somebody asks for it.
template <class Scanner>
class Reader {
 public:
  Reader(Document& document, Marks marks)
      : m_document(document),
        m_notes_marks(marks == Marks::kNoted),
        m_blocks(document.m_blocks),
        m_size(static_cast<std::uint32_t>(document.m_text.size())),
        m_scanner(document.m_text, 0, m_size),
        m_stops(document.m_text) {
    // As many as there may be: what is reserved and not used is no memory yet, what moves is some
    // twice.
    constexpr std::uint32_t kBytesForOne = 64;
    m_blocks.reserve(1 + m_size / kBytesForOne);
    if (m_notes_marks) document.m_marks.reserve(m_size / kBytesForOne);
  }

  void Run() {
    Block whole;
    whole.closing = {m_size, m_size};
    m_blocks.push_back(whole);
    m_document.m_read_end = m_size;
    Item last = Read();
    while (m_macro) {
      LeaveMacro(last.kind == Item::Kind::kEnd);
      last = Read();
    }
    m_blocks.front().next = Count();
    if (last.kind == Item::Kind::kError) {
      Fail(last);
    } else if (m_open != kWholeText) {
      Fail(Item::Error(Problem::kUnclosedBlock, m_size, m_blocks[m_open].head.begin));
    }
  }

  // --- What the scanner tells of what it reads at a glance. All of it happens for nearly every
  // line of a text, so that nothing is handed over but numbers: to copy what has just been put
  // together takes longer than all the rest.

  // How the innermost open block is read, and how it begins.
  Body Reading() const { return m_blocks[m_open].reading; }
  Span Head() const { return m_blocks[m_open].head; }

  // Whether there is an open block that may be closed.
  bool CanClose() const { return m_open != m_outermost; }

  void AddMark(Span directive, States states) {
    if (!m_notes_marks || states == States::kNothing || Reading() == Body::kValues) return;
    Mark& mark = m_document.m_marks.emplace_back();
    mark.directive.begin = directive.begin;
    mark.directive.end = directive.end;
    mark.block = m_open;
    mark.names = states == States::kNames;
  }

  void Open(Span head, Body reading) {
    Block& block = m_blocks.emplace_back();
    block.head.begin = head.begin;
    block.head.end = head.end;
    block.closing.begin = block.closing.end = m_size;
    block.parent = m_open;
    block.marks_before = static_cast<std::uint32_t>(m_document.m_marks.size());
    block.reading = reading;
    m_open = Count() - 1;
  }

  // Closes the innermost open block.
  void Close(Span closing) {
    Block& block = m_blocks[m_open];
    block.closing.begin = closing.begin;
    block.closing.end = closing.end;
    block.next = Count();
    m_open = block.parent;
  }

 private:
  // A macro whose lines are being read, to see whether its sections nest.
  struct Macro {
    BlockId block;
    Span closing;
    std::size_t marks;  // how many there were before
    Scanner outer;      // which goes on behind it
  };

  BlockId Count() const { return static_cast<BlockId>(m_blocks.size()); }

  // Reads on, up to the end or to an error, which is returned.
  Item Read() {
    for (;;) {
      m_scanner.ReadPlain(m_stops, *this);
      Item item = m_scanner.Next();
      switch (item.kind) {
        case Item::Kind::kDirective:
          AddMark(item.bytes, m_scanner.StatesOf(item.bytes));
          break;
        case Item::Kind::kComment:
          break;
        case Item::Kind::kOpen:
          item = Open(item);
          break;
        case Item::Kind::kClose:
          item = Closed(item);
          break;
        default:
          return item;
      }
      if (item.kind == Item::Kind::kError) return item;
    }
  }

  // Returns `item`, or an error instead.
  Item Open(const Item& item) {
    if (m_blocks[m_open].reading == Body::kValues) {
      return Item::Error(Problem::kBraceInValues, item.bytes.begin, item.bytes.end - 1);
    }
    const Inside inside = m_scanner.InsideOf(item.bytes);
    Open(item.bytes, inside == Inside::kValues ? Body::kValues : Body::kDirectives);
    const bool code = inside == Inside::kCode;
    if (!code && (inside != Inside::kMacro || m_macro)) return item;
    const Item closing = m_scanner.ClosingOfCode(item.bytes);
    if (closing.kind == Item::Kind::kError) return closing;
    if (!code) {
      m_macro = Macro{m_open, closing.bytes, m_document.m_marks.size(), m_scanner};
      m_outermost = m_open;
      m_scanner = Scanner(m_document.m_text, item.bytes.end, closing.bytes.begin);
      return item;
    }
    m_blocks[m_open].reading = Body::kOpaque;
    Close(closing.bytes);
    m_scanner.SkipTo(closing.bytes.end);
    return item;
  }

  // httpd takes whatever lines for a macro. Those in which sections do not nest mean something only
  // where the macro is used.
  void LeaveMacro(bool read) {
    if (!read || m_open != m_macro->block) {
      m_open = m_macro->block;
      m_blocks.resize(m_open + 1);
      m_blocks[m_open].reading = Body::kOpaque;
      m_document.m_marks.resize(m_macro->marks);
    }
    Close(m_macro->closing);
    m_scanner = m_macro->outer;
    m_scanner.SkipTo(m_macro->closing.end);
    m_macro.reset();
    m_outermost = kWholeText;
  }

  // Returns `item`, or an error instead.
  Item Closed(const Item& item) {
    if (!CanClose()) {
      return Item::Error(Problem::kExtraClosing, item.bytes.begin, item.bytes.begin);
    }
    const std::optional<Problem> problem = m_scanner.Mismatch(m_blocks[m_open].head, item.bytes);
    if (problem) return Item::Error(*problem, item.bytes.begin, item.bytes.begin);
    Close(item.bytes);
    return item;
  }

  // The blocks that are open go on to the text's end.
  void Fail(const Item& item) {
    SyntaxError error;
    error.problem = item.problem;
    error.at = item.at;
    if (m_open != kWholeText) error.opened = m_blocks[m_open].head.begin;
    m_document.m_error = error;
    m_document.m_read_end = item.bytes.begin;
    for (BlockId open = m_open; open != kWholeText; open = m_blocks[open].parent) {
      m_blocks[open].next = Count();
    }
  }

  Document& m_document;
  const bool m_notes_marks;
  std::vector<Block>& m_blocks;
  std::uint32_t m_size;
  Scanner m_scanner;
  typename Scanner::Stops m_stops;
  BlockId m_open = kWholeText;       // the innermost open block
  BlockId m_outermost = kWholeText;  // the one that cannot be closed
  std::optional<Macro> m_macro;
};

template <class Scanner>
void Document::AddNodes(BlockId block, std::vector<Node>& nodes) const {
  const Span body = m_blocks[block].body();
  const std::uint32_t end = ReadEnd(block);
  std::uint32_t at = body.begin;
  const auto add = [&](NodeKind kind, Span bytes, BlockId id) {
    if (at < bytes.begin) nodes.push_back({NodeKind::kBlank, {at, bytes.begin}, kWholeText});
    nodes.push_back({kind, bytes, id});
    at = bytes.end;
  };
  Scanner scanner(m_text, body.begin, end);
  BlockId child = block + 1;
  for (Item item = scanner.Next(); item.kind != Item::Kind::kEnd; item = scanner.Next()) {
    if (item.kind == Item::Kind::kOpen) {
      const Block& inner = m_blocks[child];
      add(NodeKind::kBlock, {inner.head.begin, inner.closing.end}, child);
      child = inner.next;
      scanner.SkipTo(at);
    } else {
      add(item.kind == Item::Kind::kComment ? NodeKind::kComment : NodeKind::kDirective, item.bytes,
          kWholeText);
    }
  }
  if (at < end) nodes.push_back({NodeKind::kBlank, {at, end}, kWholeText});
  at = std::max(at, end);
  if (at < body.end) nodes.push_back({NodeKind::kOpaque, {at, body.end}, kWholeText});
}

// One scanner reads it all: behind each block it goes on in the one around that.
template <class Scanner>
void Document::VisitAll(const NodeVisitor& visit) const {
  Placed placed;  // what is around, too, while there is no node
  BlockId last = kWholeText;
  std::uint32_t at = 0;
  const auto tell = [&](NodeKind kind, Span bytes, BlockId block) {
    placed.node = {kind, bytes, block};
    visit(placed);
    at = bytes.end;
  };
  Scanner scanner(m_text, 0, ReadEnd(kWholeText));
  for (;;) {
    const Item item = scanner.Next();
    if (item.kind == Item::Kind::kOpen) {
      const Block& inner = m_blocks[++last];
      tell(NodeKind::kBlock, {inner.head.begin, inner.closing.end}, last);
      placed.around = last;
      ++placed.depth;
      at = inner.body().begin;
      scanner.Read(at, ReadEnd(last));
    } else if (item.kind != Item::Kind::kEnd) {
      const bool comment = item.kind == Item::Kind::kComment;
      tell(comment ? NodeKind::kComment : NodeKind::kDirective, item.bytes, kWholeText);
    } else {
      const Block& block = m_blocks[placed.around];
      at = std::max(at, ReadEnd(placed.around));
      if (at < block.body().end) tell(NodeKind::kOpaque, {at, block.body().end}, kWholeText);
      if (placed.around == kWholeText) return;
      placed.around = block.parent;
      --placed.depth;
      at = block.closing.end;
      scanner.Read(at, ReadEnd(block.parent));
    }
  }
}

}  // namespace tov_document
