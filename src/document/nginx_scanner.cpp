// SPDX-License-Identifier: Apache-2.0

#include "document/nginx_scanner.h"

#include <algorithm>
#include <array>

#include "document/ascii.h"
#include "document/lua.h"
#include "document/reader.h"

namespace tov_document {
namespace {

// nginx reads through a buffer of this size, in which a word or a comment has to find room.
constexpr std::size_t kBuffer = 4096;

constexpr std::size_t kNowhere = std::string_view::npos;

bool IsBlank(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

std::size_t BehindBlanks(std::string_view text, std::size_t at) {
  while (at < text.size() && IsBlank(text[at])) ++at;
  return at;
}

std::size_t LineEnd(std::string_view text, std::size_t at) {
  return std::min(text.find('\n', at), text.size());
}

// The closing quote of the word whose quote stands at `open`; none: the text ends before.
std::size_t ClosingQuote(std::string_view text, std::size_t open) {
  for (std::size_t at = open + 1; at < text.size(); ++at) {
    if (text[at] == text[open]) return at;
    if (text[at] == '\\') ++at;
  }
  return kNowhere;
}

// The bytes that are parts of a word wherever they stand.
constexpr std::array<bool, 256> PlainBytes() {
  std::array<bool, 256> plain = {};
  for (std::size_t i = 0; i < plain.size(); ++i) {
    const char byte = static_cast<char>(i);
    plain.at(i) = !NginxClasses::Blanks::Has(byte) && !NginxClasses::Stops::Has(byte);
  }
  return plain;
}
constexpr std::array<bool, 256> kPlain = PlainBytes();

bool IsPlain(char byte) {
  return kPlain.at(static_cast<unsigned char>(byte));
}

struct BareWord {
  std::size_t end;
  bool escapes;  // there is a backslash in it
};

// The word, without quotes, that begins at `begin`. A blank, ";" or "{" ends it.
BareWord BareWordAt(std::string_view text, std::size_t begin) {
  std::size_t at = begin;
  std::size_t escaped = begin;    // behind the last escaped byte
  std::size_t opened = kNowhere;  // behind the last "${", or "{" behind it
  for (; at < text.size(); ++at) {
    const char byte = text[at];
    if (IsPlain(byte)) continue;
    if (byte == '\\') {
      escaped = at + 2;
      ++at;
    } else if (byte == '{') {
      if (at != opened && (at == escaped || text[at - 1] != '$')) break;
      opened = at + 1;
    } else if (IsBlank(byte) || byte == ';') {
      break;
    }
  }
  return {std::min(at, text.size()), escaped != begin};
}

// What the first byte of a directive tells.
enum class First : std::uint8_t {
  kOfWord,
  kOfState,  // its name may be one that matters
  kClosing,

  // No directive that could be read at a glance.
  kComment,
  kOther
};

constexpr std::array<First, 256> FirstBytes() {
  std::array<First, 256> firsts = {};
  for (std::size_t i = 0; i < firsts.size(); ++i) {
    firsts.at(i) = kPlain.at(i) ? First::kOfWord : First::kOther;
  }
  firsts.at('l') = firsts.at('s') = First::kOfState;
  firsts.at('}') = First::kClosing;
  firsts.at('#') = First::kComment;
  return firsts;
}
constexpr std::array<First, 256> kFirsts = FirstBytes();

bool IsQuote(char byte) {
  return byte == '"' || byte == '\'';
}

// What the directive that begins as `text` does states. Its name may stand in quotes.
States StatesBy(std::string_view text) {
  const char quote = IsQuote(text.front()) ? text.front() : '\0';
  if (quote != '\0') text.remove_prefix(1);
  const auto is = [text, quote](std::string_view name) {
    if (text.size() <= name.size() || text.substr(0, name.size()) != name) return false;
    const char next = text[name.size()];
    return quote == '\0' ? IsBlank(next) || next == ';' : next == quote;
  };
  switch (text.front()) {
    case 'l':
      return is("listen") ? States::kAddress : States::kNothing;
    case 's':
      return is("server_name") ? States::kNames : States::kNothing;
    default:
      return States::kNothing;
  }
}

bool HoldsValues(std::string_view name) {
  return name == "map" || name == "geo" || name == "types" || name == "split_clients" ||
         name == "charset_map";
}

}  // namespace

NginxScanner::NginxScanner(std::string_view text, std::size_t begin, std::size_t end)
    : m_text(text.substr(0, end)), m_at(begin), m_map(text, begin, end) {}

void NginxScanner::Read(std::size_t begin, std::size_t end) {
  m_text = std::string_view(m_text.data(), end);
  m_at = begin;
  m_map.SetEnd(end);
}

Item NginxScanner::Next() {
  return ItemAt(m_map.NextVisible(m_at));
}

// Passes over the comment at `begin`; false: it is too long, or nearly.
bool NginxScanner::PassComment(std::size_t begin, Stops& stops) {
  const std::size_t end = LineEnd(m_text, begin);
  if (end - begin >= kBuffer) return false;
  m_at = end;
  stops.DropBefore(end);
  return true;
}

// Whether the words up to the "{" at the end of `head` open a block, and one of directives.
bool NginxScanner::IsPlainHead(Span head) const {
  return m_text[head.end - 2] != '$' && InsideOf(head) == Inside::kDirectives;
}

// Most directives are some words and a ";", most heads some words and a "{".
template <class Blocks>
void NginxScanner::ReadPlain(Stops& stops, Blocks& blocks) {
  stops.DropBefore(m_at);
  while (stops.HasTwo()) {
    const std::size_t begin = stops.First();
    const std::size_t stop = stops.Second();
    const First first = kFirsts.at(static_cast<unsigned char>(m_text[begin]));
    if (first == First::kClosing) {
      if (!blocks.CanClose()) return;
      blocks.Close(MakeSpan(begin, begin + 1));
      m_at = begin + 1;
      stops.Drop(1);
      continue;
    }
    if (first == First::kComment && PassComment(begin, stops)) continue;
    if (first >= First::kComment || stop - begin >= kBuffer) return;
    const Span bytes = MakeSpan(begin, stop + 1);
    if (m_text[stop] == '{') {
      if (blocks.Reading() == Body::kValues || !IsPlainHead(bytes)) return;
      blocks.Open(bytes, Body::kDirectives);
    } else if (m_text[stop] != ';') {
      return;
    } else if (first == First::kOfState) {
      blocks.AddMark(bytes, StatesOf(bytes));
    }
    m_at = stop + 1;
    stops.Drop(2);
  }
}

Item NginxScanner::ItemAt(std::size_t begin) {
  m_at = begin;
  if (m_at >= m_text.size()) return {};
  switch (m_text[m_at]) {
    case '#':
      return Comment();
    case '}':
      return Taken(Item::Kind::kClose, m_at, m_at + 1);
    case ';':
    case '{':
      return Item::Error(Problem::kNoDirective, m_at, m_at);
    default:
      return Directive();
  }
}

Item NginxScanner::Comment() {
  const std::size_t end = LineEnd(m_text, m_at);
  const std::size_t room = end < m_text.size() ? kBuffer - 1 : kBuffer;
  if (end - m_at > room) return Item::Error(Problem::kTooLong, m_at, m_at);
  return Taken(Item::Kind::kComment, m_at, end);
}

Item NginxScanner::Directive() {
  const std::size_t begin = m_at;
  std::size_t escaped = kNowhere;   // behind the last escaped byte
  std::size_t variable = kNowhere;  // behind the last "${"
  std::size_t from = begin;
  for (;;) {
    const std::size_t at = m_map.NextStop(from);
    if (at >= m_text.size()) return Error(Problem::kNoSemicolon, begin, begin);
    from = at + 1;
    switch (m_text[at]) {
      case ';':
        return Found(Item::Kind::kDirective, begin, from);
      case '{':
        if (at != variable && (m_text[at - 1] != '$' || at == escaped)) {
          return Found(Item::Kind::kOpen, begin, from);
        }
        variable = from;
        break;
      case '}':
        if (BeginsWord(at, escaped)) return Error(Problem::kBraceInDirective, begin, at);
        break;
      case '#':
        if (BeginsWord(at, escaped)) from = LineEnd(m_text, at);
        break;
      case '\\':
        from = escaped = at + 2;
        break;
      case '"':
      case '\'': {
        if (at != begin && !BeginsWord(at, escaped)) break;
        const Quoted quoted = ReadQuoted(at);
        if (quoted.problem) return Error(*quoted.problem, begin, quoted.behind);
        from = quoted.behind;
        break;
      }
      default:
        break;
    }
  }
}

// The word whose quote stands at `open`. Behind it a blank or the directive's end has to follow, or
// a ")", which begins a word.
NginxScanner::Quoted NginxScanner::ReadQuoted(std::size_t open) const {
  const std::size_t close = ClosingQuote(m_text, open);
  if (close == kNowhere) return {open, Problem::kUnterminatedQuote};
  const std::size_t behind = close + 1;
  if (behind >= m_text.size()) return {behind, std::nullopt};
  const char next = m_text[behind];
  if (next == ')') return {behind + 1, std::nullopt};
  if (IsBlank(next) || next == ';' || next == '{') return {behind, std::nullopt};
  return {behind, Problem::kTextBehindQuote};
}

Item NginxScanner::Taken(Item::Kind kind, std::size_t begin, std::size_t end) {
  m_at = end;
  Item item;
  item.kind = kind;
  item.bytes = MakeSpan(begin, end);
  return item;
}

// The directive or head from `begin` to `end`, unless nginx has no room for it.
Item NginxScanner::Found(Item::Kind kind, std::size_t begin, std::size_t end) {
  const std::optional<std::size_t> too_long = TooLong(begin, end);
  if (too_long) return Item::Error(Problem::kTooLong, begin, *too_long);
  return Taken(kind, begin, end);
}

// What is wrong with the directive at `begin`: the problem at `at`, unless nginx has no room for
// something that it reads until then. What does not end is read up to the text's end.
Item NginxScanner::Error(Problem problem, std::size_t begin, std::size_t at) const {
  const bool ends = problem != Problem::kNoSemicolon && problem != Problem::kUnterminatedQuote;
  const std::size_t read = ends ? at : m_text.size();
  const std::optional<std::size_t> too_long = TooLong(begin, read);
  return too_long ? Item::Error(Problem::kTooLong, begin, *too_long)
                  : Item::Error(problem, begin, at);
}

// Whether the byte at `at`, behind the first one of its directive, begins a word.
bool NginxScanner::BeginsWord(std::size_t at, std::size_t escaped) const {
  return IsBlank(m_text[at - 1]) && at != escaped;
}

// The name of a directive or of a block: as a rule what stands there, else a text that is kept in
// `buffer`.
std::string_view NginxScanner::Name(Span directive, std::string& buffer) const {
  std::size_t end = directive.begin;
  while (IsPlain(m_text[end])) ++end;
  if (IsBlank(m_text[end])) return m_text.substr(directive.begin, end - directive.begin);
  std::vector<Word> words;
  NginxWords(m_text, directive, words);
  buffer = NginxValue(m_text, words.front());
  return buffer;
}

// The first word or comment, of those that begin between `begin` and `end`, for which nginx has no
// room; none: there is none. It needs to see the byte behind a word as well, and behind a blank one
// more.
std::optional<std::size_t> NginxScanner::TooLong(std::size_t begin, std::size_t end) const {
  if (end - begin < kBuffer) return std::nullopt;
  std::size_t at = begin;
  while (at < end) {
    at = BehindBlanks(m_text, at);
    const std::size_t first = at;
    if (at >= end || m_text[at] == ';' || m_text[at] == '{') return std::nullopt;
    const bool comment = m_text[at] == '#';
    const bool quoted = IsQuote(m_text[at]);
    if (comment) {
      at = LineEnd(m_text, at);
    } else if (quoted) {
      at = std::min(ClosingQuote(m_text, at), m_text.size() - 1) + 1;
    } else {
      at = BareWordAt(m_text, at).end;
    }
    std::size_t seen = at - first - (quoted ? 1U : 0U);
    if (at < m_text.size()) seen += !comment && IsBlank(m_text[at]) ? 2U : 1U;
    if (seen > kBuffer) return first;
  }
  return std::nullopt;
}

Inside NginxScanner::InsideOf(Span head) const {
  const std::string_view text = m_text.substr(head.begin, head.size());
  if (Begins(text, "location ") || Begins(text, "server ")) return Inside::kDirectives;
  constexpr std::string_view kLua = "_by_lua_block";
  std::string buffer;
  const std::string_view name = Name(head, buffer);
  if (name.size() > kLua.size() && name.substr(name.size() - kLua.size()) == kLua) {
    return Inside::kCode;
  }
  return HoldsValues(name) ? Inside::kValues : Inside::kDirectives;
}

States NginxScanner::StatesOf(Span directive) const {
  return StatesBy(m_text.substr(directive.begin));
}

Item NginxScanner::ClosingOfCode(Span head) const {
  const std::optional<std::uint32_t> end = EndOfLua(m_text, head.end);
  if (!end) return Item::Error(Problem::kUnclosedCode, head.end, head.begin);
  Item item;
  item.kind = Item::Kind::kClose;
  item.bytes = MakeSpan(*end, *end + 1);
  return item;
}

void NginxWords(std::string_view text, Span directive, std::vector<Word>& words) {
  text = text.substr(0, directive.end);
  for (std::size_t at = BehindBlanks(text, directive.begin); at < text.size();
       at = BehindBlanks(text, at)) {
    const std::size_t begin = at;
    if (text[at] == ';' || text[at] == '{') break;
    if (text[at] == '#') {
      at = LineEnd(text, at);
      continue;
    }
    Word word;
    if (IsQuote(text[at])) {
      word.quote = text[at];
      at = std::min(ClosingQuote(text, at), text.size() - 1) + 1;
      word.as_written = text.substr(begin, at - begin).find('\\') == kNowhere;
    } else {
      const BareWord bare = BareWordAt(text, at);
      at = bare.end;
      word.as_written = !bare.escapes;
    }
    const std::size_t quote = word.quote == '\0' ? 0 : 1;
    word.bytes = MakeSpan(begin, at);
    word.inner = MakeSpan(begin + quote, at - quote);
    words.push_back(word);
  }
}

std::string NginxValue(std::string_view text, const Word& word) {
  const std::string_view written = text.substr(word.inner.begin, word.inner.size());
  if (word.as_written) return std::string(written);
  std::string value;
  for (std::size_t i = 0; i < written.size(); ++i) {
    const char next = i + 1 < written.size() ? written[i + 1] : '\0';
    constexpr std::string_view kEscapes = "\"'\\trn";
    constexpr std::string_view kMeanings = "\"'\\\t\r\n";
    const std::size_t escape = kEscapes.find(next);
    if (written[i] != '\\' || escape == kNowhere) {
      value += written[i];
      continue;
    }
    value += kMeanings[escape];
    ++i;
  }
  return value;
}

template class Reader<NginxScanner>;
template void Document::AddNodes<NginxScanner>(BlockId, std::vector<Node>&) const;
template void Document::VisitAll<NginxScanner>(const NodeVisitor&) const;

}  // namespace tov_document
