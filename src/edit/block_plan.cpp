// SPDX-License-Identifier: Apache-2.0

#include "edit/block_plan.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "document/meaning.h"
#include "edit/child_index.h"
#include "edit/comparison.h"
#include "edit/placement.h"
#include "edit/repetition.h"
#include "edit/rewrite_rules.h"
#include "edit/word_directives.h"

namespace edit {
namespace {

using tov_document::SameName;
using Kind = TemplateLine::Kind;
using Outcome = WordDirectives::Outcome;
using Positions = std::vector<std::size_t>;

// Children that lines of the template are, in the order of the lines, and what stands before and
// behind a line of which there is none.
class FoundInOrder {
 public:
  // In the order of the lines' positions.
  void Add(std::size_t position, std::size_t child) {
    const std::size_t last = m_found.empty() ? child : std::max(m_found.back().last, child);
    m_found.push_back({position, last, child});
  }

  // To be called when all are added.
  void Finish() {
    for (std::size_t i = m_found.size(); i-- > 1;) {
      m_found[i - 1].first = std::min(m_found[i - 1].first, m_found[i].first);
    }
  }

  Neighbours Around(std::size_t position) const {
    const auto before = [](const Found& found, std::size_t at) { return found.position < at; };
    const auto behind = std::lower_bound(m_found.begin(), m_found.end(), position, before);
    Neighbours neighbours;
    if (behind != m_found.begin()) neighbours.earlier = std::prev(behind)->last;
    if (behind != m_found.end()) neighbours.later = behind->first;
    return neighbours;
  }

 private:
  struct Found {
    std::size_t position = 0;
    std::size_t last = 0;   // child up to here
    std::size_t first = 0;  // child from here on
  };
  std::vector<Found> m_found;
};

class BlockPlanner {
 public:
  BlockPlanner(const Planning& planning, std::size_t block, BlockId at,
               const std::map<std::size_t, BlockId>& inner)
      : m_planning(planning),
        m_dialect(planning.request.dialect),
        m_at(at),
        m_children(planning.contents.WithConditions(at, ThoseIn(inner))),
        m_lines(planning.tree.blocks[block].children),
        m_inner(inner),
        m_index(planning.contents.document(), m_children),
        m_words(planning.contents.document(), at, m_children),
        m_claimed(m_children.size(), false),
        m_removed(m_children.size(), false),
        m_found(m_lines.size(), kNoChild),
        m_done(m_lines.size(), false) {
    if (m_dialect == Dialect::kApache) ReadRewriteRules();
  }

  void Run() {
    PlaceInnerBlocks();
    ForEach(&BlockPlanner::SkipMissing);
    ClaimRewriteRules();
    ForEach(&BlockPlanner::ClaimOld);
    ChangeRepeated();
    ForEach(&BlockPlanner::ClaimNew);
    ForEach(&BlockPlanner::StateWords);
    ForEach(&BlockPlanner::StateAllWords);
    ForEach(&BlockPlanner::ClaimBeginning);
    ForEach(&BlockPlanner::ClaimComment);
    ForEach(&BlockPlanner::RemoveLine);
    WriteWords();
    std::sort(m_additions.begin(), m_additions.end(),
              [](const Addition& a, const Addition& b) { return a.position < b.position; });
    AddAll();
  }

 private:
  using Step = void (BlockPlanner::*)(std::size_t position);

  static std::set<BlockId> ThoseIn(const std::map<std::size_t, BlockId>& inner) {
    std::set<BlockId> blocks;
    for (const auto& [number, block] : inner) blocks.insert(block);
    return blocks;
  }

  // A line of which a directive is made.
  struct Addition {
    std::size_t position = 0;
    Words words = {};               // of Options, which may be those of several lines; else none
    Positions conditions = {};      // of a RewriteRule: the lines that stand before it
    std::size_t before = kNoChild;  // it stands directly before this child
  };

  void ForEach(Step step) {
    for (std::size_t position = 0; position < m_lines.size(); ++position) {
      if (!m_done[position]) (this->*step)(position);
    }
  }

  const TemplateLine& Line(std::size_t position) const {
    return m_planning.tree.lines[m_lines[position]];
  }

  bool IsForced(const char* name) const { return m_planning.request.forced.count(name) != 0; }

  void Refuse(const char* name, std::size_t position, const std::string& what) {
    m_planning.findings.refusals.push_back({name, Shown(Line(position).place) + ": " + what});
    Done(position);
  }

  void Warn(const char* name, std::size_t position, const std::string& what) {
    m_planning.findings.warnings.push_back({name, Shown(Line(position).place) + ": " + what});
  }

  std::string TextOf(std::size_t child) const {
    return std::string(m_planning.contents.document().Bytes(m_children[child]->bytes));
  }

  // "site.conf:3:5 'root /srv;'"
  std::string ShownChild(std::size_t child) const {
    return Shown(m_planning.contents.PlaceOf(m_planning.config_name,
                                             m_children[child]->bytes.begin)) +
           " " + Quoted(TextOf(child));
  }

  void Tell(Event::Kind kind, std::size_t position, std::size_t child, const std::string& to) {
    m_planning.plan.events.push_back(
        {kind, m_lines[position], child == kNoChild ? Span() : m_children[child]->bytes, to});
  }

  // --- What is done with a line ---

  void Done(std::size_t position) { m_done[position] = true; }

  void Claim(std::size_t child, const Texts& values) {
    m_claimed[child] = true;
    if (m_children[child]->IsDirective()) m_claimed_like[KeyOf(m_dialect, values)].insert(child);
  }

  void Found(std::size_t position, std::size_t child) {
    if (!m_claimed[child]) Claim(child, m_children[child]->values);
    m_found[position] = child;
    Tell(Event::Kind::kFound, position, child, TextOf(child));
    Done(position);
  }

  void Change(std::size_t position, std::size_t child, const Written& written) {
    Claim(child, written.words);
    m_changed.emplace(child, written.words);
    m_found[position] = child;
    m_words.Take(child);
    if (Line(position).raw) {
      m_planning.plan.raw = true;
      m_planning.layout.Replace(m_children[child]->bytes, written.text, m_lines[position]);
      Tell(Event::Kind::kChanged, position, child, written.text);
      Done(position);
      return;
    }
    m_planning.layout.ChangeWords(*m_children[child], WordsOf(written), m_lines[position]);
    if (m_words.Of(child) != nullptr) m_planning.plan.identities = true;
    Tell(Event::Kind::kChanged, position, child, written.text);
    Done(position);
  }

  // A rule takes its conditions along: they would belong to the next one.
  void Remove(std::size_t position, std::size_t child) {
    if (m_found[position] == kNoChild) m_found[position] = child;
    TakeAway(position, child);
    for (const std::size_t condition : ConditionsOf(child)) {
      if (!m_removed[condition]) TakeAway(position, condition);
    }
    Done(position);
  }

  void TakeAway(std::size_t position, std::size_t child) {
    m_removed[child] = true;
    m_words.Take(child);
    m_planning.layout.Remove(*m_children[child], m_lines[position]);
    Tell(Event::Kind::kRemoved, position, child, std::string());
  }

  void ToBeAdded(std::size_t position) {
    Done(position);
    const TemplateLine& line = Line(position);
    if (m_added.count(line.now->text) != 0) return;
    if (line.kind == Kind::kDirective && !line.raw && !MayBeAdded(position)) return;
    AddLater(position);
  }

  void AddLater(std::size_t position) {
    m_additions.push_back({position});
    m_added.insert(Line(position).now->text);
  }

  // --- Looking ---

  bool IsFree(std::size_t child) const {
    return m_children[child]->IsDirective() && !m_claimed[child] && !m_removed[child];
  }

  Positions FreeOf(Positions children) const {
    children.erase(std::remove_if(children.begin(), children.end(),
                                  [this](std::size_t child) { return !IsFree(child); }),
                   children.end());
    return children;
  }

  Positions FreeLike(const std::optional<Written>& written) const {
    return written ? FreeOf(m_index.Like(written->words)) : Positions();
  }

  Positions FreeBeginning(const std::optional<Beginning>& beginning) const {
    return beginning ? FreeOf(m_index.BeginningWith(*beginning)) : Positions();
  }

  // Whether it stands in the block itself, not in a condition.
  bool IsOwn(std::size_t child) const { return m_children[child]->around == m_at; }

  bool HasOwn(const Positions& children) const {
    return std::any_of(children.begin(), children.end(),
                       [this](std::size_t child) { return IsOwn(child); });
  }

  // `children`, but for those in conditions if the block itself has one.
  Positions OwnFirst(Positions children) const {
    if (!HasOwn(children)) return children;
    children.erase(std::remove_if(children.begin(), children.end(),
                                  [this](std::size_t child) { return !IsOwn(child); }),
                   children.end());
    return children;
  }

  // The first free directive of this name. What is not free never becomes so again.
  std::size_t FirstFreeNamed(const std::string& name) {
    const Positions& named = m_index.Named(name);
    std::size_t& next = m_next_named[NameKey(m_dialect, name)];
    while (next < named.size() && !IsFree(named[next])) ++next;
    return next < named.size() ? named[next] : kNoChild;
  }

  // What another line of the template has found or made of a directive.
  std::size_t ClaimedLike(const Written& written) const {
    const auto alike = m_claimed_like.find(KeyOf(m_dialect, written.words));
    if (alike == m_claimed_like.end()) return kNoChild;
    const auto same = [&](std::size_t child) {
      const auto changed = m_changed.find(child);
      return SameWords(m_dialect,
                       changed == m_changed.end() ? m_children[child]->values : changed->second,
                       written.words);
    };
    const auto first = std::find_if(alike->second.begin(), alike->second.end(), same);
    return first == alike->second.end() ? kNoChild : *first;
  }

  static bool StatesOther(const TemplateLine& line) {
    return line.old_given && line.was && line.now && line.was->words != line.now->words;
  }

  const std::string& NameOf(const TemplateLine& line) const {
    static const std::string none;
    for (const auto* const written : {&line.now, &line.was}) {
      if (*written && !(*written)->words.empty()) return (*written)->words.front();
    }
    const bool named = line.beginning && !line.beginning->words.empty();
    return named ? line.beginning->words.front() : none;
  }

  Role RoleOfLine(const TemplateLine& line) const {
    return line.raw ? Role::kPlain : RoleOf(m_dialect, NameOf(line));
  }

  bool IsTaken(std::size_t position, Kind kind) const {
    const TemplateLine& line = Line(position);
    return line.kind == kind && line.enabled;
  }

  // --- Lines with their full text ---

  void SkipMissing(std::size_t position) {
    const TemplateLine& line = Line(position);
    if (!line.enabled || line.now || line.kind == Kind::kOpening) return;
    std::string names;
    for (const std::string& name : line.missing) {
      names += (names.empty() ? "" : ", ") + Quoted(name);
    }
    Warn("missing-value", position,
         "there is no value " + names + ": this line neither adds, changes nor removes anything");
    Done(position);
  }

  bool IsPlain(std::size_t position) const {
    const TemplateLine& line = Line(position);
    return IsTaken(position, Kind::kDirective) && !line.beginning &&
           RoleOfLine(line) == Role::kPlain;
  }

  void ClaimOld(std::size_t position) {
    if (!IsPlain(position)) return;
    const TemplateLine& line = Line(position);
    const Positions alike = OwnFirst(FreeLike(line.was));
    if (alike.empty()) return;
    const std::size_t child = alike.front();
    if (!IsOwn(child) && HasOwn(FreeLike(line.now))) return;
    if (!line.raw && line.was->words == line.now->words) {
      Found(position, child);
    } else {
      Change(position, child, *line.now);
    }
  }

  // Where the block, or its conditions, have the old directive more often than the template, all of
  // them change.
  void ChangeRepeated() {
    for (std::size_t position = 0; position < m_lines.size(); ++position) {
      const TemplateLine& line = Line(position);
      const std::size_t first = m_found[position];
      if (first == kNoChild || !IsPlain(position) || !StatesOther(line)) continue;
      if (m_rewrites.count(SpotOf(first)) != 0) continue;
      for (const std::size_t child : FreeLike(line.was)) {
        if (IsOwn(child) == IsOwn(first)) Change(position, child, *line.now);
      }
      m_found[position] = first;
    }
  }

  void ClaimNew(std::size_t position) {
    if (!IsPlain(position)) return;
    const TemplateLine& line = Line(position);
    if (line.raw) {
      ClaimRaw(position);
      return;
    }
    const Positions alike = OwnFirst(FreeLike(line.now));
    const std::size_t child = alike.empty() ? ClaimedLike(*line.now) : alike.front();
    child == kNoChild ? ToBeAdded(position) : Found(position, child);
  }

  // What is put in as it is may be anything: it is there when its bytes are.
  void ClaimRaw(std::size_t position) {
    const Document& document = m_planning.contents.document();
    const std::string_view body = document.Bytes(document.blocks()[m_at].body);
    m_planning.plan.raw = true;
    const bool there = body.find(Line(position).now->text) != std::string_view::npos;
    there ? Done(position) : ToBeAdded(position);
  }

  // --- Lines with a trailing place ---

  void ClaimBeginning(std::size_t position) {
    const TemplateLine& line = Line(position);
    if (!IsTaken(position, Kind::kDirective) || !line.beginning) return;
    const std::size_t claimed = ClaimedLike(*line.now);
    if (claimed != kNoChild) {
      Found(position, claimed);
      return;
    }
    const auto child = OneBeginning(position);
    if (!child) return;
    *child == kNoChild ? ToBeAdded(position) : Settle(position, *child);
  }

  // The line is this directive, whatever that holds.
  void Settle(std::size_t position, std::size_t child) {
    const Written& now = *Line(position).now;
    m_children[child]->values == now.words ? Found(position, child) : Change(position, child, now);
  }

  // The directive that the line stands for; kNoChild: there is none. No value: they are several,
  // which is refused.
  std::optional<std::size_t> OneBeginning(std::size_t position) {
    const TemplateLine& line = Line(position);
    Positions fitting = FreeBeginning(line.beginning);
    const Positions renamed = FreeBeginning(line.new_beginning);
    if (fitting.empty() || (!HasOwn(fitting) && HasOwn(renamed))) fitting = renamed;
    // What goes has to go from the conditions, too.
    if (line.enabled) fitting = OwnFirst(std::move(fitting));
    if (fitting.size() < 2) return fitting.empty() ? kNoChild : fitting.front();
    for (const std::optional<Written>* const written : {&line.was, &line.now}) {
      const Positions alike = OwnFirst(FreeLike(*written));
      if (!alike.empty()) return alike.front();
    }
    RefuseSeveral(position, fitting);
    return std::nullopt;
  }

  void RefuseSeveral(std::size_t position, const Positions& fitting) {
    constexpr std::size_t kMost = 5;
    std::string shown;
    for (std::size_t i = 0; i < std::min(kMost, fitting.size()); ++i) {
      shown += (i == 0 ? "" : ", ") + ShownChild(fitting[i]);
    }
    const bool own = std::all_of(fitting.begin(), fitting.end(),
                                 [this](std::size_t child) { return IsOwn(child); });
    Refuse("ambiguous", position,
           Quoted(Line(position).text) + " may be each of " + shown +
               (own ? ". Write more of the line before the place, or a full place {% ... %} with "
                      "the old value"
                    : ". Write the condition into the template around the one that is meant, or a "
                      "full place {% ... %} with the old value"));
  }

  // --- Names, addresses, options ---

  void StateWords(std::size_t position) {
    const TemplateLine& line = Line(position);
    if (!IsTaken(position, Kind::kDirective) || line.beginning) return;
    const Written& was = line.was ? *line.was : *line.now;
    switch (RoleOfLine(line)) {
      case Role::kNames:
        Take(position, m_words.StateNames(was, *line.now));
        break;
      case Role::kAddress:
        Take(position, m_words.StateAddress(line.was ? &was : nullptr, *line.now,
                                            StatesOther(line) || TakesTheBranchOfAnother(line)));
        break;
      case Role::kOptions:
        StateOptions(position, was);
        break;
      case Role::kPlain:
        break;
    }
  }

  // Whether a line that is not taken states the same address: then the options differ on purpose.
  bool TakesTheBranchOfAnother(const TemplateLine& line) {
    if (!m_untaken) m_untaken = UntakenAddresses();
    return line.now->words.size() > 1 && m_untaken->count(NameAndAddress(*line.now)) != 0;
  }

  std::set<Texts> UntakenAddresses() const {
    std::set<Texts> addresses;
    for (const std::size_t number : m_lines) {
      const TemplateLine& line = m_planning.tree.lines[number];
      if (line.enabled || line.kind != Kind::kDirective) continue;
      for (const auto* const written : {&line.was, &line.now}) {
        if (*written && (*written)->words.size() > 1) addresses.insert(NameAndAddress(**written));
      }
    }
    return addresses;
  }

  static Texts NameAndAddress(const Written& written) {
    return {written.words.front(), tov_document::ListenAddress(written.words)};
  }

  void StateAllWords(std::size_t position) {
    const TemplateLine& line = Line(position);
    if (!IsTaken(position, Kind::kDirective) || !line.beginning) return;
    const bool has_fixed = line.beginning->words.size() > 1;
    if (RoleOfLine(line) == Role::kNames) {
      Take(position,
           m_words.StateAllNames(has_fixed ? line.beginning->words[1] : std::string(),
                                 has_fixed ? line.now->words[1] : std::string(), *line.now));
    } else if (RoleOfLine(line) == Role::kAddress && has_fixed) {
      Take(position, m_words.StateAllOptions(line.was ? &*line.was : nullptr, *line.now));
    }
  }

  void StateOptions(std::size_t position, const Written& was) {
    const TemplateLine& line = Line(position);
    if (m_options) {
      JoinOptions(position, m_additions[*m_options]);
      return;
    }
    const Outcome outcome = m_words.StateOptions(was, *line.now);
    if (outcome.kind == Outcome::Kind::kMissing) {
      ToBeAdded(position);
      if (!m_additions.empty() && m_additions.back().position == position) {
        m_options = m_additions.size() - 1;
        m_additions.back().words = WordsOf(*line.now);
      }
      return;
    }
    const WordDirectives::Directive& directive = *m_words.Of(outcome.children.front());
    if (RefuseMixed(position, directive.before, directive.words)) return;
    Take(position, outcome);
  }

  // The words of a line beside those of one that is to be added.
  void JoinOptions(std::size_t position, Addition& addition) {
    const Words before = addition.words;
    for (const NewWord& word : WordsOf(*Line(position).now)) {
      const bool there =
          std::any_of(addition.words.begin(), addition.words.end(), [&](const NewWord& other) {
            return SameName(Dialect::kApache, other.value, word.value);
          });
      if (!there) addition.words.push_back(word);
    }
    if (!RefuseMixed(position, before, addition.words)) Done(position);
  }

  bool RefuseMixed(std::size_t position, const Words& before, const Words& after) {
    const auto mixed = [](const Words& words) {
      Texts arguments;
      for (std::size_t i = 1; i < words.size(); ++i) arguments.push_back(words[i].value);
      return AreMixedOptions(arguments);
    };
    if (mixed(before) || !mixed(after) || IsForced("mixed-options")) return false;
    Refuse("mixed-options", position,
           "with this line the block would have " + Quoted(Joined(after)) +
               ", and httpd does not take words with a sign beside words without one. Write all "
               "of them in one way");
    return true;
  }

  static std::string Joined(const Words& words) {
    std::string text;
    for (const NewWord& word : words) text += (text.empty() ? "" : " ") + word.spelled;
    return text;
  }

  // What has become of the words is written when all lines have had their turn.
  void Take(std::size_t position, const Outcome& outcome) {
    switch (outcome.kind) {
      case Outcome::Kind::kMissing:
        ToBeAdded(position);
        return;
      case Outcome::Kind::kSeveral:
        RefuseSeveral(position, outcome.children);
        return;
      case Outcome::Kind::kOther:
        RefuseOther(position, outcome.children.front());
        return;
      case Outcome::Kind::kFound:
        Found(position, outcome.children.front());
        return;
      case Outcome::Kind::kChanged:
        Claim(outcome.children.front(), m_children[outcome.children.front()]->values);
        Changed(position, outcome.children);
        return;
    }
  }

  void Changed(std::size_t position, const Positions& children) {
    m_found[position] = children.front();
    for (const std::size_t child : children) m_changes.emplace_back(position, child);
    Done(position);
  }

  void WriteWords() {
    std::set<std::size_t> written;
    for (const auto& [position, child] : m_changes) {
      const WordDirectives::Directive& directive = *m_words.Of(child);
      const bool gone = directive.words.size() < 2;
      std::string text = Joined(directive.words);
      if (m_dialect == Dialect::kNginx) text += ';';
      Tell(gone ? Event::Kind::kRemoved : Event::Kind::kChanged, position, child,
           gone ? std::string() : text);
      if (m_removed[child] || !written.insert(child).second || !directive.IsChanged()) continue;
      m_planning.plan.identities = true;
      if (gone) {
        m_planning.layout.Remove(*m_children[child], m_lines[position]);
      } else {
        m_planning.layout.ChangeWords(*m_children[child], directive.words, m_lines[position]);
      }
    }
  }

  // --- Comments ---

  void ClaimComment(std::size_t position) {
    if (!IsTaken(position, Kind::kComment)) return;
    const TemplateLine& line = Line(position);
    const std::size_t now = FirstComment(line.now, true);
    const std::size_t was = FirstComment(line.was, false);
    if (now != kNoChild && (was == kNoChild || now <= was)) {
      Found(position, now);
    } else if (was != kNoChild) {
      Claim(was, {});
      m_found[position] = was;
      m_planning.layout.ChangeComment(*m_children[was], line.now->text, m_lines[position]);
      Tell(Event::Kind::kChanged, position, was, line.now->text);
      Done(position);
    } else {
      ToBeAdded(position);
    }
  }

  std::size_t FirstComment(const std::optional<Written>& written, bool claimed_too) const {
    if (!written) return kNoChild;
    const Positions& alike = m_index.Comments(written->text);
    const auto first = std::find_if(alike.begin(), alike.end(), [&](std::size_t child) {
      return m_claimed[child] ? claimed_too : !m_removed[child];
    });
    return first == alike.end() ? kNoChild : *first;
  }

  // --- Lines of branches that are not taken ---

  void RemoveLine(std::size_t position) {
    const TemplateLine& line = Line(position);
    if (line.enabled || line.kind == Kind::kOpening) return;
    if (line.kind == Kind::kComment) {
      for (const std::size_t child : FreeComments(line)) Remove(position, child);
    } else {
      RemoveDirective(position);
    }
    if (!m_done[position] && m_planning.request.must_exist) RefuseMissing(position);
    Done(position);
  }

  void RefuseMissing(std::size_t position) {
    Refuse(
        "not-found", position,
        Quoted(Line(position).text) + " is to be removed, and is not there. Correct its old value");
  }

  // With its old text or its new one.
  std::set<std::size_t> FreeComments(const TemplateLine& line) const {
    std::set<std::size_t> free;
    for (const std::optional<Written>* const written : {&line.was, &line.now}) {
      if (!*written) continue;
      for (const std::size_t child : m_index.Comments((*written)->text)) {
        if (!m_claimed[child] && !m_removed[child]) free.insert(child);
      }
    }
    return free;
  }

  void RemoveDirective(std::size_t position) {
    const TemplateLine& line = Line(position);
    const Role role = RoleOfLine(line);
    if (line.beginning) {
      RemoveBeginning(position, role);
      return;
    }
    for (const std::optional<Written>* const written : {&line.was, &line.now}) {
      if (!*written || (*written)->words.empty()) continue;
      if (RemoveStated(position, role, **written)) return;
    }
  }

  bool RemoveStated(std::size_t position, Role role, const Written& written) {
    if (role != Role::kPlain) {
      const Positions changed = role == Role::kNames     ? m_words.RemoveNames(written)
                                : role == Role::kOptions ? m_words.RemoveOptions(written)
                                                         : m_words.RemoveAddress(written);
      if (!changed.empty()) Changed(position, changed);
      return !changed.empty();
    }
    const Positions alike = FreeLike(written);
    for (const std::size_t child : alike) Remove(position, child);
    return !alike.empty();
  }

  void RemoveBeginning(std::size_t position, Role role) {
    const TemplateLine& line = Line(position);
    if (role != Role::kNames) {
      const auto child = OneBeginning(position);
      if (child && *child != kNoChild) Remove(position, *child);
      return;
    }
    const Texts& words = line.beginning->words;
    const Outcome outcome =
        m_words.FindAllNames(words.front(), words.size() > 1 ? words[1] : std::string());
    if (outcome.kind == Outcome::Kind::kSeveral) {
      RefuseSeveral(position, outcome.children);
    } else if (outcome.kind == Outcome::Kind::kFound) {
      Remove(position, outcome.children.front());
    }
  }

  // --- Lines to be added ---

  // A directive that may stand only once, and does so with other words, is refused.
  bool MayBeAdded(std::size_t position) {
    const TemplateLine& line = Line(position);
    const std::string& name = NameOf(line);
    const std::size_t other = FirstFreeNamed(name);
    if (other == kNoChild) return true;
    const Repetition repetition = RepetitionOf(m_dialect, name);
    if (repetition == Repetition::kOnce && GoesLater(name)) return true;
    if (repetition == Repetition::kOnce) return RefuseOther(position, other);
    if (repetition == Repetition::kUnknown || StatesOther(line)) {
      Warn("second-line", position,
           Quoted(line.now->text) + " is added beside " + ShownChild(other) +
               ". If it is to replace that one, give its value as the old one, or use a trailing "
               "place");
    }
    return true;
  }

  // Whether a line that is not taken removes the directives of this name.
  bool GoesLater(const std::string& name) const {
    const Positions there = FreeOf(m_index.Named(name));
    return std::all_of(there.begin(), there.end(), [&](std::size_t child) {
      return std::any_of(m_lines.begin(), m_lines.end(), [&](std::size_t number) {
        const TemplateLine& line = m_planning.tree.lines[number];
        if (line.enabled || line.kind != Kind::kDirective) return false;
        const Texts& values = m_children[child]->values;
        if (line.beginning && BeginsWith(m_dialect, values, *line.beginning)) return true;
        return (line.was && SameWords(m_dialect, values, line.was->words)) ||
               (line.now && SameWords(m_dialect, values, line.now->words));
      });
    });
  }

  // Whether it may be added all the same.
  bool RefuseOther(std::size_t position, std::size_t other) {
    if (IsForced("other-value")) {
      if (!m_done[position]) {
        AddLater(position);
        Done(position);
      }
      return true;
    }
    const TemplateLine& line = Line(position);
    const std::string end = m_dialect == Dialect::kNginx ? ";" : "";
    const bool address = RoleOfLine(line) == Role::kAddress && line.now->words.size() > 1;
    const std::string beginning =
        NameOf(line) + (address ? " " + line.now->spelled[1] : std::string());
    Refuse("other-value", position,
           Quoted(line.now->text) + " is not there, but " + ShownChild(other) +
               ", and the server wants one of them only. Give the value that is there as the old "
               "one" +
               (IsOwn(other)
                    ? ", or write a trailing place: " + Quoted(beginning + " [% $value %]" + end)
                    : " of a full place, or write the condition into the template"));
    return false;
  }

  void AddAll() {
    if (m_additions.empty()) return;
    FoundInOrder own;
    std::map<std::string, FoundInOrder> named;
    for (std::size_t position = 0; position < m_lines.size(); ++position) {
      if (m_found[position] == kNoChild) continue;
      const Child& child = *m_children[m_found[position]];
      if (child.around == m_at) own.Add(position, m_found[position]);
      if (!child.IsDirective()) continue;
      named[NameKey(m_dialect, child.values.front())].Add(position, m_found[position]);
    }
    own.Finish();
    for (auto& [name, found] : named) found.Finish();
    DirectivePlaces places(m_dialect, m_at, m_children, m_index);
    for (const Addition& addition : m_additions) {
      const Texts values = ValuesOf(addition);
      const auto like =
          values.empty() ? named.end() : named.find(NameKey(m_dialect, values.front()));
      const Neighbours of_name =
          like == named.end() ? Neighbours() : like->second.Around(addition.position);
      const Layout::Place place =
          addition.before == kNoChild
              ? OutOfRewriteRules(places.For(values, of_name, own.Around(addition.position)))
              : Beside(*m_children[addition.before], Layout::Place::Kind::kBefore);
      Add(addition, place);
    }
  }

  Texts ValuesOf(const Addition& addition) const {
    const TemplateLine& line = Line(addition.position);
    return line.kind == Kind::kDirective ? line.now->words : Texts();
  }

  void Add(const Addition& addition, const Layout::Place& place) {
    const TemplateLine& line = Line(addition.position);
    if (RoleOfLine(line) != Role::kPlain) m_planning.plan.identities = true;
    Texts texts;
    for (const std::size_t condition : addition.conditions) {
      texts.push_back(Line(condition).now->text);
      Tell(Event::Kind::kAdded, condition, kNoChild, texts.back());
    }
    texts.push_back(addition.words.empty() ? line.now->text : Joined(addition.words));
    Tell(Event::Kind::kAdded, addition.position, kNoChild, texts.back());
    m_planning.layout.Add(place, texts, std::vector<std::size_t>(texts.size(), 0), false,
                          m_lines[addition.position]);
  }

  // --- Apache's rewrite rules, with their conditions ---

  using Spot = std::pair<BlockId, std::size_t>;

  Spot SpotOf(std::size_t child) const {
    return {m_children[child]->around, m_children[child]->position};
  }

  void ReadRewriteRules() {
    if (m_index.Named("RewriteCond").empty()) return;
    std::vector<std::string_view> names;
    for (const Child* const child : m_children) {
      names.push_back(child->values.empty() ? std::string_view() : child->values.front());
    }
    for (const RewriteRule& rule : RewriteRules(names)) {
      for (const std::size_t condition : rule.conditions) m_rewrites[SpotOf(condition)] = rule;
      m_rewrites[SpotOf(rule.rule)] = rule;
    }
  }

  Positions ConditionsOf(std::size_t child) const {
    const auto rule = m_rewrites.find(SpotOf(child));
    return rule != m_rewrites.end() && rule->second.rule == child ? rule->second.conditions
                                                                  : Positions();
  }

  // Nothing comes between a rule and its conditions.
  Layout::Place OutOfRewriteRules(const Layout::Place& place) const {
    const auto rule = m_rewrites.find({place.block, place.child});
    if (rule == m_rewrites.end() || place.kind == Layout::Place::Kind::kAtEnd) return place;
    const bool behind = place.kind == Layout::Place::Kind::kBehind;
    return Beside(*m_children[behind ? rule->second.rule : rule->second.conditions.front()],
                  place.kind);
  }

  void ClaimRewriteRules() {
    if (m_dialect != Dialect::kApache) return;
    std::vector<std::string_view> names;
    for (const std::size_t number : m_lines) {
      const TemplateLine& line = m_planning.tree.lines[number];
      names.push_back(line.kind == Kind::kComment ? std::string_view() : NameOf(line));
    }
    for (const RewriteRule& rule : RewriteRules(names)) ClaimRewriteRule(rule);
  }

  void ClaimRewriteRule(const RewriteRule& rule) {
    Positions lines = rule.conditions;
    lines.push_back(rule.rule);
    const bool missing = std::any_of(lines.begin(), lines.end(),
                                     [this](std::size_t position) { return m_done[position]; });
    const bool enabled = Line(rule.rule).enabled;
    const std::size_t child = missing ? kNoChild : RewriteRuleFor(rule);
    if (child != kNoChild && enabled) {
      for (const std::size_t condition : rule.conditions) {
        ClaimRewriteCondition(condition, child);
      }
      Settle(rule.rule, child);
    } else if (child != kNoChild) {
      Remove(rule.rule, child);
    } else if (enabled && !missing && MayBeAdded(rule.rule)) {
      Addition addition = {rule.rule};
      for (const std::size_t condition : rule.conditions) {
        if (Line(condition).enabled) addition.conditions.push_back(condition);
      }
      m_additions.push_back(std::move(addition));
    } else if (!enabled && m_planning.request.must_exist) {
      RefuseMissing(rule.rule);
    }
    for (const std::size_t position : lines) Done(position);
  }

  // The rule of the block that has the most of the conditions, and at least one if it has any. One
  // that is to go has all of them.
  std::size_t RewriteRuleFor(const RewriteRule& rule) const {
    const TemplateLine& line = Line(rule.rule);
    std::size_t best = kNoChild;
    std::size_t most = 0;
    for (const Positions& alike :
         {FreeLike(line.was), FreeLike(line.now), FreeBeginning(line.beginning)}) {
      for (const std::size_t child : alike) {
        const Positions conditions = ConditionsOf(child);
        const auto held = static_cast<std::size_t>(std::count_if(
            rule.conditions.begin(), rule.conditions.end(), [&](std::size_t position) {
              return ConditionAmong(conditions, Line(position)) != kNoChild;
            }));
        const bool fits =
            line.enabled ? held > 0 || conditions.empty() : held == rule.conditions.size();
        if (!fits || (best != kNoChild && held <= most)) continue;
        best = child;
        most = held;
      }
    }
    return best;
  }

  std::size_t ConditionAmong(const Positions& conditions, const TemplateLine& line) const {
    for (const std::size_t child : conditions) {
      const Texts& values = m_children[child]->values;
      const bool fits = (line.was && SameWords(m_dialect, values, line.was->words)) ||
                        (line.now && SameWords(m_dialect, values, line.now->words)) ||
                        (line.beginning && BeginsWith(m_dialect, values, *line.beginning));
      if (fits && IsFree(child)) return child;
    }
    return kNoChild;
  }

  void ClaimRewriteCondition(std::size_t position, std::size_t rule) {
    const std::size_t child = ConditionAmong(ConditionsOf(rule), Line(position));
    if (Line(position).enabled) {
      child == kNoChild ? m_additions.push_back({position, {}, {}, rule}) : Settle(position, child);
    } else if (child != kNoChild) {
      Remove(position, child);
    }
  }

  // --- Blocks inside ---

  // They count for the order of the lines.
  void PlaceInnerBlocks() {
    std::vector<std::pair<BlockId, std::size_t>> own;
    for (std::size_t i = 0; i < m_children.size(); ++i) {
      const Child& child = *m_children[i];
      if (child.IsBlock() && child.around == m_at) own.emplace_back(child.block, i);
    }
    for (std::size_t position = 0; position < m_lines.size(); ++position) {
      const TemplateLine& line = Line(position);
      if (line.kind != Kind::kOpening) continue;
      Done(position);
      const auto at = m_inner.find(line.block);
      if (at == m_inner.end()) continue;
      const auto behind =
          std::upper_bound(own.begin(), own.end(), std::pair(at->second, m_children.size()));
      if (behind == own.begin()) continue;
      const auto& [block, child] = *std::prev(behind);
      if (IsAround(block, at->second)) m_found[position] = child;
    }
  }

  bool IsAround(BlockId block, BlockId inner) const {
    return block <= inner && inner < m_planning.contents.document().blocks()[block].next;
  }

  const Planning& m_planning;
  const Dialect m_dialect;
  const BlockId m_at;
  const std::vector<const Child*> m_children;  // with those of conditions inside
  const Positions& m_lines;                    // of the template
  const std::map<std::size_t, BlockId>& m_inner;
  const ChildIndex m_index;
  WordDirectives m_words;
  std::vector<bool> m_claimed;  // children that a line of the template is
  std::vector<bool> m_removed;  // children that go
  Positions m_found;            // by lines: the child that it is
  std::vector<bool> m_done;     // lines of which it is decided what becomes of them
  std::unordered_map<std::size_t, Texts> m_changed;  // the words that lines have given to children
  std::unordered_map<std::string, std::set<std::size_t>> m_claimed_like;  // children, by KeyOf
  std::unordered_map<std::string, std::size_t> m_next_named;  // among those of a name, see there
  std::map<Spot, RewriteRule> m_rewrites;  // rules with conditions, by all that belongs to them
  std::vector<Addition> m_additions;
  std::unordered_set<std::string> m_added;   // their texts
  std::optional<std::size_t> m_options;      // the addition that has the words of all Options
  std::optional<std::set<Texts>> m_untaken;  // what lines that are not taken state of addresses
  std::vector<std::pair<std::size_t, std::size_t>> m_changes;  // lines, and whose words they change
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

}  // namespace edit
