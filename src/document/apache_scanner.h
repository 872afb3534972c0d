// SPDX-License-Identifier: Apache-2.0

// Apache httpd's grammar.
//
// httpd reads lines. A backslash before the line end joins a line with the next one, in comments
// as well; what comes of it is one line, without the blanks around it. Its first word says what it
// is: "</Name>" closes a section, "<Name" opens one, all else names a directive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/byte_map.h"
#include "document/scanner.h"
#include "document/stop_list.h"

namespace tov_document {

// A line as httpd gets to see it.
class ApacheLine {
 public:
  // The line of `text` that begins at `begin`, which is before the text's end.
  ApacheLine(std::string_view text, std::size_t begin);

  // The same, where the line's LF, or the text's end, is known to stand at `end`.
  ApacheLine(std::string_view text, std::size_t begin, std::size_t end);

  // Without the blanks around it, and without what joined its parts.
  std::string_view text() const { return m_line; }

  // Where the byte at `index` of text() stands. The index may be one too large: behind the last
  // byte.
  std::size_t At(std::size_t index) const;

  // Where the next line begins; the text's end when there is none.
  std::size_t next() const { return m_next; }

 private:
  void Join(std::string_view text, std::size_t begin);

  std::string_view m_line;
  std::size_t m_begin = 0;  // where m_line stands, if nothing had to be joined
  std::size_t m_next = 0;

  // The joined line, and where each of its bytes stands.
  std::string m_joined;
  std::vector<std::uint32_t> m_origins;
  std::size_t m_trimmed = 0;  // the blanks before m_line in the joined line
};

// Lines end with LF; the blanks are those of C.
struct ApacheClasses {
  using Stops = Bytes<'\n'>;
  using Blanks = AnyOf<Bytes<' '>, Range<'\t', '\r'>>;
};

// The first byte and the LF of each line that may be more than a directive of which a reader of
// blocks needs to know nothing: a tag, a word in quotes, which may mean anything, or one that
// begins as ServerName does. One comparison finds both quotes, and comments with them. And where a
// line may go on behind its LF, or must not: an LF behind a backslash, and a NUL byte.
class ApacheFinder {
 public:
  using Sets =
      SetList<AnyOf<Bytes<'<'>, Bytes<'s', 0x20>, Bytes<'"', 0, 0x05>>, ApacheClasses::Blanks,
              ApacheClasses::Stops, AnyOf<Bytes<'\\'>, Bytes<'\0'>>>;

  std::uint64_t Stops(const Sets::Masks& masks, std::string_view text, std::size_t base) {
    const auto [initials, blanks, line_ends, odd] = masks;
    const std::uint64_t firsts = initials & m_firsts.Of(line_ends, blanks);
    // A bit that is added behind an LF carries to the next LF.
    std::uint64_t sum = 0;
    const bool carry = __builtin_add_overflow(~line_ends, firsts, &sum);
    m_in_line = static_cast<std::uint64_t>(__builtin_add_overflow(sum, m_in_line, &sum) || carry);
    const std::uint64_t stops = firsts | (sum & line_ends) | m_odd;
    m_odd = 0;
    if (odd == 0) return stops;
    const auto [here, next] = OddStops(odd, text, base);
    m_odd = next;
    return stops | here;
  }

 private:
  // Those in this mask and in the next one.
  struct Odd {
    std::uint64_t here = 0;
    std::uint64_t next = 0;
  };
  static Odd OddStops(std::uint64_t odd, std::string_view text, std::size_t base);

  FirstsBehind m_firsts;
  std::uint64_t m_in_line = 0;  // the next mask begins in a line that is told
  std::uint64_t m_odd = 0;      // what OddStops told of the next mask
};

class ApacheScanner {
 public:
  // Reads `text` from `begin`, where a line begins or ends, up to `end`.
  ApacheScanner(std::string_view text, std::size_t begin, std::size_t end);

  Item Next();

  // Reads on as far as Next would give nothing but sections, directives and comments that are
  // plain, and tells `blocks` of them, the Reader, but for comments and for directives that do not
  // name a server. `stops` are those of the whole text, and lose those that are behind.
  using Stops = StopList<ApacheFinder>;
  template <class Blocks>
  void ReadPlain(Stops& stops, Blocks& blocks);

  // Goes on at `offset`, which is ahead: the end of a line but for its blanks.
  void SkipTo(std::size_t offset) { m_at = offset; }

  // Goes on at `begin`, which is ahead, where a line begins or ends, up to `end`, which is not
  // behind the first end.
  void Read(std::size_t begin, std::size_t end);

  Inside InsideOf(Span head) const;
  States StatesOf(Span directive) const;

  // The closing line of the section `head`, whose inside is kCode or kMacro; an error when there is
  // none.
  Item ClosingOfCode(Span head);

  // Why `closing` cannot close the section `head`; none: it closes it.
  std::optional<Problem> Mismatch(Span head, Span closing) const;

 private:
  template <class Blocks>
  bool ReadPlainLine(std::size_t begin, std::size_t line_end, Blocks& blocks) const;
  template <class Blocks>
  bool ReadPlainTag(std::size_t begin, std::size_t line_end, Blocks& blocks) const;
  std::size_t LineBegin(std::size_t at) const;
  Item Line(const ApacheLine& line) const;

  // The first NUL byte, else the end. It is looked for when it is asked for, up to the first end.
  std::size_t Nul();

  // What the first word of `line` means.
  std::string NameIn(Span line) const;

  // The name of the section that `head` opens.
  std::string SectionName(Span head) const;

  std::string_view m_text;  // up to the end
  std::size_t m_at;
  std::size_t m_nul = std::string_view::npos;  // the first NUL byte or end, if it is known
  ByteMap<ApacheClasses> m_map;
};

// Appends the words of a directive or of a section's head, as Document::Words gives them.
void ApacheWords(std::string_view text, Span directive, std::vector<Word>& words);

// What a word means.
std::string ApacheValue(std::string_view text, const Word& word);

}  // namespace tov_document
