// SPDX-License-Identifier: Apache-2.0

// Work on many files at a time.
#pragma once

#include <cstddef>
#include <functional>

namespace tov_update {

// Calls `work` with each number below `count` and returns when all is done: in the calling thread
// alone, or where there are many, with up to `jobs` threads, the calling one included; fewer where
// the system does not allow more. No signal is handled in the others. When `work` throws, no more
// is begun; what it has thrown for the least number is thrown here.
void ForEachSideBySide(std::size_t count, unsigned jobs,
                       const std::function<void(std::size_t)>& work);

}  // namespace tov_update
