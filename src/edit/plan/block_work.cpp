// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/block_work.h"

#include <algorithm>
#include <utility>

#include "edit/finding.h"
#include "edit/tree/limits.h"

namespace tov_edit {

using Kind = TemplateLine::Kind;

BlockWork::BlockWork(const Planning& planning, std::size_t block, BlockId at)
    : m_planning(planning),
      m_dialect(planning.request.dialect),
      m_at(at),
      m_children(planning.contents.WithConditions(at, planning.matched)),
      m_lines(planning.tree.blocks[block].children),
      m_index(planning.contents.document(), m_children),
      m_rewrites(m_dialect, m_children, m_index),
      m_words(planning.contents.document(), at, m_children),
      m_claimed(m_children.size(), false),
      m_removed(m_children.size(), false),
      m_found(m_lines.size(), kNoChild),
      m_done(m_lines.size(), false) {}

std::string BlockWork::BlockName() const {
  return m_at == tov_document::kWholeText ? std::string()
                                          : m_planning.contents.HeadOf(m_at).front();
}

// --- The lines ---

const TemplateLine& BlockWork::Line(std::size_t position) const {
  return m_planning.tree.lines[m_lines[position]];
}

const std::string& BlockWork::NameOf(const TemplateLine& line) const {
  static const std::string none;
  for (const auto* const written : {&line.now, &line.was}) {
    if (*written && !(*written)->words.empty()) return (*written)->words.front();
  }
  const bool named = line.beginning && !line.beginning->words.empty();
  return named ? line.beginning->words.front() : none;
}

Role BlockWork::RoleOfLine(const TemplateLine& line) const {
  if (line.raw) return Role::kPlain;
  const Role role = RoleOf(m_dialect, NameOf(line));
  // A raw value may leave nothing of the argument that the others are compared by.
  const bool compares = role == Role::kAddress || (role == Role::kNames && line.beginning &&
                                                   line.beginning->words.size() > 1);
  const bool is_bare = line.now && line.now->words.size() < 2;
  return compares && is_bare ? Role::kPlain : role;
}

bool BlockWork::IsTaken(std::size_t position, Kind kind) const {
  const TemplateLine& line = Line(position);
  return line.kind == kind && line.enabled;
}

bool StatesOther(const TemplateLine& line) {
  return line.old_given && line.was && line.now && line.was->words != line.now->words;
}

// --- The children ---

bool BlockWork::HasOwn(const Positions& children) const {
  return std::any_of(children.begin(), children.end(),
                     [this](std::size_t child) { return IsOwn(child); });
}

Positions BlockWork::OwnFirst(Positions children) const {
  if (!HasOwn(children)) return children;
  children.erase(std::remove_if(children.begin(), children.end(),
                                [this](std::size_t child) { return !IsOwn(child); }),
                 children.end());
  return children;
}

bool BlockWork::IsFree(std::size_t child) const {
  return m_children[child]->IsDirective() && !m_claimed[child] && !m_removed[child];
}

Positions BlockWork::FreeOf(Positions children) const {
  children.erase(std::remove_if(children.begin(), children.end(),
                                [this](std::size_t child) { return !IsFree(child); }),
                 children.end());
  return children;
}

BlockWork::Alike& BlockWork::AlikeOf(const Texts& words) {
  const auto [known, is_new] = m_alike.try_emplace(AllOf(words));
  Alike& alike = known->second;
  if (is_new) alike.children = m_index.Like(words);
  const Positions& all = alike.children;
  while (alike.free < all.size() && !IsFree(all[alike.free])) ++alike.free;
  return alike;
}

Positions BlockWork::FreeLike(const Written* written) {
  if (!written) return {};
  const Alike& alike = AlikeOf(written->words);
  const auto first = alike.children.begin() + static_cast<std::ptrdiff_t>(alike.free);
  return FreeOf(Positions(first, alike.children.end()));
}

std::size_t BlockWork::FirstFreeLike(const WrittenPtr& written) {
  if (!written) return kNoChild;
  Alike& alike = AlikeOf(written->words);
  const Positions& all = alike.children;
  const auto is_free_own = [&](std::size_t child) { return IsOwn(child) && IsFree(child); };
  while (alike.own < all.size() && !is_free_own(all[alike.own])) ++alike.own;
  const std::size_t first = alike.own < all.size() ? alike.own : alike.free;
  return first < all.size() ? all[first] : kNoChild;
}

Positions BlockWork::FreeBeginning(const std::optional<Beginning>& beginning) const {
  return beginning ? FreeOf(m_index.BeginningWith(*beginning)) : Positions();
}

std::size_t BlockWork::FirstFreeNamed(const std::string& name) {
  const Positions& named = m_index.Named(name);
  std::size_t& next = m_next_named[NameKey(m_dialect, name)];
  while (next < named.size() && !IsFree(named[next])) ++next;
  return next < named.size() ? named[next] : kNoChild;
}

std::size_t BlockWork::ClaimedLike(const Written& written) const {
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

std::optional<std::size_t> BlockWork::OneBeginning(std::size_t position) {
  const TemplateLine& line = Line(position);
  Positions fitting = FreeBeginning(line.beginning);
  const Positions renamed = FreeBeginning(line.new_beginning);
  if (fitting.empty() || (!HasOwn(fitting) && HasOwn(renamed))) fitting = renamed;
  // What goes has to go from the conditions, too.
  if (line.enabled) fitting = OwnFirst(std::move(fitting));
  if (fitting.size() < 2) return fitting.empty() ? kNoChild : fitting.front();
  for (const WrittenPtr* const written : {&line.was, &line.now}) {
    const Positions alike = OwnFirst(FreeLike(written->get()));
    if (!alike.empty()) return alike.front();
  }
  RefuseSeveral(position, fitting);
  return std::nullopt;
}

// --- What becomes of them ---

void BlockWork::Claim(std::size_t child, const Texts& values) {
  m_claimed[child] = true;
  if (m_children[child]->IsDirective()) m_claimed_like[KeyOf(m_dialect, values)].insert(child);
}

void BlockWork::Found(std::size_t position, std::size_t child) {
  if (!m_claimed[child]) Claim(child, m_children[child]->values);
  m_found[position] = child;
  Tell(Event::Kind::kFound, position, child, TextOf(child));
  Done(position);
}

void BlockWork::Change(std::size_t position, std::size_t child, const Written& written) {
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

void BlockWork::Settle(std::size_t position, std::size_t child) {
  const Written& now = *Line(position).now;
  m_children[child]->values == now.words ? Found(position, child) : Change(position, child, now);
}

void BlockWork::Remove(std::size_t position, std::size_t child) {
  if (m_found[position] == kNoChild) m_found[position] = child;
  TakeAway(position, child);
  for (const std::size_t condition : m_rewrites.ConditionsOf(child)) {
    if (!m_removed[condition]) TakeAway(position, condition);
  }
  Done(position);
}

void BlockWork::TakeAway(std::size_t position, std::size_t child) {
  m_removed[child] = true;
  m_words.Take(child);
  m_planning.layout.Remove(*m_children[child], m_lines[position], false);
  Tell(Event::Kind::kRemoved, position, child, std::string());
}

void BlockWork::Tell(Event::Kind kind, std::size_t position, std::size_t child,
                     const std::string& to) {
  m_planning.plan.events.push_back(
      {kind, m_lines[position], child == kNoChild ? Span() : m_children[child]->bytes, to});
}

// --- What is said of them ---

bool BlockWork::IsForced(const char* name) const {
  return m_planning.request.forced.count(name) != 0;
}

void BlockWork::Refuse(std::size_t position, Finding finding) {
  finding.template_place = Line(position).place;
  m_planning.findings.refusals.push_back(std::move(finding));
  Done(position);
}

void BlockWork::RefuseSeveral(std::size_t position, const Positions& fitting) {
  constexpr std::size_t kMost = 5;
  Finding finding{"ambiguous", Quoted(Line(position).text) + " fits several directives: "};
  for (std::size_t i = 0; i < std::min(fitting.size(), kMostPlacesNamed); ++i) {
    finding.config_places.push_back(PlaceOfChild(fitting[i]));
    if (i < kMost) finding.message += (i == 0 ? "" : ", ") + ShownChild(fitting[i]);
  }
  const bool own = std::all_of(fitting.begin(), fitting.end(),
                               [this](std::size_t child) { return IsOwn(child); });
  finding.hint =
      own ? "Write more of the line before the place, or a full place {% ... %} with the "
            "old value"
          : "Write the condition into the template around the one that is meant, or a "
            "full place {% ... %} with the old value";
  Refuse(position, std::move(finding));
}

void BlockWork::RefuseMissing(std::size_t position) {
  Refuse(position,
         {"not-found", Quoted(Line(position).text) + " is to be removed, and is not there",
          "Correct its old value"});
}

void BlockWork::Warn(std::size_t position, Finding finding) {
  finding.template_place = Line(position).place;
  m_planning.findings.warnings.push_back(std::move(finding));
}

FilePlace BlockWork::PlaceOfChild(std::size_t child) const {
  return m_planning.contents.PlaceOf(m_planning.config_name, m_children[child]->bytes.begin);
}

std::string BlockWork::ShownChild(std::size_t child) const {
  return Shown(PlaceOfChild(child)) + " " + Quoted(TextOf(child));
}

std::string BlockWork::TextOf(std::size_t child) const {
  return std::string(m_planning.contents.document().Bytes(m_children[child]->bytes));
}

}  // namespace tov_edit
