// SPDX-License-Identifier: Apache-2.0

// Room for long texts, for whatever part of the project makes some.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>

namespace tov_text {

// Like `text.reserve(size)`, for a text that is about to get so many bytes, or nearly. The system
// gives memory page by page, when each is first written to, and takes longer for that than filling
// a page takes. Here it gives all pages of a long text at once. A system that does not know how
// gives them page by page.
inline void ReserveAhead(std::string& text, std::size_t size) {
  constexpr std::size_t kLong = std::size_t{1} << 18;  // below, memory is mostly used again
  text.reserve(size);
#ifdef MADV_POPULATE_WRITE
  if (size < kLong) return;
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* first = text.data();
  std::size_t room = size;
  if (std::align(page, page, first, room) == nullptr) return;
  const int error = errno;
  madvise(first, room / page * page, MADV_POPULATE_WRITE);
  errno = error;
#endif
}

}  // namespace tov_text
