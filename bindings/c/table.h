// SPDX-License-Identifier: Apache-2.0

// Objects behind numbers.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace bindings {

// A number that no other call returns, and that is not 0.
inline std::uint64_t NewHandle() {
  static std::atomic<std::uint64_t> last{0};
  return ++last;
}

// The objects that a caller holds handles of. Since no number is used twice, in whichever table, a
// handle that was freed, or is one of another table, is never taken for another object's. May be
// used by several threads at once.
template <class Object>
class Table {
 public:
  // Returns the new object's handle.
  std::uint64_t Add(std::shared_ptr<Object> object) {
    const std::uint64_t handle = NewHandle();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_objects.emplace(handle, std::move(object));
    return handle;
  }

  // Null when `handle` is none.
  std::shared_ptr<Object> Find(std::uint64_t handle) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_objects.find(handle);
    return found == m_objects.end() ? nullptr : found->second;
  }

  // Takes the object out and returns it, null when `handle` is none. It lives on as long as
  // somebody uses it.
  std::shared_ptr<Object> Take(std::uint64_t handle) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_objects.find(handle);
    if (found == m_objects.end()) return nullptr;
    std::shared_ptr<Object> object = std::move(found->second);
    m_objects.erase(found);
    return object;
  }

 private:
  mutable std::mutex m_mutex;
  std::unordered_map<std::uint64_t, std::shared_ptr<Object>> m_objects;
};

}  // namespace bindings
