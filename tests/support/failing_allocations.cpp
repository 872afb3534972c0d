// SPDX-License-Identifier: Apache-2.0

#include "support/failing_allocations.h"

#include <cstdlib>
#include <new>

void* operator new(std::size_t size) {
  using failing_allocations::left;
  if (left == 0) {
    if (!failing_allocations::fail_on) left = failing_allocations::kNone;
    throw std::bad_alloc();
  }
  if (left > 0) --left;
  if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

// As the library has it, but for sanitizers, whose own does not come here.
void* operator new(std::size_t size, const std::nothrow_t& /*no_throw*/) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*no_throw*/) noexcept {
  std::free(memory);
}
