// SPDX-License-Identifier: Apache-2.0

#include "edit/layout/meant_tree.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "document/meaning.h"

namespace tov_edit {
namespace {

using tov_document::Block;
using tov_document::Node;
using tov_document::NodeKind;

using Values = std::vector<std::string>;
using Nodes = std::vector<Node>;

Nodes VisibleNodes(const Document& document, BlockId block) {
  Nodes nodes = document.Nodes(block);
  const auto is_blank = [](const Node& node) { return node.kind == NodeKind::kBlank; };
  nodes.erase(std::remove_if(nodes.begin(), nodes.end(), is_blank), nodes.end());
  return nodes;
}

// A comment goes up to the line end, with the blanks before it.
std::string_view CommentIn(const Document& document, Span bytes) {
  const std::string_view text = document.Bytes(bytes);
  return text.substr(0, text.find_last_not_of(" \t\r\n\v\f") + 1);
}

// A comment whose line ends with "\r\n" holds the first of them, unless it is the end of the text.
std::string_view WithoutLineEnd(std::string_view comment) {
  if (!comment.empty() && comment.back() == '\r') comment.remove_suffix(1);
  return comment;
}

// Of nodes that are no blocks.
bool SameLeaves(const Document& a, const Node& x, const Document& b, const Node& y) {
  if (x.kind != y.kind) return false;
  if (x.kind == NodeKind::kDirective) return a.Values(a.Words(x)) == b.Values(b.Words(y));
  return x.kind == NodeKind::kBlock || CommentIn(a, x.bytes) == CommentIn(b, y.bytes);
}

bool SameNodes(const Document& a, BlockId x, const Document& b, BlockId y) {
  const Nodes nodes = VisibleNodes(a, x);
  const Nodes others = VisibleNodes(b, y);
  return std::equal(
      nodes.begin(), nodes.end(), others.begin(), others.end(),
      [&](const Node& node, const Node& other) { return SameLeaves(a, node, b, other); });
}

// Two blocks with all that is in them, whatever their layout. Those inside come in one order.
bool SameBlocks(const Document& a, BlockId x, const Document& b, BlockId y) {
  const BlockId count = a.blocks()[x].next - x;
  if (b.blocks()[y].next - y != count) return false;
  for (BlockId i = 0; i < count; ++i) {
    const bool same = a.Values(a.HeadWords(x + i)) == b.Values(b.HeadWords(y + i)) &&
                      SameNodes(a, x + i, b, y + i);
    if (!same) return false;
  }
  return true;
}

}  // namespace

// --- What is meant ---

void MeantTree::SetChange(const Child& child, Change change) {
  m_changes[child.bytes.begin] = std::move(change);
  m_edited.insert(child.IsBlock() ? m_before.blocks()[child.block].parent : child.around);
}

void MeantTree::ChangeWords(const Child& child, const std::vector<std::string>& words) {
  SetChange(child, {words, std::nullopt});
}

void MeantTree::ChangeComment(const Child& child, const std::string& text) {
  SetChange(child, {std::nullopt, text});
}

void MeantTree::ChangeClosing(BlockId block, const std::string& text) {
  m_closings[block] = text;
}

void MeantTree::Remove(const Child& child) {
  SetChange(child, {});
}

void MeantTree::TakeAlong(Span bytes) {
  std::uint32_t& end = m_taken_along[bytes.begin];
  end = std::max(end, bytes.end);
}

bool MeantTree::IsTakenAlong(Span comment) const {
  const auto behind = m_taken_along.upper_bound(comment.begin);
  return behind != m_taken_along.begin() && comment.end <= std::prev(behind)->second;
}

void MeantTree::Add(BlockId block, std::size_t at, const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) (text += line) += '\n';
  m_additions[block].push_back({at, std::move(text)});
  m_added_at.insert(at);
  m_edited.insert(block);
}

// Whether something changes in a block, or about it.
bool MeantTree::IsTouched(Span bytes) const {
  const auto change = m_changes.lower_bound(bytes.begin);
  if (change != m_changes.end() && change->first < bytes.end) return true;
  const auto added = m_added_at.upper_bound(bytes.begin);
  return added != m_added_at.end() && *added < bytes.end;
}

// --- Whether it is so ---

class MeantTree::Comparison {
 public:
  Comparison(const MeantTree& meant, const Document& after)
      : m_meant(meant), m_before(meant.m_before), m_after(after) {}

  std::optional<std::size_t> Run() {
    m_unread.push_back({tov_document::kWholeText, tov_document::kWholeText});
    while (!m_unread.empty() && !m_difference) {
      const Pair pair = m_unread.back();
      m_unread.pop_back();
      if (m_meant.m_edited.count(pair.before) != 0) {
        CompareNodes(pair);
      } else {
        CompareAround(pair);
      }
    }
    return m_difference;
  }

 private:
  // A block before the edit, and the same block after it.
  struct Pair {
    BlockId before = 0;
    BlockId after = 0;
  };

  // The nodes of an edited block that are still to come.
  struct Rest {
    const Nodes& nodes;
    std::size_t next = 0;
    std::size_t end = 0;  // of the block's body

    bool IsEmpty() const { return next == nodes.size(); }
    const Node& Next() const { return nodes.at(next); }
    std::size_t At() const { return IsEmpty() ? end : Next().bytes.begin; }
  };

  const Block& Before(BlockId block) const { return m_before.blocks()[block]; }
  const Block& After(BlockId block) const { return m_after.blocks()[block]; }

  void Differ(std::size_t at) {
    if (!m_difference) m_difference = at;
  }

  bool SameBytes(Span before, Span after) const {
    return m_before.Bytes(before) == m_after.Bytes(after);
  }

  // --- A block in which blocks are edited, and nothing else ---

  void CompareAround(const Pair& pair) {
    Span before = Before(pair.before).body();
    Span after = After(pair.after).body();
    BlockId other = pair.after + 1;
    for (BlockId inner = pair.before + 1; inner < Before(pair.before).next;
         inner = Before(inner).next, other = After(other).next) {
      if (other >= After(pair.after).next) return Differ(after.begin);
      const Block& block = Before(inner);
      if (!m_meant.IsTouched({block.head.begin, block.closing.end})) continue;
      const Block& same = After(other);
      if (!SameBytes({before.begin, block.head.end}, {after.begin, same.head.end})) {
        return Differ(after.begin);
      }
      CompareClosings({inner, other});
      m_unread.push_back({inner, other});
      before.begin = block.closing.end;
      after.begin = same.closing.end;
    }
    if (!SameBytes(before, after)) Differ(after.begin);
  }

  void CompareClosings(const Pair& pair) {
    const Span closing = After(pair.after).closing;
    const auto changed = m_meant.m_closings.find(pair.before);
    const std::string_view meant = changed == m_meant.m_closings.end()
                                       ? m_before.Bytes(Before(pair.before).closing)
                                       : std::string_view(changed->second);
    if (m_after.Bytes(closing) != meant) Differ(closing.begin);
  }

  // --- A block that is edited itself ---

  void CompareNodes(const Pair& pair) {
    const Nodes nodes = VisibleNodes(m_after, pair.after);
    Rest rest = {nodes, 0, After(pair.after).body().end};
    std::vector<Addition> additions;
    const auto known = m_meant.m_additions.find(pair.before);
    if (known != m_meant.m_additions.end()) additions = known->second;
    std::stable_sort(additions.begin(), additions.end(),
                     [](const Addition& a, const Addition& b) { return a.at < b.at; });
    auto addition = additions.begin();
    for (const Node& node : VisibleNodes(m_before, pair.before)) {
      for (; addition != additions.end() && addition->at <= node.bytes.begin; ++addition) {
        CompareAddition(*addition, rest);
      }
      CompareNode(node, rest);
      if (m_difference) return;
    }
    for (; addition != additions.end(); ++addition) CompareAddition(*addition, rest);
    if (!rest.IsEmpty()) Differ(rest.At());
  }

  void CompareAddition(const Addition& addition, Rest& rest) {
    const Document added(m_before.dialect(), addition.text);
    if (added.error()) return Differ(rest.At());
    for (const Node& node : VisibleNodes(added, tov_document::kWholeText)) {
      const bool same = !rest.IsEmpty() && SameLeaves(added, node, m_after, rest.Next()) &&
                        (node.kind != NodeKind::kBlock ||
                         SameBlocks(added, node.block, m_after, rest.Next().block));
      if (!same) return Differ(rest.At());
      ++rest.next;
    }
  }

  void CompareNode(const Node& node, Rest& rest) {
    const auto changed = m_meant.m_changes.find(node.bytes.begin);
    const Change* const change = changed == m_meant.m_changes.end() ? nullptr : &changed->second;
    const bool goes = change != nullptr && !change->words && !change->text;
    if (goes || (node.kind == NodeKind::kComment && m_meant.IsTakenAlong(node.bytes))) return;
    const bool same =
        !rest.IsEmpty() && rest.Next().kind == node.kind && IsAsMeant(node, change, rest.Next());
    if (!same) return Differ(rest.At());
    ++rest.next;
  }

  bool IsAsMeant(const Node& node, const Change* change, const Node& after) {
    if (node.kind == NodeKind::kBlock) return IsBlockAsMeant(node, change, after);
    if (change == nullptr) {
      return node.kind == NodeKind::kComment ? WithoutLineEnd(m_before.Bytes(node.bytes)) ==
                                                   WithoutLineEnd(m_after.Bytes(after.bytes))
                                             : SameBytes(node.bytes, after.bytes);
    }
    if (change->words) return AreWords(*change->words, m_after.Values(m_after.Words(after)));
    return CommentIn(m_after, after.bytes) == *change->text;
  }

  bool IsBlockAsMeant(const Node& node, const Change* change, const Node& after) {
    if (!m_meant.IsTouched(node.bytes)) return SameBytes(node.bytes, after.bytes);
    CompareClosings({node.block, after.block});
    m_unread.push_back({node.block, after.block});
    if (change == nullptr) return SameBytes(Before(node.block).head, After(after.block).head);
    return AreWords(*change->words, m_after.Values(m_after.HeadWords(after.block)));
  }

  // A name in another case may stay.
  bool AreWords(const Values& meant, const Values& values) const {
    return tov_document::SameName(m_before.dialect(), meant.front(), values.front()) &&
           std::equal(meant.begin() + 1, meant.end(), values.begin() + 1, values.end());
  }

  const MeantTree& m_meant;
  const Document& m_before;
  const Document& m_after;
  std::vector<Pair> m_unread;
  std::optional<std::size_t> m_difference;
};

std::optional<std::size_t> MeantTree::DifferenceFrom(const Document& after) const {
  return Comparison(*this, after).Run();
}

}  // namespace tov_edit
