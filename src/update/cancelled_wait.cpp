// SPDX-License-Identifier: Apache-2.0

#include "update/cancelled_wait.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <limits>

namespace tov_update {
namespace {

using std::chrono::milliseconds;

constexpr int kNobody = -1;  // poll(2) passes it over

// Rounded up, so that a wait does not end in a row of ever shorter ones.
int PollTime(Deadline deadline) {
  const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
  const milliseconds longest(std::numeric_limits<int>::max());
  return static_cast<int>(std::clamp(left, milliseconds(0), longest).count());
}

}  // namespace

Deadline DeadlineAfter(milliseconds time) {
  constexpr milliseconds kCentury = std::chrono::hours(24 * 365 * 100);
  return std::chrono::steady_clock::now() + std::clamp(time, milliseconds(0), kCentury);
}

bool CancelledWithin(milliseconds time, const Cancellation* cancellation) noexcept {
  if (!cancellation && time <= milliseconds(0)) return false;
  return WaitToRead(kNobody, DeadlineAfter(time), cancellation) == Awaited::kCancelled;
}

Awaited WaitToRead(int descriptor, Deadline deadline, const Cancellation* cancellation) noexcept {
  const int cancelled = cancellation ? cancellation->PollDescriptor() : kNobody;
  for (;;) {
    std::array<struct pollfd, 2> awaited = {{{descriptor, POLLIN, 0}, {cancelled, POLLIN, 0}}};
    const int time = PollTime(deadline);
    const int ready = poll(awaited.data(), awaited.size(), time);
    if (ready > 0) return awaited[0].revents != 0 ? Awaited::kReadable : Awaited::kCancelled;
    if (time == 0) return Awaited::kTimedOut;
  }
}

}  // namespace tov_update
