// SPDX-License-Identifier: Apache-2.0

#include "report/json_writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

namespace report {
namespace {

using nlohmann::ordered_json;

constexpr int kIndentation = 2;

std::string Dumped(const ordered_json& value) {
  return value.dump(kIndentation, ' ', false, ordered_json::error_handler_t::replace);
}

// Whether the byte stands for itself in a JSON text, whatever stands around it.
bool IsPlain(char byte) {
  return byte >= ' ' && byte <= '~' && byte != '"' && byte != '\\';
}

}  // namespace

std::string JsonText(const ordered_json& value) {
  return Dumped(value) + '\n';
}

void JsonWriter::Begin(char bracket) {
  BeginValue();
  m_text += bracket;
  m_indentation += kIndentation;
  m_empty = true;
}

void JsonWriter::End(char bracket) {
  m_indentation -= kIndentation;
  if (!m_empty) BeginLine();
  m_text += bracket;
  m_empty = false;
}

void JsonWriter::Name(std::string_view name) {
  Value(name);
  m_text += ": ";
  m_named = true;
}

void JsonWriter::Value(std::string_view text) {
  if (!std::all_of(text.begin(), text.end(), IsPlain)) {
    Whole(text);
    return;
  }
  BeginValue();
  m_text += '"';
  m_text += text;
  m_text += '"';
}

void JsonWriter::Value(std::size_t number) {
  std::array<char, std::numeric_limits<std::size_t>::digits10 + 1> digits;
  const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  BeginValue();
  m_text.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

// No text in a JSON text holds a line end.
void JsonWriter::Whole(const ordered_json& value) {
  BeginValue();
  for (const char byte : Dumped(value)) {
    m_text += byte;
    if (byte == '\n') m_text.append(m_indentation, ' ');
  }
}

std::string JsonWriter::Text() && {
  m_text += '\n';
  return std::move(m_text);
}

void JsonWriter::BeginValue() {
  if (!std::exchange(m_named, false) && m_indentation != 0) {
    if (!m_empty) m_text += ',';
    BeginLine();
  }
  m_empty = false;
}

void JsonWriter::BeginLine() {
  m_text += '\n';
  m_text.append(m_indentation, ' ');
}

}  // namespace report
