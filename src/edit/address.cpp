// SPDX-License-Identifier: Apache-2.0

#include "edit/address.h"

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include "document/meaning.h"
#include "edit/child_index.h"
#include "edit/comparison.h"
#include "edit/head_index.h"

namespace edit {
namespace {

using tov_document::kWholeText;
using Kind = TemplateLine::Kind;
using Blocks = std::vector<BlockId>;

// A line's words with its old values, and with its new ones.
using Phase = std::optional<Written> TemplateLine::*;
constexpr std::initializer_list<Phase> kPhases = {&TemplateLine::was, &TemplateLine::now};

// What a template says of one block.
struct Evidence {
  const TemplateLine* opening = nullptr;
  bool enabled = true;

  // The first name, as it was and as it will be; none: it is not stated.
  std::optional<std::string> old_name;
  std::optional<std::string> new_name;

  Texts old_addresses;
  Texts new_addresses;

  std::vector<const TemplateLine*> changed;  // lines of which an old value is known
  std::vector<const TemplateLine*> others;   // all other lines with their full text
  std::vector<std::size_t> blocks;           // inside
  std::vector<std::size_t> going_blocks;     // inside, of branches that are not taken

  bool is_nginx_server = false;
  bool says_something = false;  // not only that blocks inside are to go

  bool HasName() const { return old_name || new_name; }
  bool HasAddress() const { return !old_addresses.empty() || !new_addresses.empty(); }
};

std::optional<std::string> FirstName(Dialect dialect, const Texts& words) {
  const Texts names = NamesIn(dialect, words);
  if (names.empty()) return std::nullopt;
  return names.front();
}

std::optional<std::string> FirstName(Dialect dialect, const std::optional<Written>& written) {
  return written ? FirstName(dialect, written->words) : std::nullopt;
}

bool IsTlsState(Dialect dialect, const std::string& name) {
  return dialect == Dialect::kNginx && (name == "ssl" || name == "ssl_prefer_server_ciphers");
}

class EvidenceReader {
 public:
  EvidenceReader(const TemplateTree& tree, Dialect dialect, Findings& findings)
      : m_tree(tree), m_dialect(dialect), m_findings(findings) {}

  Evidence Read(std::size_t number) {
    const TemplateBlock& block = m_tree.blocks[number];
    m_evidence = Evidence();
    m_evidence.opening = &m_tree.lines[block.opening];
    m_evidence.enabled = block.enabled;
    m_is_server = IsServerHead(*m_evidence.opening);
    m_evidence.is_nginx_server = m_is_server && m_dialect == Dialect::kNginx;
    m_named = false;
    for (const std::size_t child : block.children) {
      const TemplateLine& line = m_tree.lines[child];
      if (line.kind == Kind::kOpening) {
        (line.enabled == block.enabled ? m_evidence.blocks : m_evidence.going_blocks)
            .push_back(line.block);
      }
      // A line of another branch does not stand in the block that is meant.
      if (line.enabled != block.enabled) {
        m_evidence.says_something = m_evidence.says_something || line.kind == Kind::kDirective;
        continue;
      }
      m_evidence.says_something = true;
      if (line.kind == Kind::kDirective) {
        ReadLine(line);
      }
    }
    return std::move(m_evidence);
  }

 private:
  static const Texts* AnyWords(const TemplateLine& line) {
    if (line.was && !line.was->words.empty()) return &line.was->words;
    if (line.now && !line.now->words.empty()) return &line.now->words;
    return line.beginning && !line.beginning->words.empty() ? &line.beginning->words : nullptr;
  }

  bool IsServerHead(const TemplateLine& opening) const {
    const Texts* const words = AnyWords(opening);
    return words != nullptr && tov_document::IsServer(m_dialect, words->front());
  }

  // The directive's name where its values are missing.
  std::string DirectiveName(const TemplateLine& line) const {
    const Texts* const words = AnyWords(line);
    return words == nullptr ? line.text.substr(0, line.text.find_first_of(" \t{[;"))
                            : words->front();
  }

  void ReadLine(const TemplateLine& line) {
    const std::string name = DirectiveName(line);
    const Role role = RoleOf(m_dialect, name);
    const bool is_alias = m_dialect == Dialect::kApache && role == Role::kNames &&
                          !tov_document::SameName(m_dialect, name, "ServerName");
    if (m_is_server && role == Role::kNames && !is_alias) {
      if (!std::exchange(m_named, true)) ReadName(line);
    } else if (m_is_server && role == Role::kAddress) {
      ReadAddress(line);
    } else if (!IsTlsState(m_dialect, name) && !line.beginning && !line.raw) {
      if (line.old_given && line.was) {
        m_evidence.changed.push_back(&line);
      } else if (line.now) {
        m_evidence.others.push_back(&line);
      }
    }
  }

  void ReadName(const TemplateLine& line) {
    const bool missing = m_evidence.enabled ? !line.now : !line.now && !line.was;
    if (missing && (!line.beginning || line.old_given)) RefuseMissing(line);
    if (line.beginning) {
      m_evidence.old_name = FirstName(m_dialect, line.beginning->words);
      if (line.new_beginning) {
        m_evidence.new_name = FirstName(m_dialect, line.new_beginning->words);
      }
      return;
    }
    m_evidence.old_name = FirstName(m_dialect, line.was);
    m_evidence.new_name = FirstName(m_dialect, line.now);
  }

  void RefuseMissing(const TemplateLine& line) {
    m_findings.refusals.push_back(
        {"missing-value", Shown(line.place) +
                              ": a value of this line is missing, by which its "
                              "block is found: " +
                              Quoted(line.text) + ". Set it"});
  }

  void ReadAddress(const TemplateLine& line) {
    const auto add = [](Texts words, const std::optional<Written>& written, Texts& addresses) {
      if (words.size() < 2) return;
      // The transport may be among the values of a trailing place.
      if (written) words.insert(words.end(), written->words.begin(), written->words.end());
      addresses.push_back(tov_document::ListenAddress(words));
    };
    if (line.beginning) {
      add(line.beginning->words, line.was ? line.was : line.now, m_evidence.old_addresses);
      if (line.new_beginning) add(line.new_beginning->words, line.now, m_evidence.new_addresses);
      return;
    }
    if (line.was) add(line.was->words, std::nullopt, m_evidence.old_addresses);
    if (line.now) add(line.now->words, std::nullopt, m_evidence.new_addresses);
  }

  const TemplateTree& m_tree;
  const Dialect m_dialect;
  Findings& m_findings;
  Evidence m_evidence;
  bool m_is_server = false;
  bool m_named = false;
};

class Finder {
 public:
  Finder(const TemplateTree& tree, Contents& contents, const std::string& config_name, bool all,
         Findings& findings)
      : m_tree(tree),
        m_contents(contents),
        m_document(contents.document()),
        m_dialect(contents.dialect()),
        m_config_name(config_name),
        m_all(all),
        m_findings(findings),
        m_heads(contents) {
    EvidenceReader reader(tree, m_dialect, findings);
    m_evidence.resize(1);
    for (std::size_t i = 1; i < tree.blocks.size(); ++i) m_evidence.push_back(reader.Read(i));
    const auto named = std::count_if(m_evidence.begin(), m_evidence.end(),
                                     [](const Evidence& evidence) { return evidence.HasName(); });
    constexpr int kFew = 4;
    if (named > kFew) m_by_name = tov_document::BlocksByName(m_document);
  }

  std::vector<Match> Find() {
    m_matches.push_back({0, kWholeText, 0});
    for (std::size_t i = 0; i < m_matches.size(); ++i) {
      const Match match = m_matches[i];
      if (match.at && m_tree.blocks[match.block].enabled) MatchBlocksIn(i);
    }
    if (m_all) DropOthers();
    return std::move(m_matches);
  }

 private:
  // What stands in a block, and its index.
  struct Indexed {
    Indexed(const Document& document, std::vector<const Child*> all)
        : children(std::move(all)), index(document, children) {}

    std::vector<const Child*> children;
    ChildIndex index;
  };

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
      if (!sought.settled) LeaveOut(sought, taken);
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
    for (const std::string* const name : NamesOf(evidence)) {
      Blocks fitting = Fitting(evidence, name, scope);
      if (fitting.empty() || IsDoneAlready(evidence, name, fitting, scope)) continue;
      if (!evidence.HasAddress() || KeepListening(fitting, evidence)) {
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
    if (!HasLines(evidence)) return false;
    const auto holds_all = [&](BlockId id) { return HoldsAll(id, evidence); };
    const Blocks new_blocks = Fitting(evidence, &*evidence.new_name, scope);
    return std::any_of(new_blocks.begin(), new_blocks.end(), holds_all) &&
           std::none_of(old_blocks.begin(), old_blocks.end(), holds_all);
  }

  bool HoldsAll(BlockId id, const Evidence& evidence) {
    const auto held = [&](const TemplateLine* line) {
      return Holds(id, *line, &TemplateLine::was) || Holds(id, *line, &TemplateLine::now);
    };
    return std::all_of(evidence.changed.begin(), evidence.changed.end(), held) &&
           std::all_of(evidence.others.begin(), evidence.others.end(), held) &&
           std::all_of(evidence.blocks.begin(), evidence.blocks.end(),
                       [&](std::size_t block) { return HasFitting(block, id); });
  }

  // What goes has to be what the template states: where the other lines told it from its like, it
  // is gone when none has them any more. And a name alone does not tell a site from the redirect to
  // it.
  Blocks MayGo(const Evidence& evidence, Blocks blocks) {
    const bool by_name_only =
        evidence.is_nginx_server && !evidence.HasAddress() && HasLines(evidence);
    const bool by_lines_only =
        !evidence.HasName() &&
        (!evidence.changed.empty() || (evidence.others.empty() && HasLines(evidence)));
    if (evidence.enabled || !(by_name_only || by_lines_only)) return blocks;
    // The last of its like has to be the very one.
    const bool is_last = blocks.size() == 1 && !evidence.changed.empty();
    Blocks holding =
        is_last ? HoldingAllOf(evidence.changed, blocks) : HoldingAny(evidence, blocks);
    if (!holding.empty()) return holding;
    for (const BlockId id : blocks) {
      m_findings.warnings.push_back(
          {"not-removed", Shown(evidence.opening->place) + ": " +
                              Described(m_contents, m_config_name, id) +
                              " stays: it has not the lines of the block that is to be "
                              "removed. State its address, if it is meant"});
    }
    return holding;
  }

  static bool HasLines(const Evidence& evidence) {
    return !evidence.changed.empty() || !evidence.others.empty() || !evidence.blocks.empty();
  }

  // The names by which a block may be found, the most wanted first; null: by any.
  static std::vector<const std::string*> NamesOf(const Evidence& evidence) {
    std::vector<const std::string*> names;
    if (!evidence.HasName()) names.push_back(nullptr);
    if (evidence.old_name) names.push_back(&*evidence.old_name);
    if (evidence.new_name && evidence.new_name != evidence.old_name) {
      names.push_back(&*evidence.new_name);
    }
    return names;
  }

  // Those whose opening line and name fit.
  Blocks Fitting(const Evidence& evidence, const std::string* name, BlockId scope) {
    const Blocks named = name == nullptr ? Blocks() : BlocksNamed(*name, scope);
    const TemplateLine& opening = *evidence.opening;
    for (const auto* const beginning : {&opening.beginning, &opening.new_beginning}) {
      if (!*beginning) continue;
      Blocks fitting =
          Those(name == nullptr ? m_heads.BeginningWith(scope, **beginning) : named,
                [&](const Texts& head) { return BeginsWith(m_dialect, head, **beginning); });
      if (!fitting.empty()) return fitting;
    }
    if (opening.beginning) return {};
    for (const Phase phase : kPhases) {
      const std::optional<Written>& written = opening.*phase;
      if (!written) continue;
      Blocks fitting =
          Those(name == nullptr ? m_heads.Like(scope, written->words) : named,
                [&](const Texts& head) { return SameHead(m_dialect, head, written->words); });
      if (!fitting.empty()) return fitting;
    }
    return {};
  }

  bool HasFitting(std::size_t block, BlockId scope) {
    const Evidence& evidence = m_evidence[block];
    const std::vector<const std::string*> names = NamesOf(evidence);
    return std::any_of(names.begin(), names.end(), [&](const std::string* name) {
      return !Fitting(evidence, name, scope).empty();
    });
  }

  // Keeps of `blocks` those that have one of the addresses; false: none has, and all stay.
  bool KeepListening(Blocks& blocks, const Evidence& evidence) const {
    for (const Texts* const addresses : {&evidence.old_addresses, &evidence.new_addresses}) {
      Blocks listening = Listening(blocks, *addresses);
      if (listening.empty()) continue;
      blocks = std::move(listening);
      return true;
    }
    return false;
  }

  template <class Fits>
  Blocks Those(const Blocks& blocks, const Fits& fits) const {
    Blocks fitting;
    for (const BlockId id : blocks) {
      if (fits(m_contents.HeadOf(id))) fitting.push_back(id);
    }
    return fitting;
  }

  Blocks BlocksNamed(const std::string& name, BlockId scope) const {
    Blocks blocks;
    for (const BlockId id : AllNamed(name)) {
      if (id != kWholeText && IsIn(id, scope)) blocks.push_back(id);
    }
    return blocks;
  }

  Blocks AllNamed(const std::string& name) const {
    if (!m_by_name) return tov_document::BlocksNamed(m_document, name);
    const auto known = m_by_name->find(name);
    return known == m_by_name->end() ? Blocks() : known->second;
  }

  bool IsIn(BlockId id, BlockId scope) const {
    for (BlockId around = m_document.blocks()[id].parent; around != scope;
         around = m_document.blocks()[around].parent) {
      if (around == kWholeText || !MayBeLeftOut(m_contents, around, scope)) return false;
    }
    return true;
  }

  Blocks Listening(const Blocks& blocks, const Texts& addresses) const {
    Blocks listening;
    for (const BlockId id : blocks) {
      if (ShareOne(tov_document::ServerAddresses(m_document, id), addresses)) {
        listening.push_back(id);
      }
    }
    return listening;
  }

  // --- The other lines ---

  bool Holds(BlockId id, const TemplateLine& line, Phase phase) {
    const std::optional<Written>& written = line.*phase;
    if (!written) return false;
    const ChildIndex& index = IndexOf(id);
    const Texts& words = written->words;
    if (words.empty() || RoleOf(m_dialect, words.front()) == Role::kPlain) {
      return !index.Like(words).empty();
    }
    const std::vector<std::size_t>& named = index.Named(words.front());
    return std::any_of(named.begin(), named.end(), [&](std::size_t child) {
      return SaysAll(m_indexed.at(id).children[child]->values, words);
    });
  }

  // Of what stands in a block, the conditions inside included.
  const ChildIndex& IndexOf(BlockId id) {
    auto known = m_indexed.find(id);
    if (known == m_indexed.end()) {
      known = m_indexed.try_emplace(id, m_document, m_contents.WithConditions(id, {})).first;
    }
    return known->second.index;
  }

  // Whether a directive of the block is such a one, the conditions inside included.
  template <class Fits>
  bool AnyIn(BlockId id, const Fits& fits) {
    const auto has = [&](BlockId block) {
      const std::vector<Child>& children = m_contents.Of(block);
      return std::any_of(children.begin(), children.end(),
                         [&](const Child& child) { return child.IsDirective() && fits(child); });
    };
    const Blocks conditions = tov_document::ConditionsIn(m_document, id);
    return has(id) || std::any_of(conditions.begin(), conditions.end(), has);
  }

  // Of names, listens and options the words count one by one.
  static bool SaysAll(const Texts& values, const Texts& words) {
    return std::all_of(words.begin() + 1, words.end(),
                       [&](const std::string& word) { return Contains(values, word); });
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
    return std::any_of(blocks.begin(), blocks.end(),
                       [&](std::size_t block) { return HasFitting(block, id); });
  }

  bool HoldsAny(BlockId id, const Evidence& evidence) {
    const auto held = [&](const TemplateLine* line) {
      return Holds(id, *line, &TemplateLine::was) || Holds(id, *line, &TemplateLine::now);
    };
    return std::any_of(evidence.changed.begin(), evidence.changed.end(), held) ||
           std::any_of(evidence.others.begin(), evidence.others.end(), held) ||
           HoldsBlock(id, evidence.blocks) || HoldsBlock(id, evidence.going_blocks);
  }

  Blocks HoldingAllOf(const std::vector<const TemplateLine*>& lines, Blocks blocks) {
    const auto lacks_one = [&](BlockId id) {
      return std::any_of(lines.begin(), lines.end(), [&](const TemplateLine* line) {
        return !Holds(id, *line, &TemplateLine::was) && !Holds(id, *line, &TemplateLine::now);
      });
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
      const auto held = static_cast<std::size_t>(
          std::count_if(lines.begin(), lines.end(),
                        [&](const TemplateLine* line) { return Holds(id, *line, phase); }));
      if (held == 0) continue;
      if (found || held != lines.size()) return std::nullopt;
      found = id;
    }
    return found;
  }

  // --- All blocks that fit ---

  // Lines of which the old value is known say which blocks are meant:
  //
  //   some of them change   those that have one of these, as it was or as it will be
  //   none changes          those that have all of them, or else one: it may be the same edit once
  //                         more, with the values as they are now
  //
  // The others are not meant where there are such blocks.
  enum class Grade { kNothing, kSomething, kAll };

  // What the template says of a block and of those inside.
  struct Claim {
    bool counts = false;   // an old value is known
    bool changes = false;  // ... and is another one
  };

  // Nor is a block missed in one block around where it stands in another one.
  void DropOthers() {
    const std::vector<Grade> grades = GradesOfMatches();
    std::vector<bool> is_there(m_tree.blocks.size(), false);
    std::vector<Grade> best(m_tree.blocks.size(), Grade::kNothing);
    for (std::size_t i = 1; i < m_matches.size(); ++i) {
      const Match& match = m_matches[i];
      if (!match.at || !m_tree.blocks[match.block].enabled) continue;
      is_there[match.block] = true;
      best[match.block] = std::max(best[match.block], grades[i]);
    }
    constexpr std::size_t kDropped = static_cast<std::size_t>(-1);
    std::vector<std::size_t> numbers(m_matches.size(), 0);  // as they will be
    std::size_t kept = 1;
    for (std::size_t i = 1; i < m_matches.size(); ++i) {
      Match match = m_matches[i];
      const bool is_other = match.at ? grades[i] < best[match.block] : is_there[match.block];
      match.parent = numbers[match.parent];
      numbers[i] = match.parent == kDropped || is_other ? kDropped : kept;
      if (numbers[i] != kDropped) m_matches[kept++] = match;
    }
    m_matches.resize(kept);
  }

  // Blocks inside of matches, of which each line is there.
  using Complete = std::set<std::pair<std::size_t, std::size_t>>;

  // Whether some of what the template says of a match is there, and whether all of it is.
  std::pair<bool, bool> PartsHeld(std::size_t number, const std::vector<Claim>& claims,
                                  const Complete& complete) {
    const Match& match = m_matches[number];
    const TemplateBlock& block = m_tree.blocks[match.block];
    const bool changes = claims[match.block].changes;
    bool some = Tells(m_tree.lines[block.opening], changes);
    bool all = true;
    for (const std::size_t child : block.children) {
      const TemplateLine& line = m_tree.lines[child];
      if (line.kind == Kind::kOpening) {
        const bool counts = line.enabled && claims[line.block].counts;
        all = all && (!counts || complete.count({number, line.block}) != 0);
      } else if (Tells(line, changes)) {
        const bool holds = HoldsPart(*match.at, line);
        some = some || holds;
        all = all && holds;
      }
    }
    return {some, all};
  }

  std::vector<Grade> GradesOfMatches() {
    const std::vector<Claim> claims = Claims();
    std::vector<Grade> grades(m_matches.size(), Grade::kNothing);
    std::vector<bool> holds_one_inside(m_matches.size(), false);
    Complete complete;
    for (std::size_t i = m_matches.size(); i-- > 0;) {  // what is inside comes first
      const Match& match = m_matches[i];
      const TemplateBlock& block = m_tree.blocks[match.block];
      const Claim& claim = claims[match.block];
      if (i == 0 || !match.at || !block.enabled || !claim.counts) continue;
      auto [some, all] = PartsHeld(i, claims, complete);
      some = some || holds_one_inside[i];
      all = all && !claim.changes;
      if (all) complete.emplace(match.parent, match.block);
      // Of a block that changes nothing, what it has does not count where something else changes.
      const bool counts_around = claim.changes || !claims[m_matches[match.parent].block].changes;
      if (some && counts_around) holds_one_inside[match.parent] = true;
      grades[i] = all ? Grade::kAll : some ? Grade::kSomething : Grade::kNothing;
    }
    return grades;
  }

  // By blocks of the template.
  std::vector<Claim> Claims() const {
    std::vector<Claim> claims(m_tree.blocks.size());
    for (const TemplateLine& line : m_tree.lines) {
      if (!m_tree.blocks[line.block].enabled || !Tells(line, false)) continue;
      for (std::size_t block = line.block; block != 0; block = m_tree.blocks[block].parent) {
        claims[block].counts = true;
        claims[block].changes = claims[block].changes || Tells(line, true);
      }
    }
    return claims;
  }

  // Whether the line's old words are known, and, when it has to change, are others.
  bool Tells(const TemplateLine& line, bool has_to_change) const {
    const bool is_known = (line.kind == Kind::kDirective || line.kind == Kind::kOpening) &&
                          line.enabled && line.old_given && !line.raw && !line.beginning &&
                          line.was && line.now && !line.now->words.empty();
    return is_known && !(has_to_change && SameWords(m_dialect, line.was->words, line.now->words));
  }

  // Whether the block has such a line, the old one or the new one; of names and options, a word
  // that changes is enough.
  bool HoldsPart(BlockId id, const TemplateLine& line) {
    const Texts& was = line.was->words;
    const Texts& now = line.now->words;
    switch (RoleOf(m_dialect, now.front())) {
      case Role::kNames:
        return HaveChanging(tov_document::ServerNames(m_document, id), NamesIn(m_dialect, was),
                            NamesIn(m_dialect, now));
      case Role::kAddress:
        return !Listening({id}, AddressesIn(m_dialect, was)).empty() ||
               !Listening({id}, AddressesIn(m_dialect, now)).empty();
      case Role::kOptions:
        return AnyIn(id, [&](const Child& child) {
          return tov_document::SameName(m_dialect, child.values.front(), now.front()) &&
                 HaveChanging(child.values, was, now);
        });
      case Role::kPlain:
        break;
    }
    return Holds(id, line, &TemplateLine::was) || Holds(id, line, &TemplateLine::now);
  }

  // Whether one of the words is there that are only in one of these; all, when there is none such.
  static bool HaveChanging(const Texts& words, const Texts& was, const Texts& now) {
    Texts changing;
    const auto add = [&changing](const Texts& from, const Texts& others) {
      for (const std::string& word : from) {
        if (!Contains(others, word)) changing.push_back(word);
      }
    };
    add(was, now);
    add(now, was);
    if (!changing.empty()) return ShareOne(words, changing);
    return std::all_of(now.begin(), now.end(),
                       [&](const std::string& word) { return Contains(words, word); });
  }

  // --- Messages ---

  const FilePlace& PlaceOf(std::size_t block) const {
    return m_tree.lines[m_tree.blocks[block].opening].place;
  }

  void RefuseTwice(std::size_t one, std::size_t other, BlockId id) {
    m_findings.refusals.push_back(
        {"ambiguous", Shown(PlaceOf(other)) + ": this block and the one at " + Shown(PlaceOf(one)) +
                          " are both " + Described(m_contents, m_config_name, id) +
                          ". Say of each what the other one does not have: an address, a name"});
  }

  void RefuseAmbiguous(const Sought& sought) {
    constexpr std::size_t kMost = 5;
    std::string message = Shown(PlaceOf(sought.block)) + ": " +
                          Quoted(m_evidence[sought.block].opening->text) + " may be each of ";
    for (std::size_t i = 0; i < std::min(kMost, sought.fitting.size()); ++i) {
      message += (i == 0 ? "" : ", ") + Described(m_contents, m_config_name, sought.fitting[i]);
    }
    if (sought.fitting.size() > kMost) {
      message += " and " + std::to_string(sought.fitting.size() - kMost) + " more";
    }
    const std::string advice = Advice(m_evidence[sought.block], sought.fitting);
    const std::string around = AroundOnly(sought.fitting);
    if (!advice.empty()) {
      message += ". " + Quoted(advice) + " in the template would mean the first one";
    } else if (!around.empty()) {
      message += ". Within " + Quoted(around) + ", the template would mean the first one";
    } else {
      message += ". Say more of the one that is meant: an address, a name";
    }
    m_findings.refusals.push_back({"ambiguous", message + "; --all edits all of them"});
  }

  // The condition around the first of `blocks` that none of the others stands in; "": there is
  // none.
  std::string AroundOnly(const Blocks& blocks) const {
    const auto around = [this](BlockId id) {
      const BlockId parent = m_document.blocks()[id].parent;
      return parent == kWholeText ? Texts() : m_contents.HeadOf(parent);
    };
    const Texts head = around(blocks.front());
    if (head.empty() || !tov_document::IsCondition(m_dialect, head.front())) return std::string();
    const bool elsewhere = std::any_of(blocks.begin() + 1, blocks.end(), [&](BlockId id) {
      const Texts other = around(id);
      return SameHead(m_dialect, head, other);
    });
    if (elsewhere) return std::string();
    const BlockId parent = m_document.blocks()[blocks.front()].parent;
    return std::string(m_document.Bytes(m_document.blocks()[parent].head));
  }

  // A line that would make the template mean the first of `blocks`; "": there is none.
  std::string Advice(const Evidence& evidence, const Blocks& blocks) {
    const std::vector<BlockId> others(blocks.begin() + 1, blocks.end());
    const bool is_server =
        tov_document::IsServer(m_dialect, m_contents.HeadOf(blocks.front()).front());
    std::string line;
    if (is_server && !evidence.HasName()) line = NameOnlyIn(blocks.front(), others);
    if (line.empty() && evidence.is_nginx_server && !evidence.HasAddress()) {
      line = AddressOnlyIn(blocks.front(), others);
    }
    const bool lines_count = evidence.changed.empty() &&
                             std::none_of(blocks.begin(), blocks.end(),
                                          [&](BlockId id) { return HoldsAny(id, evidence); });
    if (line.empty() && lines_count) line = DirectiveOnlyIn(blocks.front(), others);
    if (!line.empty() && m_dialect == Dialect::kNginx) line += ';';
    return line;
  }

  std::string NameOnlyIn(BlockId block, const Blocks& others) const {
    for (const std::string& name : tov_document::ServerNames(m_document, block)) {
      const bool elsewhere = std::any_of(others.begin(), others.end(), [&](BlockId id) {
        return Contains(tov_document::ServerNames(m_document, id), name);
      });
      if (elsewhere || name.empty()) continue;
      return (m_dialect == Dialect::kNginx ? "server_name " : "ServerName ") + name;
    }
    return std::string();
  }

  // As the block writes it.
  std::string AddressOnlyIn(BlockId block, const Blocks& others) {
    for (const Child& child : m_contents.Of(block)) {
      if (!child.IsDirective() || child.values.size() < 2) continue;
      if (RoleOf(m_dialect, child.values.front()) != Role::kAddress) continue;
      const std::string address = tov_document::ListenAddress(child.values);
      const bool elsewhere = std::any_of(others.begin(), others.end(), [&](BlockId id) {
        return Contains(tov_document::ServerAddresses(m_document, id), address);
      });
      if (elsewhere) continue;
      const std::string transport = tov_document::TransportIn(child.values);
      return "listen " + child.values[1] + (transport.empty() ? "" : " " + transport);
    }
    return std::string();
  }

  std::string DirectiveOnlyIn(BlockId block, const Blocks& others) {
    for (const Child& child : m_contents.Of(block)) {
      if (!child.IsDirective() || IsTlsState(m_dialect, child.values.front())) continue;
      if (RoleOf(m_dialect, child.values.front()) != Role::kPlain) continue;
      const bool elsewhere = std::any_of(others.begin(), others.end(), [&](BlockId id) {
        return AnyIn(id, [&](const Child& other) {
          return SameWords(m_dialect, child.values, other.values);
        });
      });
      if (elsewhere) continue;
      std::string line;
      for (const tov_document::Word& word : child.words) {
        line += (line.empty() ? "" : " ") + std::string(m_document.Bytes(word.bytes));
      }
      return line;
    }
    return std::string();
  }

  const TemplateTree& m_tree;
  Contents& m_contents;
  const Document& m_document;
  const Dialect m_dialect;
  const std::string& m_config_name;
  const bool m_all;
  Findings& m_findings;
  HeadIndex m_heads;
  std::unordered_map<BlockId, Indexed> m_indexed;
  std::optional<std::unordered_map<std::string, Blocks>> m_by_name;  // none: few names are sought
  std::vector<Evidence> m_evidence;                                  // by blocks of the template
  std::vector<Match> m_matches;
};

}  // namespace

std::vector<Match> FindBlocks(const TemplateTree& tree, Contents& contents,
                              const std::string& config_name, bool all, Findings& findings) {
  return Finder(tree, contents, config_name, all, findings).Find();
}

bool SaysRenamed(const TemplateTree& tree, Dialect dialect, std::size_t block) {
  Findings ignored;
  const Evidence evidence = EvidenceReader(tree, dialect, ignored).Read(block);
  const TemplateLine& opening = *evidence.opening;
  const bool opens_otherwise =
      opening.was && opening.now && !SameHead(dialect, opening.was->words, opening.now->words);
  const bool moves = !evidence.HasName() && !evidence.old_addresses.empty() &&
                     evidence.old_addresses != evidence.new_addresses;
  return opens_otherwise || moves ||
         (evidence.old_name && evidence.new_name && evidence.old_name != evidence.new_name);
}

std::string SoughtBlock(const TemplateTree& tree, Dialect dialect, std::size_t block) {
  Findings ignored;
  const Evidence evidence = EvidenceReader(tree, dialect, ignored).Read(block);
  const TemplateLine& opening = *evidence.opening;
  const std::optional<Written>& written = opening.was ? opening.was : opening.now;
  const std::optional<std::string>& name =
      evidence.old_name ? evidence.old_name : evidence.new_name;
  std::string listed = name.value_or(std::string());
  for (const std::string& address :
       evidence.old_addresses.empty() ? evidence.new_addresses : evidence.old_addresses) {
    listed += (listed.empty() ? "" : ", ") + address;
  }
  const std::string text = Quoted(written ? written->text : opening.text);
  return listed.empty() ? text : text + " (" + Printable(listed) + ")";
}

std::string BlocksLike(const Contents& contents, const std::string& config_name,
                       const TemplateLine& opening, BlockId around) {
  constexpr std::size_t kMost = 3;
  const std::optional<Written>& head = opening.was ? opening.was : opening.now;
  std::string listed;
  if (!head) return listed;
  std::size_t count = 0;
  const auto& blocks = contents.document().blocks();
  for (BlockId id = around + 1; id < blocks[around].next && count < kMost; ++id) {
    if (!tov_document::SameName(contents.dialect(), contents.HeadOf(id).front(),
                                head->words.front())) {
      continue;
    }
    listed += (count++ == 0 ? "; there are " : ", ") + Described(contents, config_name, id);
  }
  return listed;
}

bool MayBeLeftOut(const Contents& contents, BlockId block, BlockId scope) {
  return MayBeLeftOut(contents.dialect(), contents.HeadOf(block), scope);
}

bool MayBeLeftOut(Dialect dialect, const Texts& head, BlockId scope) {
  if (dialect == Dialect::kApache) {
    return tov_document::IsCondition(Dialect::kApache, head.front());
  }
  return scope == kWholeText && head.front() == "http" && head.size() == 1;
}

std::string Described(const Contents& contents, const std::string& config_name, BlockId block) {
  const Document& document = contents.document();
  std::string head;
  for (const std::string& word : contents.HeadOf(block)) head += (head.empty() ? "" : " ") + word;
  std::string text = Shown(contents.PlaceOf(config_name, document.blocks()[block].head.begin)) +
                     " " + Quoted(head);
  if (!tov_document::IsServer(document.dialect(), contents.HeadOf(block).front())) return text;
  Texts all = tov_document::ServerNames(document, block);
  if (document.dialect() == Dialect::kNginx) {
    const Texts addresses = tov_document::ServerAddresses(document, block);
    all.insert(all.end(), addresses.begin(), addresses.end());
  }
  std::string listed;
  for (const std::string& each : all) listed += (listed.empty() ? "" : ", ") + each;
  return listed.empty() ? text : text + " (" + Printable(listed) + ")";
}

}  // namespace edit
