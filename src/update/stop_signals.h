// SPDX-License-Identifier: Apache-2.0

// The signals by which people and systems ask a program to stop.
#pragma once

#include <algorithm>
#include <csignal>
#include <iterator>

namespace tov_update {

inline constexpr int kStopSignals[] = {SIGHUP, SIGINT, SIGTERM};

inline sigset_t StopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kStopSignals) sigaddset(&signals, signal);
  return signals;
}

// Has them wait while it lives: those for this thread, and for a process that has no other.
class HeldStopSignals {
 public:
  HeldStopSignals() {
    const sigset_t stop_signals = StopSignals();
    pthread_sigmask(SIG_BLOCK, &stop_signals, &m_before);
  }
  ~HeldStopSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
  HeldStopSignals(const HeldStopSignals&) = delete;
  HeldStopSignals& operator=(const HeldStopSignals&) = delete;

  // Whether one has come, be it one that the program ignores.
  bool Waiting() const {
    sigset_t waiting = {};
    sigpending(&waiting);
    return std::any_of(std::begin(kStopSignals), std::end(kStopSignals),
                       [&waiting](int signal) { return sigismember(&waiting, signal) != 0; });
  }

  // The mask that was there before.
  const sigset_t& Before() const { return m_before; }

 private:
  sigset_t m_before = {};
};

}  // namespace tov_update
