// SPDX-License-Identifier: Apache-2.0

#include "floor.h"

#include <cstddef>
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

}  // namespace bench
