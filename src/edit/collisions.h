// SPDX-License-Identifier: Apache-2.0

// Servers that stand in each other's way.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "document/document.h"

namespace tov_edit {

struct Collision {
  enum class Kind {
    // Of servers that answer to one name on one address the server ignores all but the first. Of
    // Apache an alias with wildcards answers, too, to the names of hosts behind it. A server of
    // nginx that states no name has the name "".
    kName,

    // nginx takes one default server of an address only.
    kDefaultServer,

    // Of the "listen" directives of one address nginx takes options of its socket in one only.
    kListenOptions,

    // No "Listen" of httpd's, of those that there are, opens the address: nobody reaches the host.
    kUnserved
  };

  Kind kind = Kind::kName;
  std::vector<std::string> names;  // of kName: the first ones, if there are very many
  std::string address;

  // In the order of the text; of kUnserved one.
  std::vector<tov_document::BlockId> servers;

  // Directives that it is about, in the order of the text: of kListenOptions and kUnserved the
  // "listen" directives.
  std::vector<tov_document::Span> directives;
};

// How much of a server a text is. In a part nothing is missed that may stand in another one.
enum class Extent { kPart, kWhole };

// What is in `after` and was not in `before`: more servers that have a name, or an address, in
// common. Of each kind the first by name, then by address.
//
// Cost: memory for the names and the addresses, not for each name on each address. Of servers that
// share a name it looks at all addresses.
std::vector<Collision> NewCollisions(const tov_document::Document& before,
                                     const tov_document::Document& after, Extent extent);

// All of a text. Names that the same servers have in common, on the same address, come together.
std::vector<Collision> AllCollisions(const tov_document::Document& document, Extent extent);

}  // namespace tov_edit
