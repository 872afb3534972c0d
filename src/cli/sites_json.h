// SPDX-License-Identifier: Apache-2.0

// The sites of a server as JSON.
#pragma once

#include <string>

#include "report/json_writer.h"
#include "server/sites.h"

namespace cli {

// As docs/schema/sites.json says, with a line end.
std::string SitesJson(const tov_server::Sites& read);

// The value of the member "sites".
void WriteSites(const std::vector<tov_server::Site>& sites, report::JsonWriter& json);

}  // namespace cli
