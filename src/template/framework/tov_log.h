// SPDX-License-Identifier: Apache-2.0

// The log channel, off until the host program switches it on:
//
//   tov_log::SetHandler([](tov_log::Level level, const std::string& module,
//                          const std::string& channel, const std::string& text) {
//     std::cerr << module << '/' << channel << ' ' << level << ": " << text << '\n';
//   });
//   tov_log::SetLevel(tov_log::kDebug);
//
// All functions may be called from any thread at any time.
#pragma once

#include <functional>
#include <string>

#include "template/export.h"

namespace tov_log {

// Not negative for a record; the higher, the more detailed.
using Level = int;

constexpr Level kOff = -1;
constexpr Level kTrace = 8;  // each call of the facade
constexpr Level kDebug = 9;  // what the engine did

// Receives one record: its level, the two names of the channel ("template", "core") and the
// formatted text, without a line end. It is called in the thread that logs, so by several threads
// at once when the host uses the library in several. What it throws is dropped.
using Handler = std::function<void(Level level, const std::string& module,
                                   const std::string& channel, const std::string& text)>;

// Installs `handler` in place of the one before; an empty one removes it. A record that another
// thread is writing at that moment may still reach the old handler.
QELTEMPLATE_EXPORT void SetHandler(Handler handler);

// Lets records of `level` and below through; kOff, the level at the start, lets none. Levels below
// kOff count as kOff.
QELTEMPLATE_EXPORT void SetLevel(Level level);

// A named channel. The library has exactly one, and keeps it to itself: a program that links the
// shared library cannot call these operations.
class Module {
 public:
  // The names must outlive the channel.
  constexpr Module(const char* module, const char* channel)
      : m_module(module), m_channel(channel) {}

  // Whether records of `level` are written: a handler is installed and the level lets them through.
  // Cost: one relaxed atomic load, so that callers ask before they build a record's arguments.
  bool Check(Level level) const;

  // Hands one record with printf-style arguments to the handler; does nothing when Check(level) is
  // false. Does not throw but std::bad_alloc, whatever the handler does.
  void Write(Level level, const char* format, ...) const __attribute__((format(printf, 3, 4)));

 private:
  const char* m_module;
  const char* m_channel;
};

}  // namespace tov_log
