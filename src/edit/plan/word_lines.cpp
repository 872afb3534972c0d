// SPDX-License-Identifier: Apache-2.0

#include "edit/plan/word_lines.h"

#include <algorithm>
#include <string>

#include "document/meaning.h"
#include "edit/plan/plan.h"

namespace tov_edit {
namespace {

using tov_document::SameName;
using Kind = TemplateLine::Kind;
using Outcome = WordDirectives::Outcome;

Texts NameAndAddress(const Written& written) {
  return {written.words.front(), tov_document::ListenAddress(written.words)};
}

}  // namespace

// Taken ones with their full text, which are still to be settled.
std::vector<std::size_t> WordLines::LinesOf(Role role) const {
  std::vector<std::size_t> positions;
  for (std::size_t position = 0; position < m_work.LineCount(); ++position) {
    const TemplateLine& line = m_work.Line(position);
    const bool is_stated =
        m_work.IsTaken(position, Kind::kDirective) && !m_work.IsDone(position) && !line.beginning;
    if (is_stated && m_work.RoleOfLine(line) == role) positions.push_back(position);
  }
  return positions;
}

const WordLines::Steps& WordLines::AllSteps() {
  if (m_steps) return *m_steps;
  m_steps.emplace();
  const auto read = [this](const std::vector<std::size_t>& positions) {
    std::vector<WordDirectives::Line> lines;
    for (const std::size_t position : positions) {
      const TemplateLine& line = m_work.Line(position);
      lines.push_back({line.was ? &*line.was : &*line.now, &*line.now});
    }
    return lines;
  };
  const std::vector<std::size_t> names = LinesOf(Role::kNames);
  const std::vector<std::size_t> addresses = LinesOf(Role::kAddress);
  const auto of_names = m_work.words().StepsOfNames(read(names));
  const auto of_addresses = m_work.words().StepsOfAddresses(read(addresses));
  for (std::size_t i = 0; i < names.size(); ++i) m_steps->names[names[i]] = of_names[i];
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    m_steps->addresses[addresses[i]] = of_addresses[i];
  }
  return *m_steps;
}

void WordLines::State(std::size_t position) {
  const TemplateLine& line = m_work.Line(position);
  if (!m_work.IsTaken(position, Kind::kDirective) || line.beginning) return;
  const Written& was = line.was ? *line.was : *line.now;
  switch (m_work.RoleOfLine(line)) {
    case Role::kNames:
      StateNames(position, true);
      break;
    case Role::kAddress:
      Take(position, m_work.words().StateAddress(line.was ? &was : nullptr, *line.now,
                                                 StatesOther(line) || TakesTheBranchOfAnother(line),
                                                 AllSteps().addresses.at(position)));
      break;
    case Role::kOptions:
      StateOptions(position, was);
      break;
    case Role::kPlain:
      break;
  }
}

// `may_wait`: what is not there yet may be among the names of a trailing place.
void WordLines::StateNames(std::size_t position, bool may_wait) {
  const TemplateLine& line = m_work.Line(position);
  const Written& was = line.was ? *line.was : *line.now;
  const Outcome outcome = m_work.words().StateNames(was, *line.now, AllSteps().names.at(position));
  if (outcome.kind == Outcome::Kind::kMissing && may_wait) {
    m_missing_names.push_back(position);
  } else {
    Take(position, outcome);
  }
}

void WordLines::StateMissingNames() {
  for (const std::size_t position : m_missing_names) StateNames(position, false);
}

// Whether a line that is not taken states the same address: then the options differ on purpose.
bool WordLines::TakesTheBranchOfAnother(const TemplateLine& line) {
  if (!m_untaken) m_untaken = UntakenAddresses();
  return line.now->words.size() > 1 && m_untaken->count(NameAndAddress(*line.now)) != 0;
}

std::set<Texts> WordLines::UntakenAddresses() const {
  std::set<Texts> addresses;
  for (const std::size_t number : m_work.lines()) {
    const TemplateLine& line = m_work.planning().tree.lines[number];
    if (line.enabled || line.kind != Kind::kDirective) continue;
    for (const auto* const written : {&line.was, &line.now}) {
      if (*written && (*written)->words.size() > 1) addresses.insert(NameAndAddress(**written));
    }
  }
  return addresses;
}

void WordLines::StateAll(std::size_t position) {
  const TemplateLine& line = m_work.Line(position);
  if (!m_work.IsTaken(position, Kind::kDirective) || !line.beginning) return;
  const bool has_fixed = line.beginning->words.size() > 1;
  if (m_work.RoleOfLine(line) == Role::kNames) {
    Take(position,
         m_work.words().StateAllNames(has_fixed ? line.beginning->words[1] : std::string(),
                                      has_fixed ? line.now->words[1] : std::string(), *line.now));
  } else if (m_work.RoleOfLine(line) == Role::kAddress && has_fixed) {
    Take(position, m_work.words().StateAllOptions(line.was ? &*line.was : nullptr, *line.now));
  }
}

void WordLines::StateOptions(std::size_t position, const Written& was) {
  const TemplateLine& line = m_work.Line(position);
  if (m_options != nullptr) {
    JoinOptions(position, *m_options);
    return;
  }
  const Outcome outcome = m_work.words().StateOptions(was, *line.now);
  if (outcome.kind == Outcome::Kind::kMissing) {
    m_additions.ToBeAdded(position);
    m_options = m_additions.LastFor(position);
    if (m_options != nullptr) m_options->words = WordsOf(*line.now);
    return;
  }
  const WordDirectives::Directive& directive = *m_work.words().Of(outcome.children.front());
  if (RefuseMixed(position, *directive.before, directive.words)) return;
  Take(position, outcome);
}

// The words of a line beside those of one that is to be added.
void WordLines::JoinOptions(std::size_t position, Addition& addition) {
  const Texts before = ValuesOf(addition.words);
  for (const NewWord& word : WordsOf(*m_work.Line(position).now)) {
    const bool there = std::any_of(
        addition.words.begin(), addition.words.end(),
        [&](const NewWord& other) { return SameName(Dialect::kApache, other.value, word.value); });
    if (!there) addition.words.push_back(word);
  }
  if (!RefuseMixed(position, before, addition.words)) m_work.Done(position);
}

bool WordLines::RefuseMixed(std::size_t position, const Texts& before, const Words& after) {
  const auto mixed = [](const Texts& values) {
    return AreMixedOptions(Texts(values.begin() + 1, values.end()));
  };
  if (mixed(before) || !mixed(ValuesOf(after)) || m_work.IsForced("mixed-options")) return false;
  m_work.Refuse(position,
                {"mixed-options",
                 "with this line the block would have " + Quoted(Joined(after)) +
                     ", and httpd does not take words with a sign beside words without one",
                 "Write all of them in one way"});
  return true;
}

void WordLines::Take(std::size_t position, const Outcome& outcome) {
  switch (outcome.kind) {
    case Outcome::Kind::kMissing:
      m_additions.ToBeAdded(position);
      return;
    case Outcome::Kind::kSeveral:
      m_work.RefuseSeveral(position, outcome.children);
      return;
    case Outcome::Kind::kOther:
      m_additions.RefuseOther(position, outcome.children.front());
      return;
    case Outcome::Kind::kFound:
      m_work.Found(position, outcome.children.front());
      return;
    case Outcome::Kind::kChanged:
      m_work.Claim(outcome.children.front(), m_work.ChildAt(outcome.children.front()).values);
      Changed(position, outcome.children);
      return;
  }
}

void WordLines::Changed(std::size_t position, const Positions& children) {
  m_work.SetFound(position, children.front());
  for (const std::size_t child : children) m_changes.emplace_back(position, child);
  m_work.Done(position);
}

bool WordLines::Remove(std::size_t position, Role role, const Written& written) {
  WordDirectives& words = m_work.words();
  const Positions changed = role == Role::kNames     ? words.RemoveNames(written)
                            : role == Role::kOptions ? words.RemoveOptions(written)
                                                     : words.RemoveAddress(written);
  if (!changed.empty()) Changed(position, changed);
  return !changed.empty();
}

void WordLines::RemoveAllNames(std::size_t position) {
  const Texts& words = m_work.Line(position).beginning->words;
  const Outcome outcome =
      m_work.words().FindAllNames(words.front(), words.size() > 1 ? words[1] : std::string());
  if (outcome.kind == Outcome::Kind::kSeveral) {
    m_work.RefuseSeveral(position, outcome.children);
  } else if (outcome.kind == Outcome::Kind::kFound) {
    m_work.Remove(position, outcome.children.front());
  }
}

void WordLines::Write() {
  std::set<std::size_t> written;
  for (const auto& [position, child] : m_changes) {
    const WordDirectives::Directive& directive = *m_work.words().Of(child);
    const bool gone = directive.words.size() < 2;
    std::string text = Joined(directive.words);
    if (m_work.dialect() == Dialect::kNginx) text += ';';
    m_work.Tell(gone ? Event::Kind::kRemoved : Event::Kind::kChanged, position, child,
                gone ? std::string() : text);
    if (m_work.IsRemoved(child) || !written.insert(child).second || !directive.IsChanged())
      continue;
    m_work.planning().plan.identities = true;
    if (gone) {
      m_work.planning().layout.Remove(m_work.ChildAt(child), m_work.NumberOf(position), false);
    } else {
      m_work.planning().layout.ChangeWords(m_work.ChildAt(child), directive.words,
                                           m_work.NumberOf(position));
    }
  }
}

}  // namespace tov_edit
