// SPDX-License-Identifier: Apache-2.0

// The blocks of a configuration while it is being read.
#pragma once

#include <cstddef>
#include <deque>
#include <list>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "template/base_config.h"
#include "template/config_view.h"

namespace tov_template {

// A tree of section paths, with what the view's maps hold of each path. A block that gets another
// path is moved with all that is below it in one step, however much that is; the paths are written
// out once, at the end.
//
// Levels may be empty, where an opening line holds the separator itself.
class SectionTree {
 public:
  // The lines of a block. Of two blocks that come to the same path one is dropped; `kept` is the
  // other one then.
  struct Block {
    std::list<ConfParam> lines;
    std::optional<std::list<ConfParam>::iterator> first_unique;  // that is a unique directive
    Block* kept = nullptr;
  };

  // What the maps of the view hold of unique directives.
  struct Unique {
    // A block that has any.
    struct Lines {
      ConfigView::Params::value_type* block;
      std::list<ConfParam>::iterator first;  // the first of them
    };

    std::vector<Lines> blocks;  // in the order of the paths
    std::vector<ConfigView::Places::value_type*> ends;
  };

  // A path; the root is the empty one.
  struct Node;

  SectionTree();
  SectionTree(const SectionTree&) = delete;
  SectionTree& operator=(const SectionTree&) = delete;

  Node* Root() { return &m_nodes.front(); }

  // The path `parent` with `text`, which may be several levels, added below it. An empty `text`
  // adds nothing.
  Node* Below(Node* parent, std::string_view text);

  // The path `node` without its last level: the root for a path of one level and for the root.
  Node* Above(const Node* node);

  // The last level of `node`, "" of the root.
  static std::string_view Level(const Node* node);

  // The block at `node`, made of `line` when there is none. `unique` says that the line is a unique
  // directive, here and below.
  Block* OpenBlock(Node* node, const LineIterator& line, bool unique);

  // Adds `line` to `block`, or to the block that stands for it, which is returned.
  static Block* AddLine(Block* block, const LineIterator& line, bool unique);

  // Makes `line` the last line of the path `node`.
  static void SetEnd(Node* node, const LineIterator& line, bool unique);

  // Gives the block `node` another last level; what is below follows. The whole new path is
  // trimmed. What is at the new path already stays, and what would take its place is dropped. The
  // root stands for all paths, which lose their first level to `level`. Afterwards no node at or
  // below `node` may be used, but for the root.
  void Rekey(Node* node, const std::string& level);

  // Moves what it holds to the two maps, which are empty.
  Unique Release(ConfigView::Params& params, ConfigView::Places& ends);

 private:
  struct LevelHash {
    std::size_t operator()(const Node* node) const;
  };
  struct SameLevel {
    bool operator()(const Node* a, const Node* b) const;
  };

  // The paths one level below a path. It can change hands as a whole.
  struct Family {
    Family(Node* of, std::pmr::memory_resource* memory) : parent(of), by_level(memory) {}

    Node* parent;
    Node* first = nullptr;
    Node* last = nullptr;
    std::size_t size = 0;

    // By their levels; none while they are few.
    std::pmr::unordered_set<Node*, LevelHash, SameLevel> by_level;
  };

  static bool IsRoot(const Node* node);
  Family* FamilyOf(Node* parent);
  Node* Descend(Node* node, std::string_view text);
  Node* DescendTrimmed(Node* parent, const std::string& level);
  static Node* FindChild(const Node* node, std::string_view level);
  Node* MakeChild(Node* node, std::string_view level);
  std::string_view Kept(std::string_view level);
  static void Attach(Family* family, Node* node);
  static void Detach(Node* node);
  static std::string Path(const Node* node);
  static void MoveValues(Node* from, Node* into, bool from_wins);
  void Merge(Node* from, Node* into, bool from_wins);
  void RekeyAll(const std::string& level);
  void RekeyByText(Node* node, const std::string& level);

  // What is made while reading goes in one piece afterwards.
  std::pmr::monotonic_buffer_resource m_memory;
  std::pmr::deque<Node> m_nodes;
  std::pmr::deque<Family> m_families;
  std::pmr::deque<Block> m_blocks;
};

struct SectionTree::Node {
  std::string_view level;
  Family* family = nullptr;  // that it belongs to; null: the root, or taken out of the tree
  Family* children = nullptr;
  Node* next = nullptr;  // in its family
  Node* previous = nullptr;
  Block* block = nullptr;
  std::optional<LineIterator> end;
  bool end_unique = false;
};

}  // namespace tov_template
