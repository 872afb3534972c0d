// SPDX-License-Identifier: Apache-2.0

#include "document/lua.h"

#include <algorithm>
#include <string>

namespace tov_document {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

// Behind the string in quotes that begins at `open`; none: it does not end on its line, and its
// quote counts as nothing then.
std::size_t BehindString(std::string_view text, std::size_t open) {
  for (std::size_t at = open + 1; at < text.size() && text[at] != '\n'; ++at) {
    if (text[at] == text[open]) return at + 1;
    if (text[at] != '\\') continue;
    ++at;
    if (at < text.size() && text[at] == '\n') return kNowhere;
  }
  return kNowhere;
}

// How many "=" stand in the long bracket "[==[" at `open`; none: there is no such bracket.
std::size_t LevelOfBracket(std::string_view text, std::size_t open) {
  if (open >= text.size() || text[open] != '[') return kNowhere;
  const std::size_t end = text.find_first_not_of('=', open + 1);
  return end != kNowhere && text[end] == '[' ? end - open - 1 : kNowhere;
}

// Behind the "]==]" that closes the long bracket of `level` whose text begins at `from`; none: it
// does not close.
std::size_t BehindLongText(std::string_view text, std::size_t from, std::size_t level) {
  const std::string close = "]" + std::string(level, '=') + "]";
  const std::size_t found = text.find(close, from);
  return found == kNowhere ? kNowhere : found + close.size();
}

// Behind the comment at `open`, where "--" stands.
std::size_t BehindComment(std::string_view text, std::size_t open) {
  const std::size_t level = LevelOfBracket(text, open + 2);
  if (level != kNowhere) return BehindLongText(text, open + 2 + level + 2, level);
  return std::min(text.find('\n', open), text.size());
}

// Behind what begins at `at`, a string, a comment or the byte there; none: it has to close and
// does not.
std::size_t BehindToken(std::string_view text, std::size_t at) {
  switch (text[at]) {
    case '"':
    case '\'': {
      const std::size_t behind = BehindString(text, at);
      return behind == kNowhere ? at + 1 : behind;
    }
    case '-':
      return text.substr(at, 2) == "--" ? BehindComment(text, at) : at + 1;
    case '[': {
      const std::size_t level = LevelOfBracket(text, at);
      return level == kNowhere ? at + 1 : BehindLongText(text, at + level + 2, level);
    }
    default:
      return at + 1;
  }
}

}  // namespace

std::optional<std::uint32_t> EndOfLua(std::string_view text, std::size_t begin) {
  std::size_t open = 0;
  std::size_t at = begin;
  while (at < text.size()) {
    if (text[at] == '{') ++open;
    if (text[at] == '}' && open-- == 0) return static_cast<std::uint32_t>(at);
    const std::size_t behind = BehindToken(text, at);
    if (behind == kNowhere) return std::nullopt;
    at = behind;
  }
  return std::nullopt;
}

}  // namespace tov_document
