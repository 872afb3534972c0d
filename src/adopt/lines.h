// SPDX-License-Identifier: Apache-2.0

// The lines of a site, as they are to stand in a template.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/document.h"

namespace tov_adopt {

using tov_document::BlockId;
using tov_document::Dialect;
using tov_document::Document;
using tov_document::Span;

inline constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// A part of a word: text, or a place for a value.
struct Part {
  std::string text;           // as it is to be written; of a place the value's text
  std::size_t value = kNone;  // of a place: which one
  Span source;                // where it stands in the configuration
};

struct LineWord {
  Span bytes;  // as written
  Span inner;  // without quotes
  char quote = '\0';
  std::string written;  // `inner`, on one line
  std::string value;    // what the server makes of it
  bool plain = true;    // `inner` is its value, on one line

  std::vector<Part> parts;  // of `inner`; empty until places are put in
};

// A directive, a block's opening, or a comment.
struct Line {
  enum class Kind { kDirective, kBlock, kComment };

  Kind kind = Kind::kDirective;
  Span bytes;                                // of a block its opening
  BlockId block = tov_document::kWholeText;  // which one it is: of a block only
  std::size_t parent = kNone;  // the line of the block around it; kNone: there is none
  std::size_t behind = 0;      // the first line that is not inside of it
  std::size_t depth = 0;       // how many lines of blocks are around it
  bool is_server = false;
  bool around = false;          // a block around the site, of which nothing else is adopted
  std::vector<LineWord> words;  // of a comment one: the whole of it

  // The value whose trailing place stands for all words from here on; kNone: there is no such.
  std::size_t trailing_from = kNone;
  std::size_t trailing_value = kNone;

  bool kept = true;

  // Of two configurations, in which it stands.
  enum class In { kBoth, kBefore, kAfter };
  In in = In::kBoth;

  std::string_view Name() const {
    return words.empty() ? std::string_view() : std::string_view(words.front().value);
  }
};

// What cannot be a line of a template, whatever is done.
struct Unreadable {
  Span bytes;
  std::string reason;
};

struct Lines {
  std::vector<Line> all;  // in the order of the text, a block before what is in it
  std::vector<Unreadable> unreadable;
};

// Those of the blocks `site`, with the openings of the blocks around them that a template has to
// name. tov_document::kWholeText is the whole text.
Lines ReadLines(const Document& document, const std::vector<BlockId>& site);

// The text of the part `source` of a word, as it is written in one line.
std::string OnOneLine(Dialect dialect, std::string_view source);

}  // namespace tov_adopt
