// SPDX-License-Identifier: Apache-2.0

// A second reader of Apache httpd's configurations, to judge the first by: one byte after the
// other, obvious rather than fast. It is written from what httpd itself does, and
// second_reader_test.cpp asks the real one whether it is right.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace second_reader {

// Offsets in the text: from `begin` up to, not including, `end`.
struct Range {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
};

inline bool operator==(const Range& a, const Range& b) {
  return a.begin == b.begin && a.end == b.end;
}

struct Word {
  Range bytes;
  std::string value;
};

inline bool operator==(const Word& a, const Word& b) {
  return a.bytes == b.bytes && a.value == b.value;
}

enum class Kind {
  kDirective,
  kOpen,
  kOpenRaw,  // opens a section in which no directives are read
  kClose
};

// A line that says something, from its first byte that is not blank to its last. An opening line's
// words come without "<" and ">", a closing line has none.
struct Event {
  Kind kind = Kind::kDirective;
  Range bytes;
  std::vector<Word> words;
};

inline bool operator==(const Event& a, const Event& b) {
  return a.kind == b.kind && a.bytes == b.bytes && a.words == b.words;
}

enum class Reason {
  kNoBracket,
  kExtraClosing,  // nothing is open
  kOtherClosing,
  kNotTheConditions,  // a condition is open, which another closing line would close
  kUnclosed,
  kUnclosedRaw,
  kNulByte
};

struct Refusal {
  Reason reason = Reason::kNoBracket;
  Range line;  // the line, with those that continue it; of what does not close its opening line
};

struct Reading {
  std::vector<Event> events;  // up to the refusal
  std::optional<Refusal> refusal;
};

// Reads <IfModule> and the like as if the condition held.
Reading Read(std::string_view text);

// For people.
std::string Show(const std::vector<Event>& events);
std::string Show(const Refusal& refusal);

}  // namespace second_reader
