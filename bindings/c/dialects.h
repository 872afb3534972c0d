// SPDX-License-Identifier: Apache-2.0

// The names of dialects, as callers spell them.
#pragma once

#include <string>

#include "document/dialect.h"

namespace bindings {

// Throws tov_err::Error("dialect", "unknown") with the parameters "name" and "known".
tov_document::Dialect KnownDialect(const std::string& name);

// That of a text; throws the same without a name when it cannot be told.
tov_document::Dialect GuessedDialect(const std::string& text);

// What the engine calls it.
std::string EngineName(tov_document::Dialect dialect);

}  // namespace bindings
