// SPDX-License-Identifier: Apache-2.0

#include "cli/parallel.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
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

  // False when none is left.
  bool Next(std::size_t& number) {
    const std::lock_guard lock(m_mutex);
    number = m_next;
    if (m_next == m_count) return false;
    ++m_next;
    return true;
  }

  void Done() {
    const std::lock_guard lock(m_mutex);
    ++m_done;
    if (m_done == m_count) m_all_done.notify_one();
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

}  // namespace

void ForEachInParallel(std::size_t count, unsigned jobs,
                       const std::function<void(std::size_t)>& work,
                       const std::function<void(std::size_t)>& watch) {
  Work numbers(count);
  const auto run = [&] {
    for (std::size_t number = 0; numbers.Next(number); numbers.Done()) work(number);
  };
  if (count == 1) return run();  // no thread is worth it
  std::vector<std::thread> threads(ThreadCount(count, jobs));
  for (std::thread& thread : threads) thread = std::thread(run);
  std::size_t done = 0;
  do {
    done = numbers.Wait();
    watch(done);
  } while (done < count);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace cli
