// SPDX-License-Identifier: Apache-2.0

// What stands in a configuration where a line of a template has its places.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "edit/match/comparison.h"
#include "edit/tree/authored_line.h"

namespace tov_edit {

// Texts by the names of values.
using PlaceValues = std::map<std::string, std::string>;

// What the values `unknown` would have to be so that a line of a template is the directive, or the
// head, with the words `found`. `known` has all others. Names of a server may stand in any order,
// and so may the options of an address; of all other words each has its position. A trailing place
// stands for all that follows, and says nothing of its value.
//
// Several results: of names and addresses, in their order. None: it is another directive, or more
// than one cut through a word is possible, as of "a.b.c" into two values with a dot between.
std::vector<PlaceValues> ValuesInPlaces(Dialect dialect,
                                        const std::vector<AuthoredLine::PlacedWord>& line,
                                        const PlaceValues& known,
                                        const std::set<std::string>& unknown, const Texts& found);

}  // namespace tov_edit
