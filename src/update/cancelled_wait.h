// SPDX-License-Identifier: Apache-2.0

// Waiting that a cancellation ends. Null is a cancellation that never comes.
#pragma once

#include <chrono>

#include "update/cancellation.h"

namespace tov_update {

using Deadline = std::chrono::steady_clock::time_point;

// So long from now on; within the next century, however long or short that is.
Deadline DeadlineAfter(std::chrono::milliseconds time);

// Waits so long, or until it is cancelled. Whether it is.
bool CancelledWithin(std::chrono::milliseconds time, const Cancellation* cancellation) noexcept;

enum class Awaited { kReadable, kCancelled, kTimedOut };

// Waits until there is something to read from `descriptor`, or it is at its end. What has come
// first counts, and of two at once what stands first in Awaited.
Awaited WaitToRead(int descriptor, Deadline deadline, const Cancellation* cancellation) noexcept;

}  // namespace tov_update
