// SPDX-License-Identifier: Apache-2.0

#include "cli/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

namespace cli {

// open() takes the lowest number that is free. What is to be read is opened for writing, and the
// other way round.
bool OpenStandardStreams() {
  for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(number, F_GETFD) >= 0) continue;
    if (open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY) != number) return false;
  }
  return true;
}

}  // namespace cli
