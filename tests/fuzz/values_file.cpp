// SPDX-License-Identifier: Apache-2.0

// The program's values file.
#include "cli/values_file.h"

#include "cli/failure.h"
#include "fuzz/input.h"

namespace {

void Try(const std::string& text, const std::string& file) {
  try {
    cli::ParseValues(text, file);
  } catch (const cli::Failure& failure) {
    const std::string place = file + ':';
    Require(std::string(failure.what()).compare(0, place.size(), place) == 0,
            "a failure without a place");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Try(text, "FILE.json");
  Try(text, "FILE.yaml");
  return 0;
}
