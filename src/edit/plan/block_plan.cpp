// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/block_plan.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "edit/plan/additions.h"
#include "edit/plan/block_work.h"
#include "edit/plan/plain_lines.h"
#include "edit/plan/rewrite_lines.h"
#include "edit/plan/word_lines.h"

namespace tov_edit {
namespace {

using Kind = TemplateLine::Kind;

class BlockPlanner {
 public:
  BlockPlanner(const Planning& planning, std::size_t block, BlockId at,
               const std::map<std::size_t, BlockId>& inner)
      : m_inner(inner),
        m_work(planning, block, at),
        m_additions(m_work),
        m_rewrites(m_work, m_additions),
        m_plain(m_work, m_additions),
        m_words(m_work, m_additions) {}

  void Run() {
    PlaceInnerBlocks();
    ForEach([this](std::size_t position) { SkipMissing(position); });
    m_rewrites.Claim();
    ForEach([this](std::size_t position) { m_plain.ClaimOld(position); });
    m_plain.ChangeRepeated();
    ForEach([this](std::size_t position) { m_plain.ClaimNew(position); });
    ForEach([this](std::size_t position) { m_words.State(position); });
    ForEach([this](std::size_t position) { m_words.StateAll(position); });
    m_words.StateMissingNames();
    ForEach([this](std::size_t position) { m_plain.ClaimBeginning(position); });
    ForEach([this](std::size_t position) { m_plain.ClaimComment(position); });
    ForEach([this](std::size_t position) { RemoveLine(position); });
    m_words.Write();
    m_additions.AddAll();
  }

 private:
  template <class Step>
  void ForEach(const Step& step) {
    for (std::size_t position = 0; position < m_work.LineCount(); ++position) {
      if (!m_work.IsDone(position)) step(position);
    }
  }

  // Blocks inside count for the order of the lines.
  void PlaceInnerBlocks() {
    std::vector<std::pair<BlockId, std::size_t>> own;
    for (std::size_t i = 0; i < m_work.children().size(); ++i) {
      const Child& child = m_work.ChildAt(i);
      if (child.IsBlock() && child.around == m_work.at()) own.emplace_back(child.block, i);
    }
    for (std::size_t position = 0; position < m_work.LineCount(); ++position) {
      const TemplateLine& line = m_work.Line(position);
      if (line.kind != Kind::kOpening) continue;
      m_work.Done(position);
      const auto at = m_inner.find(line.block);
      if (at == m_inner.end()) continue;
      const auto behind =
          std::upper_bound(own.begin(), own.end(), std::pair(at->second, m_work.children().size()));
      if (behind == own.begin()) continue;
      const auto& [block, child] = *std::prev(behind);
      if (IsAround(block, at->second)) m_work.SetFound(position, child);
    }
  }

  bool IsAround(BlockId block, BlockId inner) const {
    return block <= inner && inner < m_work.planning().contents.document().blocks()[block].next;
  }

  // A line without its new values says nothing.
  void SkipMissing(std::size_t position) {
    const TemplateLine& line = m_work.Line(position);
    if (!line.enabled || line.now || line.kind == Kind::kOpening) return;
    std::string names;
    for (const std::string& name : line.missing) {
      names += (names.empty() ? "" : ", ") + Quoted(name);
    }
    Finding finding{"missing-value", "there is no value " + names +
                                         ": this line neither adds, changes nor removes anything"};
    finding.values = m_work.Line(position).missing;
    m_work.Warn(position, std::move(finding));
    m_work.Done(position);
  }

  // What a line of a branch that is not taken states goes, with its old values or its new ones.
  void RemoveLine(std::size_t position) {
    const TemplateLine& line = m_work.Line(position);
    if (line.enabled || line.kind == Kind::kOpening) return;
    if (line.kind == Kind::kComment) {
      for (const std::size_t child : FreeComments(line)) m_work.Remove(position, child);
    } else {
      RemoveDirective(position);
    }
    const bool missing = !m_work.IsDone(position);
    if (missing && m_work.planning().request.must_exist) m_work.RefuseMissing(position);
    m_work.Done(position);
  }

  void RemoveDirective(std::size_t position) {
    const TemplateLine& line = m_work.Line(position);
    const Role role = m_work.RoleOfLine(line);
    if (line.beginning) {
      RemoveBeginning(position, role);
      return;
    }
    for (const WrittenPtr* const written : {&line.was, &line.now}) {
      if (!*written || (*written)->words.empty()) continue;
      if (RemoveStated(position, role, **written)) return;
    }
  }

  bool RemoveStated(std::size_t position, Role role, const Written& written) {
    if (role != Role::kPlain) return m_words.Remove(position, role, written);
    const Positions alike = m_work.FreeLike(&written);
    for (const std::size_t child : alike) m_work.Remove(position, child);
    return !alike.empty();
  }

  void RemoveBeginning(std::size_t position, Role role) {
    if (role == Role::kNames) {
      m_words.RemoveAllNames(position);
      return;
    }
    const auto child = m_work.OneBeginning(position);
    if (child && *child != kNoChild) m_work.Remove(position, *child);
  }

  // A comment behind a directive is about that.
  bool HasItsLine(const Child& comment) const {
    const std::string_view text = m_work.planning().contents.document().text();
    const std::size_t before = text.substr(0, comment.bytes.begin).find_last_not_of(" \t");
    return before == std::string_view::npos || text[before] == '\n';
  }

  // Each text once: what is free goes then.
  std::set<std::size_t> FreeComments(const TemplateLine& line) {
    std::set<std::size_t> free;
    for (const WrittenPtr* const written : {&line.was, &line.now}) {
      if (!*written || !m_sought_comments.insert((*written)->text).second) continue;
      for (const std::size_t child : m_work.index().Comments((*written)->text)) {
        if (!m_work.IsClaimed(child) && HasItsLine(m_work.ChildAt(child))) free.insert(child);
      }
    }
    return free;
  }

  const std::map<std::size_t, BlockId>& m_inner;
  std::set<std::string> m_sought_comments;
  BlockWork m_work;
  Additions m_additions;
  RewriteLines m_rewrites;
  PlainLines m_plain;
  WordLines m_words;
};

}  // namespace

void PlanBlock(const Planning& planning, std::size_t block, BlockId at,
               const std::map<std::size_t, BlockId>& inner) {
  const std::vector<std::size_t>& lines = planning.tree.blocks[block].children;
  const bool only_blocks = std::all_of(lines.begin(), lines.end(), [&](std::size_t line) {
    return planning.tree.lines[line].kind == Kind::kOpening;
  });
  if (!only_blocks) BlockPlanner(planning, block, at, inner).Run();
}

}  // namespace tov_edit
