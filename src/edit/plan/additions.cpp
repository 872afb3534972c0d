// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/additions.h"

#include <algorithm>
#include <map>

#include "edit/match/comparison.h"
#include "edit/plan/placement.h"
#include "edit/tree/repetition.h"

namespace tov_edit {
namespace {

using Kind = TemplateLine::Kind;

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

}  // namespace

void Additions::ToBeAdded(std::size_t position) {
  m_work.Done(position);
  const TemplateLine& line = m_work.Line(position);
  if (!m_added.insert(line.now->text).second) return;
  m_additions.push_back({position});
  if (line.raw) m_work.planning().plan.raw = true;
}

Addition* Additions::LastFor(std::size_t position) {
  const bool is_last = !m_additions.empty() && m_additions.back().position == position;
  return is_last ? &m_additions.back() : nullptr;
}

// --- What stands in the way ---

void Additions::LeaveOutRefused() {
  const auto refused = [this](const Addition& addition) {
    const TemplateLine& line = m_work.Line(addition.position);
    const bool judged = line.kind == Kind::kDirective && !line.raw && !addition.forced &&
                        addition.before == kNoChild;
    return judged && !MayBeAdded(addition);
  };
  m_additions.erase(std::remove_if(m_additions.begin(), m_additions.end(), refused),
                    m_additions.end());
}

// False: it is refused.
bool Additions::MayBeAdded(const Addition& addition) {
  const TemplateLine& line = m_work.Line(addition.position);
  const std::string& name = m_work.NameOf(line);
  const Repetition repetition = RepetitionOf(m_work.dialect(), name);
  const Subjects subjects = SubjectsOf(m_work.dialect(), m_work.BlockName(), line.now->words);
  const bool once = repetition == Repetition::kOnce;
  const std::size_t other = once ? OtherThatStays(name) : OtherOf(subjects, name);
  if (other != kNoChild && (once || !subjects.both_count)) {
    if (m_work.IsForced("other-value")) return true;
    Refuse(addition.position, other, once ? Texts{name} : BeginningFor(line, other));
    return false;
  }
  const std::size_t any = m_work.FirstFreeNamed(name);
  if (other != kNoChild) {
    Warn(addition.position, other);
  } else if (any != kNoChild && (repetition == Repetition::kUnknown || StatesOther(line))) {
    Warn(addition.position, any);
  }
  return true;
}

// The first free directive of this name, unless all of them are to go.
std::size_t Additions::OtherThatStays(const std::string& name) {
  const Positions there = m_work.FreeOf(m_work.index().Named(name));
  const bool stays = std::any_of(there.begin(), there.end(),
                                 [this](std::size_t child) { return !GoesLater(child); });
  return stays ? there.front() : kNoChild;
}

// The first free directive of this name that speaks of one of the subjects.
std::size_t Additions::OtherOf(const Subjects& subjects, const std::string& name) {
  for (const std::string& subject : subjects.all) {
    for (const std::size_t child : SpeakingOf(subject, name)) {
      if (m_work.IsFree(child) && !GoesLater(child)) return child;
    }
  }
  return kNoChild;
}

const Positions& Additions::SpeakingOf(const std::string& subject, const std::string& name) {
  const auto [known, is_new] = m_speaking.try_emplace(NameKey(m_work.dialect(), name));
  if (is_new) {
    for (const std::size_t child : m_work.index().Named(name)) {
      const Texts& words = m_work.ChildAt(child).values;
      for (const std::string& each : SubjectsOf(m_work.dialect(), m_work.BlockName(), words).all) {
        known->second[each].push_back(child);
      }
    }
  }
  return known->second[subject];
}

// Whether a line that is not taken removes it.
bool Additions::GoesLater(std::size_t child) {
  if (!m_removing) {
    m_removing.emplace();
    for (const std::size_t number : m_work.lines()) {
      const TemplateLine& line = m_work.planning().tree.lines[number];
      if (!line.enabled && line.kind == Kind::kDirective) m_removing->push_back(&line);
    }
  }
  const Texts& values = m_work.ChildAt(child).values;
  return std::any_of(m_removing->begin(), m_removing->end(), [&](const TemplateLine* line) {
    if (line->beginning && BeginsWith(m_work.dialect(), values, *line->beginning)) return true;
    return (line->was && SameWords(m_work.dialect(), values, line->was->words)) ||
           (line->now && SameWords(m_work.dialect(), values, line->now->words));
  });
}

void Additions::RefuseOther(std::size_t position, std::size_t other) {
  const TemplateLine& line = m_work.Line(position);
  if (m_work.IsForced("other-value")) {
    m_work.Done(position);
    if (m_added.insert(line.now->text).second)
      m_additions.push_back({position, {}, {}, kNoChild, true});
    return;
  }
  const bool has_address = m_work.RoleOfLine(line) == Role::kAddress && line.now->words.size() > 1;
  Texts beginning = {m_work.NameOf(line)};
  if (has_address) beginning.push_back(line.now->spelled[1]);
  Refuse(position, other, beginning);
}

// The words with which both begin, when no other directive of the block begins so; none: one does.
Texts Additions::BeginningFor(const TemplateLine& line, std::size_t other) const {
  const Texts& words = line.now->words;
  const Texts& values = m_work.ChildAt(other).values;
  std::size_t count = 1;
  while (count < words.size() && count < values.size() && words[count] == values[count]) ++count;
  const auto end = static_cast<std::ptrdiff_t>(std::min(count, words.size() - 1));
  const Beginning beginning = {{words.begin(), words.begin() + end}, std::string()};
  if (m_work.FreeBeginning(beginning).size() != 1) return {};
  return {line.now->spelled.begin(), line.now->spelled.begin() + end};
}

// `beginning`: of a line with a trailing place that would mean the other directive; none: there is
// no such line.
void Additions::Refuse(std::size_t position, std::size_t other, const Texts& beginning) {
  std::string place;
  for (const std::string& word : beginning) place += word + " ";
  place += "[% $value %]";
  if (m_work.dialect() == Dialect::kNginx) place += ";";
  const bool has_place = m_work.IsOwn(other) && !beginning.empty();
  m_work.Refuse(position, {"other-value",
                           Quoted(m_work.Line(position).now->text) + " is not there, but " +
                               m_work.ShownChild(other) + " is, and the server allows only one",
                           "Give the value that is there as the old one" +
                               (has_place ? ", or write a trailing place: " + Quoted(place)
                                : m_work.IsOwn(other)
                                    ? " of a full place"
                                    : " of a full place, or write the condition into the template"),
                           {},
                           {m_work.PlaceOfChild(other)}});
}

void Additions::Warn(std::size_t position, std::size_t other) {
  m_work.Warn(position, {"second-line",
                         Quoted(m_work.Line(position).now->text) + " is added beside " +
                             m_work.ShownChild(other),
                         "If it is to replace that one, give its value as the old one, or use a "
                         "trailing place",
                         {},
                         {m_work.PlaceOfChild(other)}});
}

// --- Where it goes ---

void Additions::AddAll() {
  LeaveOutRefused();
  if (m_additions.empty()) return;
  std::sort(m_additions.begin(), m_additions.end(),
            [](const Addition& a, const Addition& b) { return a.position < b.position; });
  FoundInOrder own;
  std::map<std::string, FoundInOrder> named;
  for (std::size_t position = 0; position < m_work.LineCount(); ++position) {
    if (m_work.FoundFor(position) == kNoChild) continue;
    const Child& child = m_work.ChildAt(m_work.FoundFor(position));
    if (child.around == m_work.at()) own.Add(position, m_work.FoundFor(position));
    if (!child.IsDirective()) continue;
    named[NameKey(m_work.dialect(), child.values.front())].Add(position, m_work.FoundFor(position));
  }
  own.Finish();
  for (auto& [name, found] : named) found.Finish();
  DirectivePlaces places(m_work.dialect(), m_work.at(), m_work.children(), m_work.index());
  for (const Addition& addition : m_additions) {
    const Texts values = ValuesOf(addition);
    const auto like =
        values.empty() ? named.end() : named.find(NameKey(m_work.dialect(), values.front()));
    const Neighbours of_name =
        like == named.end() ? Neighbours() : like->second.Around(addition.position);
    const Layout::Place place =
        addition.before == kNoChild
            ? m_work.rewrites().Outside(places.For(values, of_name, own.Around(addition.position)))
            : Beside(m_work.ChildAt(addition.before), Layout::Place::Kind::kBefore);
    Add(addition, place);
  }
}

Texts Additions::ValuesOf(const Addition& addition) const {
  const TemplateLine& line = m_work.Line(addition.position);
  return line.kind == Kind::kDirective ? line.now->words : Texts();
}

void Additions::Add(const Addition& addition, const Layout::Place& place) {
  const TemplateLine& line = m_work.Line(addition.position);
  if (m_work.RoleOfLine(line) != Role::kPlain) m_work.planning().plan.identities = true;
  Texts texts;
  for (const std::size_t condition : addition.conditions) {
    texts.push_back(m_work.Line(condition).now->text);
    m_work.Tell(Event::Kind::kAdded, condition, kNoChild, texts.back());
  }
  texts.push_back(addition.words.empty() ? line.now->text : Joined(addition.words));
  m_work.Tell(Event::Kind::kAdded, addition.position, kNoChild, texts.back());
  m_work.planning().layout.Add(place, texts, std::vector<std::size_t>(texts.size(), 0), false,
                               m_work.NumberOf(addition.position));
}

}  // namespace tov_edit
