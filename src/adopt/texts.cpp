// SPDX-License-Identifier: Apache-2.0

#include "adopt/texts.h"

#include <algorithm>

namespace tov_adopt {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

bool IsLetterOrDigit(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || static_cast<unsigned char>(byte) >= 0x80;
}

bool Joins(char byte) {
  return IsLetterOrDigit(byte) || byte == '_' || byte == '-' || byte == '.' || byte == '\\';
}

// Whether a word of its own can begin at `at`, behind what stands before it.
bool BeginsAt(std::string_view word, std::size_t at, std::string_view text) {
  if (at == 0) return true;
  const char before = word[at - 1];
  if (before == '$') return false;
  if (before == '{') return at < 2 || (word[at - 2] != '$' && word[at - 2] != '%');
  if (text.front() == '/')
    return !Joins(before) && std::string_view("/})").find(before) == kNowhere;
  // ".a.example" and "*.a.example" are for all names below this one.
  if (before == '.') return at == 1 || word.substr(0, at) == "*.";
  return !Joins(before);
}

// Whether the part of a path at `at` is its last one, and so the name of a file.
bool IsLastOfPath(std::string_view word, std::size_t at, std::size_t end) {
  const bool behind_slash = at > 0 && word[at - 1] == '/';
  const bool behind_scheme = at > 1 && word[at - 2] == '/';
  const std::size_t stop = word.find_first_of("/ \t\"'", end);
  return behind_slash && !behind_scheme && (stop == kNowhere || word[stop] != '/');
}

bool EndsAt(std::string_view word, std::size_t at, std::size_t end, std::string_view text) {
  if (end == word.size()) return true;
  const char behind = word[end];
  if (text.find('/') != kNowhere) return !Joins(behind);
  if (behind == '.' || behind == '-' || behind == '_') return IsLastOfPath(word, at, end);
  return !Joins(behind);
}

bool IsPartOfPath(std::string_view word, std::size_t at, std::size_t end) {
  const bool behind_slash = at > 0 && word[at - 1] == '/' && (at < 2 || word[at - 2] != '/');
  return behind_slash && (end == word.size() || word[end] == '/' || IsLastOfPath(word, at, end));
}

bool Fits(std::string_view word, std::size_t at, const Text& text, Role role) {
  const std::size_t end = at + text.text.size();
  if (word.compare(at, text.text.size(), text.text) != 0) return false;
  if (!BeginsAt(word, at, text.text) || !EndsAt(word, at, end, text.text)) return false;
  switch (text.where) {
    case Where::kAnywhere:
      return true;
    case Where::kPaths:
      return role == Role::kServerName || IsPartOfPath(word, at, end);
    case Where::kAddresses:
      return role == Role::kAddress;
  }
  return false;
}

// The longest of `texts` that stands at `at`; null: none does.
const Text* TextAt(std::string_view word, std::size_t at, const std::vector<Text>& texts,
                   Role role) {
  const Text* longest = nullptr;
  for (const Text& text : texts) {
    if (text.text.empty() || text.text.front() != word[at]) continue;
    if (longest != nullptr && longest->text.size() >= text.text.size()) continue;
    if (Fits(word, at, text, role)) longest = &text;
  }
  return longest;
}

}  // namespace

std::vector<Part> WithPlaces(std::string_view word, std::uint32_t begin,
                             const std::vector<Part>& parts, const std::vector<Text>& texts,
                             Role role) {
  std::vector<Part> made;
  const auto add_text = [&](std::size_t from, std::size_t to) {
    if (from == to) return;
    made.push_back(
        {std::string(word.substr(from, to - from)),
         kNone,
         {begin + static_cast<std::uint32_t>(from), begin + static_cast<std::uint32_t>(to)}});
  };
  for (const Part& part : parts) {
    if (part.value != kNone) {
      made.push_back(part);
      continue;
    }
    std::size_t from = part.source.begin - begin;
    const std::size_t part_end = part.source.end - begin;
    for (std::size_t at = from; at < part_end;) {
      const Text* const text = TextAt(word, at, texts, role);
      if (text == nullptr || at + text->text.size() > part_end) {
        ++at;
        continue;
      }
      add_text(from, at);
      const auto place = begin + static_cast<std::uint32_t>(at);
      at += text->text.size();
      from = at;
      made.push_back({text->text, text->value, {place, begin + static_cast<std::uint32_t>(at)}});
    }
    add_text(from, part_end);
  }
  return made;
}

bool Holds(std::string_view word, const std::vector<Text>& texts, Role role) {
  for (std::size_t at = 0; at < word.size(); ++at) {
    if (TextAt(word, at, texts, role) != nullptr) return true;
  }
  return false;
}

}  // namespace tov_adopt
