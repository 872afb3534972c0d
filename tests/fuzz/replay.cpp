// SPDX-License-Identifier: Apache-2.0

// Runs a fuzz target on the files named on the command line, without a fuzzer.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  int files = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream stream(entry.path(), std::ios::binary);
      const std::string content(std::istreambuf_iterator<char>(stream), {});
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
      ++files;
    }
  }
  std::printf("%d inputs\n", files);
  return files == 0 ? 1 : 0;
}
