// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/plan.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "document/meaning.h"
#include "edit/address/shown_blocks.h"
#include "edit/match/comparison.h"
#include "edit/plan/block_plan.h"
#include "edit/plan/placement.h"
#include "edit/plan/word_directives.h"

namespace tov_edit {
namespace {

using Kind = TemplateLine::Kind;

// The lines of a block that is new: what the template has twice comes once, and Apache's Options of
// one block are one directive.
class NewBlock {
 public:
  explicit NewBlock(Dialect dialect) : m_dialect(dialect) {}

  // False: Options have come together that httpd does not take so.
  bool Add(const TemplateLine& line) {
    if (line.kind == Kind::kClosing) m_open.pop_back();
    if (line.kind == Kind::kOpening || line.kind == Kind::kClosing) {
      AddText(line.now->text);
      if (line.kind == Kind::kOpening) m_open.emplace_back();
      return true;
    }
    Level& level = m_open.back();
    const bool options = line.kind == Kind::kDirective && !line.raw &&
                         RoleOf(m_dialect, line.now->words.front()) == Role::kOptions;
    if (options) return AddOptions(level, *line.now);
    const auto [known, is_new] = level.known.emplace(line.now->text, m_lines.size());
    if (is_new) AddText(line.now->text);
    m_last = known->second;
    return true;
  }

  // The line that the one that was added last has become, or is a part of.
  std::size_t last() const { return m_last; }

  const std::vector<std::string>& lines() const { return m_lines; }
  const std::vector<std::size_t>& depths() const { return m_depths; }

 private:
  struct Level {
    std::map<std::string, std::size_t> known;  // and their numbers
    Texts options;                             // their words, without the name
    std::size_t line = 0;                      // theirs
  };

  void AddText(const std::string& text) {
    m_last = m_lines.size();
    m_lines.push_back(text);
    m_depths.push_back(m_open.size());
  }

  bool AddOptions(Level& level, const Written& written) {
    const bool first = level.options.empty();
    if (first) {
      level.line = m_lines.size();
      AddText(written.spelled.front());
    }
    m_last = level.line;
    const bool was_mixed = AreMixedOptions(level.options);
    for (std::size_t i = 1; i < written.words.size(); ++i) {
      if (Contains(level.options, written.words[i])) continue;
      level.options.push_back(written.words[i]);
      m_lines[level.line] += " " + written.spelled[i];
    }
    return was_mixed || !AreMixedOptions(level.options);
  }

  const Dialect m_dialect;
  std::vector<std::string> m_lines;
  std::vector<std::size_t> m_depths;
  std::vector<Level> m_open;
  std::size_t m_last = 0;
};

class Planner {
 public:
  Planner(const Planning& planning, const std::vector<Match>& matches)
      : m_planning(planning),
        m_matches(matches),
        m_places(planning.contents),
        m_inner(matches.size()),
        m_is_there(planning.tree.blocks.size(), false) {
    for (std::size_t i = 1; i < matches.size(); ++i) {  // the first one is the whole text
      const Match& match = matches[i];
      if (!match.at) continue;
      m_inner[match.parent].emplace(match.block, *match.at);
      m_is_there[match.block] = true;
      m_matched.emplace(*match.at, match.block);
    }
  }

  void Run() {
    for (std::size_t i = 0; i < m_matches.size(); ++i) {
      const Match& match = m_matches[i];
      const TemplateBlock& block = m_planning.tree.blocks[match.block];
      if (!block.enabled) {
        if (match.at) RemoveBlock(block, *match.at);
        if (!match.at) MissBlock(match.block);
      } else if (!match.at) {
        // Of several blocks around, one may have it already.
        if (!m_is_there[match.block]) AddBlock(match, block);
      } else {
        if (match.block != 0) ChangeHead(block, *match.at);
        PlanBlock(m_planning, match.block, *match.at, m_inner[i]);
      }
    }
  }

 private:
  const Document& document() const { return m_planning.contents.document(); }
  Dialect dialect() const { return m_planning.request.dialect; }

  void Tell(Event::Kind kind, std::size_t line, Span bytes, const std::string& to) {
    m_planning.plan.events.push_back({kind, line, bytes, to});
  }

  // The block as what stands in the block around it.
  Child ChildOf(BlockId id) const {
    const tov_document::Block& block = document().blocks()[id];
    Child child;
    child.kind = tov_document::NodeKind::kBlock;
    child.bytes = {block.head.begin, block.closing.end};
    child.block = id;
    child.words = document().HeadWords(id);
    child.values = m_planning.contents.HeadOf(id);
    return child;
  }

  void RemoveBlock(const TemplateBlock& block, BlockId id) {
    const Child child = ChildOf(id);
    m_planning.layout.Remove(child, block.opening, m_places.HasOwnBlankLine(id));
    Tell(Event::Kind::kRemoved, block.opening, child.bytes, std::string());
  }

  void MissBlock(std::size_t number) {
    if (!m_planning.request.must_exist) return;
    const TemplateTree& tree = m_planning.tree;
    const TemplateLine& opening = tree.lines[tree.blocks[number].opening];
    const WrittenPtr& head = opening.was ? opening.was : opening.now;
    const auto [like, is_new] = m_like.try_emplace(head ? head->words.front() : std::string());
    if (is_new) {
      like->second = BlocksLike(m_planning.contents, m_planning.config_name, opening,
                                tov_document::kWholeText);
    }
    m_planning.findings.refusals.push_back({"not-found",
                                            "there is no " + SoughtBlock(tree, dialect(), number) +
                                                " in " + m_planning.config_name + like->second,
                                            "It was to be removed: correct what it is found by",
                                            opening.place});
  }

  void ChangeHead(const TemplateBlock& block, BlockId id) {
    const TemplateLine& opening = m_planning.tree.lines[block.opening];
    const Child child = ChildOf(id);
    const Span head = document().blocks()[id].head;
    const Words words = opening.now ? HeadWords(opening, child) : Words();
    Texts values;
    for (const NewWord& word : words) values.push_back(word.value);
    if (values.empty() || SameWords(dialect(), child.values, values)) {
      Tell(Event::Kind::kFound, block.opening, head, std::string(document().Bytes(head)));
      return;
    }
    m_planning.plan.identities = true;
    RefuseTwins(opening, document().blocks()[id].parent, id, values);
    m_planning.layout.ChangeWords(child, words, block.opening);
    if (dialect() == Dialect::kApache &&
        !tov_document::SameName(dialect(), child.values.front(), values.front())) {
      m_planning.layout.ChangeClosing(id, "</" + values.front() + ">", block.closing);
    }
    Tell(Event::Kind::kChanged, block.opening, head, opening.now->text);
  }

  // nginx takes a location, and an upstream, once only. `own`: the block that comes to have the
  // head; none: it is new.
  void RefuseTwins(const TemplateLine& opening, BlockId parent, std::optional<BlockId> own,
                   const Texts& values) {
    const bool once = values.front() == "location" || values.front() == "upstream";
    if (dialect() != Dialect::kNginx || !once ||
        m_planning.request.forced.count("collision") != 0) {
      return;
    }
    for (const BlockId other : MayBeTwins(parent, values)) {
      const Texts head = m_planning.contents.HeadOf(other);
      if (other == own || !AreTwins(dialect(), head, values) || GoesOrChanges(other)) continue;
      m_planning.findings.refusals.push_back(
          {"collision",
           "there is a block " + Quoted(opening.now->text) + " already, " +
               Described(m_planning.contents, m_planning.config_name, other) +
               (SameWords(dialect(), head, values)
                    ? ""
                    : ": nginx takes one location of a path only, whether '^~' stands before it "
                      "or not"),
           "",
           opening.place,
           {m_planning.contents.PlaceOfBlock(m_planning.config_name, other)}});
    }
  }

  // The blocks in `parent` that may be twins of one with this head, in the order of the text.
  const std::vector<BlockId>& MayBeTwins(BlockId parent, const Texts& head) {
    const auto [known, is_new] = m_by_twin_keys.try_emplace(parent);
    const auto& blocks = document().blocks();
    for (BlockId id = parent + 1; is_new && id < blocks[parent].next; id = blocks[id].next) {
      known->second[TwinKey(dialect(), m_planning.contents.HeadOf(id))].push_back(id);
    }
    return known->second[TwinKey(dialect(), head)];
  }

  // Whether the template removes the block or gives it another opening line.
  bool GoesOrChanges(BlockId id) const {
    const auto matched = m_matched.find(id);
    if (matched == m_matched.end()) return false;
    const TemplateBlock& block = m_planning.tree.blocks[matched->second];
    const WrittenPtr& now = m_planning.tree.lines[block.opening].now;
    return !block.enabled ||
           (now && !SameWords(dialect(), m_planning.contents.HeadOf(id), now->words));
  }

  // What the head of a block comes to say. A virtual host has all addresses that the template
  // states, and keeps those that it does not.
  Words HeadWords(const TemplateLine& opening, const Child& child) const {
    Words now = WordsOf(*opening.now);
    if (!IsVirtualHost(dialect(), child.values.front()) || opening.beginning) return now;
    const auto normal = [&](const NewWord& word) {
      return tov_document::NormalAddress(dialect(), word.value);
    };
    Words words;
    for (std::size_t i = 0; i < child.values.size(); ++i) {
      words.push_back({child.values[i], std::string(document().Bytes(child.words[i].bytes))});
    }
    const Words was = opening.was ? WordsOf(*opening.was) : Words();
    const auto find = [&](const NewWord& word) {
      return std::find_if(words.begin() + 1, words.end(),
                          [&](const NewWord& other) { return normal(other) == normal(word); });
    };
    // "*:80 [::]:80" is one address to httpd, and each of the words says one of two kinds.
    const auto find_of_kind = [&](const NewWord& word) {
      const bool in_brackets = word.value.substr(0, 1) == "[";
      return std::find_if(words.begin() + 1, words.end(), [&](const NewWord& other) {
        return normal(other) == normal(word) && (other.value.substr(0, 1) == "[") == in_brackets;
      });
    };
    for (std::size_t i = 1; i < was.size(); ++i) {
      auto at = find_of_kind(was[i]);
      const bool is_made = i < now.size() && find(now[i]) != words.end();
      if (at == words.end() && !is_made) at = find(was[i]);
      if (at == words.end() || (i < now.size() && normal(now[i]) == normal(was[i]))) continue;
      if (i < now.size() && find_of_kind(now[i]) == words.end()) {
        *at = now[i];
      } else if (words.size() > 2) {
        words.erase(at);
      }
    }
    // Of all blocks that have one of the addresses, each keeps to its own.
    for (std::size_t i = 1; i < now.size() && !m_planning.request.all; ++i) {
      if (find(now[i]) == words.end()) words.push_back(now[i]);
    }
    return words;
  }

  void AddBlock(const Match& match, const TemplateBlock& block) {
    const TemplateLine& opening = m_planning.tree.lines[block.opening];
    if (RefuseMissing(block)) return;
    m_planning.plan.identities = true;
    NewBlock made(dialect());
    std::vector<std::pair<std::size_t, std::size_t>> made_of;  // lines of the template, and of it
    for (std::size_t i = block.opening; i <= block.closing; ++i) {
      const TemplateLine& line = m_planning.tree.lines[i];
      if (!line.enabled || line.kind == Kind::kBlank) continue;
      if (!line.now) {
        WarnOfMissing(line);
        continue;
      }
      if (!made.Add(line) && m_planning.request.forced.count("mixed-options") == 0) {
        m_planning.findings.refusals.push_back({"mixed-options",
                                                "with this line the block would have words of "
                                                "Options with a sign beside words without "
                                                "one, which httpd does not take",
                                                "Write all of them in one way", line.place});
      }
      m_planning.plan.raw = m_planning.plan.raw || line.raw;
      made_of.emplace_back(i, made.last());
    }
    for (const auto& [line, text] : made_of) {
      Tell(Event::Kind::kAdded, line, Span(), made.lines()[text]);
    }
    const BlockId around = *m_matches[match.parent].at;
    RefuseTwins(opening, around, std::nullopt, opening.now->words);
    const PlaceOfBlock where =
        m_places.For(around, opening.now->words.front(), NeighboursOf(match));
    m_planning.layout.AddBlock(where.place, made.lines(), made.depths(), where.blank_between,
                               block.opening);
  }

  const BlockNeighbours& NeighboursOf(const Match& match) {
    const auto [known, is_new] = m_neighbours.try_emplace(match.parent);
    if (is_new) known->second = NeighboursIn(match.parent);
    return known->second[match.block];
  }

  // By blocks of the template: for those inside of the one that is matched, what stands around
  // them.
  std::map<std::size_t, BlockNeighbours> NeighboursIn(std::size_t match) const {
    std::map<std::size_t, BlockNeighbours> neighbours;
    std::map<std::string, BlockId> last;  // by names
    std::map<std::string, BlockId> first;
    const std::vector<std::size_t>& lines = m_planning.tree.blocks[m_matches[match].block].children;
    for (const std::size_t line : lines) {
      const auto name = NameThatStays(line);
      if (!name) continue;
      const std::size_t block = m_planning.tree.lines[line].block;
      neighbours[block].earlier = last[*name];
      const auto at = m_inner[match].find(block);
      if (at != m_inner[match].end()) last[*name] = std::max(last[*name], at->second);
    }
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
      const auto name = NameThatStays(*line);
      if (!name) continue;
      const std::size_t block = m_planning.tree.lines[*line].block;
      const auto known = first.find(*name);
      if (known != first.end()) neighbours[block].later = known->second;
      const auto at = m_inner[match].find(block);
      if (at == m_inner[match].end()) continue;
      first[*name] = known == first.end() ? at->second : std::min(known->second, at->second);
    }
    return neighbours;
  }

  // The name of the block that the template's line opens; none: it opens none, or one that goes, or
  // a server, before which a new one would take over what no name is known for.
  std::optional<std::string> NameThatStays(std::size_t number) const {
    const TemplateLine& line = m_planning.tree.lines[number];
    if (line.kind != Kind::kOpening || !line.enabled || !line.now) return std::nullopt;
    const std::string& name = line.now->words.front();
    if (tov_document::IsServer(dialect(), name)) return std::nullopt;
    return NameKey(dialect(), name);
  }

  // Whether the block cannot be made for want of its opening line, or of that of one inside.
  bool RefuseMissing(const TemplateBlock& block) const {
    for (std::size_t i = block.opening; i <= block.closing; ++i) {
      const TemplateLine& line = m_planning.tree.lines[i];
      if (line.kind != Kind::kOpening || !line.enabled || line.now) continue;
      m_planning.findings.refusals.push_back(
          {"missing-value",
           "a value of this opening line is missing, and its block is not there",
           "Set it",
           line.place,
           {},
           false,
           line.missing});
      return true;
    }
    return false;
  }

  void WarnOfMissing(const TemplateLine& line) {
    m_planning.findings.warnings.push_back({"missing-value",
                                            "a value of this line is missing: it is left out",
                                            "",
                                            line.place,
                                            {},
                                            false,
                                            line.missing});
  }

  const Planning& m_planning;
  const std::vector<Match>& m_matches;
  BlockPlaces m_places;
  std::vector<std::map<std::size_t, BlockId>> m_inner;  // by matches: see PlanBlock
  std::vector<bool> m_is_there;                         // by blocks of the template
  std::unordered_map<BlockId, std::size_t> m_matched;   // blocks of the template
  std::map<std::string, std::string> m_like;            // see BlocksLike, by the names of blocks
  std::map<std::size_t, std::map<std::size_t, BlockNeighbours>> m_neighbours;  // by matches
  std::map<BlockId, std::unordered_map<std::string, std::vector<BlockId>>> m_by_twin_keys;
};

}  // namespace

Plan MakePlan(const Request& request, const TemplateTree& tree, const std::vector<Match>& matches,
              const std::string& config_name, Contents& contents, Writer& layout,
              Findings& findings) {
  std::set<BlockId> matched;
  for (std::size_t i = 1; i < matches.size(); ++i) {
    if (matches[i].at) matched.insert(*matches[i].at);
  }
  Plan plan;
  Planner({request, tree, config_name, contents, layout, findings, plan, std::move(matched)},
          matches)
      .Run();
  return plan;
}

}  // namespace tov_edit
