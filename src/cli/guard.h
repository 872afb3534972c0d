// SPDX-License-Identifier: Apache-2.0

// What a user has to be protected from.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/addresses.h"
#include "cli/findings.h"
#include "cli/followed_lines.h"
#include "cli/prepare.h"
#include "cli/request.h"
#include "cli/source_text.h"
#include "cli/template_run.h"

namespace cli {

// An edit that has been made in memory, with all that can be said about it.
struct MadeEdit {
  const Request& request;
  const std::string& config_name;
  const SourceText& source;
  const ShownLines& shown;
  const TemplateRun& run;
  const TemplateBlocks& blocks;
  const std::vector<std::optional<std::size_t>>& block_of;  // see BlocksOfItems
  const std::vector<FollowedLines::Line>& lines;
  const FollowedLines& followed;
};

// Where `item` stands in the template, for messages.
std::string TemplatePlace(const Request& request, const TemplateRun::Item& item);

// Looks at the template and its values, before they are applied.
void CheckTemplate(const Request& request, const TemplateRun& run, Findings& findings);

// Throws Refusal for a configuration that is nested too deep.
void CheckDepth(const std::string& config_name, const SourceText& source, const ShownLines& shown,
                const tov_template::BaseConfig& config);

// Looks for lines whose braces the library sees otherwise than the server does.
void CheckBraces(const Request& request, const std::string& config_name, const SourceText& source,
                 const ShownLines& shown, const tov_template::BaseConfig& config,
                 Findings& findings);

// Compares the configuration before and after.
void CheckEdit(const MadeEdit& edit, Findings& findings);

}  // namespace cli
