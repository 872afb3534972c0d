// SPDX-License-Identifier: Apache-2.0

#include "template/framework/tov_log.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace tov_log {
namespace {

std::mutex g_mutex;  // guards the two below and the changes of g_effective
std::shared_ptr<const Handler> g_handler;
Level g_level = kOff;

std::atomic<Level> g_effective{kOff};  // g_level while there is a handler, else kOff

void UpdateEffective() {
  g_effective.store(g_handler ? g_level : kOff, std::memory_order_relaxed);
}

std::shared_ptr<const Handler> CurrentHandler() {
  const std::lock_guard<std::mutex> lock(g_mutex);
  return g_handler;
}

}  // namespace

void SetHandler(Handler handler) {
  auto shared = handler ? std::make_shared<const Handler>(std::move(handler)) : nullptr;
  // The old handler is released after the lock: its destructor is the host's code.
  const std::lock_guard<std::mutex> lock(g_mutex);
  g_handler.swap(shared);
  UpdateEffective();
}

void SetLevel(Level level) {
  const std::lock_guard<std::mutex> lock(g_mutex);
  g_level = std::max(level, kOff);
  UpdateEffective();
}

bool Module::Check(Level level) const {
  return level <= g_effective.load(std::memory_order_relaxed);
}

void Module::Write(Level level, const char* format, ...) const {
  const std::shared_ptr<const Handler> handler = Check(level) ? CurrentHandler() : nullptr;
  if (!handler) return;
  std::va_list arguments;
  va_start(arguments, format);
  const int size = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string text(static_cast<std::size_t>(std::max(size, 0)), '\0');
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  va_end(arguments);

  const std::string module = m_module;
  const std::string channel = m_channel;
  try {
    (*handler)(level, module, channel, text);
  } catch (...) {  // NOLINT(bugprone-empty-catch): logging must not change what the caller does
  }
}

}  // namespace tov_log
