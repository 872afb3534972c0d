// SPDX-License-Identifier: Apache-2.0

// Where a file that is not there yet would be read.
#pragma once

#include <string>

#include "server/server_files.h"

namespace tov_server {

// Whether the name of an include, a pattern, leads to the file `name`. Both are absolute.
bool LeadsTo(Dialect dialect, const std::string& pattern, const std::string& name);

// `name`, absolute, without "." and ".." and doubled slashes. Links are not followed.
std::string PlainPath(const std::string& name);

}  // namespace tov_server
