// SPDX-License-Identifier: Apache-2.0

#include "report/json_writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

namespace report {
namespace {

constexpr int kIndentation = 2;
constexpr std::size_t kPiece = 1 << 16;          // stays in the processor's cache
constexpr char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

// Whether the byte stands for itself in a JSON text, whatever stands around it.
bool IsPlain(char byte) {
  return byte >= ' ' && byte <= '~' && byte != '"' && byte != '\\';
}

// The bytes of UTF-8 that begin with one of `first` to `last`: how many they are, and between which
// the second one is. The others are between 80 and BF.
struct Character {
  unsigned char first;
  unsigned char last;
  unsigned char size;
  unsigned char least_second;
  unsigned char greatest_second;
};

// Without longer ways to write a character, surrogates, and what is beyond U+10FFFF.
constexpr Character kCharacters[] = {
    {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF}, {0xE1, 0xEC, 3, 0x80, 0xBF},
    {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF}, {0xF0, 0xF0, 4, 0x90, 0xBF},
    {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

unsigned char ByteOf(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]);
}

// The bytes that `text` begins with, which is not ASCII: a character, or how far one goes.
struct Beginning {
  std::size_t size;
  bool is_character;
};

Beginning BeginningOf(std::string_view text) {
  const unsigned char lead = ByteOf(text, 0);
  const auto* const known = std::find_if(
      std::begin(kCharacters), std::end(kCharacters),
      [lead](const Character& each) { return each.first <= lead && lead <= each.last; });
  if (known == std::end(kCharacters)) return {1, false};
  for (std::size_t i = 1; i < known->size; ++i) {
    const unsigned char least = i == 1 ? known->least_second : 0x80;
    const unsigned char greatest = i == 1 ? known->greatest_second : 0xBF;
    if (i == text.size() || ByteOf(text, i) < least || ByteOf(text, i) > greatest)
      return {i, false};
  }
  return {known->size, true};
}

void AppendEscaped(std::string& json, char byte) {
  switch (byte) {
    case '"':
      json += "\\\"";
      return;
    case '\\':
      json += "\\\\";
      return;
    case '\b':
      json += "\\b";
      return;
    case '\f':
      json += "\\f";
      return;
    case '\n':
      json += "\\n";
      return;
    case '\r':
      json += "\\r";
      return;
    case '\t':
      json += "\\t";
      return;
    case '\x7F':
      json += byte;
      return;
    default:
      break;
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto number = static_cast<unsigned char>(byte);
  json += "\\u00";
  json += kDigits[number / kDigits.size()];
  json += kDigits[number % kDigits.size()];
}

void AppendText(std::string& json, std::string_view text) {
  while (!text.empty()) {
    const auto* const end = std::find_if_not(text.begin(), text.end(), IsPlain);
    const auto plain = static_cast<std::size_t>(end - text.begin());
    json += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) return;
    if (ByteOf(text, 0) < 0x80) {
      AppendEscaped(json, text.front());
      text.remove_prefix(1);
      continue;
    }
    const Beginning beginning = BeginningOf(text);
    json += beginning.is_character ? text.substr(0, beginning.size) : kReplacement;
    text.remove_prefix(beginning.size);
  }
}

}  // namespace

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
  if (!m_write || m_text.size() < kPiece) return;
  m_write(m_text);
  m_text.clear();
}

void JsonWriter::Name(std::string_view name) {
  AddText(name);
  m_text += ": ";
  m_named = true;
}

std::string JsonWriter::Text() && {
  m_text += '\n';
  return std::move(m_text);
}

void JsonWriter::AddText(std::string_view text) {
  BeginValue();
  m_text += '"';
  AppendText(m_text, text);
  m_text += '"';
}

void JsonWriter::AddNumber(std::size_t number) {
  std::array<char, std::numeric_limits<std::size_t>::digits10 + 1> digits;
  const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  BeginValue();
  m_text.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

void JsonWriter::AddTruth(bool value) {
  BeginValue();
  m_text += value ? "true" : "false";
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
