// Small helpers for texts: bytes, no locale.
#pragma once

#include <algorithm>
#include <string_view>

namespace cli {

constexpr std::string_view kBlanks = " \t\n\r\v\f";

constexpr bool IsBlank(char c) {
  return kBlanks.find(c) != std::string_view::npos;
}

// `text` without the blanks at its end.
inline std::string_view TrimmedEnd(std::string_view text) {
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// The blanks at the beginning of `text`.
inline std::string_view Indentation(std::string_view text) {
  return text.substr(0, std::min(text.find_first_not_of(kBlanks), text.size()));
}

inline std::string_view Trimmed(std::string_view text) {
  return TrimmedEnd(text.substr(Indentation(text).size()));
}

// The first word of `text`, "" when there is none.
inline std::string_view FirstWord(std::string_view text) {
  text = Trimmed(text);
  return text.substr(0, text.find_first_of(kBlanks));
}

inline bool StartsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

}  // namespace cli
