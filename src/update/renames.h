// SPDX-License-Identifier: Apache-2.0

// Renames that lose nothing, whatever other programs rename meanwhile.
#pragma once

#include <string>

namespace tov_update {

enum class Renamed {
  kDone,
  kElsewise,  // there is something at a name that is to be free, or nothing at one to exchange
  kNoMeans,   // this file system cannot
  kFailed,    // errno says why
};

// What is at the one name comes to the other, and the other way round.
Renamed Exchange(const std::string& one, const std::string& other);

// Where nothing is at `to`.
Renamed MoveToFree(const std::string& from, const std::string& to);

}  // namespace tov_update
