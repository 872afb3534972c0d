// SPDX-License-Identifier: Apache-2.0

// The limit of open files.
#pragma once

#include <cstddef>

namespace tov_update {

// That this process may have so many descriptors is seen before any is opened. Throws Failure.
void ExpectOpenFiles(std::size_t count);

// Has the system's table of this process's descriptors grow at once to so many, as far as the limit
// allows. It grows in steps otherwise, and at each one threads wait for one another, a hundred
// times as long as it takes to open a file.
void MakeRoomFor(std::size_t descriptors) noexcept;

}  // namespace tov_update
