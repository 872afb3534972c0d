// SPDX-License-Identifier: Apache-2.0

#include "hostile/measure.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

namespace hostile {
namespace {

double Seconds(const rusage& usage) {
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The processor time when a case began its request and when it had the result, for the process that
// started it to see.
struct Times {
  double begin;
  double end;
};

Times& SharedTimes() {
  static void* const shared =
      mmap(nullptr, sizeof(Times), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  Require(shared != MAP_FAILED, "no shared memory");
  return *static_cast<Times*>(shared);
}

double SecondsNow() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return Seconds(usage);
}

struct Cost {
  double seconds;    // of the processor
  double megabytes;  // at the peak
};

// Throws when the case fails.
Cost Measure(const Case& test, std::size_t size) {
  std::fflush(stdout);
  SharedTimes() = {};
  const pid_t child = fork();
  Require(child >= 0, "cannot fork");
  if (child == 0) {
    try {
      test.run(size);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s, %zu %s: %s\n", test.name, size, test.unit, error.what());
      _exit(1);
    }
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  Require(wait4(child, &status, 0, &usage) == child, "cannot wait");
  Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "failed");
  return {SharedTimes().end - SharedTimes().begin, static_cast<double>(usage.ru_maxrss) / 1024};
}

}  // namespace

void BeginRequest() {
  SharedTimes().begin = SecondsNow();
}

void EndRequest() {
  SharedTimes().end = SecondsNow();
}

void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::string Repeat(std::size_t count, const std::function<std::string(std::size_t)>& piece) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += piece(i);
  return text;
}

std::string Number(std::size_t number) {
  return std::to_string(number);
}

int Run(const std::vector<Case>& cases, int argc, char** argv) {
  const std::size_t divisor = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1;
  bool failed = divisor == 0;
  std::printf("%-47s %11s %-7s %8s %9s %15s\n", "", "size", "", "seconds", "MB", "for 10 x size");
  for (const Case& test : cases) {
    if (divisor == 0) break;
    const std::size_t size = std::max<std::size_t>(test.size / divisor, 10);
    try {
      const Cost tenth = Measure(test, size / 10);
      const Cost cost = Measure(test, size);
      std::printf("%-47s %11zu %-7s %8.2f %9.0f %5.1fx time %4.1fx memory\n", test.name, size,
                  test.unit, cost.seconds, cost.megabytes, cost.seconds / tenth.seconds,
                  cost.megabytes / tenth.megabytes);
    } catch (const std::exception& error) {
      std::printf("%-47s %11zu %-7s %s\n", test.name, size, test.unit, error.what());
      failed = true;
    }
  }
  return failed ? 1 : 0;
}

}  // namespace hostile
