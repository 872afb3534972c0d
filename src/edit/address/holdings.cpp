// SPDX-License-Identifier: Apache-2.0

#include "edit/address/holdings.h"

#include <algorithm>

#include "document/meaning.h"
#include "edit/match/comparison.h"

namespace tov_edit {
namespace {

// Of names, listens and options the words count one by one.
bool SaysAll(const Texts& values, const Texts& words) {
  const Among among(values);
  return std::all_of(words.begin() + 1, words.end(),
                     [&among](const std::string& word) { return among.Has(word); });
}

bool HasOne(const Among& words, const Texts& sought) {
  return std::any_of(sought.begin(), sought.end(),
                     [&words](const std::string& word) { return words.Has(word); });
}

// Whether one of the words is there that are only in one of these; all, when there is none such.
bool HaveChanging(const Among& words, const Texts& was, const Texts& now) {
  Texts changing;
  const auto add = [&changing](const Texts& from, const Texts& others) {
    const Among among(others);
    for (const std::string& word : from) {
      if (!among.Has(word)) changing.push_back(word);
    }
  };
  add(was, now);
  add(now, was);
  if (!changing.empty()) return HasOne(words, changing);
  return std::all_of(now.begin(), now.end(),
                     [&words](const std::string& word) { return words.Has(word); });
}

}  // namespace

Holdings::Holdings(Contents& contents)
    : m_contents(contents), m_document(contents.document()), m_dialect(contents.dialect()) {}

bool Holdings::Has(BlockId id, const TemplateLine& line, Phase phase) {
  const WrittenPtr& written = line.*phase;
  if (!written) return false;
  const auto& [children, index] = IndexedOf(id);
  const Texts& words = written->words;
  if (words.empty() || RoleOf(m_dialect, words.front()) == Role::kPlain) {
    return index.HasLike(words);
  }
  const std::vector<std::size_t>& named = index.Named(words.front());
  return std::any_of(named.begin(), named.end(), [&, &all = children](std::size_t child) {
    return SaysAll(all[child]->values, words);
  });
}

bool Holdings::Has(BlockId id, const TemplateLine& line) {
  return Has(id, line, &TemplateLine::was) || Has(id, line, &TemplateLine::now);
}

bool Holdings::HasPart(BlockId id, const TemplateLine& line) {
  const Texts& was = line.was->words;
  const Texts& now = line.now->words;
  switch (RoleOf(m_dialect, now.front())) {
    case Role::kNames:
      return HaveChanging(NamesOf(id), NamesIn(m_dialect, was), NamesIn(m_dialect, now));
    case Role::kAddress:
      return HasOne(AddressesOf(id), AddressesIn(m_dialect, was)) ||
             HasOne(AddressesOf(id), AddressesIn(m_dialect, now));
    case Role::kOptions:
      return HasSuch(id, [&](const Child& child) {
        return tov_document::SameName(m_dialect, child.values.front(), now.front()) &&
               HaveChanging(Among(child.values), was, now);
      });
    case Role::kPlain:
      break;
  }
  return Has(id, line);
}

bool Holdings::HasSuch(BlockId id, const std::function<bool(const Child&)>& fits) {
  const auto has = [&](BlockId block) {
    const std::vector<Child>& children = m_contents.Of(block);
    return std::any_of(children.begin(), children.end(),
                       [&](const Child& child) { return child.IsDirective() && fits(child); });
  };
  const std::vector<BlockId> conditions = tov_document::ConditionsIn(m_document, id);
  return has(id) || std::any_of(conditions.begin(), conditions.end(), has);
}

const Holdings::Indexed& Holdings::IndexedOf(BlockId id) {
  auto known = m_indexed.find(id);
  if (known == m_indexed.end()) {
    known = m_indexed.try_emplace(id, m_document, m_contents.WithConditions(id, {})).first;
  }
  return known->second;
}

const Among& Holdings::NamesOf(BlockId id) {
  auto known = m_names.find(id);
  if (known == m_names.end()) {
    known = m_names.try_emplace(id, tov_document::ServerNames(m_document, id)).first;
  }
  return known->second.among;
}

const Among& Holdings::AddressesOf(BlockId id) {
  auto known = m_addresses.find(id);
  if (known == m_addresses.end()) {
    known = m_addresses.try_emplace(id, tov_document::ServerAddresses(m_document, id)).first;
  }
  return known->second.among;
}

}  // namespace tov_edit
