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
  static constexpr bool IsStop(char byte) { return byte == '\n'; }
  static constexpr bool IsBlank(char byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }

#ifdef __SSE2__
  static Sixteen Stops(Sixteen bytes) {
    return bytes.Is('\n');
  }
  static Sixteen Blanks(Sixteen bytes) {
    return bytes.Is(' ').Or(bytes.Within('\t', '\r'));
  }
#endif
};

class ApacheScanner {
 public:
  // Reads `text` from `begin`, where a line begins or ends, up to `end`.
  ApacheScanner(std::string_view text, std::size_t begin, std::size_t end);

  Item Next();

  // The same, but passes over comments and over directives that do not name a server.
  Item NextThatMatters();

  // Goes on at `offset`, which is ahead: the end of a line but for its blanks.
  void SkipTo(std::size_t offset) { m_at = offset; }

  Inside InsideOf(Span head) const;

  // The closing line of the section `head`, whose inside is kCode or kMacro; an error when there is
  // none.
  Item ClosingOfCode(Span head) const;

  // Why `closing` cannot close the section `head`; none: it closes it.
  std::optional<Problem> Mismatch(Span head, Span closing) const;

 private:
  bool PlainlyCloses(Span head, Span closing) const;
  std::optional<Item> PlainLine(std::size_t begin, std::size_t line_end) const;
  Item Line(const ApacheLine& line) const;

  // The name of the section that `head` opens.
  std::string SectionName(Span head) const;

  std::string_view m_text;  // up to the end
  std::size_t m_at;
  std::size_t m_nul;  // the first NUL byte, else the end
  ByteMap<ApacheClasses> m_map;
};

// The words of a directive or of a section's head, as Document::Words gives them, and what a word
// means.
std::vector<Word> ApacheWords(std::string_view text, Span directive);
std::string ApacheValue(std::string_view text, const Word& word);

}  // namespace tov_document
