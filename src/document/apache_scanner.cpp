// SPDX-License-Identifier: Apache-2.0

#include "document/apache_scanner.h"

#include <algorithm>
#include <array>

#include "document/ascii.h"
#include "document/meaning.h"
#include "document/reader.h"

namespace tov_document {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

bool IsBlank(char byte) {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

std::size_t BehindBlanks(std::string_view text, std::size_t at) {
  while (at < text.size() && IsBlank(text[at])) ++at;
  return at;
}

constexpr std::array<bool, 256> Letters() {
  std::array<bool, 256> letters = {};
  for (std::size_t i = 'a'; i <= 'z'; ++i) letters.at(i) = letters.at(i - 'a' + 'A') = true;
  return letters;
}
constexpr std::array<bool, 256> kLetters = Letters();

bool IsLetter(char byte) {
  return kLetters.at(static_cast<unsigned char>(byte));
}

// Behind the letters at `at`.
std::size_t BehindLetters(std::string_view text, std::size_t at) {
  while (at < text.size() && IsLetter(text[at])) ++at;
  return at;
}

std::size_t TrimmedSize(std::string_view text) {
  std::size_t size = text.size();
  while (size > 0 && IsBlank(text[size - 1])) --size;
  return size;
}

// A word of a line.
struct LineWord {
  std::size_t begin = 0;  // in the line, with its quotes
  std::size_t end = 0;
  char quote = '\0';
  bool escapes = false;  // there is a backslash in it
  std::string_view inner;
};

// The word of `line` at or behind `from`; empty at the line's end. A quote that does not close
// holds all up to there.
LineWord WordAt(std::string_view line, std::size_t from) {
  LineWord word;
  word.begin = BehindBlanks(line, from);
  word.end = word.begin;
  if (word.begin == line.size()) return word;
  const char first = line[word.begin];
  if (first != '"' && first != '\'') {
    for (; word.end < line.size() && !IsBlank(line[word.end]); ++word.end) {
      if (line[word.end] == '\\') word.escapes = true;
    }
    word.inner = line.substr(word.begin, word.end - word.begin);
    return word;
  }
  word.quote = first;
  std::size_t at = word.begin + 1;
  while (at < line.size() && line[at] != first) {
    const bool escape =
        line[at] == '\\' && at + 1 < line.size() && (line[at + 1] == first || line[at + 1] == '\\');
    at += escape ? 2 : 1;
  }
  word.inner = line.substr(word.begin + 1, at - word.begin - 1);
  word.end = std::min(at + 1, line.size());
  word.escapes = word.inner.find('\\') != kNowhere;
  return word;
}

// Appends to `joined` the line of `text` at `begin` with those that it is continued by, and to
// `origins` where each of its bytes stands. Returns where the next line begins.
//
// The backslash that joins is looked for at the end of all that has been joined so far: behind two
// backslashes an empty line takes away the second one as well.
std::size_t JoinLines(std::string_view text, std::size_t begin, std::string& joined,
                      std::vector<std::uint32_t>& origins) {
  std::size_t at = begin;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    for (; at < end; ++at) {
      joined += text[at];
      origins.push_back(static_cast<std::uint32_t>(at));
    }
    if (end == text.size()) return end;
    ++at;
    std::size_t size = joined.size();
    if (size > 0 && joined[size - 1] == '\r') --size;
    if (size == 0 || joined[size - 1] != '\\') return at;
    joined.resize(size - 1);
    origins.resize(size - 1);
  }
  return at;
}

// What `inner`, the inside of a word with the given quote, means.
std::string Unescaped(std::string_view inner, char quote) {
  std::string value;
  for (std::size_t i = 0; i < inner.size(); ++i) {
    const char next = i + 1 < inner.size() ? inner[i + 1] : '\0';
    if (inner[i] == '\\' && (next == '\\' || (quote != '\0' && next == quote))) ++i;
    value += inner[i];
  }
  return value;
}

// What `word` means: as a rule what stands there, else a text that is kept in `buffer`.
std::string_view Meaning(const LineWord& word, std::string& buffer) {
  if (!word.escapes) return word.inner;
  buffer = Unescaped(word.inner, word.quote);
  return buffer;
}

// Whether httpd drops the last byte of a first word that means `name`.
bool DropsBracket(std::string_view name) {
  return !name.empty() && name.back() == '>' && (name.size() == 1 || name[1] != '/');
}

std::string_view WithoutBracket(std::string_view name) {
  name.remove_suffix(DropsBracket(name) ? 1 : 0);
  return name;
}

// The sections of mod_lua.
bool HoldsLua(std::string_view name) {
  constexpr std::array<std::string_view, 10> kNames = {
      "LuaHookAccessChecker",    "LuaHookAuthChecker", "LuaHookCheckUserID",
      "LuaHookFixups",           "LuaHookLog",         "LuaHookMapToStorage",
      "LuaHookTranslateName",    "LuaHookTypeChecker", "LuaQuickHandler",
      "LuaHookPreTranslateName",
  };
  return SameLetters(name.substr(0, 3), "Lua") &&
         std::any_of(kNames.begin(), kNames.end(),
                     [name](std::string_view known) { return SameLetters(name, known); });
}

// Of one section httpd takes the words before it looks for the ">", which then has to end the
// version, or to be a word behind it.
bool IsVersion(std::string_view name) {
  return SameLetters(name, "IfVersion");
}

bool HasVersionsBracket(std::string_view line, std::size_t arguments) {
  std::vector<std::string> words;
  std::string buffer;
  for (LineWord word = WordAt(line, arguments); word.begin < line.size();
       word = WordAt(line, word.end)) {
    words.emplace_back(Meaning(word, buffer));
  }
  const std::string& version = words.size() == 1 ? words[0] : words[1];
  if (words.size() > 2 && words[2] == ">") return !version.empty();
  return !version.empty() && version.back() == '>';
}

// Sections whose directives httpd carries out, or looks for the end of, while it reads them: such
// an end has to have its line to itself.
bool EndsOnOwnLine(std::string_view name) {
  return IsCondition(Dialect::kApache, name);
}

constexpr std::string_view kMacro = "Macro";
constexpr std::string_view kPerl = "Perl";

States StatesBy(std::string_view name) {
  constexpr std::string_view kName = "ServerName";
  constexpr std::string_view kAlias = "ServerAlias";
  const bool names = SameLetters(name, name.size() == kName.size() ? kName : kAlias);
  return names ? States::kNames : States::kNothing;
}

// The first word of `line`, if it is written without quotes and escapes.
std::string_view FirstWord(std::string_view line) {
  std::size_t end = 0;
  while (end < line.size() && !IsBlank(line[end])) ++end;
  return line.substr(0, end);
}

// What a line that begins with "s" or "S" states.
States StatesOfLine(std::string_view line) {
  if (Begins(line, "ServerName ") || Begins(line, "ServerAlias ")) return States::kNames;
  constexpr std::size_t kSeventh = 6;
  if (line.size() <= kSeventh) return States::kNothing;
  const char seventh = Lower(line[kSeventh]);
  if (seventh != 'n' && seventh != 'a') return States::kNothing;
  return StatesBy(WithoutBracket(FirstWord(line)));
}

// Whether the section whose head begins as `text` does, with "<", is, at a glance, none of a macro,
// Perl, Lua or IfVersion.
bool BeginsPlainly(std::string_view text) {
  switch (LowerLetter(text[1])) {
    case 'm':
      return LowerLetter(text[2]) != 'a';
    case 'p':
      return LowerLetter(text[2]) != 'e';
    case 'l':
      return LowerLetter(text[2]) != 'u';
    case 'i':
      return !IsVersion(text.substr(1, 9));
    default:
      return true;
  }
}

// Whether `text` is "</..." or "<...>" where, at a glance, nothing can be wrong with it.
bool IsPlainTag(std::string_view text) {
  if (text.size() < 3 || text[0] != '<') return false;
  return text[1] == '/' || (text.back() == '>' && !IsVersion(text.substr(1, 9)));
}

[[gnu::noinline]] bool IsSameLongWord(std::string_view a, std::string_view b) {
  return BehindLetters(b, 0) == b.size() && SameLetters(a, b);
}

// Whether the `size` bytes at `a` and those behind them at `b` are the same letters.
bool IsSameWord(std::string_view text, std::size_t a, std::size_t b, std::size_t size) {
#ifdef __SSE2__
  if (size <= 16 && text.size() - b >= 16) {
    const __m128i lower = _mm_set1_epi8(0x20);
    const __m128i first = _mm_or_si128(Sixteen(text.data() + a), lower);
    const __m128i second = _mm_or_si128(Sixteen(text.data() + b), lower);
    const std::uint32_t same = BitsOf(_mm_cmpeq_epi8(first, second));
    const std::uint32_t letters = BitsOf(Found(Range<'a', 'z'>{}, second));
    return (~(same & letters) & ((1U << size) - 1)) == 0;
  }
#endif
  return IsSameLongWord(text.substr(a, size), text.substr(b, size));
}

// Whether the tag from `begin` to `end`, "</...>", is "</Name>" and nothing else, and `head`
// "<Name>" or "<Name ...", of letters.
bool PlainlyCloses(std::string_view text, Span head, std::size_t begin, std::size_t end) {
  const std::size_t size = end - begin - 3;
  const std::size_t behind = head.begin + 1 + size;
  if (behind >= head.end || text[head.begin] != '<') return false;
  const bool ends = text[behind] == ' ' || (text[behind] == '>' && behind + 1 == head.end);
  return ends && size != 0 && IsSameWord(text, head.begin + 1, begin + 2, size);
}

// Where the blanks before `end` begin. Something else stands before them.
std::size_t WithoutBlanks(std::string_view text, std::size_t end) {
  while (IsBlank(text[end - 1])) --end;
  return end;
}

// Whether the line from `begin` to its LF at `end` is joined with the next one.
bool Continues(std::string_view text, std::size_t begin, std::size_t end) {
  if (begin < end && text[end - 1] == '\r') --end;
  return begin < end && text[end - 1] == '\\';
}

}  // namespace

ApacheLine::ApacheLine(std::string_view text, std::size_t begin)
    : ApacheLine(text, begin, std::min(text.find('\n', begin), text.size())) {}

ApacheLine::ApacheLine(std::string_view text, std::size_t begin, std::size_t end) {
  if (end < text.size() && Continues(text, begin, end)) {
    Join(text, begin);
    return;
  }
  const std::string_view line = text.substr(begin, end - begin);
  m_next = std::min(end + 1, text.size());
  const std::size_t blanks = BehindBlanks(line, 0);
  m_line = line.substr(blanks, TrimmedSize(line.substr(blanks)));
  m_begin = begin + blanks;
}

void ApacheLine::Join(std::string_view text, std::size_t begin) {
  m_next = JoinLines(text, begin, m_joined, m_origins);
  const std::string_view line = m_joined;
  m_trimmed = BehindBlanks(line, 0);
  m_line = line.substr(m_trimmed, TrimmedSize(line.substr(m_trimmed)));
}

std::size_t ApacheLine::At(std::size_t index) const {
  if (m_origins.empty()) return m_begin + index;
  if (index < m_line.size()) return m_origins[m_trimmed + index];
  return m_line.empty() ? m_next : m_origins[m_trimmed + m_line.size() - 1] + 1;
}

// Of backslashes, those that continue a line: they stop at its LF.
ApacheFinder::Odd ApacheFinder::OddStops(std::uint64_t odd, std::string_view text,
                                         std::size_t base) {
  Odd stops;
  for (; odd != 0; odd &= odd - 1) {
    std::size_t stop = base + LowestBit(odd);
    if (text[stop] == '\\') {
      ++stop;
      if (stop < text.size() && text[stop] == '\r') ++stop;
      if (stop >= text.size() || text[stop] != '\n') continue;
    }
    const std::size_t ahead = stop - base;
    (ahead < kMaskSize ? stops.here : stops.next) |= std::uint64_t{1} << ahead % kMaskSize;
  }
  return stops;
}

ApacheScanner::ApacheScanner(std::string_view text, std::size_t begin, std::size_t end)
    : m_text(text.substr(0, end)), m_at(begin), m_map(text, begin, end) {}

void ApacheScanner::Read(std::size_t begin, std::size_t end) {
  Nul();
  m_text = std::string_view(m_text.data(), end);
  m_at = begin;
  m_map.SetEnd(end);
}

std::size_t ApacheScanner::Nul() {
  if (m_nul == kNowhere) m_nul = std::min(m_text.find('\0', m_at), m_text.size());
  return std::min(m_nul, m_text.size());
}

// The same for a tag. Most are "<Name ...>" or "</Name>" and nothing else.
template <class Blocks>
[[gnu::always_inline]] inline bool ApacheScanner::ReadPlainTag(std::size_t begin,
                                                               std::size_t line_end,
                                                               Blocks& blocks) const {
  const std::size_t end = WithoutBlanks(m_text, line_end);
  if (m_text[end - 1] != '>') return false;
  if (m_text[begin + 1] == '/') {
    if (!blocks.CanClose() || !PlainlyCloses(m_text, blocks.Head(), begin, end)) return false;
    blocks.Close(MakeSpan(begin, end));
    return true;
  }
  if (!BeginsPlainly(m_text.substr(begin, end - begin))) return false;
  blocks.Open(MakeSpan(begin, end), Body::kDirectives);
  return true;
}

// Reads the line whose first byte stands at `begin` and whose LF at `line_end`; false: it takes a
// closer look.
template <class Blocks>
[[gnu::always_inline]] inline bool ApacheScanner::ReadPlainLine(std::size_t begin,
                                                                std::size_t line_end,
                                                                Blocks& blocks) const {
  if (m_text[line_end] != '\n') return false;
  switch (m_text[begin]) {
    case '<':
      return ReadPlainTag(begin, line_end, blocks);
    case 's':
    case 'S': {
      const std::size_t end = WithoutBlanks(m_text, line_end);
      if (m_text[end - 1] == '\\') return false;
      blocks.AddMark(MakeSpan(begin, end), StatesOfLine(m_text.substr(begin, end - begin)));
      return true;
    }
    case '#':
    case '&':
      return !Continues(m_text, begin, line_end);
    default:
      return false;
  }
}

template <class Blocks>
void ApacheScanner::ReadPlain(Stops& stops, Blocks& blocks) {
  stops.DropBefore(m_at);
  while (stops.HasTwo() && m_at <= m_nul) {
    const std::size_t begin = stops.First();
    const std::size_t line_end = stops.Second();
    if (line_end >= m_text.size()) return;
    if (!ReadPlainLine(begin, line_end, blocks)) {
      m_at = LineBegin(begin);
      return;
    }
    m_at = line_end + 1;
    stops.Drop(2);
  }
}

// The begin of the line in which the byte at `at` stands, or what of it is left to read.
std::size_t ApacheScanner::LineBegin(std::size_t at) const {
  while (at > m_at && m_text[at - 1] != '\n') --at;
  return at;
}

Item ApacheScanner::Next() {
  while (m_at < m_text.size()) {
    const std::size_t nul = Nul();
    const std::size_t begin = m_at;
    const ApacheLine line(m_text, begin, m_map.NextStop(begin));
    m_at = line.next();
    if (nul < m_at) return Item::Error(Problem::kNulByte, begin, nul);
    if (!line.text().empty()) return Line(line);
  }
  return {};
}

Item ApacheScanner::Line(const ApacheLine& line) const {
  const std::string_view text = line.text();
  Item item;
  item.bytes = MakeSpan(line.At(0), line.At(text.size()));
  if (text.front() == '#') {
    item.kind = Item::Kind::kComment;
    return item;
  }
  if (IsPlainTag(text)) {
    item.kind = text[1] == '/' ? Item::Kind::kClose : Item::Kind::kOpen;
    return item;
  }
  const std::size_t letters = BehindLetters(text, 0);
  if (letters == text.size() || (letters != 0 && IsBlank(text[letters]))) {
    item.kind = Item::Kind::kDirective;
    return item;
  }
  std::string buffer;
  const LineWord first = WordAt(text, 0);
  const std::string_view name = Meaning(first, buffer);
  if (name.empty()) {
    item.kind = Item::Kind::kComment;  // httpd passes over it
  } else if (name.front() != '<') {
    item.kind = Item::Kind::kDirective;
  } else if (Begins(name, "</")) {
    item.kind = Item::Kind::kClose;
  } else {
    item.kind = Item::Kind::kOpen;
    const bool arguments = BehindBlanks(text, first.end) != text.size();
    const bool version = IsVersion(WithoutBracket(name).substr(1));
    if (arguments &&
        !(version ? HasVersionsBracket(text, first.end) : text.find('>', first.end) != kNowhere)) {
      return Item::Error(Problem::kNoBracket, item.bytes.begin, item.bytes.begin);
    }
  }
  return item;
}

std::string ApacheScanner::NameIn(Span line) const {
  std::string buffer;
  const ApacheLine read(m_text.substr(0, line.end), line.begin);
  return std::string(WithoutBracket(Meaning(WordAt(read.text(), 0), buffer)));
}

std::string ApacheScanner::SectionName(Span head) const {
  return NameIn(head).substr(1);
}

States ApacheScanner::StatesOf(Span directive) const {
  return StatesBy(NameIn(directive));
}

Inside ApacheScanner::InsideOf(Span head) const {
  const std::string name = SectionName(head);
  if (SameLetters(name, kMacro)) return Inside::kMacro;
  return SameLetters(name, kPerl) || HoldsLua(name) ? Inside::kCode : Inside::kDirectives;
}

// A macro ends where its sections "<Macro" and "</Macro>" balance, Perl code with a line that says
// so and nothing else, and Lua code, of which nothing is joined, with a line that begins so.
Item ApacheScanner::ClosingOfCode(Span head) {
  std::string buffer;
  const std::string name = SectionName(head);
  const std::string opening = "<" + name;
  const std::string closing = "</" + name;
  const bool macro = SameLetters(name, kMacro);
  const bool perl = SameLetters(name, kPerl);
  const std::size_t nul = Nul();
  std::size_t open = 1;
  for (std::size_t at = m_at; at < nul;) {
    const std::size_t end = std::min(m_text.find('\n', at), m_text.size());
    const ApacheLine line(m_text.substr(0, macro || perl ? m_text.size() : end), at, end);
    const std::string_view text = line.text();
    at = macro || perl ? line.next() : end + 1;
    bool closes = perl ? text == "</Perl>" : SameLetters(text.substr(0, closing.size()), closing);
    if (macro && !text.empty() && text.front() != '#') {
      const std::string_view first = Meaning(WordAt(text, 0), buffer);
      if (SameLetters(first, opening)) ++open;
      closes = SameLetters(first, closing + ">") && --open == 0;
    }
    if (!closes) continue;
    Item item;
    item.kind = Item::Kind::kClose;
    item.bytes = MakeSpan(line.At(0), line.At(text.size()));
    return item;
  }
  return nul < m_text.size() ? Item::Error(Problem::kNulByte, head.end, nul)
                             : Item::Error(Problem::kUnclosedCode, head.end, head.begin);
}

std::optional<Problem> ApacheScanner::Mismatch(Span head, Span closing) const {
  std::string buffer;
  const ApacheLine line(m_text.substr(0, closing.end), closing.begin);
  const std::string_view tag = Meaning(WordAt(line.text(), 0), buffer);
  if (tag.back() != '>') return Problem::kNoBracket;
  const std::string_view name = tag.substr(2, tag.size() - 3);
  if (!SameLetters(name, SectionName(head))) return Problem::kOtherClosing;
  if (line.text().size() != tag.size() && EndsOnOwnLine(name)) return Problem::kTextBehindClosing;
  return std::nullopt;
}

namespace {

// The part of `word` between `begin` and `end` of the line as the word's inside.
Word MakeWord(std::string_view text, const ApacheLine& line, const LineWord& word,
              std::size_t begin, std::size_t end) {
  Word made;
  made.inner.begin = static_cast<std::uint32_t>(line.At(begin));
  made.inner.end =
      begin == end ? made.inner.begin : static_cast<std::uint32_t>(line.At(end - 1) + 1);
  made.bytes =
      word.quote == '\0' ? made.inner : MakeSpan(line.At(word.begin), line.At(word.end - 1) + 1);
  made.quote = word.quote;
  made.as_written = text.substr(made.inner.begin, made.inner.size()).find('\\') == kNowhere;
  return made;
}

std::size_t InnerBegin(const LineWord& word) {
  return word.begin + (word.quote == '\0' ? 0 : 1);
}

}  // namespace

void ApacheWords(std::string_view text, Span directive, std::vector<Word>& words) {
  const ApacheLine joined(text.substr(0, directive.end), directive.begin);
  std::string_view line = joined.text();
  const LineWord first = WordAt(line, 0);
  std::string buffer;
  std::size_t begin = InnerBegin(first);
  const std::size_t bracket = DropsBracket(Meaning(first, buffer)) ? 1 : 0;
  const std::size_t end = begin + first.inner.size() - bracket;
  if (Begins(first.inner, "<")) {
    ++begin;
    line = line.substr(0, std::max(line.rfind('>') + 1, first.end + 1) - 1);
  }
  words.push_back(MakeWord(text, joined, first, std::min(begin, end), end));
  for (LineWord word = WordAt(line, first.end); word.begin < line.size();
       word = WordAt(line, word.end)) {
    const std::size_t inner = InnerBegin(word);
    words.push_back(MakeWord(text, joined, word, inner, inner + word.inner.size()));
  }
}

std::string ApacheValue(std::string_view text, const Word& word) {
  const std::string_view written = text.substr(word.inner.begin, word.inner.size());
  if (word.as_written) return std::string(written);
  std::string joined;
  std::vector<std::uint32_t> origins;
  JoinLines(written, 0, joined, origins);
  return Unescaped(joined, word.quote);
}

template class Reader<ApacheScanner>;
template void Document::AddNodes<ApacheScanner>(BlockId, std::vector<Node>&) const;
template void Document::VisitAll<ApacheScanner>(const NodeVisitor&) const;

}  // namespace tov_document
