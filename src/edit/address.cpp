// SPDX-License-Identifier: Apache-2.0

#include "edit/address.h"

#include <algorithm>

#include "document/meaning.h"

namespace edit {
namespace {

using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using Texts = std::vector<std::string>;

std::vector<BlockId> AllServers(const Document& document) {
  std::vector<BlockId> servers;
  for (BlockId id = tov_document::kWholeText + 1; id < document.blocks().size(); ++id) {
    const std::string name = document.Value(document.HeadWords(id).front());
    if (tov_document::IsServer(document.dialect(), name)) servers.push_back(id);
  }
  return servers;
}

bool ShareOne(const Texts& a, const Texts& b) {
  return std::any_of(a.begin(), a.end(), [&b](const std::string& text) {
    return std::find(b.begin(), b.end(), text) != b.end();
  });
}

// Those of `blocks` whose texts, as `texts_of` says, have one of `wanted`, else one of `instead`.
template <class TextsOf>
std::vector<BlockId> Having(const std::vector<BlockId>& blocks, const Texts& wanted,
                            const Texts& instead, TextsOf texts_of) {
  std::vector<BlockId> found;
  for (const Texts& texts : {wanted, instead}) {
    for (const BlockId id : blocks) {
      if (ShareOne(texts_of(id), texts)) found.push_back(id);
    }
    if (!found.empty()) break;
  }
  return found;
}

}  // namespace

FoundServers FindServers(const Document& document, const ServerEvidence& evidence) {
  FoundServers found{AllServers(document), false};
  const bool named = !evidence.names.empty() || !evidence.new_names.empty();
  if (named) {
    found.blocks = Having(found.blocks, evidence.names, evidence.new_names,
                          [&](BlockId id) { return tov_document::ServerNames(document, id); });
  }
  if (evidence.addresses.empty() && evidence.new_addresses.empty()) return found;
  std::vector<BlockId> listening =
      Having(found.blocks, evidence.addresses, evidence.new_addresses,
             [&](BlockId id) { return tov_document::ServerAddresses(document, id); });
  const bool may_come_to_listen = named && document.dialect() == Dialect::kNginx;
  if (listening.empty() && may_come_to_listen) return found;
  found.by_address = !listening.empty();
  found.blocks = std::move(listening);
  return found;
}

}  // namespace edit
