// SPDX-License-Identifier: Apache-2.0

// The work on one block: the lines that the template has in it, the directives and comments that
// stand there, and what has been decided so far.
//
// A line is known by its position among the lines of the template's block, a child by its position
// among the children. Each line is settled once (Done). Each child is free until a line of the
// template is it (Claim), or until it goes (Remove); it never becomes free again.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "edit/match/child_index.h"
#include "edit/match/comparison.h"
#include "edit/match/contents.h"
#include "edit/plan/block_plan.h"
#include "edit/plan/placement.h"
#include "edit/plan/plan.h"
#include "edit/plan/rewrite_rules.h"
#include "edit/plan/word_directives.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

using Positions = std::vector<std::size_t>;

class BlockWork {
 public:
  // See PlanBlock for what it is about.
  BlockWork(const Planning& planning, std::size_t block, BlockId at);
  BlockWork(const BlockWork&) = delete;
  BlockWork& operator=(const BlockWork&) = delete;

  const Planning& planning() const { return m_planning; }
  Dialect dialect() const { return m_dialect; }
  BlockId at() const { return m_at; }

  // The first word of the block's opening line; "": it is the whole text.
  std::string BlockName() const;

  // --- The lines ---

  const Positions& lines() const { return m_lines; }  // numbers of the template's lines
  std::size_t LineCount() const { return m_lines.size(); }
  std::size_t NumberOf(std::size_t position) const { return m_lines[position]; }
  const TemplateLine& Line(std::size_t position) const;
  const std::string& NameOf(const TemplateLine& line) const;
  Role RoleOfLine(const TemplateLine& line) const;
  bool IsTaken(std::size_t position, TemplateLine::Kind kind) const;

  // --- The children ---

  const std::vector<const Child*>& children() const { return m_children; }
  const Child& ChildAt(std::size_t child) const { return *m_children[child]; }
  const ChildIndex& index() const { return m_index; }
  const RewriteGroups& rewrites() const { return m_rewrites; }
  WordDirectives& words() { return m_words; }

  // Whether it stands in the block itself, not in a condition.
  bool IsOwn(std::size_t child) const { return m_children[child]->around == m_at; }
  bool HasOwn(const Positions& children) const;

  // `children`, but for those in conditions if the block itself has one.
  Positions OwnFirst(Positions children) const;

  bool IsClaimed(std::size_t child) const { return m_claimed[child]; }
  bool IsRemoved(std::size_t child) const { return m_removed[child]; }
  bool IsFree(std::size_t child) const;
  Positions FreeOf(Positions children) const;
  Positions FreeLike(const Written* written);
  Positions FreeBeginning(const std::optional<Beginning>& beginning) const;

  // The first one of FreeLike, in the block itself if there is one; kNoChild: there is none. Cost:
  // little, however many are alike.
  std::size_t FirstFreeLike(const WrittenPtr& written);

  // The first free directive of this name; kNoChild: there is none.
  std::size_t FirstFreeNamed(const std::string& name);

  // What another line of the template has found or made of a directive; kNoChild: nothing.
  std::size_t ClaimedLike(const Written& written) const;

  // The directive that a line with a trailing place stands for; kNoChild: there is none. No value:
  // they are several, which is refused.
  std::optional<std::size_t> OneBeginning(std::size_t position);

  // --- What becomes of them ---

  bool IsDone(std::size_t position) const { return m_done[position]; }
  void Done(std::size_t position) { m_done[position] = true; }

  // The child that a line is, or that stands where the line does; kNoChild: none.
  std::size_t FoundFor(std::size_t position) const { return m_found[position]; }
  void SetFound(std::size_t position, std::size_t child) { m_found[position] = child; }

  // A line of the template is the child, which has, or is to have, these words.
  void Claim(std::size_t child, const Texts& values);

  // The line is the child as it stands; is to become of it; or whichever of the two is the case.
  void Found(std::size_t position, std::size_t child);
  void Change(std::size_t position, std::size_t child, const Written& written);
  void Settle(std::size_t position, std::size_t child);

  // The line is the reason for the child to go. A rule takes its conditions along: they would
  // belong to the next one.
  void Remove(std::size_t position, std::size_t child);

  // For the report.
  void Tell(Event::Kind kind, std::size_t position, std::size_t child, const std::string& to);

  // --- What is said of them ---

  bool IsForced(const char* name) const;
  void Refuse(std::size_t position, Finding finding);
  void RefuseSeveral(std::size_t position, const Positions& fitting);
  void RefuseMissing(std::size_t position);
  void Warn(std::size_t position, Finding finding);

  FilePlace PlaceOfChild(std::size_t child) const;

  // "site.conf:3:5 'root /srv;'"
  std::string ShownChild(std::size_t child) const;

 private:
  // The directives with the same words, and how far none is free, or none of the block itself: none
  // ever becomes free again.
  struct Alike {
    Positions children;
    std::size_t free = 0;
    std::size_t own = 0;
  };

  Alike& AlikeOf(const Texts& words);
  void TakeAway(std::size_t position, std::size_t child);
  std::string TextOf(std::size_t child) const;

  const Planning& m_planning;
  const Dialect m_dialect;
  const BlockId m_at;
  const std::vector<const Child*> m_children;  // with those of conditions inside
  const Positions& m_lines;                    // of the template
  const ChildIndex m_index;
  const RewriteGroups m_rewrites;
  WordDirectives m_words;
  std::unordered_map<std::string, Alike> m_alike;  // by their words
  std::vector<bool> m_claimed;                     // children that a line of the template is
  std::vector<bool> m_removed;                     // children that go
  Positions m_found;                               // by lines: the child that it is
  std::vector<bool> m_done;  // lines of which it is decided what becomes of them
  std::unordered_map<std::size_t, Texts> m_changed;  // the words that lines have given to children
  std::unordered_map<std::string, std::set<std::size_t>> m_claimed_like;  // children, by KeyOf
  std::unordered_map<std::string, std::size_t> m_next_named;  // among those of a name, see there
};

// Whether the line says that the directive is to become another one.
bool StatesOther(const TemplateLine& line);

}  // namespace tov_edit
