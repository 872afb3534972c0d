// SPDX-License-Identifier: Apache-2.0

// Work that may take long, with commands. The thread that waits looks after Python's signals
// meanwhile.
#pragma once

#include <pybind11/pybind11.h>

#include <chrono>
#include <future>
#include <string>

#include "text.h"
#include "update/cancellation.h"
#include "update/update.h"

namespace python {

inline std::chrono::milliseconds Milliseconds(double seconds) {
  return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

// Does `work` in another thread. What a signal raises here, such as KeyboardInterrupt, cancels it,
// and passes on when it has come to its end.
template <class Work>
void Interruptibly(const tov_update::Cancellation& cancellation, const Work& work) {
  constexpr std::chrono::milliseconds kBetweenLooks(50);
  std::future<void> done = std::async(std::launch::async, work);
  std::future_status status = std::future_status::timeout;
  while (status != std::future_status::ready) {
    WithoutGil([&] { status = done.wait_for(kBetweenLooks); });
    if (PyErr_CheckSignals() == 0) continue;
    const py::error_already_set raised;
    cancellation.Cancel();
    WithoutGil([&] { done.wait(); });
    throw raised;
  }
  done.get();
}

inline tov_update::NewWarnings NewWarningsNamed(const std::string& name) {
  if (name == "tell") return tov_update::NewWarnings::kTold;
  if (name == "refuse") return tov_update::NewWarnings::kRefused;
  return tov_update::NewWarnings::kNotLookedFor;
}

}  // namespace python
