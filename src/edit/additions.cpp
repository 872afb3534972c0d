// SPDX-License-Identifier: Apache-2.0

#include "edit/additions.h"

#include <algorithm>
#include <map>

#include "edit/comparison.h"
#include "edit/placement.h"
#include "edit/repetition.h"

namespace edit {
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
  if (m_added.count(line.now->text) != 0) return;
  if (line.kind == Kind::kDirective && !line.raw && !MayBeAdded(position)) return;
  AddLater(position);
}

void Additions::AddLater(std::size_t position) {
  const TemplateLine& line = m_work.Line(position);
  m_additions.push_back({position});
  m_added.insert(line.now->text);
  if (line.raw) m_work.planning().plan.raw = true;
}

Addition* Additions::LastFor(std::size_t position) {
  const bool is_last = !m_additions.empty() && m_additions.back().position == position;
  return is_last ? &m_additions.back() : nullptr;
}

bool Additions::MayBeAdded(std::size_t position) {
  const TemplateLine& line = m_work.Line(position);
  const std::string& name = m_work.NameOf(line);
  const std::size_t other = m_work.FirstFreeNamed(name);
  if (other == kNoChild) return true;
  const Repetition repetition = RepetitionOf(m_work.dialect(), name);
  if (repetition == Repetition::kOnce && GoesLater(name)) return true;
  if (repetition == Repetition::kOnce) return RefuseOther(position, other);
  if (repetition == Repetition::kUnknown || StatesOther(line)) {
    m_work.Warn(position,
                {"second-line",
                 Quoted(line.now->text) + " is added beside " + m_work.ShownChild(other),
                 "If it is to replace that one, give its value as the old one, or use a trailing "
                 "place",
                 {},
                 {m_work.PlaceOfChild(other)}});
  }
  return true;
}

// Whether a line that is not taken removes the directives of this name.
bool Additions::GoesLater(const std::string& name) const {
  const Positions there = m_work.FreeOf(m_work.index().Named(name));
  return std::all_of(there.begin(), there.end(), [&](std::size_t child) {
    return std::any_of(m_work.lines().begin(), m_work.lines().end(), [&](std::size_t number) {
      const TemplateLine& line = m_work.planning().tree.lines[number];
      if (line.enabled || line.kind != Kind::kDirective) return false;
      const Texts& values = m_work.ChildAt(child).values;
      if (line.beginning && BeginsWith(m_work.dialect(), values, *line.beginning)) return true;
      return (line.was && SameWords(m_work.dialect(), values, line.was->words)) ||
             (line.now && SameWords(m_work.dialect(), values, line.now->words));
    });
  });
}

bool Additions::RefuseOther(std::size_t position, std::size_t other) {
  if (m_work.IsForced("other-value")) {
    if (!m_work.IsDone(position)) {
      AddLater(position);
      m_work.Done(position);
    }
    return true;
  }
  const TemplateLine& line = m_work.Line(position);
  const std::string end = m_work.dialect() == Dialect::kNginx ? ";" : "";
  const bool address = m_work.RoleOfLine(line) == Role::kAddress && line.now->words.size() > 1;
  const std::string beginning =
      m_work.NameOf(line) + (address ? " " + line.now->spelled[1] : std::string());
  m_work.Refuse(position, {"other-value",
                           Quoted(line.now->text) + " is not there, but " +
                               m_work.ShownChild(other) + ", and the server wants one of them only",
                           "Give the value that is there as the old one" +
                               (m_work.IsOwn(other)
                                    ? ", or write a trailing place: " +
                                          Quoted(beginning + " [% $value %]" + end)
                                    : " of a full place, or write the condition into the template"),
                           {},
                           {m_work.PlaceOfChild(other)}});
  return false;
}

void Additions::AddAll() {
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

}  // namespace edit
