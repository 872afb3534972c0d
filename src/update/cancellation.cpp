// SPDX-License-Identifier: Apache-2.0

#include "update/cancellation.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "update/cancelled_wait.h"
#include "update/descriptor.h"
#include "update/failure.h"

namespace tov_update {

// Cancelled is what has an event: nobody ever takes it out.
class Cancellation::State {
 public:
  State() : m_event(AboveStandardStreams(Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)))) {
    if (!m_event) FailBySystem("cancellation");
  }

  // For a signal handler, which must not change errno. The write fails only when there are too many
  // events to count.
  void Cancel() const noexcept {
    const int before = errno;
    constexpr std::uint64_t kOnce = 1;
    const ssize_t written = write(m_event.Number(), &kOnce, sizeof kOnce);
    static_cast<void>(written);
    errno = before;
  }

  int Number() const noexcept { return m_event.Number(); }

 private:
  Descriptor m_event;
};

Cancellation::Cancellation() : m_state(std::make_shared<const State>()) {}

void Cancellation::Cancel() const noexcept {
  if (m_state) m_state->Cancel();
}

bool Cancellation::IsCancelled() const noexcept {
  return CancelledWithin(std::chrono::milliseconds(0), this);
}

int Cancellation::PollDescriptor() const noexcept {
  return m_state ? m_state->Number() : -1;
}

}  // namespace tov_update
