// SPDX-License-Identifier: Apache-2.0

#include "document/apache/lines.h"

#include <algorithm>

namespace second_reader {
namespace {

// Appends the bytes up to the next line end, that included, to the line.
void AppendUpToLineEnd(std::string_view text, Line& line) {
  while (line.in_text.end < text.size()) {
    const char c = text[line.in_text.end];
    line.has_nul = line.has_nul || c == '\0';
    line.bytes += c;
    line.at.push_back(line.in_text.end++);
    if (c == '\n') return;
  }
}

// Where the backslash stands that makes the next line continue this one; npos: there is none. It is
// looked for in all that was joined so far, not only in the last line.
std::size_t Continuation(const std::string& bytes) {
  std::size_t end = bytes.size();
  if (end == 0 || bytes[end - 1] != '\n') return std::string::npos;
  --end;
  if (end > 0 && bytes[end - 1] == '\r') --end;
  if (end == 0 || bytes[end - 1] != '\\') return std::string::npos;
  return end - 1;
}

void RemoveBlanksAround(Line& line) {
  while (!line.bytes.empty() && IsBlank(line.bytes.back())) {
    line.bytes.pop_back();
    line.at.pop_back();
  }
  std::size_t blanks = 0;
  while (blanks < line.bytes.size() && IsBlank(line.bytes[blanks])) ++blanks;
  line.bytes.erase(0, blanks);
  line.at.erase(line.at.begin(), line.at.begin() + static_cast<std::ptrdiff_t>(blanks));
}

bool IsEscape(const std::string& bytes, std::size_t at, std::size_t end, char quote) {
  if (bytes[at] != '\\' || at + 1 >= end) return false;
  return bytes[at + 1] == '\\' || (quote != '\0' && bytes[at + 1] == quote);
}

}  // namespace

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

Line LineAt(std::string_view text, std::uint32_t begin) {
  Line line;
  line.in_text = {begin, begin};
  AppendUpToLineEnd(text, line);
  for (std::size_t backslash = Continuation(line.bytes); backslash != std::string::npos;
       backslash = Continuation(line.bytes)) {
    line.bytes.resize(backslash);
    line.at.resize(backslash);
    if (line.in_text.end == text.size()) break;
    AppendUpToLineEnd(text, line);
  }
  RemoveBlanksAround(line);
  return line;
}

Line PhysicalLineAt(std::string_view text, std::uint32_t begin) {
  Line line;
  line.in_text = {begin, begin};
  AppendUpToLineEnd(text, line);
  RemoveBlanksAround(line);
  return line;
}

Word TakeWord(const Line& line, std::size_t& position, std::size_t end) {
  const std::size_t begin = position;
  const char first = line.bytes[begin];
  const char quote = first == '"' || first == '\'' ? first : '\0';
  if (quote != '\0') ++position;
  Word word;
  while (position < end) {
    const char c = line.bytes[position];
    if (quote != '\0' ? c == quote : IsBlank(c)) break;
    if (IsEscape(line.bytes, position, end, quote)) ++position;
    word.value += line.bytes[position++];
  }
  if (quote != '\0' && position < end) ++position;
  word.bytes = line.Place(begin, position);
  while (position < end && IsBlank(line.bytes[position])) ++position;
  return word;
}

}  // namespace second_reader
