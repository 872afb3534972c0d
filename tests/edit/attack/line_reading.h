// SPDX-License-Identifier: Apache-2.0

// How a line of a template reads with values in its places, and whether they stay in there.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "edit/attack/attempt.h"

namespace attack {

using Texts = std::map<std::string, std::string>;  // by the values' names

// A template's line is text with places in it.
struct Segment {
  bool is_place = false;
  bool is_trailing = false;
  std::string text;  // of a place the value's name
};

std::vector<Segment> SegmentsOf(const std::string& line);

struct LineReading {
  // With each value wholly inside the word where its place stands, the server reads the same
  // words as the author meant, and nothing else. A trailing place that is not in quotes may be any
  // number of words.
  bool in_place = false;
  std::string why;  // it is not

  std::vector<std::string> words;      // what the server makes of them
  std::vector<std::string> beginning;  // the words before the first trailing place
  bool has_trailing = false;
};

// Every place of the line has a text.
LineReading ReadLine(Dialect dialect, const Line& line, const Texts& values);

// The same for values that the program is to quote: each is one text to the server, whatever it
// holds, but in a word with a trailing place that is not in quotes.
LineReading ReadQuotedLine(Dialect dialect, const Line& line, const Texts& values);

// The line with its values, as text.
std::string Filled(const std::string& line, const Texts& values);

// Whether all its places have a text.
bool IsComplete(const std::string& line, const Texts& values);

}  // namespace attack
