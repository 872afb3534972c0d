// SPDX-License-Identifier: Apache-2.0

// The files that templates import.
#pragma once

#include <optional>
#include <string>

#include "edit/request.h"

namespace cli {

// The path of the file that the template file `from` imports as `name`: looked up in the directory
// of `from` first, then in the current one. None: it is in neither.
std::optional<std::string> FindImport(const std::string& name, const std::string& from);

// Reads them. With a `root` other than "" it throws Failure for a name that leads out of that
// directory, links followed, also when nothing is there; and when `root` is no directory. Throws
// Failure, too, for what is there and is no file that can be read.
edit::Importer FileImporter(const std::string& root);

}  // namespace cli
