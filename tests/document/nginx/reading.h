// SPDX-License-Identifier: Apache-2.0

// What a reader makes of an nginx text, as a flat list: what the judges compare.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/document.h"

namespace nginx_judge {

// A word at the bytes [begin, end) of the text, its quotes included.
struct ReadWord {
  std::size_t begin = 0;
  std::size_t end = 0;
  char quote = '\0';
  std::string value;

  bool operator==(const ReadWord& other) const;
};

enum class What {
  kOpen,       // a block's head, with its "{"
  kDirective,  // with its ";"
  kClose,      // "}"
  kComment     // between directives, without its line end
};

struct Event {
  What what = What::kDirective;
  std::size_t begin = 0;
  std::size_t end = 0;
  std::vector<ReadWord> words;

  bool operator==(const Event& other) const;
};

// The events before the error, or all of them.
struct Reading {
  std::vector<Event> events;
  std::optional<tov_document::SyntaxError> error;

  bool operator==(const Reading& other) const;
};

// One line for each event and one for the error, for people.
std::string Show(const Reading& reading);

// A text with its long runs of one byte shortened, for people.
std::string ShowText(std::string_view text);

// What the Document makes of its text.
Reading ReadingOf(const tov_document::Document& document);

// "" when the Document reads its text as `expected` says, else where they begin to differ. Whatever
// it reads, the nodes of each block have to be its body, byte by byte, a block's parts its node,
// and its identifying directives those of its directives that have such a name; else what is wrong.
std::string Difference(const tov_document::Document& document, const Reading& expected);

}  // namespace nginx_judge
