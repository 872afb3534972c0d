// SPDX-License-Identifier: Apache-2.0

#include "edit/block_plan.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "document/meaning.h"
#include "edit/comparison.h"
#include "edit/placement.h"
#include "edit/repetition.h"
#include "edit/word_directives.h"

namespace edit {
namespace {

using tov_document::SameName;
using Kind = TemplateLine::Kind;
using Outcome = WordDirectives::Outcome;
using Positions = std::vector<std::size_t>;

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
        m_words(planning.contents.document(), m_children),
        m_claimed(m_children.size(), false),
        m_removed(m_children.size(), false),
        m_found(m_lines.size(), kNoChild) {
    for (const Child* const child : m_children) m_values.push_back(child->values);
  }

  void Run() {
    PlaceInnerBlocks();
    ForEach(&BlockPlanner::SkipMissing);
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
    for (const Addition& addition : m_additions) Add(addition);
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
    Words words;  // of Options, which may be those of several lines; else none
  };

  void ForEach(Step step) {
    for (std::size_t position = 0; position < m_lines.size(); ++position) {
      if (m_done.count(position) == 0) (this->*step)(position);
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

  void Done(std::size_t position) { m_done.insert(position); }

  void Found(std::size_t position, std::size_t child) {
    m_claimed[child] = true;
    m_found[position] = child;
    Tell(Event::Kind::kFound, position, child, TextOf(child));
    Done(position);
  }

  void Change(std::size_t position, std::size_t child, const Written& written) {
    m_claimed[child] = true;
    m_found[position] = child;
    m_values[child] = written.words;
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

  void Remove(std::size_t position, std::size_t child) {
    m_removed[child] = true;
    m_words.Take(child);
    if (m_found[position] == kNoChild) m_found[position] = child;
    m_planning.layout.Remove(*m_children[child], m_lines[position]);
    Tell(Event::Kind::kRemoved, position, child, std::string());
    Done(position);
  }

  void ToBeAdded(std::size_t position) {
    Done(position);
    const TemplateLine& line = Line(position);
    const auto twice = [&](const Addition& other) {
      return Line(other.position).now->text == line.now->text;
    };
    if (std::any_of(m_additions.begin(), m_additions.end(), twice)) return;
    if (line.kind == Kind::kDirective && !line.raw && !MayBeAdded(position)) return;
    m_additions.push_back({position, {}});
  }

  // --- Looking ---

  bool IsFree(std::size_t child) const {
    return m_children[child]->IsDirective() && !m_claimed[child] && !m_removed[child];
  }

  template <class Fits>
  Positions Free(const Fits& fits) const {
    Positions found;
    for (std::size_t i = 0; i < m_children.size(); ++i) {
      if (IsFree(i) && fits(m_children[i]->values)) found.push_back(i);
    }
    return found;
  }

  Positions FreeLike(const std::optional<Written>& written) const {
    if (!written || written->words.empty()) return {};
    return Free([&](const Texts& values) { return SameWords(m_dialect, values, written->words); });
  }

  // In the block itself: whatever a line is to mean in a condition, it has to say in full.
  Positions FreeBeginning(const std::optional<Beginning>& beginning) const {
    if (!beginning) return {};
    Positions fitting =
        Free([&](const Texts& values) { return BeginsWith(m_dialect, values, *beginning); });
    return HasOwn(fitting) ? OwnFirst(std::move(fitting)) : Positions();
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

  // What another line of the template has found or made of a directive.
  std::size_t ClaimedLike(const Written& written) const {
    for (std::size_t i = 0; i < m_children.size(); ++i) {
      if (m_claimed[i] && m_children[i]->IsDirective() &&
          SameWords(m_dialect, m_values[i], written.words)) {
        return i;
      }
    }
    return kNoChild;
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
    if (*child == kNoChild) {
      ToBeAdded(position);
    } else if (m_children[*child]->values == line.now->words) {
      Found(position, *child);
    } else {
      Change(position, *child, *line.now);
    }
  }

  // The directive that the line stands for; kNoChild: there is none. No value: they are several,
  // which is refused.
  std::optional<std::size_t> OneBeginning(std::size_t position) {
    const TemplateLine& line = Line(position);
    Positions fitting = FreeBeginning(line.beginning);
    if (fitting.empty()) fitting = FreeBeginning(line.new_beginning);
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
    Refuse("ambiguous", position,
           Quoted(Line(position).text) + " may be each of " + shown +
               ". Write more of the line before the place, or a full place {% ... %} with the old "
               "value");
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
  bool TakesTheBranchOfAnother(const TemplateLine& line) const {
    const Texts addresses = AddressesIn(m_dialect, line.now->words);
    const auto same_address = [&](const std::optional<Written>& other) {
      return other && other->words.size() > 1 && !addresses.empty() &&
             other->words.front() == line.now->words.front() &&
             AddressesIn(m_dialect, other->words).front() == addresses.front();
    };
    return std::any_of(m_lines.begin(), m_lines.end(), [&](std::size_t number) {
      const TemplateLine& other = m_planning.tree.lines[number];
      return !other.enabled && other.kind == Kind::kDirective &&
             (same_address(other.was) || same_address(other.now));
    });
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
    for (Addition& addition : m_additions) {
      if (addition.words.empty()) continue;
      JoinOptions(position, addition);
      return;
    }
    const Outcome outcome = m_words.StateOptions(was, *line.now);
    if (outcome.kind == Outcome::Kind::kMissing) {
      ToBeAdded(position);
      if (!m_additions.empty() && m_additions.back().position == position) {
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
        m_claimed[outcome.children.front()] = true;
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
    for (std::size_t i = 0; i < m_children.size(); ++i) {
      if (IsComment(i, line.now) || (m_claimed[i] && CommentText(i) == line.now->text)) {
        Found(position, i);
        return;
      }
      if (!IsComment(i, line.was)) continue;
      m_claimed[i] = true;
      m_found[position] = i;
      m_planning.layout.ChangeComment(*m_children[i], line.now->text, m_lines[position]);
      Tell(Event::Kind::kChanged, position, i, line.now->text);
      Done(position);
      return;
    }
    ToBeAdded(position);
  }

  bool IsComment(std::size_t child, const std::optional<Written>& written) const {
    if (!written || m_claimed[child] || m_removed[child]) return false;
    if (m_children[child]->kind != tov_document::NodeKind::kComment) return false;
    return CommentText(child) == written->text;
  }

  std::string CommentText(std::size_t child) const {
    std::string text = TextOf(child);
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    return text;
  }

  // --- Lines of branches that are not taken ---

  void RemoveLine(std::size_t position) {
    const TemplateLine& line = Line(position);
    if (line.enabled || line.kind == Kind::kOpening) return;
    if (line.kind == Kind::kComment) {
      for (std::size_t i = 0; i < m_children.size(); ++i) {
        if (IsComment(i, line.was) || IsComment(i, line.now)) Remove(position, i);
      }
    } else {
      RemoveDirective(position);
    }
    if (m_done.count(position) == 0 && m_planning.request.must_exist) {
      Refuse("not-found", position,
             Quoted(line.text) + " is to be removed, and is not there. Correct its old value");
    }
    Done(position);
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
    const Positions others =
        Free([&](const Texts& values) { return SameName(m_dialect, values.front(), name); });
    if (others.empty()) return true;
    const Repetition repetition = RepetitionOf(m_dialect, name);
    if (repetition == Repetition::kOnce && GoesLater(name)) return true;
    if (repetition == Repetition::kOnce) return RefuseOther(position, others.front());
    if (repetition == Repetition::kUnknown || StatesOther(line)) {
      Warn("second-line", position,
           Quoted(line.now->text) + " is added beside " + ShownChild(others.front()) +
               ". If it is to replace that one, give its value as the old one, or use a trailing "
               "place");
    }
    return true;
  }

  // Whether a line that is not taken removes the directives of this name.
  bool GoesLater(const std::string& name) const {
    const Positions there =
        Free([&](const Texts& values) { return SameName(m_dialect, values.front(), name); });
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
      if (m_done.count(position) == 0) {
        m_additions.push_back({position, {}});
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

  void Add(const Addition& addition) {
    const TemplateLine& line = Line(addition.position);
    const std::string text = addition.words.empty() ? line.now->text : Joined(addition.words);
    const Texts values = line.kind == Kind::kDirective ? line.now->words : Texts();
    if (RoleOfLine(line) != Role::kPlain) m_planning.plan.identities = true;
    // What a condition holds is no place for what the template states without one.
    const Neighbours of_all = NeighboursOf(
        addition.position, [this](const Child& child) { return child.around == m_at; });
    const Neighbours of_name = NeighboursOf(addition.position, [&](const Child& child) {
      return child.around == m_at && child.IsDirective() && !values.empty() &&
             SameName(m_dialect, child.values.front(), values.front());
    });
    const Layout::Place place =
        PlaceForDirective(m_dialect, m_at, m_children, values, of_name, of_all);
    m_planning.layout.Add(place, {text}, {0}, false, m_lines[addition.position]);
    Tell(Event::Kind::kAdded, addition.position, kNoChild, text);
  }

  template <class Counts>
  Neighbours NeighboursOf(std::size_t position, const Counts& counts) const {
    Neighbours found;
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
      const std::size_t child = m_found[i];
      if (child == kNoChild || !counts(*m_children[child])) continue;
      if (i < position && (found.earlier == kNoChild || child > found.earlier)) {
        found.earlier = child;
      }
      if (i > position && (found.later == kNoChild || child < found.later)) found.later = child;
    }
    return found;
  }

  // --- Blocks inside ---

  // They count for the order of the lines.
  void PlaceInnerBlocks() {
    for (std::size_t position = 0; position < m_lines.size(); ++position) {
      const TemplateLine& line = Line(position);
      if (line.kind != Kind::kOpening) continue;
      Done(position);
      const auto at = m_inner.find(line.block);
      if (at == m_inner.end()) continue;
      for (std::size_t i = 0; i < m_children.size(); ++i) {
        const Child& child = *m_children[i];
        if (child.IsBlock() && child.around == m_at && IsAround(child.block, at->second)) {
          m_found[position] = i;
        }
      }
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
  WordDirectives m_words;
  std::vector<Texts> m_values;   // the children's words, as lines of the template have changed them
  std::vector<bool> m_claimed;   // children that a line of the template is
  std::vector<bool> m_removed;   // children that go
  Positions m_found;             // by lines: the child that it is
  std::set<std::size_t> m_done;  // lines of which it is decided what becomes of them
  std::vector<Addition> m_additions;
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
