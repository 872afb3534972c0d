// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/plain_lua.h"

#include <algorithm>
#include <string>

namespace nginx_judge {

namespace {

// The brackets "[==[" at `begin`, as their closing ones: "]==]"; "" when there are none.
std::string ClosingOfLongBracket(std::string_view text, std::size_t begin) {
  std::size_t end = begin + 1;
  while (end < text.size() && text[end] == '=') ++end;
  const bool opens =
      begin < text.size() && text[begin] == '[' && end < text.size() && text[end] == '[';
  return opens ? "]" + std::string(end - begin - 1, '=') + "]" : "";
}

// Behind the string at `begin`. One that does not end on its line is none: then behind its quote.
std::size_t BehindString(std::string_view text, std::size_t begin) {
  for (std::size_t i = begin + 1; i < text.size() && text[i] != '\n'; ++i) {
    if (text[i] == text[begin]) return i + 1;
    if (text[i] != '\\') continue;
    ++i;
    if (i < text.size() && text[i] == '\n') break;
  }
  return begin + 1;
}

// Behind the text in long brackets that opens at `begin` and that `closing` closes; none: it does
// not end.
std::optional<std::size_t> BehindLongBracket(std::string_view text, std::size_t begin,
                                             const std::string& closing) {
  const std::size_t end = text.find(closing, begin + closing.size());
  if (end == std::string_view::npos) return std::nullopt;
  return end + closing.size();
}

}  // namespace

std::optional<std::size_t> LuaClosing(std::string_view text, std::size_t begin) {
  std::size_t depth = 1;
  std::size_t pos = begin;
  while (pos < text.size()) {
    const bool comment = text.substr(pos, 2) == "--";
    const std::string bracket = ClosingOfLongBracket(text, comment ? pos + 2 : pos);
    if (!bracket.empty()) {
      const auto behind = BehindLongBracket(text, comment ? pos + 2 : pos, bracket);
      if (!behind) return std::nullopt;
      pos = *behind;
    } else if (comment) {
      pos = std::min(text.find('\n', pos), text.size());
    } else if (text[pos] == '"' || text[pos] == '\'') {
      pos = BehindString(text, pos);
    } else {
      if (text[pos] == '{') ++depth;
      if (text[pos] == '}' && --depth == 0) return pos;
      ++pos;
    }
  }
  return std::nullopt;
}

}  // namespace nginx_judge
