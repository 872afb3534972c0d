// SPDX-License-Identifier: Apache-2.0

// Which blocks of a configuration a site is.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "document/document.h"
#include "edit/finding.h"

namespace tov_adopt {

struct Site {
  std::vector<tov_document::BlockId> blocks;  // kWholeText: there is no site, but the whole text
  std::string name;                           // as the server compares it; "": it has none
};

// The site `wanted` (see Options::site) in `document`, the file `file`: of a name all blocks that
// have it. None: it cannot be told, as `refusal` says then.
std::optional<Site> FindSite(const tov_document::Document& document, const std::string& wanted,
                             const std::string& file, tov_edit::Finding& refusal);

// Whether a name of a server is that of a host: no regular expression, wildcard or "_".
bool IsHostName(const std::string& name);

}  // namespace tov_adopt
