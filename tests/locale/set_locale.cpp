// SPDX-License-Identifier: Apache-2.0

// Puts a test program into the locale that the environment names, before its tests run.
#include <cstdlib>
#include <locale>

namespace {

const bool g_locale_set = [] {
  const char* const name = std::getenv("QELTEMPLATE_TEST_LOCALE");
  if (name != nullptr) std::locale::global(std::locale(name));  // and C's; throws without it
  return name != nullptr;
}();

}  // namespace
