// SPDX-License-Identifier: Apache-2.0

// The sites of the files that people have, and what becomes of them with another name, by readers
// that share nothing with what adopts them.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "edit/config_tree.h"

namespace adopt_judge {

using edit_judge::Dialect;
using edit_judge::Tree;

// The files of the corpus for a server, by their names; none where it is not at hand.
std::map<std::string, std::string> CorpusFiles(Dialect dialect);

// A site: servers that have a name in common, or one server.
struct Site {
  std::string option;              // what says that it is meant
  std::string name;                // as it is written first; "": it has none
  std::vector<std::size_t> nodes;  // its servers
};

// Each server by itself, by its line, and those that share a name by that.
std::vector<Site> SitesIn(Dialect dialect, const std::string& text, const Tree& tree);

// `text` with `to` in the place of the site's name, in each word and each comment of the site that
// holds it as a whole word, as a part of a path or as the beginning of a file's name. A name
// without a dot counts in names of servers and in paths only.
std::string Renamed(Dialect dialect, const std::string& text, const Tree& tree, const Site& site,
                    const std::string& to);

}  // namespace adopt_judge
