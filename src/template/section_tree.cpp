// SPDX-License-Identifier: Apache-2.0

#include "template/section_tree.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

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

void Drop(Block* dropped, Block* kept) {
  dropped->kept = kept;
  dropped->lines.clear();
  dropped->first_unique.reset();
}

Block* Current(Block* block) {
  while (block->kept != nullptr) {
    if (block->kept->kept != nullptr) block->kept = block->kept->kept;  // shortens the way
    block = block->kept;
  }
  return block;
}

std::string_view TrimEnd(std::string_view text) {
  while (!text.empty() && str::IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

SectionTree::SectionTree() : m_nodes(&m_memory), m_families(&m_memory), m_blocks(&m_memory) {
  m_nodes.emplace_back();
}

// --- Paths ---

std::size_t SectionTree::LevelHash::operator()(const Node* node) const {
  return std::hash<std::string_view>()(node->level);
}

bool SectionTree::SameLevel::operator()(const Node* a, const Node* b) const {
  return a->level == b->level;
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

Node* SectionTree::FindChild(const Node* node, std::string_view level) {
  const Family* const family = node->children;
  if (family == nullptr) return nullptr;
  if (!family->by_level.empty()) {
    Node wanted;
    wanted.level = level;
    const auto found = family->by_level.find(&wanted);
    return found == family->by_level.end() ? nullptr : *found;
  }
  Node* child = family->first;
  while (child != nullptr && child->level != level) child = child->next;
  return child;
}

SectionTree::Family* SectionTree::FamilyOf(Node* parent) {
  if (parent->children == nullptr) {
    parent->children = &m_families.emplace_back(parent, &m_memory);
  }
  return parent->children;
}

Node* SectionTree::MakeChild(Node* node, std::string_view level) {
  if (Node* const child = FindChild(node, level)) return child;
  Node& child = m_nodes.emplace_back();
  child.level = Kept(level);
  Attach(FamilyOf(node), &child);
  return &child;
}

// A copy of `level` that lives as long as the tree.
std::string_view SectionTree::Kept(std::string_view level) {
  if (level.empty()) return {};
  auto* const copy = static_cast<char*>(m_memory.allocate(level.size(), 1));
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
  if (!family->by_level.empty()) {
    family->by_level.insert(node);
  } else if (family->size == kLargeFamily) {
    for (Node* each = family->first; each != nullptr; each = each->next) {
      family->by_level.insert(each);
    }
  }
}

void SectionTree::Detach(Node* node) {
  Family& family = *node->family;
  family.by_level.erase(node);
  (node->previous == nullptr ? family.first : node->previous->next) = node->next;
  (node->next == nullptr ? family.last : node->next->previous) = node->previous;
  --family.size;
  node->family = nullptr;
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
    node->block = &m_blocks.emplace_back();
    AddLine(node->block, line, unique);
  }
  return node->block;
}

Block* SectionTree::AddLine(Block* block, const LineIterator& line, bool unique) {
  Block* const current = Current(block);
  current->lines.push_back({line});
  if (unique && !current->first_unique) current->first_unique = std::prev(current->lines.end());
  return current;
}

void SectionTree::SetEnd(Node* node, const LineIterator& line, bool unique) {
  node->end = line;
  node->end_unique = unique;
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
  if (from->end && (from_wins || !into->end)) SetEnd(into, *from->end, from->end_unique);
  from->end.reset();
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
    Detach(node);
    Merge(node, DescendTrimmed(above, level), false);
  }
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
    if (entry->block != nullptr || entry->end) by_path.emplace(Path(entry), entry);
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

// --- The maps ---

SectionTree::Unique SectionTree::Release(ConfigView::Params& params, ConfigView::Places& ends) {
  struct Step {
    Node* node;
    std::size_t above;  // the length of the path above it
  };
  const auto by_level = [](const Step& a, const Step& b) { return a.node->level > b.node->level; };
  Unique unique;
  std::string path;
  std::vector<Step> steps{{Root(), 0}};
  while (!steps.empty()) {
    const auto [node, above] = steps.back();
    steps.pop_back();
    path.resize(above);
    if (!IsRoot(node)) {
      if (!IsRoot(node->family->parent)) path += kSectionSeparator;
      path += node->level;
    }
    if (node->block != nullptr) {
      const auto entry = params.emplace_hint(params.end(), path, std::move(node->block->lines));
      if (node->block->first_unique) {
        unique.blocks.push_back({&*entry, *node->block->first_unique});
      }
    }
    if (node->end) {
      const auto entry = ends.emplace_hint(ends.end(), path, *node->end);
      if (node->end_unique) unique.ends.push_back(&*entry);
    }
    if (node->children == nullptr) continue;
    const std::size_t first = steps.size();
    for (Node* child = node->children->last; child != nullptr; child = child->previous) {
      steps.push_back({child, path.size()});
    }
    const auto begin = steps.begin() + static_cast<std::ptrdiff_t>(first);
    if (!std::is_sorted(begin, steps.end(), by_level)) std::sort(begin, steps.end(), by_level);
  }
  // Seldom not in order yet: a level may go on with a byte that comes before the separator.
  const auto by_path = [](const Unique::Lines& a, const Unique::Lines& b) {
    return a.block->first < b.block->first;
  };
  if (!std::is_sorted(unique.blocks.begin(), unique.blocks.end(), by_path)) {
    std::sort(unique.blocks.begin(), unique.blocks.end(), by_path);
  }
  return unique;
}

}  // namespace tov_template
