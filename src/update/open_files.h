// SPDX-License-Identifier: Apache-2.0

// The limit of open files.
#pragma once

#include <cstddef>

namespace tov_update {

// That this process may have so many descriptors is seen before any is opened. Throws Failure.
void ExpectOpenFiles(std::size_t count);

}  // namespace tov_update
