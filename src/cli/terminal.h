// SPDX-License-Identifier: Apache-2.0

// What is shown to people only.
#pragma once

#include <cstddef>
#include <string>

namespace cli {

// Whether colours are wanted on standard output: `when` is "always", "never" or "auto", on a
// terminal unless the environment's NO_COLOR is set to something or TERM is "dumb".
bool WantsColour(const std::string& when);

// A line on standard error that shows how far work has got, and goes when the object does. Nothing
// at all when standard error is no terminal.
class ProgressBar {
 public:
  explicit ProgressBar(std::size_t count);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // `done` of the `count` things are done.
  void Show(std::size_t done) const;

 private:
  const std::size_t m_count;
  const bool m_shown;
};

}  // namespace cli
