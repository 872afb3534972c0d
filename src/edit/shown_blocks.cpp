// SPDX-License-Identifier: Apache-2.0

#include "edit/shown_blocks.h"

#include <optional>

#include "document/meaning.h"
#include "edit/evidence.h"
#include "edit/finding.h"

namespace edit {

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
  std::string listed;
  for (const std::string& each : all) listed += (listed.empty() ? "" : ", ") + each;
  return listed.empty() ? text : text + " (" + Printable(listed) + ")";
}

std::string SoughtBlock(const TemplateTree& tree, Dialect dialect, std::size_t block) {
  Findings ignored;
  const Evidence evidence = ReadEvidence(tree, dialect, block, ignored);
  const TemplateLine& opening = *evidence.opening;
  const std::optional<Written>& written = opening.was ? opening.was : opening.now;
  const std::optional<std::string>& name =
      evidence.old_name ? evidence.old_name : evidence.new_name;
  std::string listed = name.value_or(std::string());
  for (const std::string& address :
       evidence.old_addresses.empty() ? evidence.new_addresses : evidence.old_addresses) {
    listed += (listed.empty() ? "" : ", ") + address;
  }
  const std::string text = Quoted(written ? written->text : opening.text);
  return listed.empty() ? text : text + " (" + Printable(listed) + ")";
}

std::string BlocksLike(const Contents& contents, const std::string& config_name,
                       const TemplateLine& opening, BlockId around) {
  constexpr std::size_t kMost = 3;
  const std::optional<Written>& head = opening.was ? opening.was : opening.now;
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
  }
  return listed;
}

}  // namespace edit
