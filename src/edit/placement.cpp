// SPDX-License-Identifier: Apache-2.0

#include "edit/placement.h"

#include <algorithm>

#include "document/meaning.h"
#include "edit/address.h"

namespace edit {
namespace {

using Children = std::vector<const Child*>;
using Positions = std::vector<std::size_t>;
using PlaceKind = Layout::Place::Kind;
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

// The first rule of nginx that says what holds for everybody.
std::size_t RuleForAll(const Children& children) {
  for (std::size_t i = 0; i < children.size(); ++i) {
    if (children[i]->IsDirective() && IsAccessRule(children[i]->values) &&
        children[i]->values[1] == "all") {
      return i;
    }
  }
  return kNoChild;
}

Layout::Place Beside(const Child& child, PlaceKind kind) {
  return {child.around, kind, child.position};
}

// Behind the last one of its name in the block itself, or before the one of which the template says
// so.
std::optional<Layout::Place> BesideItsLike(Dialect dialect, BlockId block, const Children& children,
                                           const std::string& name, const Neighbours& of_name) {
  const Child* last = nullptr;
  for (const std::size_t position : ThoseNamed(dialect, children, NodeKind::kDirective, name)) {
    if (children[position]->around == block) last = children[position];
  }
  if (last == nullptr) return std::nullopt;
  const bool before = of_name.later != kNoChild && of_name.InOrder();
  return before ? Beside(*children[of_name.later], PlaceKind::kBefore)
                : Beside(*last, PlaceKind::kBehind);
}

Layout::Place BesideOthers(BlockId block, const Children& children, const Neighbours& of_all) {
  const Positions blocks = BlocksAmong(children);
  const std::size_t first_block = blocks.empty() ? children.size() : blocks.front();
  std::size_t last = kNoChild;  // directive
  for (std::size_t i = 0; i < first_block; ++i) {
    if (children[i]->IsDirective()) last = i;
  }
  const std::size_t slot = last == kNoChild ? first_block : last + 1;
  if (of_all.InOrder() && of_all.earlier != kNoChild && slot <= of_all.earlier) {
    return Beside(*children[of_all.earlier], PlaceKind::kBehind);
  }
  if (of_all.InOrder() && of_all.later != kNoChild && slot > of_all.later) {
    return Beside(*children[of_all.later], PlaceKind::kBefore);
  }
  if (last != kNoChild) return Beside(*children[last], PlaceKind::kBehind);
  if (!blocks.empty()) return Beside(*children[first_block], PlaceKind::kBefore);
  return {block, PlaceKind::kAtEnd, 0};
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
    const bool open = MayBeLeftOut(contents, id, block);
    if (open && contents.dialect() == Dialect::kNginx) http = id;
    if (tov_document::SameName(contents.dialect(), name, contents.HeadOf(id).front())) {
      container = document.blocks()[id].parent;
    }
    id = open ? id + 1 : document.blocks()[id].next;
  }
  if (container) return *container == block ? std::nullopt : container;
  for (const char* const main : {"events", "http", "stream", "mail"}) {
    if (name == main) return std::nullopt;
  }
  return http;
}

}  // namespace

Layout::Place PlaceForDirective(Dialect dialect, BlockId block, const Children& children,
                                const std::vector<std::string>& values, const Neighbours& of_name,
                                const Neighbours& of_all) {
  Layout::Place place = BesideOthers(block, children, of_all);
  if (values.empty()) return place;
  place = BesideItsLike(dialect, block, children, values.front(), of_name).value_or(place);
  if (dialect != Dialect::kNginx || !IsAccessRule(values) || values[1] == "all") return place;
  const std::size_t rule = RuleForAll(children);
  const bool too_late =
      rule != kNoChild && (place.kind == PlaceKind::kAtEnd || place.child > rule ||
                           (place.child == rule && place.kind == PlaceKind::kBehind));
  const bool meant = of_all.earlier != kNoChild && rule <= of_all.earlier;
  if (too_late && !meant) return Beside(*children[rule], PlaceKind::kBefore);
  return place;
}

PlaceOfBlock PlaceForBlock(Contents& contents, BlockId block, const std::string& name) {
  const Dialect dialect = contents.dialect();
  BlockId container = block;
  if (ThoseNamed(dialect, OwnOf(contents, block), NodeKind::kBlock, name).empty()) {
    container = ContainerFor(contents, block, name).value_or(block);
  }
  const Children children = OwnOf(contents, container);
  const Positions kin = ThoseNamed(dialect, children, NodeKind::kBlock, name);
  const bool blank = HasBlankBefore(contents.document().text(), children,
                                    kin.empty() ? BlocksAmong(children) : kin);
  if (kin.empty()) return {{container, PlaceKind::kAtEnd, 0}, blank};
  return {Beside(*children[kin.back()], PlaceKind::kBehind), blank};
}

}  // namespace edit
