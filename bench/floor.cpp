// SPDX-License-Identifier: Apache-2.0

#include "floor.h"

#include <cstddef>
#include <cstring>
#include <list>

namespace bench {
namespace {

std::list<std::string> Cut(const std::string& text) {
  std::list<std::string> lines;
  std::size_t begin = 0;
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
    lines.emplace_back(text, begin, end - begin);
    begin = end + 1;
  }
  lines.emplace_back(text, begin);
  return lines;
}

std::string Join(const std::list<std::string>& lines) {
  std::size_t size = 0;
  for (const std::string& line : lines) size += line.size() + 1;
  std::string text;
  text.reserve(size);
  for (const std::string& line : lines) {
    text += line;
    text += '\n';
  }
  text.pop_back();
  return text;
}

}  // namespace

std::string CutAndJoin(const std::string& text) {
  return Join(Cut(text));
}

std::vector<std::string_view> CutIntoViews(const std::string& text) {
  std::vector<std::string_view> lines;
  const char* begin = text.data();
  const char* const text_end = begin + text.size();
  while (begin != text_end) {
    const auto left = static_cast<std::size_t>(text_end - begin);
    const void* const found = std::memchr(begin, '\n', left);
    const char* const end = found == nullptr ? text_end : static_cast<const char*>(found);
    lines.emplace_back(begin, static_cast<std::size_t>(end - begin));
    begin = found == nullptr ? end : end + 1;
  }
  return lines;
}

}  // namespace bench
