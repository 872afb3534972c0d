// SPDX-License-Identifier: Apache-2.0

// Text helpers. All of them work on bytes and know nothing of encodings or locales.
//
// A blank is one of the six bytes space, tab, "\n", "\r", "\v" and "\f".
// An empty delimiter, prefix to replace, or the like is never found in a text.
#pragma once

#include <list>
#include <string>
#include <string_view>

namespace str {

// True for a blank.
constexpr bool IsBlank(char c) {
  return c == ' ' || ('\t' <= c && c <= '\r');
}

// Skips leading blanks, returns the bytes up to the next blank, and removes the word and exactly
// one blank after it from `text`. Without a word in it, returns "" and leaves `text` empty.
//
//   std::string line = "listen 80 default_server";
//   GetWord(line);   // "listen", line == "80 default_server"
//
// Cost of every form that shortens `text` from its front: moves what remains. To cut a long text
// into many pieces use the forms of str::view.
std::string GetWord(std::string& text);

// Returns the text before the first `delimiter` and removes that text and the delimiter from
// `text`. Without a delimiter in it, the whole of `text` is returned and `text` is left empty.
//
//   std::string line = "root /srv; {#} note";
//   GetWord(line, "{#}");   // "root /srv; ", line == " note"
std::string GetWord(std::string& text, char delimiter);
std::string GetWord(std::string& text, const std::string& delimiter);

// Returns the text after the last `delimiter` and leaves in `text` what stands before it. Without a
// delimiter in it, the whole of `text` is returned and `text` is left empty.
std::string RGetWord(std::string& text, char delimiter);
std::string RGetWord(std::string& text, const std::string& delimiter);

// A copy of `text` without leading and trailing blanks.
std::string Trim(const std::string& text);

// Whether `text` begins with `prefix`, or ends with `suffix`, byte for byte. An empty prefix or
// suffix always matches.
bool StartsWith(const std::string& text, const std::string& prefix);
bool EndsWith(const std::string& text, const std::string& suffix);

// A copy of `text` in which every occurrence of `from` is `to`, from left to right; what was put in
// is not looked at again.
std::string Replace(const std::string& text, const std::string& from, const std::string& to);

// `a`, `separator`, `b`; the separator stands only between two non-empty parts.
std::string Append(const std::string& a, const std::string& b, const std::string& separator);

// Decimal text of `number`.
std::string Str(long number);

// The elements joined one after the other as by Append, so that empty elements leave no trace. An
// empty list gives "". Cost: linear in the result.
//
//   Join({"a", "", "b"}, "\n")   // "a\nb"
std::string Join(const std::list<std::string>& parts, const std::string& separator);

// Appends the trimmed pieces of `text` between the delimiters to `out`, which is not cleared. An
// empty piece is skipped; a piece of blanks only adds an empty element. Cost: linear in `text`.
//
//   Split("a, ,b,", ",", out)   // appends "a", "", "b"
void Split(std::string text, const std::string& delimiter, std::list<std::string>& out);

namespace inpl {  // the same, in place

void Trim(std::string& text);
void Append(std::string& a, const std::string& b, const std::string& separator);

}  // namespace inpl

// The same without copying: every result is a part of the argument, and shortening a view costs
// nothing, so a long text can be cut into pieces in linear time.
namespace view {

inline std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view GetWord(std::string_view& text);
std::string_view GetWord(std::string_view& text, char delimiter);
std::string_view GetWord(std::string_view& text, std::string_view delimiter);

inline bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

inline bool EndsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

bool Contains(std::string_view text, std::string_view part);

// The first word of `text`, leading blanks skipped; "" when there is none.
std::string_view FirstWord(std::string_view text);

}  // namespace view

}  // namespace str
