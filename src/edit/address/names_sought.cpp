// SPDX-License-Identifier: Apache-2.0

#include "edit/address/names_sought.h"

#include <algorithm>

#include "document/ascii.h"

namespace tov_edit {
namespace {

// Whether a server may write the name in its own bytes only: none of them has a spelling besides.
bool IsPlain(const std::string& name) {
  return name.find_first_of("\"'\\ \t\r\n") == std::string::npos;
}

bool IsLetter(char lower) {
  return lower >= 'a' && lower <= 'z';
}

}  // namespace

NamesSought::Name::Name(std::string_view any_case) : lower(tov_document::Lower(any_case)) {
  std::size_t begin = 0;
  for (std::size_t at = 0; at < lower.size(); ++at) {
    if (IsLetter(lower[at])) {
      begin = at + 1;
    } else if (at + 1 - begin > firm_size) {
      firm_begin = begin;
      firm_size = at + 1 - begin;
    }
  }
}

bool NamesSought::Name::IsIn(std::string_view text) const {
  if (firm_size == 0) return tov_document::Lower(text).find(lower) != std::string::npos;
  const std::string_view firm = std::string_view(lower).substr(firm_begin, firm_size);
  for (std::size_t at = text.find(firm, firm_begin); at != std::string_view::npos;
       at = text.find(firm, at + 1)) {
    if (tov_document::SameLetters(text.substr(at - firm_begin, lower.size()), lower)) return true;
  }
  return false;
}

NamesSought::NamesSought(const TemplateTree& tree, const AllEvidence& evidence, Dialect dialect)
    : m_dialect(dialect) {
  for (std::size_t block = 1; block < tree.blocks.size(); ++block) {
    if (tree.blocks[block].parent != 0) continue;
    for (const std::string* const name : evidence.blocks[block].Names()) {
      if (name == nullptr || !IsPlain(*name)) return;
      m_names.emplace_back(*name);
    }
  }
  m_all_named = !m_names.empty();
}

bool NamesSought::MayBeIn(std::string_view text) const {
  if (!m_all_named) return true;
  // Apache continues a line behind a backslash, in the middle of a word, too.
  const bool is_cut = m_dialect == Dialect::kApache && text.find('\\') != std::string_view::npos;
  if (is_cut) return true;
  return std::any_of(m_names.begin(), m_names.end(),
                     [text](const Name& name) { return name.IsIn(text); });
}

}  // namespace tov_edit
