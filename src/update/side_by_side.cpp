// SPDX-License-Identifier: Apache-2.0

#include "update/side_by_side.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace tov_update {
namespace {

// What a thread takes at a time. Less is done sooner than a thread has begun.
constexpr std::size_t kShare = 32;

class Work {
 public:
  Work(std::size_t count, const std::function<void(std::size_t)>& work)
      : m_count(count), m_work(work) {}

  void Run() noexcept {
    for (std::size_t begin = Next(); begin < m_count; begin = Next()) {
      const std::size_t end = std::min(begin + kShare, m_count);
      for (std::size_t number = begin; number < end; ++number) {
        if (!Do(number)) return;
      }
    }
  }

  void ThrowIfFailed() const {
    if (m_failure) std::rethrow_exception(m_failure);
  }

 private:
  std::size_t Next() {
    const std::lock_guard lock(m_mutex);
    const std::size_t next = m_failure ? m_count : m_next;
    m_next = std::min(next + kShare, m_count);
    return next;
  }

  bool Do(std::size_t number) noexcept {
    try {
      m_work(number);
      return true;
    } catch (...) {
      const std::lock_guard lock(m_mutex);
      if (!m_failure || number < m_failed) {
        m_failure = std::current_exception();
        m_failed = number;
      }
      return false;
    }
  }

  const std::size_t m_count;
  const std::function<void(std::size_t)>& m_work;
  std::mutex m_mutex;
  std::size_t m_next = 0;
  std::size_t m_failed = 0;
  std::exception_ptr m_failure;
};

// Threads in which no signal is handled.
class Helpers {
 public:
  Helpers(std::size_t wanted, Work& work) {
    sigset_t all = {};
    sigset_t before = {};
    sigfillset(&all);
    if (wanted == 0 || pthread_sigmask(SIG_SETMASK, &all, &before) != 0) return;
    try {
      m_threads.reserve(wanted);
      while (m_threads.size() < wanted) m_threads.emplace_back([&work] { work.Run(); });
    } catch (const std::exception&) {  // std::system_error, std::bad_alloc: those that there are
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  ~Helpers() {
    for (std::thread& thread : m_threads) thread.join();
  }
  Helpers(const Helpers&) = delete;
  Helpers& operator=(const Helpers&) = delete;

 private:
  std::vector<std::thread> m_threads;
};

}  // namespace

void ForEachSideBySide(std::size_t count, unsigned jobs,
                       const std::function<void(std::size_t)>& work) {
  Work all(count, work);
  {
    const std::size_t useful = std::min<std::size_t>(jobs, count / kShare);
    const Helpers helpers(useful > 1 ? useful - 1 : 0, all);
    all.Run();
  }
  all.ThrowIfFailed();
}

}  // namespace tov_update
