// The blocks of a configuration while it is being read.
#pragma once

#include <cstddef>
#include <deque>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

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
    Block* kept = nullptr;
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
  static const std::string& Level(const Node* node);

  // The block at `node`, made of `line` when there is none.
  Block* OpenBlock(Node* node, const LineIterator& line);

  // The block that stands for `block`.
  static Block* Current(Block* block);

  // Makes `line` the last line of the path `node`.
  static void SetEnd(Node* node, const LineIterator& line);

  // Gives the block `node` another last level; what is below follows. The whole new path is
  // trimmed. What is at the new path already stays, and what would take its place is dropped. The
  // root stands for all paths, which lose their first level to `level`. Afterwards no node at or
  // below `node` may be used, but for the root.
  void Rekey(Node* node, const std::string& level);

  // Moves what it holds to the two maps, which are empty.
  void Release(ConfigView::Params& params, ConfigView::Places& ends);

 private:
  // The paths one level below a path. It can change hands as a whole.
  struct Family {
    Node* parent;
    Node* first = nullptr;
    Node* last = nullptr;
    std::size_t size = 0;
  };

  struct ChildKey {
    const Family* family;
    std::string_view level;

    bool operator==(const ChildKey& other) const {
      return family == other.family && level == other.level;
    }
  };

  struct ChildHash {
    std::size_t operator()(const ChildKey& key) const {
      return std::hash<std::string_view>()(key.level) + std::hash<const void*>()(key.family) * 31;
    }
  };

  static bool IsRoot(const Node* node);
  Node* Descend(Node* node, std::string_view text);
  Node* DescendTrimmed(Node* parent, const std::string& level);
  Node* FindChild(const Node* node, std::string_view level) const;
  Node* MakeChild(Node* node, std::string_view level);
  void Attach(Family* family, Node* node);
  void Detach(Node* node);
  static std::string Path(const Node* node);
  static void MoveValues(Node* from, Node* into, bool from_wins);
  void Merge(Node* from, Node* into, bool from_wins);
  void RekeyAll(const std::string& level);
  void RekeyByText(Node* node, const std::string& level);

  std::deque<Node> m_nodes;
  std::deque<Family> m_families;
  std::deque<Block> m_blocks;
  std::unordered_map<ChildKey, Node*, ChildHash> m_children;
};

struct SectionTree::Node {
  std::string level;
  Family* family = nullptr;  // that it belongs to; null: the root, or taken out of the tree
  Family* children = nullptr;
  Node* next = nullptr;  // in its family
  Node* previous = nullptr;
  Block* block = nullptr;
  std::optional<LineIterator> end;
};

}  // namespace tov_template
