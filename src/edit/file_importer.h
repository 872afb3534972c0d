// SPDX-License-Identifier: Apache-2.0

// Imports from files. The one part of this folder that reads any.
#pragma once

#include <string>

#include "edit/request.h"
#include "template/export.h"

namespace tov_edit {

// Finds imported files beside the file that imports them, else from the current directory, else,
// where there is a `root`, from there. `root` is a directory out of which no import may lead, not
// even by a symbolic link; "": they may lead anywhere. Files of more than 16 MiB, and what is no
// file, are not read; what cannot be had is refused as "import".
//
// Where nothing is found, the importer returns none without a root, and with one an ImportedFile
// that has a `problem` and no text.
//
// Throws std::runtime_error when `root` is no directory. The importer itself throws nothing but
// std::bad_alloc, and may be used by several threads at a time.
QELTEMPLATE_EXPORT Importer FileImporter(const std::string& root);

}  // namespace tov_edit
