// SPDX-License-Identifier: Apache-2.0

#include "cli/terminal.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace cli {
namespace {

constexpr std::size_t kWidth = 40;

std::string_view Environment(const char* name) {
  const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets it
  return value ? value : "";
}

void Put(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

}  // namespace

bool WantsColour(const std::string& when) {
  if (when != "auto") return when == "always";
  return isatty(STDOUT_FILENO) == 1 && Environment("NO_COLOR").empty() &&
         Environment("TERM") != "dumb";
}

ProgressBar::ProgressBar(std::size_t count)
    : m_count(count), m_shown(count > 1 && isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
  if (m_shown) Put("\r\x1b[K");
}

void ProgressBar::Show(std::size_t done) const {
  if (!m_shown) return;
  const std::size_t filled = kWidth * done / m_count;
  Put("\r[" + std::string(filled, '=') + std::string(kWidth - filled, ' ') + "] " +
      std::to_string(done) + '/' + std::to_string(m_count));
}

}  // namespace cli
