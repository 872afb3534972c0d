// SPDX-License-Identifier: Apache-2.0

// Which block of a configuration is meant. It knows nothing of editing.
#pragma once

#include <string>
#include <vector>

#include "document/document.h"

namespace edit {

// What is known of a server's block that is looked for. All texts are in normal form
// (document/meaning.h); those of a name or an address that is to change come in both lists.
struct ServerEvidence {
  // One of the names that the server has, aliases included. Empty: it may have any, or none.
  std::vector<std::string> names;      // as it is called now
  std::vector<std::string> new_names;  // as it is called when the change has been made already

  // Some of the addresses that it listens on. Empty: nothing is known of them.
  std::vector<std::string> addresses;
  std::vector<std::string> new_addresses;
};

// The blocks of servers that fit, in the order of the text.
struct FoundServers {
  // One: it is the one that is meant. Several cannot be told apart. None: there is no such server
  // yet.
  std::vector<tov_document::BlockId> blocks;

  // Whether they listen on one of the addresses. False also when no address is known.
  bool by_address = false;
};

// Looks for a server in the whole of `document`, whatever stands around it.
//
// A server has to have one of the names, if any are known: those as of now count before the new
// ones. Of the servers that are left those that listen on one of the addresses count. Where none
// does, a server of nginx with the right name fits all the same, since its "listen" may be yet to
// be added; any other does not.
//
// Cost: one step for each identifying directive of the document where a name is known, else for
// each block.
FoundServers FindServers(const tov_document::Document& document, const ServerEvidence& evidence);

}  // namespace edit
