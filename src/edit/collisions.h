// SPDX-License-Identifier: Apache-2.0

// Servers that answer to one name on one address: of these the server ignores all but the first.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "document/document.h"

namespace edit {

struct Collision {
  std::string name;
  std::string address;
  std::vector<tov_document::BlockId> servers;  // in the order of the text
};

// A name and an address to which more servers answer in `after` than in `before`, and several; of
// these the first by name, then by address. None: there are none such.
//
// Cost: memory for the names and the addresses, not for each name on each address. Of servers that
// share a name it looks at all addresses.
std::optional<Collision> NewCollision(const tov_document::Document& before,
                                      const tov_document::Document& after);

}  // namespace edit
