// SPDX-License-Identifier: Apache-2.0

// Keeps a template's imports inside a directory.
#pragma once

#include <string>

#include "cli/request.h"

namespace cli {

// Throws Failure when the request's template, or a file that it imports, or one that that imports
// and so on, imports a path that leads out of the directory `root`, links followed. Also when
// nothing is there under that path, and in a branch that is not taken, where imports are carried
// out all the same. Also when `root` is no directory.
//
// Reads the files as the library does, but before it: who can write in `root` can put another file
// in place in between.
void CheckImports(const Request& request, const std::string& root);

}  // namespace cli
