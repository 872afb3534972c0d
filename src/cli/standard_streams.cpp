// SPDX-License-Identifier: Apache-2.0

#include "cli/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace cli {
namespace {

// open() takes the lowest number that is free. What is to be read is opened for writing, and the
// other way round.
bool IsOpenNow(int number) {
  if (fcntl(number, F_GETFD) >= 0) return true;
  return open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY) == number;
}

}  // namespace

bool OpenStandardStreams() {
  return IsOpenNow(STDIN_FILENO) && IsOpenNow(STDOUT_FILENO) && IsOpenNow(STDERR_FILENO);
}

}  // namespace cli
