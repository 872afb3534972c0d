// SPDX-License-Identifier: Apache-2.0

#include "edit/match/child_index.h"

#include <algorithm>

namespace tov_edit {

ChildIndex::ChildIndex(const Document& document, const std::vector<const Child*>& children)
    : m_dialect(document.dialect()), m_children(children) {
  m_directives.reserve(children.size());
  for (std::size_t i = 0; i < children.size(); ++i) {
    const Child& child = *children[i];
    if (child.IsDirective()) {
      m_directives.emplace_back(KeyOf(m_dialect, child.values), i);
    } else if (child.kind == tov_document::NodeKind::kComment) {
      const std::string_view text = document.Bytes(child.bytes);
      m_comments[text.substr(0, text.find_last_not_of(" \t\r\n") + 1)].push_back(i);
    }
  }
  std::sort(m_directives.begin(), m_directives.end());
}

ChildIndex::Positions ChildIndex::Like(const Texts& words) const {
  Positions found;
  if (words.empty()) return found;
  const std::string key = KeyOf(m_dialect, words);
  auto entry =
      std::lower_bound(m_directives.begin(), m_directives.end(), std::pair(key, std::size_t{0}));
  for (; entry != m_directives.end() && entry->first == key; ++entry) {
    if (SameWords(m_dialect, m_children[entry->second]->values, words)) {
      found.push_back(entry->second);
    }
  }
  return found;
}

bool ChildIndex::HasLike(const Texts& words) const {
  if (words.empty()) return false;
  const std::string key = KeyOf(m_dialect, words);
  auto entry =
      std::lower_bound(m_directives.begin(), m_directives.end(), std::pair(key, std::size_t{0}));
  const auto is_like = [&] {
    return SameWords(m_dialect, m_children[entry->second]->values, words);
  };
  while (entry != m_directives.end() && entry->first == key && !is_like()) ++entry;
  return entry != m_directives.end() && entry->first == key;
}

ChildIndex::Positions ChildIndex::BeginningWith(const Beginning& beginning) const {
  const std::string key = KeyOf(m_dialect, beginning);
  Positions found;
  auto entry =
      std::lower_bound(m_directives.begin(), m_directives.end(), std::pair(key, std::size_t{0}));
  for (; entry != m_directives.end() && entry->first.compare(0, key.size(), key) == 0; ++entry) {
    if (BeginsWith(m_dialect, m_children[entry->second]->values, beginning)) {
      found.push_back(entry->second);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

const ChildIndex::Positions& ChildIndex::Named(const std::string& name) const {
  static const Positions none;
  if (!m_named) {
    m_named.emplace();
    for (std::size_t i = 0; i < m_children.size(); ++i) {
      const Child& child = *m_children[i];
      if (child.IsDirective()) (*m_named)[NameKey(m_dialect, child.values.front())].push_back(i);
    }
  }
  const auto named = m_named->find(NameKey(m_dialect, name));
  return named == m_named->end() ? none : named->second;
}

const ChildIndex::Positions& ChildIndex::Comments(const std::string& text) const {
  static const Positions none;
  const auto comments = m_comments.find(text);
  return comments == m_comments.end() ? none : comments->second;
}

}  // namespace tov_edit
