// SPDX-License-Identifier: Apache-2.0

// Work on many things at a time.
#pragma once

#include <cstddef>
#include <functional>

namespace cli {

// Calls `work` with each number below `count`, by up to `jobs` threads at a time (0: as many as
// there are processors), and returns when all is done. Where the system does not allow so many
// threads, by those that there are, and by the calling one where there are none. `watch` is called
// by the calling thread with how many are done, several times a second and at the end. `work` and
// `watch` must not throw.
void ForEachInParallel(std::size_t count, unsigned jobs,
                       const std::function<void(std::size_t)>& work,
                       const std::function<void(std::size_t)>& watch);

}  // namespace cli
