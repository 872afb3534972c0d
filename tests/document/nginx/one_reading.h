// SPDX-License-Identifier: Apache-2.0

// For tests: a text of which the plain reader, the server and the Document have to make the same.
#pragma once

#include <optional>
#include <string>

#include "document/document.h"
#include "document/nginx/reading.h"
#include "server/server_folder.h"

namespace nginx_judge {

// The folder in which the server of a test runs.
const ServerFolder& Folder();

// What the plain reader finds wrong; none: nothing.
std::optional<tov_document::Problem> ProblemOf(const std::string& text);

void ExpectOneReading(const std::string& text);

}  // namespace nginx_judge
