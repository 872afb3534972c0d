// SPDX-License-Identifier: Apache-2.0

#include "edit/attack/judge.h"

#include <algorithm>
#include <map>

#include "edit/config_tree.h"

namespace attack {
namespace {

using edit_judge::LowerCase;
using edit_judge::ReadTree;
using edit_judge::Tree;

std::string Shown(const std::vector<std::string>& words) {
  std::string shown;
  for (const std::string& word : words) shown += "[" + word + "]";
  return shown;
}

bool Contains(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// Directives whose words count one by one, so that those of several lines may come together.
bool IsOfWords(Dialect dialect, const std::string& name) {
  static const std::vector<std::string> kNginx = {"server_name", "listen"};
  static const std::vector<std::string> kApache = {"servername", "serveralias", "options"};
  return Contains(dialect == Dialect::kNginx ? kNginx : kApache,
                  dialect == Dialect::kNginx ? name : LowerCase(name));
}

}  // namespace

Judge::Judge(const Attempt& attempt, bool quoted) : m_attempt(attempt) {
  if (attempt.odd_condition) m_refused = "a value in a condition is no operand of its own";
  Texts now;
  Texts was;
  for (const auto& [name, value] : attempt.values) {
    if (value.new_value) now[name] = *value.new_value;
    if (value.new_value || value.old_value) {
      was[name] = value.old_value ? *value.old_value : *value.new_value;
    }
  }
  const auto read = quoted ? ReadQuotedLine : ReadLine;
  for (const Line& line : attempt.lines) {
    Meant meant;
    if (IsComplete(line.text, now)) meant.now = read(attempt.dialect, line, now);
    if (IsComplete(line.text, was)) meant.was = read(attempt.dialect, line, was);
    const bool matters = line.taken && meant.now && !meant.now->in_place;
    if (matters && m_refused.empty()) m_refused = "'" + line.text + "': " + meant.now->why;
    const bool is_there = line.kind == Line::Kind::kOpening &&
                          !attempt.blocks.at(line.block).mark.empty() && meant.was;
    if (quoted && is_there && ReadLine(attempt.dialect, line, was).words != meant.was->words) {
      m_is_open = true;
    }
    m_meant.push_back(std::move(meant));
  }
}

bool Judge::MayBeWritten() const {
  return std::all_of(m_meant.begin(), m_meant.end(), [](const Meant& meant) {
    return (!meant.now || meant.now->in_place) && (!meant.was || meant.was->in_place);
  });
}

std::string Judge::LabelOf(std::size_t block) const {
  if (block == 0) return "";
  const std::string& mark = m_attempt.blocks.at(block).mark;
  return mark.empty() ? "new " + std::to_string(block) : mark;
}

Judge::Entries Judge::EntriesOf(const std::string& text, std::string& error) const {
  const Tree tree = ReadTree(m_attempt.dialect, text);
  error = tree.error;
  Entries entries;
  std::map<std::size_t, std::string> labels;
  for (std::size_t i = 1; i < tree.nodes.size(); ++i) {
    const edit_judge::Node& node = tree.nodes.at(i);
    Entry entry;
    entry.block = node.parent == 0 ? "" : labels.at(node.parent);
    entry.is_block = node.is_block;
    for (const auto& word : node.words) entry.words.push_back(word.value);
    if (node.is_block) {
      std::string label;
      for (const std::size_t inside : Inside(tree, i)) {
        const edit_judge::Node& child = tree.nodes.at(inside);
        if (child.words.front().value == "mark") label = child.words.at(1).value;
      }
      for (std::size_t line = 0; line < m_attempt.lines.size() && label.empty(); ++line) {
        const Line& opening = m_attempt.lines.at(line);
        const Meant& meant = m_meant.at(line);
        const bool is_this = opening.kind == Line::Kind::kOpening && meant.now &&
                             LabelOf(opening.block).rfind("new", 0) == 0 &&
                             meant.now->words == entry.words;
        if (is_this) label = LabelOf(opening.block);
      }
      labels[i] = label.empty() ? "other " + Shown(entry.words) : label;
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

bool Judge::IsName(const Entry& entry, const LineReading& reading) const {
  if (entry.words.empty() || reading.words.empty()) return false;
  const std::string& a = entry.words.front();
  const std::string& b = reading.words.front();
  return m_attempt.dialect == Dialect::kApache ? LowerCase(a) == LowerCase(b) : a == b;
}

// Whether an entry that was not there before is what a line of the template says. Where words count
// one by one, they may have been joined to those that were there.
bool Judge::IsMadeBy(const Entry& entry, std::size_t number, const Entries& before) const {
  const Line& line = m_attempt.lines.at(number);
  const Meant& meant = m_meant.at(number);
  const bool is_opening = line.kind == Line::Kind::kOpening;
  if (line.kind == Line::Kind::kComment || !meant.now || is_opening != entry.is_block) return false;
  const std::size_t around = is_opening ? m_attempt.blocks.at(line.block).parent : line.block;
  if (entry.block != LabelOf(around)) return false;
  if (line.taken && entry.words == meant.now->words) return true;
  if (!IsName(entry, *meant.now) || !IsOfWords(m_attempt.dialect, entry.words.front()))
    return false;
  std::vector<std::string> known;
  for (std::size_t i = 0; i < m_meant.size(); ++i) {
    if (m_meant.at(i).now && m_attempt.lines.at(i).taken) {
      const std::vector<std::string>& words = m_meant.at(i).now->words;
      known.insert(known.end(), words.begin(), words.end());
    }
  }
  for (const Entry& old : before) {
    if (old.block == entry.block) known.insert(known.end(), old.words.begin(), old.words.end());
  }
  return std::all_of(entry.words.begin(), entry.words.end(),
                     [&](const std::string& word) { return Contains(known, word); });
}

// Whether an entry that is gone is one that a line of the template is for.
bool Judge::IsTakenBy(const Entry& entry, std::size_t number) const {
  const Line& line = m_attempt.lines.at(number);
  const Meant& meant = m_meant.at(number);
  const bool is_opening = line.kind == Line::Kind::kOpening;
  if (line.kind == Line::Kind::kComment || is_opening != entry.is_block) return false;
  const std::size_t around = is_opening ? m_attempt.blocks.at(line.block).parent : line.block;
  if (entry.block != LabelOf(around)) return false;
  for (const auto* reading : {&meant.now, &meant.was}) {
    if (!*reading || !(*reading)->in_place) continue;
    if ((*reading)->words == entry.words) return true;
    if (IsName(entry, **reading) && IsOfWords(m_attempt.dialect, entry.words.front())) return true;
    const std::vector<std::string>& beginning = (*reading)->beginning;
    if ((*reading)->has_trailing && beginning.size() <= entry.words.size() &&
        std::equal(beginning.begin(), beginning.end(), entry.words.begin())) {
      return true;
    }
  }
  return false;
}

// How many directives a line may make: one, or as many as there were with its old words.
std::size_t Judge::MostMadeBy(std::size_t number, const Entries& before) const {
  const Line& line = m_attempt.lines.at(number);
  const Meant& meant = m_meant.at(number);
  if (line.kind != Line::Kind::kDirective || !line.taken || !meant.was) return 1;
  const auto like = std::count_if(before.begin(), before.end(), [&](const Entry& entry) {
    return entry.block == LabelOf(line.block) && entry.words == meant.was->words;
  });
  return std::max<std::size_t>(1, static_cast<std::size_t>(like));
}

std::string Judge::WrongAdditions(const Entries& before, const Entries& added) const {
  std::vector<std::size_t> made(m_attempt.lines.size());
  for (const Entry& entry : added) {
    bool found = false;
    for (std::size_t i = 0; i < m_meant.size() && !found; ++i) {
      found = made.at(i) < MostMadeBy(i, before) && IsMadeBy(entry, i, before);
      if (found) ++made.at(i);
    }
    if (!found) return "in '" + entry.block + "' nobody asked for " + Shown(entry.words);
  }
  return "";
}

std::string Judge::WrongRemovals(const Entries& removed) const {
  for (const Entry& entry : removed) {
    bool found = false;
    for (std::size_t i = 0; i < m_meant.size() && !found; ++i) found = IsTakenBy(entry, i);
    if (!found) return "in '" + entry.block + "' no line takes away " + Shown(entry.words);
  }
  return "";
}

std::string Judge::Missing(const Entries& after) const {
  for (std::size_t i = 0; i < m_meant.size(); ++i) {
    const Line& line = m_attempt.lines.at(i);
    const Meant& meant = m_meant.at(i);
    if (line.kind != Line::Kind::kDirective || !line.taken || !meant.now) continue;
    if (IsOfWords(m_attempt.dialect, meant.now->words.front())) continue;
    const std::string label = LabelOf(line.block);
    const bool found = std::any_of(after.begin(), after.end(), [&](const Entry& entry) {
      return entry.block == label && !entry.is_block && IsName(entry, *meant.now) &&
             std::equal(entry.words.begin() + 1, entry.words.end(), meant.now->words.begin() + 1,
                        meant.now->words.end());
    });
    if (!found) return "in '" + label + "' there is no " + Shown(meant.now->words);
  }
  return "";
}

std::string Judge::WhatIsWrong(const std::string& result) const {
  if (!m_refused.empty()) return "it is not refused, though " + m_refused;
  if (m_is_open) return "";
  std::string error;
  const Entries before = EntriesOf(m_attempt.config, error);
  if (!error.empty()) return "the attempt itself does not read: " + error;
  const Entries after = EntriesOf(result, error);
  if (!error.empty()) return "the result does not read: " + error;
  const auto without = [](const Entries& entries, Entries others) {
    Entries left;
    for (const Entry& entry : entries) {
      const auto same = std::find_if(others.begin(), others.end(), [&](const Entry& other) {
        return other.block == entry.block && other.is_block == entry.is_block &&
               other.words == entry.words;
      });
      if (same == others.end()) {
        left.push_back(entry);
      } else {
        others.erase(same);
      }
    }
    return left;
  };
  std::string wrong = WrongAdditions(before, without(after, before));
  if (wrong.empty()) wrong = WrongRemovals(without(before, after));
  return wrong.empty() ? Missing(after) : wrong;
}

std::string Judge::WhatIsWrongInPrototype(const std::string& prototype) const {
  const Tree tree = ReadTree(m_attempt.dialect, prototype);
  if (!tree.error.empty()) return "it does not read: " + tree.error;
  std::vector<bool> used(m_attempt.lines.size());
  for (std::size_t i = 1; i < tree.nodes.size(); ++i) {
    std::vector<std::string> words;
    for (const auto& word : tree.nodes.at(i).words) words.push_back(word.value);
    bool found = false;
    for (std::size_t line = 0; line < m_meant.size() && !found; ++line) {
      const Meant& meant = m_meant.at(line);
      const bool is_opening = m_attempt.lines.at(line).kind == Line::Kind::kOpening;
      found = !used.at(line) && meant.now && meant.now->in_place &&
              m_attempt.lines.at(line).taken && is_opening == tree.nodes.at(i).is_block &&
              meant.now->words == words;
      if (found) used.at(line) = true;
    }
    if (!found) return "nobody asked for " + Shown(words);
  }
  return "";
}

}  // namespace attack
