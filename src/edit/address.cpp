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

bool IsServer(const Document& document, BlockId id) {
  if (id == tov_document::kWholeText) return false;
  return tov_document::IsServer(document.dialect(), document.Value(document.HeadWords(id).front()));
}

std::vector<BlockId> AllServers(const Document& document) {
  std::vector<BlockId> servers;
  for (BlockId id = 0; id < document.blocks().size(); ++id) {
    if (IsServer(document, id)) servers.push_back(id);
  }
  return servers;
}

// Those that have one of `names`, else those that have one of `instead`.
std::vector<BlockId> ServersNamed(const Document& document, const Texts& names,
                                  const Texts& instead) {
  std::vector<BlockId> servers;
  for (const Texts& texts : {names, instead}) {
    for (const std::string& name : texts) {
      for (const BlockId id : tov_document::BlocksNamed(document, name)) {
        if (IsServer(document, id)) servers.push_back(id);
      }
    }
    if (!servers.empty()) break;
  }
  std::sort(servers.begin(), servers.end());
  servers.erase(std::unique(servers.begin(), servers.end()), servers.end());
  return servers;
}

bool ShareOne(const Texts& a, const Texts& b) {
  return std::any_of(a.begin(), a.end(), [&b](const std::string& text) {
    return std::find(b.begin(), b.end(), text) != b.end();
  });
}

// Those of `servers` that listen on one of `addresses`, else those that do on one of `instead`.
std::vector<BlockId> Listening(const Document& document, const std::vector<BlockId>& servers,
                               const Texts& addresses, const Texts& instead) {
  std::vector<BlockId> listening;
  for (const Texts& texts : {addresses, instead}) {
    for (const BlockId id : servers) {
      if (ShareOne(tov_document::ServerAddresses(document, id), texts)) listening.push_back(id);
    }
    if (!listening.empty()) break;
  }
  return listening;
}

}  // namespace

FoundServers FindServers(const Document& document, const ServerEvidence& evidence) {
  FoundServers found;
  const bool named = !evidence.names.empty() || !evidence.new_names.empty();
  found.blocks =
      named ? ServersNamed(document, evidence.names, evidence.new_names) : AllServers(document);
  if (evidence.addresses.empty() && evidence.new_addresses.empty()) return found;
  std::vector<BlockId> listening =
      Listening(document, found.blocks, evidence.addresses, evidence.new_addresses);
  const bool may_come_to_listen = named && document.dialect() == Dialect::kNginx;
  if (listening.empty() && may_come_to_listen) return found;
  found.by_address = !listening.empty();
  found.blocks = std::move(listening);
  return found;
}

}  // namespace edit
