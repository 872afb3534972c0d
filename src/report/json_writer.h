// SPDX-License-Identifier: Apache-2.0

// How JSON is written.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "report/writer.h"

namespace report {

// Writes JSON, indented. A byte that is no UTF-8 becomes U+FFFD, and so do the first bytes of a
// character that is not whole.
class JsonWriter final : public Writer {
 public:
  // Is called for one piece of what was written after the other. What it gets is there for that
  // call only.
  using WritePiece = std::function<void(std::string_view)>;

  // Keeps all until Text is called.
  JsonWriter() = default;

  // Gives `write` the pieces as they come, and keeps the last one.
  explicit JsonWriter(WritePiece write) : m_write(std::move(write)) {}

  void Begin(char bracket) override;
  void End(char bracket) override;
  void Name(std::string_view name) override;

  // All that was written and is kept, with a line end.
  std::string Text() &&;

 private:
  void AddText(std::string_view text) override;
  void AddNumber(std::size_t number) override;
  void AddTruth(bool value) override;
  void BeginValue();
  void BeginLine();

  WritePiece m_write;
  std::string m_text;
  std::size_t m_indentation = 0;
  bool m_empty = true;   // nothing stands yet in the innermost object or array
  bool m_named = false;  // Name has been told
};

}  // namespace report
