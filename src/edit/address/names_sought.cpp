// SPDX-License-Identifier: Apache-2.0

#include "edit/address/names_sought.h"

#include <algorithm>

#include "document/ascii.h"
#include "edit/address/evidence.h"

namespace tov_edit {
namespace {

// Whether a server may write the name in its own bytes only: none of them has a spelling besides.
bool IsPlain(const std::string& name) {
  return name.find_first_of("\"'\\ \t\r\n") == std::string::npos;
}

}  // namespace

NamesSought::NamesSought(const TemplateTree& tree, Dialect dialect) : m_dialect(dialect) {
  Findings unsaid;
  for (std::size_t block = 1; block < tree.blocks.size(); ++block) {
    if (tree.blocks[block].parent != 0) continue;
    const Evidence evidence = ReadEvidence(tree, dialect, block, unsaid);
    for (const std::string* const name : evidence.Names()) {
      if (name == nullptr || !IsPlain(*name)) return;
      m_names.push_back(tov_document::Lower(*name));
    }
  }
  m_all_named = !m_names.empty();
}

bool NamesSought::MayBeIn(std::string_view text) const {
  if (!m_all_named) return true;
  // Apache continues a line behind a backslash, in the middle of a word, too.
  const bool is_cut = m_dialect == Dialect::kApache && text.find('\\') != std::string_view::npos;
  if (is_cut) return true;
  const std::string lower = tov_document::Lower(text);
  return std::any_of(m_names.begin(), m_names.end(), [&lower](const std::string& name) {
    return lower.find(name) != std::string::npos;
  });
}

}  // namespace tov_edit
