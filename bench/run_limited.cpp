// SPDX-License-Identifier: Apache-2.0

// Runs a program and prints what it took, as one JSON object:
//
//   run_limited SECONDS OUTPUT PROGRAM [ARGUMENT...]
//
// OUTPUT takes the program's standard output. After so many seconds the program is killed. The
// figures are the seconds on the clock, the peak of its memory in KiB, and its exit status, or the
// negative number of the signal that ended it.
//
// This is a program of its own since the peak of a process counts from the memory of the one that
// starts it: it has to be small.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

volatile std::sig_atomic_t child = 0;

void KillChild(int /*signal*/) {
  kill(child, SIGKILL);
}

[[noreturn]] void Exec(const char* output, char** command) {
  const int file = open(output, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (file >= 0 && dup2(file, STDOUT_FILENO) >= 0) execvp(command[0], command);
  std::perror(command[0]);
  _exit(127);
}

// Waits for the child, also when the alarm comes in between.
int Wait(rusage& usage) {
  int status = 0;
  while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fputs("usage: run_limited SECONDS OUTPUT PROGRAM [ARGUMENT...]\n", stderr);
    return 2;
  }
  std::signal(SIGALRM, KillChild);
  const auto begin = std::chrono::steady_clock::now();
  child = fork();
  if (child < 0) {
    std::perror("fork");
    return 2;
  }
  if (child == 0) Exec(argv[2], argv + 3);
  alarm(static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)));
  rusage usage = {};
  const int status = Wait(usage);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
  std::printf("{\"seconds\": %.6f, \"peak_kib\": %ld, \"status\": %d}\n", time.count(),
              usage.ru_maxrss, status);
  return 0;
}
