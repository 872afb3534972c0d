// SPDX-License-Identifier: Apache-2.0

// The blocks of a configuration as they were read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory_resource>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "template/base_config.h"
#include "template/config_view.h"

namespace tov_template {

// A tree of section paths, with what the view's maps would hold of each path: its lines and its
// end. A line takes one small element, a level its text; paths are written out when somebody asks
// for them. A block that gets another path is moved with all that is below it in one step, however
// much that is.
//
//   http {                                  root - "http {" - "server { server_name a"
//     server {                                        |                   |
//       server_name a;        is                    lines 1, 5       lines 2, 3, 4
//     }                                             end 5            end 4
//   }
//
// While the text is read it is built; afterwards the view takes blocks out of it, one by one or all
// at once, and nothing comes in.
//
// Levels may be empty, where an opening line holds the separator itself.
class SectionTree {
 public:
  // A line of a block.
  struct Element {
    ConfParam param;
    Element* next = nullptr;
  };

  // The lines of a block, of which there is one at least. Of two blocks that come to the same path
  // one is dropped; `kept` is the other one then.
  struct Block {
    Element* first = nullptr;
    Element* last = nullptr;
    Element* first_unique = nullptr;  // of those that are unique directives; null: none is
    Element* last_unique = nullptr;
    Block* kept = nullptr;
    std::uint32_t size = 0;
    bool late = false;  // the unique ones are not registered yet, see late_registration.h
  };

  // A path; the root is the empty one.
  struct Node;

  using Paths = std::vector<std::pair<std::string, Node*>>;

  SectionTree();
  SectionTree(const SectionTree&) = delete;
  SectionTree& operator=(const SectionTree&) = delete;

  // --- While the text is read ---

  Node* Root() { return &m_nodes.all.front(); }

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
  Block* AddLine(Block* block, const LineIterator& line, bool unique);

  // Makes `line` the last line of the path `node`.
  static void SetEnd(Node* node, const LineIterator& line, bool unique);

  // Gives the block `node` another last level; what is below follows. The whole new path is
  // trimmed. What is at the new path already stays, and what would take its place is dropped. The
  // root stands for all paths, which lose their first level to `level`. Afterwards no node at or
  // below `node` may be used, but for the root.
  void Rekey(Node* node, const std::string& level);

  // --- When it has been read ---

  // All paths, those as well that hold nothing, in no order.
  std::pmr::deque<Node>& Nodes() { return m_nodes.all; }

  // Calls `use` with the path and the node of each block that holds unique directives, or of each
  // block at all, in the order of the paths, until it returns false. Blocks that are registered
  // late are left out.
  void ForEachBlock(bool all, const std::function<bool(const std::string&, Node*)>& use);

  // How many levels the path has.
  static std::size_t Depth(const Node* node);

  // The whole path, written out.
  static std::string Path(const Node* node);

  // Adds what `node`, whose path is `path`, holds to the two maps, which have nothing there.
  static void CopyTo(const Node* node, const std::string& path, ConfigView::Params& params,
                     ConfigView::Places& ends);

  // The same with all that the tree holds. The tree need not be plain.
  void CopyTo(ConfigView::Params& params, ConfigView::Places& ends);

  // `node` holds nothing any more.
  static void Clear(Node* node);

  // Whether no level is empty, and each path that holds anything has a block and ends with the last
  // line of it. So a line that stands for an end belongs to the same block.
  bool IsPlain() const;

  // The functions below are for a plain tree.

  // The path `section`, null when there is none.
  Node* Find(std::string_view section);

  // `node`, and the paths below it, as far as they hold anything.
  Paths AtAndBelow(Node* node) const;

  // The paths that begin with the text `section`, as far as they hold anything: those at and below
  // it, and those beside it whose last level begins like its own.
  Paths BeginningWith(std::string_view section);

  // Whether a path holds anything that begins with the text `section` and is longer.
  bool HoldsMoreThan(std::string_view section);

  // The blocks of at most `size` lines that have nothing below them.
  Paths SmallBlocks(std::size_t size);

 private:
  using Hash = std::uint32_t;

  // A node with the hash of its level, so that a table that grows looks at none of the nodes.
  struct Hashed {
    Hash hash;
    Node* node;
  };
  struct KnownHash {
    std::size_t operator()(const Hashed& each) const noexcept { return each.hash; }
  };
  struct SameLevel {
    bool operator()(const Hashed& a, const Hashed& b) const;
  };
  using ByHash = std::pmr::unordered_set<Hashed, KnownHash, SameLevel>;
  using InOrder = std::vector<Node*>;

  // The paths one level below a path. It can change hands as a whole.
  struct Family {
    Node* parent;
    Node* first = nullptr;
    Node* last = nullptr;
    std::size_t size = 0;
    ByHash* by_hash = nullptr;    // null while they are few
    InOrder* in_order = nullptr;  // by their levels; null until somebody asks
  };

  static bool IsRoot(const Node* node);
  Family* FamilyOf(Node* parent);
  Node* Descend(Node* node, std::string_view text);
  Node* DescendTrimmed(Node* parent, const std::string& level);
  static Hash HashOf(std::string_view level);
  static Node* FindChild(const Node* node, std::string_view level, Hash hash);
  static Node* FindChild(const Node* node, std::string_view level);
  Node* MakeChild(Node* node, std::string_view level);
  std::string_view Kept(std::string_view level);
  void Attach(Family* family, Node* node);
  static void Detach(Node* node);
  bool Rename(Node* node, Node* above, const std::string& level);

  static void MoveValues(Node* from, Node* into, bool from_wins);
  void Merge(Node* from, Node* into, bool from_wins);
  void RekeyAll(const std::string& level);
  void RekeyByText(Node* node, const std::string& level);

  bool MarkWaysToUnique();
  template <class Wanted, class Use>
  static void Walk(Node* top, Wanted wanted, Use use);
  static bool HoldsAnythingBelow(const Node* node);
  const InOrder& InOrderOf(Family& family);
  std::vector<Node*> TopsBeginningWith(std::string_view section);

  // What reading makes of one kind: close together, and it goes in one piece.
  template <class T>
  struct Pool {
    std::pmr::monotonic_buffer_resource memory;
    std::pmr::deque<T> all{&memory};
  };
  Pool<Node> m_nodes;
  Pool<Family> m_families;
  Pool<Block> m_blocks;
  Pool<Element> m_elements;
  Pool<ByHash> m_hashes;
  std::pmr::monotonic_buffer_resource m_levels;  // their texts
  std::deque<InOrder> m_orders;
  bool m_empty_levels = false;  // some level is, or was, empty
};

struct SectionTree::Node {
  bool HoldsAnything() const { return block != nullptr || has_end; }

  std::string_view level;
  Family* family = nullptr;  // that it belongs to; null: the root, or taken out of the tree
  Family* children = nullptr;
  Node* next = nullptr;  // in its family
  Node* previous = nullptr;
  Block* block = nullptr;
  LineIterator end{};  // where has_end says so
  Hash hash = 0;       // of the level
  bool has_end = false;
  bool end_unique = false;
  bool leads_to_unique = false;  // it, or a path below it, has unique directives; see ForEachBlock
};

inline void SectionTree::SetEnd(Node* node, const LineIterator& line, bool unique) {
  node->end = line;
  node->has_end = true;
  node->end_unique = unique;
}

}  // namespace tov_template
