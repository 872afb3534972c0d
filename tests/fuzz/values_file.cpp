// The program's values file.
#include "cli/values_file.h"

#include "cli/failure.h"
#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    for (const auto& [name, values] : cli::ParseValues(text, "FILE")) {
      Require(!values.old_value.IsNull() || values.old_value.Str().empty(), "a null with a text");
    }
  } catch (const cli::Failure& failure) {
    Require(std::string(failure.what()).compare(0, 6, "FILE: ") == 0, "a failure without a file");
  }
  return 0;
}
