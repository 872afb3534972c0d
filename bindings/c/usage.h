// SPDX-License-Identifier: Apache-2.0

// Who uses an object that many may use at once, or one may change.
#pragma once

#include <atomic>

#include "template/framework/tov_err.h"

namespace bindings {

// Nobody waits: what cannot be had at once is an error. So no call can wait for itself, however
// functions of the caller's call back.
class Usage {
 public:
  // While it lives the object is used. Throws tov_err::Error(`kind`, "busy") during a change.
  class Use {
   public:
    Use(Usage& usage, const char* kind) : m_users(usage.m_users) {
      int users = m_users.load();
      do {
        if (users == kChanged) throw tov_err::Error(kind, "busy");
      } while (!m_users.compare_exchange_weak(users, users + 1));
    }
    ~Use() { --m_users; }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

   private:
    std::atomic<int>& m_users;
  };

  // While it lives the object is changed. Throws the same during a use or another change.
  class Change {
   public:
    Change(Usage& usage, const char* kind) : m_users(usage.m_users) {
      int none = 0;
      if (!m_users.compare_exchange_strong(none, kChanged)) throw tov_err::Error(kind, "busy");
    }
    ~Change() { m_users = 0; }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

   private:
    std::atomic<int>& m_users;
  };

 private:
  static constexpr int kChanged = -1;
  std::atomic<int> m_users{0};
};

}  // namespace bindings
