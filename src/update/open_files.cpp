// SPDX-License-Identifier: Apache-2.0

#include "update/open_files.h"

#include <fcntl.h>
#include <sys/resource.h>

#include <algorithm>
#include <climits>
#include <string>

#include "update/descriptor.h"
#include "update/failure.h"
#include "update/update.h"

namespace tov_update {

void AllowOpenFiles(std::size_t files) {
  constexpr std::size_t kOldNewAndBackup = 3;
  constexpr rlim_t kForTheProgram = 256;
  const rlim_t wanted = kOldNewAndBackup * files + kForTheProgram;
  struct rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= wanted) return;
  const struct rlimit more = {wanted, std::max(limit.rlim_max, wanted)};
  if (setrlimit(RLIMIT_NOFILE, &more) == 0) return;
  limit.rlim_cur = std::min(limit.rlim_max, wanted);
  setrlimit(RLIMIT_NOFILE, &limit);
}

void MakeRoomFor(std::size_t descriptors) noexcept {
  struct rlimit limit = {};
  if (descriptors == 0 || getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  const auto last = std::min<rlim_t>({descriptors, limit.rlim_cur, INT_MAX}) - 1;
  const Descriptor any = Open("/", O_PATH);
  if (any) Descriptor(fcntl(any.Number(), F_DUPFD_CLOEXEC, static_cast<int>(last)));
}

void ExpectOpenFiles(std::size_t count) {
  constexpr rlim_t kAnyway = 16;  // descriptors that are open or needed for a moment
  struct rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= count + kAnyway) return;
  throw Failure("these files at once need " + std::to_string(count + kAnyway) +
                " open files, and the limit is " + std::to_string(limit.rlim_cur) +
                " (ulimit -n); name fewer at a time");
}

}  // namespace tov_update
