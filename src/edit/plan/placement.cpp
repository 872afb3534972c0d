// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/placement.h"

#include <algorithm>

#include "document/meaning.h"
#include "edit/match/comparison.h"
#include "edit/match/head_index.h"

namespace tov_edit {
namespace {

using Children = std::vector<const Child*>;
using Positions = std::vector<std::size_t>;
using PlaceKind = Layout::Place::Kind;
using tov_document::kWholeText;
using tov_document::NodeKind;

Children OwnOf(Contents& contents, BlockId block) {
  Children own;
  for (const Child& child : contents.Of(block)) own.push_back(&child);
  return own;
}

Positions ThoseNamed(Dialect dialect, const Children& children, NodeKind kind,
                     const std::string& name) {
  Positions named;
  for (std::size_t i = 0; i < children.size(); ++i) {
    if (children[i]->kind != kind) continue;
    if (tov_document::SameName(dialect, children[i]->values.front(), name)) named.push_back(i);
  }
  return named;
}

Positions BlocksAmong(const Children& children) {
  Positions blocks;
  for (std::size_t i = 0; i < children.size(); ++i) {
    if (children[i]->IsBlock()) blocks.push_back(i);
  }
  return blocks;
}

bool IsAccessRule(const std::vector<std::string>& values) {
  return values.size() > 1 && (values.front() == "allow" || values.front() == "deny");
}

// Whether a comment stands on a line of its own.
bool HasItsLine(std::string_view text, const Children& children, std::size_t child) {
  const std::size_t behind = child == 0 ? 0 : children[child - 1]->bytes.end;
  const std::string_view between = text.substr(behind, children[child]->bytes.begin - behind);
  return child == 0 || between.find('\n') != std::string_view::npos;
}

// Whether one of the children, of which the positions are given, stands behind a blank line.
bool HasBlankBefore(std::string_view text, const Children& children, const Positions& positions) {
  return std::any_of(positions.begin(), positions.end(), [&](std::size_t position) {
    std::size_t first = position;
    while (first > 0 && children[first - 1]->kind == NodeKind::kComment &&
           HasItsLine(text, children, first - 1)) {
      --first;
    }
    if (first == 0) return false;
    const std::size_t behind = children[first - 1]->bytes.end;
    const std::string_view between = text.substr(behind, children[first]->bytes.begin - behind);
    return std::count(between.begin(), between.end(), '\n') > 1;
  });
}

// What a new block of this name stands in, when that is not `block` itself: where its like stand,
// or nginx's http.
std::optional<BlockId> ContainerFor(const Contents& contents, BlockId block,
                                    const std::string& name) {
  const Document& document = contents.document();
  std::optional<BlockId> container;
  std::optional<BlockId> http;
  for (BlockId id = block + 1; id < document.blocks()[block].next;) {
    const Texts head = contents.HeadOf(id);
    const bool open = MayBeLeftOut(contents.dialect(), head, block);
    if (open && contents.dialect() == Dialect::kNginx) http = id;
    if (tov_document::SameName(contents.dialect(), name, head.front())) {
      container = document.blocks()[id].parent;
    }
    id = open ? id + 1 : document.blocks()[id].next;
  }
  if (container) return container;
  for (const char* const main : {"events", "http", "stream", "mail"}) {
    if (name == main) return std::nullopt;
  }
  return http;
}

}  // namespace

Layout::Place Beside(const Child& child, PlaceKind kind) {
  return {child.around, kind, child.position};
}

DirectivePlaces::DirectivePlaces(Dialect dialect, BlockId block, const Children& children,
                                 const ChildIndex& index)
    : m_dialect(dialect),
      m_block(block),
      m_children(children),
      m_index(index),
      m_first_block(children.size()) {
  for (std::size_t i = children.size(); i-- > 0;) {
    const Child& child = *children[i];
    if (child.IsBlock()) {
      m_first_block = i;
      m_last_before = kNoChild;
    }
    if (!child.IsDirective()) continue;
    if (m_last_before == kNoChild) m_last_before = i;
    if (IsAccessRule(child.values) && child.values[1] == "all") m_rule_for_all = i;
  }
}

Layout::Place DirectivePlaces::For(const std::vector<std::string>& values,
                                   const Neighbours& of_name, const Neighbours& of_all) {
  Layout::Place place = BesideOthers(of_all);
  if (values.empty()) return place;
  place = BesideItsLike(values.front(), of_name).value_or(place);
  if (m_dialect != Dialect::kNginx || !IsAccessRule(values) || values[1] == "all") return place;
  const std::size_t rule = m_rule_for_all;
  const bool too_late =
      rule != kNoChild &&
      (place.child > rule || (place.child == rule && place.kind == PlaceKind::kBehind));
  const bool meant = of_all.earlier != kNoChild && rule <= of_all.earlier;
  if (too_late && !meant) return Beside(*m_children[rule], PlaceKind::kBefore);
  return place;
}

// Behind the last one of its name, or before the one of which the template says so.
std::optional<Layout::Place> DirectivePlaces::BesideItsLike(const std::string& name,
                                                            const Neighbours& of_name) {
  const Child* const last = LastNamed(name);
  if (last == nullptr) return std::nullopt;
  const bool before = of_name.later != kNoChild && of_name.InOrder() &&
                      m_children[of_name.later]->around == last->around;
  return before ? Beside(*m_children[of_name.later], PlaceKind::kBefore)
                : Beside(*last, PlaceKind::kBehind);
}

// The last one in the block itself, else in a condition: what its like need, it needs, too.
const Child* DirectivePlaces::LastNamed(const std::string& name) {
  const auto [known, is_new] = m_last.try_emplace(NameKey(m_dialect, name), nullptr);
  if (!is_new) return known->second;
  const Child*& last = known->second;
  for (const std::size_t position : m_index.Named(name)) {
    const Child& child = *m_children[position];
    if (last == nullptr || last->around != m_block || child.around == m_block) last = &child;
  }
  return last;
}

Layout::Place DirectivePlaces::BesideOthers(const Neighbours& of_all) const {
  const std::size_t last = m_last_before;
  const std::size_t slot = last == kNoChild ? m_first_block : last + 1;
  if (of_all.InOrder() && of_all.earlier != kNoChild && slot <= of_all.earlier) {
    return Beside(*m_children[of_all.earlier], PlaceKind::kBehind);
  }
  if (of_all.InOrder() && of_all.later != kNoChild && slot > of_all.later) {
    return Beside(*m_children[of_all.later], PlaceKind::kBefore);
  }
  if (last != kNoChild) return Beside(*m_children[last], PlaceKind::kBehind);
  if (m_first_block < m_children.size()) {
    return Beside(*m_children[m_first_block], PlaceKind::kBefore);
  }
  return {m_block, PlaceKind::kAtEnd, 0};
}

PlaceOfBlock BlockPlaces::For(BlockId block, const std::string& name,
                              const BlockNeighbours& neighbours) {
  const auto [known, is_new] = m_found.try_emplace({block, NameKey(m_contents.dialect(), name)});
  if (is_new) known->second = Find(block, name);
  PlaceOfBlock where = known->second;
  const BlockId later = neighbours.later;
  const BlockId container = where.place.block;
  const bool counts = later != kWholeText && neighbours.earlier < later &&
                      m_contents.document().blocks()[later].parent == container;
  if (!counts) return where;
  const std::vector<Child>& children = m_contents.Of(container);
  const auto next = std::lower_bound(
      children.begin(), children.end(), m_contents.document().blocks()[later].head.begin,
      [](const Child& child, std::size_t at) { return child.bytes.begin < at; });
  where.place = Beside(*next, PlaceKind::kBefore);
  return where;
}

bool BlockPlaces::HasOwnBlankLine(BlockId block) {
  const tov_document::Block& known = m_contents.document().blocks()[block];
  const Row& row = RowOf(known.parent, m_contents.HeadOf(block).front());
  return row.last == known.head.begin && row.others_behind_blank;
}

const BlockPlaces::Row& BlockPlaces::RowOf(BlockId block, const std::string& name) {
  const Dialect dialect = m_contents.dialect();
  const auto [known, is_new] = m_rows.try_emplace({block, NameKey(dialect, name)});
  if (!is_new) return known->second;
  const Children children = OwnOf(m_contents, block);
  Positions others = ThoseNamed(dialect, children, NodeKind::kBlock, name);
  known->second.last = children[others.back()]->bytes.begin;
  others.pop_back();
  known->second.others_behind_blank =
      HasBlankBefore(m_contents.document().text(), children, others);
  return known->second;
}

PlaceOfBlock BlockPlaces::Find(BlockId block, const std::string& name) const {
  const Dialect dialect = m_contents.dialect();
  BlockId container = block;
  if (ThoseNamed(dialect, OwnOf(m_contents, block), NodeKind::kBlock, name).empty()) {
    container = ContainerFor(m_contents, block, name).value_or(block);
  }
  const Children children = OwnOf(m_contents, container);
  const Positions like = ThoseNamed(dialect, children, NodeKind::kBlock, name);
  const bool blank = HasBlankBefore(m_contents.document().text(), children,
                                    like.empty() ? BlocksAmong(children) : like);
  if (like.empty()) return {{container, PlaceKind::kAtEnd, 0}, blank};
  return {Beside(*children[like.back()], PlaceKind::kBehind), blank};
}

}  // namespace tov_edit
