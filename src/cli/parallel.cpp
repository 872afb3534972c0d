// SPDX-License-Identifier: Apache-2.0

#include "cli/parallel.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace cli {
namespace {

constexpr std::chrono::milliseconds kWatchInterval(100);

// The numbers still to be handed out, and how many are done.
class Work {
 public:
  explicit Work(std::size_t count) : m_count(count) {}

  struct Share {
    std::size_t begin = 0;
    std::size_t end = 0;
  };

  // Those that have been handed out are `done`. An empty share when none is left. Several at a time
  // where many are left: to ask takes longer than some work does.
  Share Next(Share done) {
    const std::lock_guard lock(m_mutex);
    m_done += done.end - done.begin;
    if (m_done == m_count) m_all_done.notify_one();
    constexpr std::size_t kMost = 64;
    const std::size_t size = std::min(kMost, (m_count - m_next + kMost - 1) / kMost);
    const Share share{m_next, m_next + size};
    m_next = share.end;
    return share;
  }

  // Waits for the end, but not for long. How many are done.
  std::size_t Wait() {
    std::unique_lock lock(m_mutex);
    m_all_done.wait_for(lock, kWatchInterval, [this] { return m_done == m_count; });
    return m_done;
  }

 private:
  const std::size_t m_count;
  std::mutex m_mutex;
  std::condition_variable m_all_done;
  std::size_t m_next = 0;
  std::size_t m_done = 0;
};

std::size_t ThreadCount(std::size_t count, unsigned jobs) {
  const unsigned wanted = jobs > 0 ? jobs : std::max(1U, std::thread::hardware_concurrency());
  return std::min<std::size_t>(count, wanted);
}

// Up to `wanted` threads that run, none where one would do. Fewer where the system does not allow
// more.
class Threads {
 public:
  Threads(std::size_t wanted, const std::function<void()>& run) {
    if (wanted < 2) return;
    try {
      m_threads.reserve(wanted);
      while (m_threads.size() < wanted) m_threads.emplace_back(run);
    } catch (const std::exception&) {  // std::system_error, std::bad_alloc: those that there are
    }
  }
  ~Threads() {
    for (std::thread& thread : m_threads) thread.join();
  }
  Threads(const Threads&) = delete;
  Threads& operator=(const Threads&) = delete;

  bool None() const { return m_threads.empty(); }

 private:
  std::vector<std::thread> m_threads;
};

void RunAlone(std::size_t count, const std::function<void(std::size_t)>& work,
              const std::function<void(std::size_t)>& watch) {
  auto watched = std::chrono::steady_clock::now();
  for (std::size_t number = 0; number < count; ++number) {
    work(number);
    const auto now = std::chrono::steady_clock::now();
    if (now - watched < kWatchInterval && number + 1 < count) continue;
    watched = now;
    watch(number + 1);
  }
}

}  // namespace

void ForEachInParallel(std::size_t count, unsigned jobs,
                       const std::function<void(std::size_t)>& work,
                       const std::function<void(std::size_t)>& watch) {
  Work numbers(count);
  const auto run = [&numbers, &work] {
    Work::Share share;
    do {
      share = numbers.Next(share);
      for (std::size_t number = share.begin; number < share.end; ++number) work(number);
    } while (share.begin < share.end);
  };
  Threads threads(ThreadCount(count, jobs), run);
  if (threads.None()) return RunAlone(count, work, watch);
  std::size_t done = 0;
  do {
    done = numbers.Wait();
    watch(done);
  } while (done < count);
}

}  // namespace cli
