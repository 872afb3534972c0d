// SPDX-License-Identifier: Apache-2.0

// Any bytes, read as httpd reads them.

#include "fuzz/document.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ReadAnything(tov_document::Dialect::kApache, data, size);
  return 0;
}
