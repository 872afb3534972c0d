// SPDX-License-Identifier: Apache-2.0

// Allocations that fail. A test that names failing_allocations.cpp among its sources has its
// operator new replaced: all of the program's allocations then count here, of all threads.
#pragma once

namespace failing_allocations {

constexpr long kNone = -1;

// How many allocations succeed before one fails, after which it is kNone again; kNone: all do.
inline long left = kNone;

// Once one has failed, all that follow fail, too, and `left` stays 0.
inline bool fail_on = false;

}  // namespace failing_allocations
