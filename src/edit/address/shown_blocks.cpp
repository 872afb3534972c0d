// SPDX-License-Identifier: Apache-2.0

#include "edit/address/shown_blocks.h"

#include <algorithm>
#include <optional>

#include "document/meaning.h"
#include "edit/address/evidence.h"
#include "edit/finding.h"
#include "edit/match/head_index.h"

namespace tov_edit {
namespace {

// "a.example, b.example and 7 more"
std::string ListOf(const Texts& texts) {
  constexpr std::size_t kMost = 10;
  std::string listed;
  for (std::size_t i = 0; i < std::min(kMost, texts.size()); ++i) {
    listed += (i == 0 ? "" : ", ") + Printable(texts[i]);
  }
  if (texts.size() > kMost) listed += " and " + std::to_string(texts.size() - kMost) + " more";
  return listed;
}

}  // namespace

std::string Described(const Contents& contents, const std::string& config_name, BlockId block) {
  const Document& document = contents.document();
  std::string head;
  for (const std::string& word : contents.HeadOf(block)) head += (head.empty() ? "" : " ") + word;
  std::string text = Shown(contents.PlaceOf(config_name, document.blocks()[block].head.begin)) +
                     " " + Quoted(head);
  if (!tov_document::IsServer(document.dialect(), contents.HeadOf(block).front())) return text;
  Texts all = tov_document::ServerNames(document, block);
  if (document.dialect() == Dialect::kNginx) {
    const Texts addresses = tov_document::ServerAddresses(document, block);
    all.insert(all.end(), addresses.begin(), addresses.end());
  }
  return all.empty() ? text : text + " (" + ListOf(all) + ")";
}

std::string SoughtBlock(const TemplateTree& tree, Dialect dialect, std::size_t block) {
  Findings ignored;
  const Evidence evidence = ReadEvidence(tree, dialect, block, ignored);
  const TemplateLine& opening = *evidence.opening;
  const WrittenPtr& written = opening.was ? opening.was : opening.now;
  const std::optional<std::string>& name =
      evidence.old_name ? evidence.old_name : evidence.new_name;
  Texts all;
  if (name) all.push_back(*name);
  const Texts& addresses =
      evidence.old_addresses.empty() ? evidence.new_addresses : evidence.old_addresses;
  all.insert(all.end(), addresses.begin(), addresses.end());
  const std::string text = Quoted(written ? written->text : opening.text);
  return all.empty() ? text : text + " (" + ListOf(all) + ")";
}

std::string BlocksLike(const Contents& contents, const std::string& config_name,
                       const TemplateLine& opening, BlockId around) {
  constexpr std::size_t kMost = 3;
  const WrittenPtr& head = opening.was ? opening.was : opening.now;
  std::string listed;
  if (!head) return listed;
  std::size_t count = 0;
  const auto& blocks = contents.document().blocks();
  for (BlockId id = around + 1; id < blocks[around].next && count < kMost; ++id) {
    if (!tov_document::SameName(contents.dialect(), contents.HeadOf(id).front(),
                                head->words.front())) {
      continue;
    }
    listed += (count++ == 0 ? "; there are " : ", ") + Described(contents, config_name, id);
    const BlockId parent = blocks[id].parent;
    if (parent != around && !MayBeLeftOut(contents, parent, around)) {
      listed += " in " + Quoted(contents.HeadOf(parent).front());
    }
  }
  return listed;
}

}  // namespace tov_edit
