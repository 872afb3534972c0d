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
#include "document/stop_list.h"

namespace tov_document {

struct NginxClasses {
  // The bytes that may mean more than being a part of a word: ; { } " ' # and the backslash. ";"
  // and
  // "{" differ in one bit, the quotes and "#" in two, with "&" as the fourth, which does no harm.
  using Stops = AnyOf<Bytes<'{', 0x40>, Bytes<'"', 0, 0x05>, Bytes<'}'>, Bytes<'\\'>>;

  // Tab and CR differ in one bit.
  using Blanks = AnyOf<Bytes<' '>, Bytes<'\r', 0x04>, Bytes<'\n'>>;
};

// Stops, and where directives may begin: behind the end of another one, of a head, or of a line.
class NginxFinder {
 public:
  using Sets = SetList<NginxClasses::Stops, NginxClasses::Blanks, Bytes<'\n'>>;

  std::uint64_t Stops(const Sets::Masks& masks, std::string_view /*text*/, std::size_t /*base*/) {
    const auto [stops, blanks, line_ends] = masks;
    return stops | m_firsts.Of(stops | line_ends, blanks);
  }

 private:
  FirstsBehind m_firsts;
};

class NginxScanner {
 public:
  // Reads `text` from `begin`, where no directive is under way, up to `end`.
  NginxScanner(std::string_view text, std::size_t begin, std::size_t end);

  Item Next();

  // Reads on as far as Next would give nothing but blocks and directives that are plain, and tells
  // `blocks` of them, the Reader, but for directives that neither name a server nor say where it
  // listens. `stops` are those of the whole text, and lose those that are behind.
  using Stops = StopList<NginxFinder>;
  template <class Blocks>
  void ReadPlain(Stops& stops, Blocks& blocks);

  // Goes on at `offset`, which is ahead.
  void SkipTo(std::size_t offset) { m_at = offset; }

  // Goes on at `begin`, which is ahead, up to `end`, which is not behind the first end.
  void Read(std::size_t begin, std::size_t end);

  Inside InsideOf(Span head) const;
  States StatesOf(Span directive) const;

  // The closing of the block `head`, whose inside is kCode; an error when there is none.
  Item ClosingOfCode(Span head) const;

  // Why `closing` cannot close the block `head`; none: it closes it.
  static std::optional<Problem> Mismatch(Span /*head*/, Span /*closing*/) { return std::nullopt; }

 private:
  bool PassComment(std::size_t begin, Stops& stops);
  bool IsPlainHead(Span head) const;
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

// Appends the words of a directive or of a head, as Document::Words gives them.
void NginxWords(std::string_view text, Span directive, std::vector<Word>& words);

// What a word means.
std::string NginxValue(std::string_view text, const Word& word);

}  // namespace tov_document
