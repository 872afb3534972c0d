// SPDX-License-Identifier: Apache-2.0

#include "edit/address/address.h"

#include <algorithm>
#include <map>
#include <utility>

#include "document/meaning.h"
#include "edit/address/best_matches.h"
#include "edit/address/candidates.h"
#include "edit/address/holdings.h"
#include "edit/address/shown_blocks.h"
#include "edit/address/telling_apart.h"
#include "edit/match/comparison.h"
#include "edit/tree/limits.h"

namespace tov_edit {
namespace {

using tov_document::kWholeText;
using Kind = TemplateLine::Kind;

bool HasManyNames(const std::vector<Evidence>& all) {
  const auto named = std::count_if(all.begin(), all.end(),
                                   [](const Evidence& evidence) { return evidence.HasName(); });
  constexpr int kFew = 4;
  return named > kFew;
}

class Finder {
 public:
  Finder(const TemplateTree& tree, const AllEvidence& evidence, Contents& contents,
         const std::string& config_name, bool all, Findings& findings)
      : m_tree(tree),
        m_contents(contents),
        m_dialect(contents.dialect()),
        m_config_name(config_name),
        m_all(all),
        m_findings(findings),
        m_evidence(evidence.blocks),
        m_candidates(contents, HasManyNames(m_evidence)),
        m_holdings(contents) {
    const std::vector<Finding>& refusals = evidence.findings.refusals;
    findings.refusals.insert(findings.refusals.end(), refusals.begin(), refusals.end());
  }

  std::vector<Match> Find() {
    m_matches.reserve(m_tree.blocks.size());
    m_matches.push_back({0, kWholeText, 0});
    for (std::size_t i = 0; i < m_matches.size(); ++i) {
      const Match match = m_matches[i];
      if (match.at && m_tree.blocks[match.block].enabled) MatchBlocksIn(i);
    }
    if (m_all) KeepBest(m_tree, m_holdings, m_dialect, m_matches);
    return std::move(m_matches);
  }

 private:
  // A block of the template that is looked for.
  struct Sought {
    std::size_t block = 0;
    Blocks fitting;
    bool sure = true;  // false: the address that the template states is yet to be added
    bool settled = false;
  };

  // --- The blocks of one block of the template ---

  void MatchBlocksIn(std::size_t parent) {
    const BlockId scope = *m_matches[parent].at;
    std::vector<Sought> all;
    for (const std::size_t child : m_tree.blocks[m_matches[parent].block].children) {
      const TemplateLine& line = m_tree.lines[child];
      if (line.kind == Kind::kOpening) all.push_back(Seek(line.block, scope));
    }
    std::map<BlockId, std::size_t> taken;  // by which block of the template
    Settle(all, taken, true);
    for (Sought& sought : all) LeaveOut(sought, taken);
    Settle(all, taken, false);
    for (Sought& sought : all) {
      LeaveOut(sought, taken);
      Take(sought, parent, taken);
    }
  }

  // Takes those blocks that are clear.
  void Settle(std::vector<Sought>& all, std::map<BlockId, std::size_t>& taken, bool sure) {
    for (Sought& sought : all) {
      if (sought.settled || sought.sure != sure || sought.fitting.empty()) continue;
      if (!m_all) sought.fitting = Narrowed(sought.block, std::move(sought.fitting));
      if (sought.fitting.size() > 1 && !m_all) continue;
      for (const BlockId id : sought.fitting) {
        const auto [entry, is_new] = taken.emplace(id, sought.block);
        if (!is_new) RefuseTwice(entry->second, sought.block, id);
      }
      sought.settled = true;
    }
  }

  void LeaveOut(Sought& sought, const std::map<BlockId, std::size_t>& taken) {
    if (sought.settled) return;
    const auto is_taken = [&](BlockId id) { return taken.count(id) != 0; };
    sought.fitting.erase(std::remove_if(sought.fitting.begin(), sought.fitting.end(), is_taken),
                         sought.fitting.end());
    if (!m_all) sought.fitting = Narrowed(sought.block, std::move(sought.fitting));
  }

  void Take(const Sought& sought, std::size_t parent, std::map<BlockId, std::size_t>& taken) {
    if (sought.fitting.empty()) m_matches.push_back({sought.block, std::nullopt, parent});
    if (sought.fitting.size() > 1 && !m_all) {
      // None of them has what is to go.
      const Evidence& evidence = m_evidence[sought.block];
      if (evidence.enabled && HasNothingToGo(evidence, sought.fitting)) return;
      RefuseAmbiguous(sought);
      return;
    }
    for (const BlockId id : sought.fitting) {
      const auto entry = taken.emplace(id, sought.block).first;
      if (entry->second == sought.block) m_matches.push_back({sought.block, id, parent});
    }
  }

  // --- One block of the template ---

  Sought Seek(std::size_t block, BlockId scope) {
    const Evidence& evidence = m_evidence[block];
    Sought sought;
    sought.block = block;
    for (const std::string* const name : evidence.Names()) {
      Blocks fitting;
      if (name == nullptr) fitting = m_candidates.FittingByAddress(evidence, scope);
      if (!fitting.empty()) {
        sought.fitting = MayGo(evidence, std::move(fitting));
        sought.sure = true;
        return sought;
      }
      fitting = m_candidates.Fitting(evidence, name, scope);
      if (fitting.empty() || IsDoneAlready(evidence, name, fitting, scope)) continue;
      if (!evidence.HasAddress() || m_candidates.KeepListening(fitting, evidence)) {
        sought.fitting = MayGo(evidence, std::move(fitting));
        sought.sure = true;
        return sought;
      }
      if (!sought.sure) continue;
      sought.sure = false;
      // Nothing comes to listen where it is about to go.
      if (!evidence.enabled) continue;
      if (name == nullptr) fitting = HoldingAny(evidence, std::move(fitting));
      sought.fitting = std::move(fitting);
    }
    return sought;
  }

  // Whether a block with the new name is all that the template says, while those with the old name
  // are not: then it has been renamed before, and others have kept the old name.
  bool IsDoneAlready(const Evidence& evidence, const std::string* name, const Blocks& old_blocks,
                     BlockId scope) {
    if (!evidence.old_name || name != &*evidence.old_name) return false;
    if (!evidence.new_name || evidence.new_name == evidence.old_name) return false;
    if (!evidence.HasLines()) return false;
    const auto holds_all = [&](BlockId id) { return HoldsAll(id, evidence); };
    const Blocks new_blocks = m_candidates.Fitting(evidence, &*evidence.new_name, scope);
    return std::any_of(new_blocks.begin(), new_blocks.end(), holds_all) &&
           std::none_of(old_blocks.begin(), old_blocks.end(), holds_all);
  }

  bool HoldsAll(BlockId id, const Evidence& evidence) {
    const auto held = [&](const TemplateLine* line) { return m_holdings.Has(id, *line); };
    return std::all_of(evidence.changed.begin(), evidence.changed.end(), held) &&
           std::all_of(evidence.others.begin(), evidence.others.end(), held) &&
           std::all_of(evidence.blocks.begin(), evidence.blocks.end(), [&](std::size_t block) {
             return m_candidates.HasFitting(m_evidence[block], id);
           });
  }

  // What goes has to be what the template states: where the other lines told it from its like, it
  // is gone when none has them any more. And a name alone does not tell a site from the redirect to
  // it.
  Blocks MayGo(const Evidence& evidence, Blocks blocks) {
    const bool by_name_only =
        evidence.is_nginx_server && !evidence.HasAddress() && evidence.HasLines();
    const bool by_lines_only =
        !evidence.HasName() &&
        (!evidence.changed.empty() || (evidence.others.empty() && evidence.HasLines()));
    if (evidence.enabled || !(by_name_only || by_lines_only)) return blocks;
    // The last of its like has to be the very one.
    const bool is_last = blocks.size() == 1 && !evidence.changed.empty();
    Blocks holding =
        is_last ? HoldingAllOf(evidence.changed, blocks) : HoldingAny(evidence, blocks);
    if (!holding.empty()) return holding;
    for (const BlockId id : blocks) {
      m_findings.warnings.push_back(
          {"not-removed",
           Described(m_contents, m_config_name, id) +
               " stays: it does not have the lines of the block that is to be removed",
           "State its address, if it is meant",
           evidence.opening->place,
           {m_contents.PlaceOfBlock(m_config_name, id)}});
    }
    return holding;
  }

  // Whether the blocks only say "if", and the template only says which blocks are to go from there,
  // of which none has any.
  bool HasNothingToGo(const Evidence& evidence, const Blocks& blocks) {
    if (evidence.says_something || evidence.going_blocks.empty()) return false;
    return std::none_of(blocks.begin(), blocks.end(), [&](BlockId id) {
      return !tov_document::IsCondition(m_dialect, m_contents.HeadOf(id).front()) ||
             HoldsBlock(id, evidence.going_blocks);
    });
  }

  bool HoldsBlock(BlockId id, const std::vector<std::size_t>& blocks) {
    return std::any_of(blocks.begin(), blocks.end(), [&](std::size_t block) {
      return m_candidates.HasFitting(m_evidence[block], id);
    });
  }

  bool HoldsAny(BlockId id, const Evidence& evidence) {
    const auto held = [&](const TemplateLine* line) { return m_holdings.Has(id, *line); };
    return std::any_of(evidence.changed.begin(), evidence.changed.end(), held) ||
           std::any_of(evidence.others.begin(), evidence.others.end(), held) ||
           HoldsBlock(id, evidence.blocks) || HoldsBlock(id, evidence.going_blocks);
  }

  Blocks HoldingAllOf(const std::vector<const TemplateLine*>& lines, Blocks blocks) {
    const auto lacks_one = [&](BlockId id) {
      return std::any_of(lines.begin(), lines.end(),
                         [&](const TemplateLine* line) { return !m_holdings.Has(id, *line); });
    };
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(), lacks_one), blocks.end());
    return blocks;
  }

  Blocks HoldingAny(const Evidence& evidence, Blocks blocks) {
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(),
                                [&](BlockId id) { return !HoldsAny(id, evidence); }),
                 blocks.end());
    return blocks;
  }

  // Of several blocks the one that alone has what the other lines state.
  Blocks Narrowed(std::size_t block, Blocks blocks) {
    if (blocks.size() < 2) return blocks;
    const Evidence& evidence = m_evidence[block];
    for (const Phase phase : kPhases) {
      const auto one = OnlyOneWithAll(evidence.changed, phase, blocks);
      if (one) return {*one};
    }
    if (!evidence.changed.empty()) return blocks;
    const auto last = std::partition(blocks.begin(), blocks.end(),
                                     [&](BlockId id) { return HoldsAny(id, evidence); });
    if (last - blocks.begin() == 1) return {blocks.front()};
    std::sort(blocks.begin(), blocks.end());
    return blocks;
  }

  std::optional<BlockId> OnlyOneWithAll(const std::vector<const TemplateLine*>& lines, Phase phase,
                                        const Blocks& blocks) {
    std::optional<BlockId> found;
    for (const BlockId id : blocks) {
      const auto held = static_cast<std::size_t>(std::count_if(
          lines.begin(), lines.end(),
          [&](const TemplateLine* line) { return m_holdings.Has(id, *line, phase); }));
      if (held == 0) continue;
      if (found || held != lines.size()) return std::nullopt;
      found = id;
    }
    return found;
  }

  // --- Messages ---

  const FilePlace& PlaceOf(std::size_t block) const {
    return m_tree.lines[m_tree.blocks[block].opening].place;
  }

  void RefuseTwice(std::size_t one, std::size_t other, BlockId id) {
    m_findings.refusals.push_back(
        {"ambiguous",
         "this block and the one at " + Shown(PlaceOf(one)) + " are both " +
             Described(m_contents, m_config_name, id),
         "Say of each what the other one does not have: an address, a name",
         PlaceOf(other),
         {m_contents.PlaceOfBlock(m_config_name, id)}});
  }

  void RefuseAmbiguous(const Sought& sought) {
    constexpr std::size_t kMost = 5;
    Finding finding{"ambiguous",
                    Quoted(m_evidence[sought.block].opening->text) + " fits several blocks: "};
    finding.template_place = PlaceOf(sought.block);
    finding.remedies = {Remedy::kAll};
    for (std::size_t i = 0; i < std::min(sought.fitting.size(), kMostPlacesNamed); ++i) {
      const BlockId id = sought.fitting[i];
      finding.config_places.push_back(m_contents.PlaceOfBlock(m_config_name, id));
      if (i >= kMost) continue;
      finding.message += (i == 0 ? "" : ", ") + Described(m_contents, m_config_name, id);
    }
    if (sought.fitting.size() > kMost) {
      finding.message += " and " + std::to_string(sought.fitting.size() - kMost) + " more";
    }
    const Evidence& evidence = m_evidence[sought.block];
    const bool lines_count = evidence.changed.empty() &&
                             std::none_of(sought.fitting.begin(), sought.fitting.end(),
                                          [&](BlockId id) { return HoldsAny(id, evidence); });
    const std::string advice =
        LineOnlyInFirst(m_contents, m_holdings, evidence, sought.fitting, lines_count);
    const std::string around = ConditionOnlyAroundFirst(m_contents, sought.fitting);
    if (evidence.naming != nullptr && !evidence.HasName()) {
      finding.hint = Quoted(evidence.naming->text) +
                     " stands for any names: write the first one as it is, or as a full place, "
                     "{% ... %}, with its old value";
    } else if (!advice.empty()) {
      finding.hint = Quoted(advice) + " in the template would mean the first one";
    } else if (!around.empty()) {
      finding.hint = "Within " + Quoted(around) + ", the template would mean the first one";
    } else {
      finding.hint = "Say more of the one that is meant: an address, a name";
    }
    m_findings.refusals.push_back(std::move(finding));
  }

  const TemplateTree& m_tree;
  Contents& m_contents;
  const Dialect m_dialect;
  const std::string& m_config_name;
  const bool m_all;
  Findings& m_findings;
  const std::vector<Evidence>& m_evidence;  // by blocks of the template
  Candidates m_candidates;
  Holdings m_holdings;
  std::vector<Match> m_matches;
};

}  // namespace

std::vector<Match> FindBlocks(const TemplateTree& tree, const AllEvidence& evidence,
                              Contents& contents, const std::string& config_name, bool all,
                              Findings& findings) {
  return Finder(tree, evidence, contents, config_name, all, findings).Find();
}

bool SaysRenamed(const TemplateTree& tree, Dialect dialect, std::size_t block) {
  Findings ignored;
  const Evidence evidence = ReadEvidence(tree, dialect, block, ignored);
  const TemplateLine& opening = *evidence.opening;
  const bool opens_otherwise =
      opening.was && opening.now && !SameHead(dialect, opening.was->words, opening.now->words);
  const bool moves =
      !evidence.old_addresses.empty() && evidence.old_addresses != evidence.new_addresses;
  return opens_otherwise || moves ||
         (evidence.old_name && evidence.new_name && evidence.old_name != evidence.new_name);
}

}  // namespace tov_edit
