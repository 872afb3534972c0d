// SPDX-License-Identifier: Apache-2.0

#include "cli/one_line_diff.h"

#include <algorithm>
#include <cstring>

namespace cli {
namespace {

constexpr std::size_t kChunk = 4096;  // bytes that are compared at once

std::size_t CommonPrefix(std::string_view a, std::string_view b) {
  const std::size_t most = std::min(a.size(), b.size());
  std::size_t at = 0;
  while (at + kChunk <= most && a.compare(at, kChunk, b.substr(at, kChunk)) == 0) at += kChunk;
  while (at < most && a[at] == b[at]) ++at;
  return at;
}

std::size_t CommonSuffix(std::string_view a, std::string_view b) {
  const std::size_t most = std::min(a.size(), b.size());
  const auto last = [](std::string_view text, std::size_t at) {
    return text.substr(text.size() - at - kChunk, kChunk);
  };
  std::size_t at = 0;
  while (at + kChunk <= most && last(a, at) == last(b, at)) at += kChunk;
  while (at < most && a[a.size() - 1 - at] == b[b.size() - 1 - at]) ++at;
  return at;
}

// The begin of the line that `offset` is in, which may be the text's end.
std::size_t LineBegin(std::string_view text, std::size_t offset) {
  if (offset == 0) return 0;
  const std::size_t end = text.rfind('\n', offset - 1);
  return end == std::string_view::npos ? 0 : end + 1;
}

// Behind the line that begins at `offset`; the text's end stays.
std::size_t NextLine(std::string_view text, std::size_t offset) {
  return offset == text.size() ? offset : text.find('\n', offset) + 1;
}

std::string_view LineBefore(std::string_view text, std::size_t offset) {
  if (offset == 0) return {};
  const std::size_t begin = LineBegin(text, offset - 1);
  return text.substr(begin, offset - begin);
}

std::size_t CountLines(std::string_view text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

std::string Lines(char mark, std::string_view lines) {
  std::string marked;
  while (!lines.empty()) {
    const std::size_t end = NextLine(lines, 0);
    (marked += mark) += lines.substr(0, end);
    lines.remove_prefix(end);
  }
  return marked;
}

std::string Range(std::size_t first, std::size_t count) {
  const std::string text = std::to_string(first);
  return count == 1 ? text : text + ',' + std::to_string(count);
}

bool EndsWithLineEnd(std::string_view text) {
  return !text.empty() && text.back() == '\n';
}

}  // namespace

std::optional<std::string> OneLineHunk(std::string_view before, std::string_view after,
                                       std::size_t context) {
  if (!EndsWithLineEnd(before) || !EndsWithLineEnd(after)) return std::nullopt;
  const std::size_t begin = LineBegin(before, CommonPrefix(before, after));
  std::size_t behind = CommonSuffix(before.substr(begin), after.substr(begin));
  const auto is_line = [&](std::string_view text) {
    return behind + begin == text.size() || text[text.size() - behind - 1] == '\n';
  };
  if (!is_line(before) || !is_line(after)) {
    behind = before.size() - NextLine(before, before.size() - behind);
  }
  const std::string_view gone = before.substr(begin, before.size() - behind - begin);
  const std::string_view come = after.substr(begin, after.size() - behind - begin);
  const std::string_view line_before = LineBefore(before, begin);
  const std::string_view rest = before.substr(before.size() - behind);
  const std::string_view line_behind = rest.substr(0, NextLine(rest, 0));
  for (const std::string_view changed : {gone, come}) {
    // A line that is like its neighbour might as well be that one.
    if (CountLines(changed) > 1) return std::nullopt;
    if (!changed.empty() && (changed == line_before || changed == line_behind)) return std::nullopt;
  }
  std::size_t first = begin;
  std::size_t end = 0;
  for (std::size_t i = 0; i < context; ++i) {
    if (first > 0) first = LineBegin(before, first - 1);
    end = NextLine(rest, end);
  }
  const std::string_view above = before.substr(first, begin - first);
  const std::string_view below = rest.substr(0, end);
  const std::size_t number = CountLines(before.substr(0, first)) + 1;
  const std::size_t around = CountLines(above) + CountLines(below);
  return "@@ -" + Range(number, around + CountLines(gone)) + " +" +
         Range(number, around + CountLines(come)) + " @@\n" + Lines(' ', above) + Lines('-', gone) +
         Lines('+', come) + Lines(' ', below);
}

}  // namespace cli
