// SPDX-License-Identifier: Apache-2.0

// The files that templates import.
#pragma once

#include <string>

#include "edit/request.h"

namespace cli {

// Finds and reads them: a name is looked up in the directory of the file that imports it first,
// then in the current one. With a `root` other than "" it throws Failure for a name that leads out
// of that directory, links followed, also when nothing is there; and when `root` is no directory.
// Throws Failure, too, for what is there and is no file that can be read.
edit::Importer FileImporter(const std::string& root);

}  // namespace cli
