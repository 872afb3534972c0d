// SPDX-License-Identifier: Apache-2.0

// nginx's grammar.
//
// A word begins behind a blank, or behind what ended the directive before. Only there quotes and
// "#" mean something, and "}" closes a block; inside of a word they are bytes like others. ";" and
// "{" end a word wherever they stand, unless a backslash stands before them, or "{" belongs to
// "${". So all that decides stands at few bytes, and the scanner jumps from one to the next.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/byte_map.h"
#include "document/scanner.h"

namespace tov_document {

// The bytes that may mean more than being a part of a word: ; { } " ' # and the backslash.
struct NginxClasses {
  static constexpr bool IsStop(char byte) {
    switch (byte) {
      case ';':
      case '{':
      case '}':
      case '"':
      case '\'':
      case '#':
      case '\\':
        return true;
      default:
        return false;
    }
  }
  static constexpr bool IsBlank(char byte) {
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
  }

#ifdef __SSE2__
  // One comparison for several bytes: ";" and "{" differ in one bit, so do tab and CR, and the
  // quotes and "#" in two, with "&" as the fourth.
  static Sixteen Stops(Sixteen bytes) {
    return bytes.With(0x40)
        .Is('{')
        .Or(bytes.Only(~0x05).Is('"'))
        .Or(bytes.Is('}'))
        .Or(bytes.Is('\\'));
  }
  static Sixteen Blanks(Sixteen bytes) {
    return bytes.Is(' ').Or(bytes.With(0x04).Is('\r')).Or(bytes.Is('\n'));
  }
#endif
};

class NginxScanner {
 public:
  // Reads `text` from `begin`, where no directive is under way, up to `end`.
  NginxScanner(std::string_view text, std::size_t begin, std::size_t end);

  Item Next();

  // The same, but passes over directives that neither name a server nor say where it listens.
  Item NextThatMatters();

  // Goes on at `offset`, which is ahead.
  void SkipTo(std::size_t offset) { m_at = offset; }

  Inside InsideOf(Span head) const;

  // The closing of the block `head`, whose inside is kCode; an error when there is none.
  Item ClosingOfCode(Span head) const;

  // Why `closing` cannot close the block `head`; none: it closes it.
  static std::optional<Problem> Mismatch(Span /*head*/, Span /*closing*/) { return std::nullopt; }

 private:
  Item ItemAt(std::size_t begin);
  Item Comment();
  Item Directive();
  // What follows a quoted word, or where it is wrong.
  struct Quoted {
    std::size_t behind;
    std::optional<Problem> problem;
  };

  Quoted ReadQuoted(std::size_t open) const;
  Item Taken(Item::Kind kind, std::size_t begin, std::size_t end);
  Item Found(Item::Kind kind, std::size_t begin, std::size_t end);
  bool BeginsWord(std::size_t at, std::size_t escaped) const;
  std::string_view Name(Span directive, std::string& buffer) const;
  Item Error(Problem problem, std::size_t begin, std::size_t at) const;
  std::optional<std::size_t> TooLong(std::size_t begin, std::size_t end) const;

  std::string_view m_text;  // up to the end
  std::size_t m_at;
  ByteMap<NginxClasses> m_map;
};

// The words of a directive or of a head, as Document::Words gives them, and what a word means.
std::vector<Word> NginxWords(std::string_view text, Span directive);
std::string NginxValue(std::string_view text, const Word& word);

}  // namespace tov_document
