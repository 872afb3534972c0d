// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/plain_lines.h"

#include <algorithm>
#include <vector>

#include "edit/match/text_search.h"
#include "edit/plan/plan.h"

namespace tov_edit {

using Kind = TemplateLine::Kind;

bool PlainLines::IsPlain(std::size_t position) const {
  const TemplateLine& line = m_work.Line(position);
  return m_work.IsTaken(position, Kind::kDirective) && !line.beginning &&
         m_work.RoleOfLine(line) == Role::kPlain;
}

Step PlainLines::StepOf(std::size_t position) {
  if (!m_steps) m_steps = AllSteps();
  const auto step = m_steps->find(position);
  return step == m_steps->end() ? Step::kAlone : step->second;
}

// A line that changes alone has none to change places with.
std::map<std::size_t, Step> PlainLines::AllSteps() const {
  Positions positions;
  for (std::size_t i = 0; i < m_work.LineCount(); ++i) {
    const TemplateLine& line = m_work.Line(i);
    if (m_work.IsDone(i) || !IsPlain(i) || !StatesOther(line) || line.raw) continue;
    positions.push_back(i);
  }
  if (positions.size() < 2) return {};
  std::vector<Move> moves;
  moves.reserve(positions.size());
  for (const std::size_t position : positions) {
    const TemplateLine& line = m_work.Line(position);
    moves.push_back(
        {KeyOf(m_work.dialect(), line.was->words), KeyOf(m_work.dialect(), line.now->words),
         m_work.FirstFreeLike(line.was) != kNoChild, m_work.FirstFreeLike(line.now) != kNoChild});
  }
  const std::vector<Step> steps = StepsOf(moves, [&](const Positions& circle) {
    Positions children;
    for (const std::size_t move : circle) {
      const TemplateLine& line = m_work.Line(positions[move]);
      children.push_back(m_work.FirstFreeLike(line.was));
    }
    return std::is_sorted(children.begin(), children.end());
  });
  std::map<std::size_t, Step> by_position;
  for (std::size_t i = 0; i < moves.size(); ++i) by_position.emplace(positions[i], steps[i]);
  return by_position;
}

void PlainLines::ClaimOld(std::size_t position) {
  if (!IsPlain(position) || StepOf(position) == Step::kStays) return;
  const TemplateLine& line = m_work.Line(position);
  const std::size_t child = m_work.FirstFreeLike(line.was);
  if (child == kNoChild) return;
  if (!m_work.IsOwn(child)) {
    const std::size_t other = m_work.FirstFreeLike(line.now);
    if (other != kNoChild && m_work.IsOwn(other)) return;
  }
  if (!line.raw && line.was->words == line.now->words) {
    m_work.Found(position, child);
  } else {
    m_work.Change(position, child, *line.now);
  }
}

void PlainLines::ChangeRepeated() {
  for (std::size_t position = 0; position < m_work.LineCount(); ++position) {
    const TemplateLine& line = m_work.Line(position);
    const std::size_t first = m_work.FoundFor(position);
    if (first == kNoChild || !IsPlain(position) || !StatesOther(line)) continue;
    if (m_work.rewrites().IsPart(first)) continue;
    for (const std::size_t child : m_work.FreeLike(line.was.get())) {
      if (m_work.IsOwn(child) == m_work.IsOwn(first)) m_work.Change(position, child, *line.now);
    }
    m_work.SetFound(position, first);
  }
}

void PlainLines::ClaimNew(std::size_t position) {
  if (!IsPlain(position)) return;
  const TemplateLine& line = m_work.Line(position);
  if (line.raw) {
    ClaimRaw(position);
    return;
  }
  const std::size_t free = m_work.FirstFreeLike(line.now);
  const std::size_t child = free == kNoChild ? m_work.ClaimedLike(*line.now) : free;
  child == kNoChild ? m_additions.ToBeAdded(position) : m_work.Found(position, child);
}

// What is put in as it is may be anything: it is there when its bytes are.
void PlainLines::ClaimRaw(std::size_t position) {
  m_work.planning().plan.raw = true;
  if (!m_raw) m_raw = RawLinesThere();
  const bool there = m_raw->count(m_work.Line(position).now->text) != 0;
  there ? m_work.Done(position) : m_additions.ToBeAdded(position);
}

std::unordered_set<std::string_view> PlainLines::RawLinesThere() const {
  std::vector<std::string_view> texts;
  for (std::size_t position = 0; position < m_work.LineCount(); ++position) {
    const TemplateLine& line = m_work.Line(position);
    if (line.raw && line.now) texts.push_back(line.now->text);
  }
  const Document& document = m_work.planning().contents.document();
  return TextsIn(document.Bytes(document.blocks()[m_work.at()].body()), texts);
}

void PlainLines::ClaimBeginning(std::size_t position) {
  const TemplateLine& line = m_work.Line(position);
  if (!m_work.IsTaken(position, Kind::kDirective) || !line.beginning) return;
  const std::size_t claimed = m_work.ClaimedLike(*line.now);
  if (claimed != kNoChild) {
    m_work.Found(position, claimed);
    return;
  }
  const auto child = m_work.OneBeginning(position);
  if (!child) return;
  *child == kNoChild ? m_additions.ToBeAdded(position) : m_work.Settle(position, *child);
}

void PlainLines::ClaimComment(std::size_t position) {
  if (!m_work.IsTaken(position, Kind::kComment)) return;
  const TemplateLine& line = m_work.Line(position);
  const std::size_t now = FirstComment(line.now, true);
  const std::size_t was = FirstComment(line.was, false);
  if (now != kNoChild && (was == kNoChild || now <= was)) {
    m_work.Found(position, now);
  } else if (was != kNoChild) {
    m_work.Claim(was, {});
    m_work.SetFound(position, was);
    m_work.planning().layout.ChangeComment(m_work.ChildAt(was), line.now->text,
                                           m_work.NumberOf(position));
    m_work.Tell(Event::Kind::kChanged, position, was, line.now->text);
    m_work.Done(position);
  } else {
    m_additions.ToBeAdded(position);
  }
}

std::size_t PlainLines::FirstComment(const WrittenPtr& written, bool claimed_too) {
  if (!written) return kNoChild;
  const Positions& alike = m_work.index().Comments(written->text);
  std::size_t& next = m_next_comment[{written->text, claimed_too}];
  const auto fits = [&](std::size_t child) {
    return m_work.IsClaimed(child) ? claimed_too : !m_work.IsRemoved(child);
  };
  while (next < alike.size() && !fits(alike[next])) ++next;
  return next < alike.size() ? alike[next] : kNoChild;
}

}  // namespace tov_edit
