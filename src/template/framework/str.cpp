// SPDX-License-Identifier: Apache-2.0

#include "template/framework/str.h"

#include <utility>

namespace str {
namespace {

std::size_t Find(std::string_view text, std::string_view part, std::size_t from = 0) {
  return part.empty() ? std::string_view::npos : text.find(part, from);
}

std::size_t FindLast(std::string_view text, std::string_view part) {
  return part.empty() ? std::string_view::npos : text.rfind(part);
}

std::string_view CutAt(std::string_view& text, std::size_t position, std::size_t delimiter_size) {
  if (position == std::string_view::npos) return std::exchange(text, std::string_view());
  const std::string_view word = text.substr(0, position);
  text.remove_prefix(position + delimiter_size);
  return word;
}

// Runs `cut`, which shortens a view from its front, on a string.
template <class Cut>
std::string CutFront(std::string& text, Cut cut) {
  std::string_view rest = text;
  std::string word(cut(rest));
  text.erase(0, text.size() - rest.size());
  return word;
}

}  // namespace

std::string GetWord(std::string& text) {
  return CutFront(text, [](std::string_view& rest) { return view::GetWord(rest); });
}

std::string GetWord(std::string& text, char delimiter) {
  return CutFront(text, [=](std::string_view& rest) { return view::GetWord(rest, delimiter); });
}

std::string GetWord(std::string& text, const std::string& delimiter) {
  return CutFront(text, [&](std::string_view& rest) { return view::GetWord(rest, delimiter); });
}

std::string RGetWord(std::string& text, char delimiter) {
  return RGetWord(text, std::string(1, delimiter));
}

std::string RGetWord(std::string& text, const std::string& delimiter) {
  const std::size_t position = FindLast(text, delimiter);
  if (position == std::string::npos) return std::exchange(text, std::string());
  std::string word = text.substr(position + delimiter.size());
  text.erase(position);
  return word;
}

std::string Trim(const std::string& text) {
  return std::string(view::Trim(text));
}

bool StartsWith(const std::string& text, const std::string& prefix) {
  return view::StartsWith(text, prefix);
}

bool EndsWith(const std::string& text, const std::string& suffix) {
  return view::EndsWith(text, suffix);
}

std::string Replace(const std::string& text, const std::string& from, const std::string& to) {
  std::string result;
  std::size_t start = 0;
  for (std::size_t at; (at = Find(text, from, start)) != std::string::npos;
       start = at + from.size()) {
    result.append(text, start, at - start).append(to);
  }
  return result.append(text, start);
}

std::string Append(const std::string& a, const std::string& b, const std::string& separator) {
  std::string result;
  result.reserve(a.size() + separator.size() + b.size());
  result = a;
  inpl::Append(result, b, separator);
  return result;
}

std::string Str(long number) {
  return std::to_string(number);
}

std::string Join(const std::list<std::string>& parts, const std::string& separator) {
  std::size_t size = 0;
  for (const std::string& part : parts) size += part.size() + separator.size();
  std::string result;
  result.reserve(size);
  for (const std::string& part : parts) {
    if (part.empty()) continue;
    if (!result.empty()) result += separator;
    result += part;
  }
  return result;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): part of the interface.
void Split(std::string text, const std::string& delimiter, std::list<std::string>& out) {
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string_view piece = view::GetWord(rest, delimiter);
    if (!piece.empty()) out.emplace_back(view::Trim(piece));
  }
}

namespace inpl {

void Trim(std::string& text) {
  const std::string_view trimmed = view::Trim(text);
  const auto start = static_cast<std::size_t>(trimmed.data() - text.data());
  text.erase(start + trimmed.size());
  text.erase(0, start);
}

void Append(std::string& a, const std::string& b, const std::string& separator) {
  const std::size_t size = b.size();  // `b` may be `a`
  if (!a.empty() && size != 0) a += separator;
  a.append(b, 0, size);
}

}  // namespace inpl

namespace view {

std::string_view GetWord(std::string_view& text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  std::size_t end = 0;
  while (end < text.size() && !IsBlank(text[end])) ++end;
  return CutAt(text, end < text.size() ? end : std::string_view::npos, 1);
}

std::string_view GetWord(std::string_view& text, char delimiter) {
  return CutAt(text, text.find(delimiter), 1);
}

std::string_view GetWord(std::string_view& text, std::string_view delimiter) {
  return CutAt(text, Find(text, delimiter), delimiter.size());
}

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

std::string_view FirstWord(std::string_view text) {
  return GetWord(text);
}

}  // namespace view

}  // namespace str
