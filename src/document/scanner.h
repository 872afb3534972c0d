// SPDX-License-Identifier: Apache-2.0

// What the two scanners, one for each grammar, tell the reader of blocks (document.cpp).
#pragma once

#include <cstdint>

#include "document/document.h"

namespace tov_document {

// What a directive says of the server whose block it stands in.
enum class States : std::uint8_t { kNothing, kNames, kAddress };

// What a scanner comes upon next. Blanks between the items are not told.
struct Item {
  enum class Kind : std::uint8_t {
    kDirective,
    kComment,
    kOpen,   // a block's head
    kClose,  // a block's closing
    kEnd,
    kError
  };

  Kind kind = Kind::kEnd;
  Span bytes;  // kError: begins where what could not be read begins
  Problem problem = Problem::kNoDirective;
  std::uint32_t at = 0;  // kError: where it shows

  static Item Error(Problem problem, std::size_t begin, std::size_t at) {
    Item item;
    item.kind = Kind::kError;
    item.bytes.begin = static_cast<std::uint32_t>(begin);
    item.problem = problem;
    item.at = static_cast<std::uint32_t>(at);
    return item;
  }
};

// How the inside of a block has to be read.
enum class Inside : std::uint8_t {
  kDirectives,
  kValues,
  kCode,  // up to where the scanner finds its end
  kMacro  // directives, if its sections nest
};

inline Span MakeSpan(std::size_t begin, std::size_t end) {
  return {static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end)};
}

}  // namespace tov_document
