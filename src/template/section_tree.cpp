// SPDX-License-Identifier: Apache-2.0

#include "template/section_tree.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <utility>

#include "template/framework/str.h"

namespace tov_template {
namespace {

using Node = SectionTree::Node;
using Block = SectionTree::Block;

// From this many members on a family is searched by an index.
#ifdef QELTEMPLATE_EAGER_INDEXES
constexpr std::size_t kLargeFamily = 1;
#else
constexpr std::size_t kLargeFamily = 16;
#endif

// The first byte of what stands between two levels.
constexpr unsigned char kSeparatorByte = '\x18';

void Drop(Block* dropped, Block* kept) {
  *dropped = {};
  dropped->kept = kept;
}

Block* Current(Block* block) {
  while (block->kept != nullptr) {
    if (block->kept->kept != nullptr) block->kept = block->kept->kept;  // shortens the way
    block = block->kept;
  }
  return block;
}

std::size_t CommonBeginning(std::string_view a, std::string_view b) {
  const auto differ = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  return static_cast<std::size_t>(differ.first - a.begin());
}

// The bytes of `level` from `begin` on, as many as fit into a number that is in their order.
std::uint64_t NextBytes(std::string_view level, std::size_t begin) {
  constexpr unsigned kBitsOfByte = 8;
  std::uint64_t number = 0;
  for (std::size_t i = begin; i < begin + sizeof number; ++i) {
    number = number << kBitsOfByte | (i < level.size() ? static_cast<unsigned char>(level[i]) : 0U);
  }
  return number;
}

// Levels begin alike, as a rule ("server { server_name "), and the next few bytes decide.
void SortByLevels(std::vector<Node*>& nodes) {
  const auto by_level = [](const Node* a, const Node* b) { return a->level < b->level; };
  if (std::is_sorted(nodes.begin(), nodes.end(), by_level)) return;
  std::string_view beginning = nodes.front()->level;
  for (const Node* const node : nodes) {
    if (str::view::StartsWith(node->level, beginning)) continue;
    beginning = beginning.substr(0, CommonBeginning(beginning, node->level));
  }
  std::vector<std::pair<std::uint64_t, Node*>> ranked;
  ranked.reserve(nodes.size());
  for (Node* const node : nodes) {
    ranked.emplace_back(NextBytes(node->level, beginning.size()), node);
  }
  std::sort(ranked.begin(), ranked.end(), [&](const auto& a, const auto& b) {
    return a.first != b.first ? a.first < b.first : by_level(a.second, b.second);
  });
  std::transform(ranked.begin(), ranked.end(), nodes.begin(),
                 [](const auto& each) { return each.second; });
}

std::string_view TrimEnd(std::string_view text) {
  while (!text.empty() && str::IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

SectionTree::SectionTree() {
  m_nodes.all.emplace_back();
}

// --- Paths ---

SectionTree::Hash SectionTree::HashOf(std::string_view level) {
  return static_cast<Hash>(std::hash<std::string_view>()(level));
}

bool SectionTree::SameLevel::operator()(const Hashed& a, const Hashed& b) const {
  return a.hash == b.hash && a.node->level == b.node->level;
}

bool SectionTree::IsRoot(const Node* node) {
  return node->family == nullptr;
}

Node* SectionTree::Below(Node* parent, std::string_view text) {
  return text.empty() ? parent : Descend(parent, text);
}

// The path whose only level is empty is the empty path itself.
Node* SectionTree::Above(const Node* node) {
  if (IsRoot(node)) return Root();
  Node* const above = node->family->parent;
  const bool one_empty_level =
      !IsRoot(above) && above->level.empty() && IsRoot(above->family->parent);
  return one_empty_level ? Root() : above;
}

std::string_view SectionTree::Level(const Node* node) {
  return node->level;
}

// Adds a level also for an empty text, but below the root.
Node* SectionTree::Descend(Node* node, std::string_view text) {
  if (IsRoot(node) && text.empty()) return node;
  if (text.find(kSeparatorByte) == std::string_view::npos) return MakeChild(node, text);
  for (bool more = true; more;) {
    const std::size_t end = text.find(kSectionSeparator);
    more = end != std::string_view::npos;
    node = MakeChild(node, text.substr(0, end));
    if (more) text.remove_prefix(end + kSectionSeparator.size());
  }
  return node;
}

// Like Below, but for a path that is trimmed. That of `parent` begins with no blank.
Node* SectionTree::DescendTrimmed(Node* parent, const std::string& level) {
  if (IsRoot(parent)) return Descend(parent, str::view::Trim(level));
  if (!level.empty()) return Descend(parent, TrimEnd(level));
  const std::string_view trimmed = TrimEnd(parent->level);
  return trimmed == parent->level ? parent : Descend(parent->family->parent, trimmed);
}

Node* SectionTree::FindChild(const Node* node, std::string_view level, Hash hash) {
  const Family* const family = node->children;
  if (family == nullptr) return nullptr;
  if (family->by_hash != nullptr) {
    Node wanted;
    wanted.level = level;
    const auto found = family->by_hash->find({hash, &wanted});
    return found == family->by_hash->end() ? nullptr : found->node;
  }
  Node* child = family->first;
  while (child != nullptr && (child->hash != hash || child->level != level)) child = child->next;
  return child;
}

Node* SectionTree::FindChild(const Node* node, std::string_view level) {
  return FindChild(node, level, HashOf(level));
}

SectionTree::Family* SectionTree::FamilyOf(Node* parent) {
  if (parent->children == nullptr) {
    m_families.all.push_back(Family{parent});
    parent->children = &m_families.all.back();
  }
  return parent->children;
}

Node* SectionTree::MakeChild(Node* node, std::string_view level) {
  const Hash hash = HashOf(level);
  if (Node* const child = FindChild(node, level, hash)) return child;
  Family* const family = FamilyOf(node);
  Node& child = m_nodes.all.emplace_back();
  child.level = Kept(level);
  child.hash = hash;
  m_empty_levels = m_empty_levels || level.empty();
  Attach(family, &child);
  return &child;
}

// A copy of `level` that lives as long as the tree.
std::string_view SectionTree::Kept(std::string_view level) {
  if (level.empty()) return {};
  auto* const copy = static_cast<char*>(m_levels.allocate(level.size(), 1));
  std::copy(level.begin(), level.end(), copy);
  return {copy, level.size()};
}

void SectionTree::Attach(Family* family, Node* node) {
  node->family = family;
  node->next = nullptr;
  node->previous = family->last;
  (family->last == nullptr ? family->first : family->last->next) = node;
  family->last = node;
  ++family->size;
  if (family->by_hash != nullptr) {
    family->by_hash->insert({node->hash, node});
  } else if (family->size == kLargeFamily) {
    ByHash& by_hash = m_hashes.all.emplace_back();
    for (Node* each = family->first; each != nullptr; each = each->next) {
      by_hash.insert({each->hash, each});
    }
    family->by_hash = &by_hash;
  }
}

void SectionTree::Detach(Node* node) {
  Family& family = *node->family;
  if (family.by_hash != nullptr) family.by_hash->erase({node->hash, node});
  (node->previous == nullptr ? family.first : node->previous->next) = node->next;
  (node->next == nullptr ? family.last : node->next->previous) = node->previous;
  --family.size;
  node->family = nullptr;
}

std::size_t SectionTree::Depth(const Node* node) {
  std::size_t depth = 0;
  for (; !IsRoot(node); node = node->family->parent) ++depth;
  return depth;
}

std::string SectionTree::Path(const Node* node) {
  std::vector<const Node*> levels;
  for (; !IsRoot(node); node = node->family->parent) levels.push_back(node);
  std::string path;
  for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
    if (level != levels.rbegin()) path += kSectionSeparator;
    path += (*level)->level;
  }
  return path;
}

// --- What a path holds ---

Block* SectionTree::OpenBlock(Node* node, const LineIterator& line, bool unique) {
  if (node->block == nullptr) {
    Block& block = m_blocks.all.emplace_back();
    AddLine(&block, line, unique);
    node->block = &block;
  }
  return node->block;
}

Block* SectionTree::AddLine(Block* block, const LineIterator& line, bool unique) {
  Block* const current = Current(block);
  m_elements.all.push_back(Element{{line}});
  Element* const added = &m_elements.all.back();
  (current->last == nullptr ? current->first : current->last->next) = added;
  current->last = added;
  ++current->size;
  if (unique) {
    if (current->first_unique == nullptr) current->first_unique = added;
    current->last_unique = added;
  }
  return current;
}

void SectionTree::MoveValues(Node* from, Node* into, bool from_wins) {
  if (from->block != nullptr) {
    if (into->block == nullptr) {
      into->block = from->block;
    } else if (from_wins) {
      Drop(into->block, from->block);
      into->block = from->block;
    } else {
      Drop(from->block, into->block);
    }
    from->block = nullptr;
  }
  if (from->has_end && (from_wins || !into->has_end)) SetEnd(into, from->end, from->end_unique);
  from->has_end = false;
}

// --- Another path ---

// Moves `from`, which is no part of the tree any more, and all below it to `into`. Cost: each node
// that moves joins a family at least as large as the one it leaves.
void SectionTree::Merge(Node* from, Node* into, bool from_wins) {
  struct Step {
    Node* from;
    Node* into;
    bool from_wins;
  };
  std::vector<Step> steps{{from, into, from_wins}};
  while (!steps.empty()) {
    Step step = steps.back();
    steps.pop_back();
    MoveValues(step.from, step.into, step.from_wins);
    Family*& smaller = step.from->children;
    Family*& larger = step.into->children;
    if (smaller == nullptr) continue;
    if (larger == nullptr || larger->size < smaller->size) {
      std::swap(smaller, larger);
      larger->parent = step.into;
      step.from_wins = !step.from_wins;
    }
    while (smaller != nullptr && smaller->first != nullptr) {
      Node* const child = smaller->first;
      Detach(child);
      if (Node* const same = FindChild(step.into, child->level)) {
        steps.push_back({child, same, step.from_wins});
      } else {
        Attach(larger, child);
      }
    }
  }
}

void SectionTree::Rekey(Node* node, const std::string& level) {
  if (IsRoot(node)) {
    RekeyAll(level);
  } else if (node->level.empty()) {
    RekeyByText(node, level);
  } else {
    // A path that goes on with an empty level and ends is written like one that does not go on.
    if (Node* const same = FindChild(node, "")) MoveValues(same, node, true);
    Node* const above = Above(node);
    if (Rename(node, above, level)) return;
    Detach(node);
    Merge(node, DescendTrimmed(above, level), false);
  }
}

// As nearly always: the new path is one level below `above`, as the old one is, and nothing is
// there. Returns whether it was so.
bool SectionTree::Rename(Node* node, Node* above, const std::string& level) {
  const std::string_view trimmed = str::view::Trim(level);
  if (trimmed.empty() || str::IsBlank(level.front()) || node->family->parent != above) return false;
  if (str::view::Contains(trimmed, kSectionSeparator)) return false;
  const Hash hash = HashOf(trimmed);
  if (FindChild(above, trimmed, hash) != nullptr) return false;
  const std::string_view kept = Kept(trimmed);
  Family& family = *node->family;
  ByHash::node_type entry;
  if (family.by_hash != nullptr) entry = family.by_hash->extract({node->hash, node});
  node->level = kept;
  node->hash = hash;
  if (!entry) return true;
  entry.value().hash = hash;
  family.by_hash->insert(std::move(entry));
  return true;
}

// Of the paths that come to the same place the last one, in the order of the old paths, counts.
void SectionTree::RekeyAll(const std::string& level) {
  Node* const root = Root();
  std::map<std::string, Node*> single;  // paths that have nothing below their first level
  std::map<std::string, Node*> firsts;  // how the paths below each first level begin
  single.emplace("", root);
  while (root->children != nullptr && root->children->first != nullptr) {
    Node* const first = root->children->first;
    const std::string beginning = std::string(first->level) + kSectionSeparator;
    if (!first->level.empty()) single.emplace(first->level, first);
    if (Node* const same = FindChild(first, "")) single.emplace(beginning, same);
    firsts.emplace(beginning, first);
    Detach(first);
  }
  Node merged;
  for (const auto& entry : single) MoveValues(entry.second, &merged, true);
  for (const auto& entry : firsts) Merge(entry.second, &merged, true);
  Merge(&merged, DescendTrimmed(root, level), false);
}

// The last level of `node` is empty: its path ends with the separator. Such a path stands for those
// that have the levels before it, and what follows the first place in them where it stands itself,
// with another separator, is kept. What is kept makes the paths longer each time.
void SectionTree::RekeyByText(Node* node, const std::string& level) {
  const std::string old_path = Path(node);
  std::vector<Node*> concerned;
  Node* top = node->family->parent;
  concerned.push_back(top);
  for (std::size_t i = 0; i < concerned.size(); ++i) {
    if (concerned[i]->children == nullptr) continue;
    for (Node* child = concerned[i]->children->first; child != nullptr; child = child->next) {
      concerned.push_back(child);
    }
  }
  while (!IsRoot(top) && top->level.empty()) concerned.push_back(top = top->family->parent);

  std::map<std::string, Node*> by_path;
  for (Node* const entry : concerned) {
    if (entry->HoldsAnything()) by_path.emplace(Path(entry), entry);
  }
  Node* const target = DescendTrimmed(Above(node), level);
  std::map<std::string, Node> moved;
  for (const auto& [path, entry] : by_path) {
    std::string_view rest = path;
    str::view::GetWord(rest, old_path + kSectionSeparator);
    MoveValues(entry, &moved[std::string(rest)], true);
  }
  for (auto& [rest, entry] : moved) MoveValues(&entry, Below(target, rest), false);
}

// --- What has been read ---

// Calls `use` with each path at and below `top` that is `wanted`, and its node, level by level in
// the order of the levels, until it returns false. Below a path that is not wanted nothing is.
template <class Wanted, class Use>
void SectionTree::Walk(Node* top, Wanted wanted, Use use) {
  struct Step {
    Node* node;
    std::size_t above;  // the length of the path above it
  };
  std::vector<Node*> children;
  std::string path = IsRoot(top) ? std::string() : Path(top->family->parent);
  std::vector<Step> steps{{top, path.size()}};
  while (!steps.empty()) {
    const auto [node, above] = steps.back();
    steps.pop_back();
    path.resize(above);
    if (!IsRoot(node)) {
      if (!IsRoot(node->family->parent)) path += kSectionSeparator;
      path += node->level;
    }
    if (!use(path, node)) return;
    if (node->children == nullptr) continue;
    children.clear();
    for (Node* child = node->children->first; child != nullptr; child = child->next) {
      if (wanted(child)) children.push_back(child);
    }
    SortByLevels(children);
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
      steps.push_back({*child, path.size()});
    }
  }
}

// Marks the paths at and above blocks with unique directives. Returns whether Walk meets them in
// the order of their paths, too: seldom not, where a level holds a byte that comes before the
// separator.
bool SectionTree::MarkWaysToUnique() {
  const auto may_precede_separator = [](unsigned char c) { return c <= kSeparatorByte; };
  bool in_order = true;
  for (Node& node : m_nodes.all) {
    if (node.block == nullptr || node.block->first_unique == nullptr || node.block->late) continue;
    for (Node* each = &node; !each->leads_to_unique; each = each->family->parent) {
      each->leads_to_unique = true;
      const std::string_view level = each->level;
      in_order = in_order && std::none_of(level.begin(), level.end(), may_precede_separator);
      if (IsRoot(each)) break;
    }
  }
  return in_order;
}

void SectionTree::ForEachBlock(bool all,
                               const std::function<bool(const std::string&, Node*)>& use) {
  const bool in_order = MarkWaysToUnique() && !all;
  const auto wanted = [&](const Node* node) { return all || node->leads_to_unique; };
  const auto is_meant = [&](const Node* node) {
    return node->block != nullptr && !node->block->late &&
           (all || node->block->first_unique != nullptr);
  };
  if (in_order) {
    Walk(Root(), wanted,
         [&](const std::string& path, Node* node) { return !is_meant(node) || use(path, node); });
    return;
  }
  Paths blocks;
  Walk(Root(), wanted, [&](const std::string& path, Node* node) {
    if (is_meant(node)) blocks.emplace_back(path, node);
    return true;
  });
  std::sort(blocks.begin(), blocks.end());
  for (const auto& [path, node] : blocks) {
    if (!use(path, node)) return;
  }
}

void SectionTree::CopyTo(const Node* node, const std::string& path, ConfigView::Params& params,
                         ConfigView::Places& ends) {
  if (node->block != nullptr) {
    std::list<ConfParam>& lines = params.try_emplace(params.end(), path)->second;
    for (const Element* each = node->block->first; each != nullptr; each = each->next) {
      lines.push_back(each->param);
    }
  }
  if (node->has_end) ends.emplace_hint(ends.end(), path, node->end);
}

void SectionTree::CopyTo(ConfigView::Params& params, ConfigView::Places& ends) {
  Walk(
      Root(), [](const Node* /*node*/) { return true; },
      [&](const std::string& path, const Node* node) {
        CopyTo(node, path, params, ends);
        return true;
      });
}

void SectionTree::Clear(Node* node) {
  node->block = nullptr;
  node->has_end = false;
}

bool SectionTree::IsPlain() const {
  return !m_empty_levels &&
         std::all_of(m_nodes.all.begin(), m_nodes.all.end(), [](const Node& node) {
           if (!node.HoldsAnything()) return true;
           return !IsRoot(&node) && node.block != nullptr && node.has_end &&
                  node.end == node.block->last->param.m_line;
         });
}

Node* SectionTree::Find(std::string_view section) {
  Node* node = Root();
  for (bool more = true; more && node != nullptr;) {
    const std::size_t end = section.find(kSectionSeparator);
    more = end != std::string_view::npos;
    node = FindChild(node, section.substr(0, end));
    if (more) section.remove_prefix(end + kSectionSeparator.size());
  }
  return node;
}

SectionTree::Paths SectionTree::AtAndBelow(Node* node) const {
  Paths paths;
  Walk(
      node, [](const Node* /*node*/) { return true; },
      [&](const std::string& path, Node* each) {
        if (each->HoldsAnything()) paths.emplace_back(path, each);
        return true;
      });
  return paths;
}

const SectionTree::InOrder& SectionTree::InOrderOf(Family& family) {
  if (family.in_order == nullptr) {
    InOrder order;
    order.reserve(family.size);
    for (Node* each = family.first; each != nullptr; each = each->next) order.push_back(each);
    SortByLevels(order);
    family.in_order = &m_orders.emplace_back(std::move(order));
  }
  return *family.in_order;
}

// The paths that begin with the text `section`, without those that are below another one of them.
std::vector<Node*> SectionTree::TopsBeginningWith(std::string_view section) {
  const std::size_t separator = section.rfind(kSectionSeparator);
  const bool one_level = separator == std::string_view::npos;
  const Node* const parent = one_level ? Root() : Find(section.substr(0, separator));
  if (parent == nullptr || parent->children == nullptr) return {};
  const std::string_view level =
      one_level ? section : section.substr(separator + kSectionSeparator.size());
  std::vector<Node*> tops;
  const InOrder& order = InOrderOf(*parent->children);
  const auto before = [](const Node* node, std::string_view text) { return node->level < text; };
  for (auto each = std::lower_bound(order.begin(), order.end(), level, before);
       each != order.end() && str::view::StartsWith((*each)->level, level); ++each) {
    tops.push_back(*each);
  }
  // The first byte of a separator, too, may be what `section` ends with.
  if (level.empty() || level.back() != kSeparatorByte) return tops;
  const Node* const cut = FindChild(parent, level.substr(0, level.size() - 1));
  if (cut == nullptr || cut->children == nullptr) return tops;
  for (Node* each = cut->children->first; each != nullptr; each = each->next) tops.push_back(each);
  return tops;
}

SectionTree::Paths SectionTree::BeginningWith(std::string_view section) {
  Paths paths;
  for (Node* const top : TopsBeginningWith(section)) {
    for (auto& path : AtAndBelow(top)) paths.push_back(std::move(path));
  }
  return paths;
}

bool SectionTree::HoldsMoreThan(std::string_view section) {
  const Node* const itself = Find(section);
  const std::vector<Node*> tops = TopsBeginningWith(section);
  return std::any_of(tops.begin(), tops.end(), [&](const Node* top) {
    return (top != itself && top->HoldsAnything()) || HoldsAnythingBelow(top);
  });
}

bool SectionTree::HoldsAnythingBelow(const Node* node) {
  std::vector<const Node*> parents{node};
  while (!parents.empty()) {
    const Family* const family = parents.back()->children;
    parents.pop_back();
    if (family == nullptr) continue;
    for (const Node* child = family->first; child != nullptr; child = child->next) {
      if (child->HoldsAnything()) return true;
      parents.push_back(child);
    }
  }
  return false;
}

SectionTree::Paths SectionTree::SmallBlocks(std::size_t size) {
  Paths paths;
  for (Node& node : m_nodes.all) {
    if (node.block == nullptr || node.block->size > size || HoldsAnythingBelow(&node)) continue;
    paths.emplace_back(Path(&node), &node);
  }
  return paths;
}

}  // namespace tov_template
