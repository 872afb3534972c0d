// SPDX-License-Identifier: Apache-2.0

// Whether an edit stays in the servers that its template means, as the server's own grammar has it.
#pragma once

#include <string_view>

#include "cli/findings.h"
#include "cli/guard.h"

namespace cli {

// Looks at the servers (nginx's "server", Apache's <VirtualHost>) of the template, each with its
// names and addresses, and at the lines that the edit touches for them: they have to stand in the
// one server of `text`, the configuration before the edit, that fits. Directives over several lines
// have to be touched whole. A text that its server cannot read is not looked at.
void CheckServers(const MadeEdit& edit, std::string_view text, Findings& findings);

}  // namespace cli
