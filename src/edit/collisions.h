// SPDX-License-Identifier: Apache-2.0

// Servers that stand in each other's way.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "document/document.h"

namespace tov_edit {

struct Collision {
  std::string name;  // "" where no name is what they have in common
  std::string address;
  std::vector<tov_document::BlockId> servers;  // in the order of the text
};

// Of servers that answer to one name on one address the server ignores all but the first.
//
// A name and an address to which more servers answer in `after` than in `before`, and several; of
// these the first by name, then by address. None: there are none such.
//
// Cost: memory for the names and the addresses, not for each name on each address. Of servers that
// share a name it looks at all addresses.
std::optional<Collision> NewCollision(const tov_document::Document& before,
                                      const tov_document::Document& after);

// Of servers that are the default one of an address nginx takes one only. The first address that
// has several, and more in `after` than in `before`. None: there is none such.
std::optional<Collision> NewDefaultServers(const tov_document::Document& before,
                                           const tov_document::Document& after);

}  // namespace tov_edit
