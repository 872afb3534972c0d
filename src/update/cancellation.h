// SPDX-License-Identifier: Apache-2.0

// How one thread, or a signal handler, ends what another one waits for.
#pragma once

#include <memory>

#include "update/export.h"

namespace tov_update {

// All copies are one cancellation, and it lives as long as one of them. It cannot be taken back: a
// new attempt takes a new one. One may be for several updates. It costs a file descriptor.
//
// Of one that has been moved from, Cancel does nothing.
class Cancellation {
 public:
  // Throws Failure when the process may not open another descriptor.
  QELTEMPLATE_UPDATE_EXPORT Cancellation();

  // From any thread, from a signal handler, and as often as one likes. Does not wait for the update
  // to end, and leaves errno alone.
  QELTEMPLATE_UPDATE_EXPORT void Cancel() const noexcept;

  QELTEMPLATE_UPDATE_EXPORT bool IsCancelled() const noexcept;

  // What poll(2) finds readable from Cancel on; -1 for one that has been moved from. Not to be read
  // nor closed.
  QELTEMPLATE_UPDATE_EXPORT int PollDescriptor() const noexcept;

 private:
  class State;
  std::shared_ptr<const State> m_state;
};

}  // namespace tov_update
