// SPDX-License-Identifier: Apache-2.0

#include "edit/address/candidates.h"

#include <algorithm>
#include <set>
#include <utility>

#include "document/meaning.h"

namespace tov_edit {

using tov_document::kWholeText;

Candidates::Candidates(const Contents& contents, bool many_names)
    : m_contents(contents),
      m_document(contents.document()),
      m_dialect(contents.dialect()),
      m_heads(contents) {
  if (many_names) m_by_name = tov_document::BlocksByName(m_document);
}

Blocks Candidates::Fitting(const Evidence& evidence, const std::string* name, BlockId scope) {
  const Blocks named = name == nullptr ? Blocks() : BlocksNamed(*name, scope);
  const TemplateLine& opening = *evidence.opening;
  for (const auto* const beginning : {&opening.beginning, &opening.new_beginning}) {
    if (!*beginning) continue;
    const auto fits = [&](const Texts& head) { return BeginsWith(m_dialect, head, **beginning); };
    Blocks fitting =
        name == nullptr ? m_heads.BeginningWith(scope, **beginning) : Those(named, fits);
    if (!fitting.empty()) return fitting;
  }
  if (opening.beginning) return {};
  for (const Phase phase : kPhases) {
    const WrittenPtr& written = opening.*phase;
    if (!written) continue;
    const auto fits = [&](const Texts& head) { return SameHead(m_dialect, head, written->words); };
    Blocks fitting = name == nullptr ? m_heads.Like(scope, written->words) : Those(named, fits);
    if (!fitting.empty()) return fitting;
  }
  return {};
}

Blocks Candidates::FittingByAddress(const Evidence& evidence, BlockId scope) {
  constexpr std::size_t kFew = 4;
  const TemplateLine& opening = *evidence.opening;
  const WrittenPtr& written = opening.now ? opening.now : opening.was;
  const bool one_head = written && (!opening.was || opening.was->words == written->words);
  if (!evidence.is_nginx_server || opening.beginning || opening.new_beginning || !one_head) {
    return {};
  }
  if (++m_sought_by_address <= kFew) return {};
  if (m_by_address.empty()) IndexAddresses();
  const auto fits = [&](const Texts& head) { return SameHead(m_dialect, head, written->words); };
  for (const Texts* const addresses : {&evidence.old_addresses, &evidence.new_addresses}) {
    Blocks fitting = Those(AllListening(*addresses, scope), fits);
    if (!fitting.empty()) return fitting;
  }
  return {};
}

bool Candidates::HasFitting(const Evidence& evidence, BlockId scope) {
  const std::vector<const std::string*> names = evidence.Names();
  return std::any_of(names.begin(), names.end(), [&](const std::string* name) {
    return !Fitting(evidence, name, scope).empty();
  });
}

bool Candidates::KeepListening(Blocks& blocks, const Evidence& evidence) const {
  for (const Texts* const addresses : {&evidence.old_addresses, &evidence.new_addresses}) {
    Blocks listening = Listening(blocks, *addresses);
    if (listening.empty()) continue;
    blocks = std::move(listening);
    return true;
  }
  return false;
}

template <class Fits>
Blocks Candidates::Those(const Blocks& blocks, const Fits& fits) const {
  Blocks fitting;
  for (const BlockId id : blocks) {
    if (fits(m_contents.HeadOf(id))) fitting.push_back(id);
  }
  return fitting;
}

Blocks Candidates::BlocksNamed(const std::string& name, BlockId scope) const {
  Blocks blocks;
  for (const BlockId id : AllNamed(name)) {
    if (id != kWholeText && IsIn(id, scope)) blocks.push_back(id);
  }
  return blocks;
}

Blocks Candidates::AllNamed(const std::string& name) const {
  if (!m_by_name) return tov_document::BlocksNamed(m_document, name);
  const auto known = m_by_name->find(name);
  return known == m_by_name->end() ? Blocks() : known->second;
}

bool Candidates::IsIn(BlockId id, BlockId scope) const {
  for (BlockId around = m_document.blocks()[id].parent; around != scope;
       around = m_document.blocks()[around].parent) {
    if (around == kWholeText || !MayBeLeftOut(m_contents, around, scope)) return false;
  }
  return true;
}

void Candidates::IndexAddresses() {
  BlockId last = kWholeText;
  for (const tov_document::Mark& mark : m_document.marks()) {
    if (mark.names || mark.block == last) continue;
    last = mark.block;
    for (std::string& address : tov_document::ServerAddresses(m_document, last)) {
      m_by_address[std::move(address)].push_back(last);
    }
  }
}

Blocks Candidates::AllListening(const Texts& addresses, BlockId scope) const {
  std::set<BlockId> listening;
  for (const std::string& address : addresses) {
    const auto known = m_by_address.find(address);
    if (known == m_by_address.end()) continue;
    for (const BlockId id : known->second) {
      if (id != kWholeText && IsIn(id, scope)) listening.insert(id);
    }
  }
  return Blocks(listening.begin(), listening.end());
}

Blocks Candidates::Listening(const Blocks& blocks, const Texts& addresses) const {
  Blocks listening;
  for (const BlockId id : blocks) {
    if (ShareOne(tov_document::ServerAddresses(m_document, id), addresses)) {
      listening.push_back(id);
    }
  }
  return listening;
}

}  // namespace tov_edit
