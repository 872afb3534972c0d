// SPDX-License-Identifier: Apache-2.0

#include "document/nginx_scanner.h"

#include <algorithm>
#include <array>

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

// The end of the word, without quotes, that begins at `at`: where a blank, ";" or "{" ends it.
std::size_t BareWordEnd(std::string_view text, std::size_t at) {
  bool variable = false;
  while (at < text.size()) {
    const char byte = text[at];
    if (byte == '\\') {
      at = std::min(at + 2, text.size());
      variable = false;
      continue;
    }
    if (IsBlank(byte) || byte == ';' || (byte == '{' && !variable)) return at;
    variable = byte == '$' || (byte == '{' && variable);
    ++at;
  }
  return at;
}

// The closing quote of the word whose quote stands at `open`; none: the text ends before.
std::size_t ClosingQuote(std::string_view text, std::size_t open) {
  for (std::size_t at = open + 1; at < text.size(); ++at) {
    if (text[at] == text[open]) return at;
    if (text[at] == '\\') ++at;
  }
  return kNowhere;
}

bool IsQuote(char byte) {
  return byte == '"' || byte == '\'';
}

constexpr std::string_view kNames = "server_name";
constexpr std::string_view kAddress = "listen";

// Whether the directive that begins as `text` does may say which server its block is. What stands
// in quotes may mean anything.
bool MayIdentify(std::string_view text) {
  return text.substr(0, kAddress.size()) == kAddress || text.substr(0, kNames.size()) == kNames ||
         IsQuote(text.front());
}

}  // namespace

NginxScanner::NginxScanner(std::string_view text, std::size_t begin, std::size_t end)
    : m_text(text.substr(0, end)), m_at(begin), m_map(m_text, begin, end) {}

// Most directives are some words and a ";".
void NginxScanner::SkipPlain() {
  for (;;) {
    const std::size_t begin = m_map.NextVisible(m_at);
    const std::size_t stop = m_map.NextStop(begin);
    if (stop >= m_text.size() || m_text[stop] != ';' || stop == begin) return;
    if (stop - begin >= kBuffer || MayIdentify(m_text.substr(begin))) return;
    m_at = stop + 1;
  }
}

Item NginxScanner::Next() {
  m_at = m_map.NextVisible(m_at);
  if (m_at >= m_text.size()) return {};
  switch (m_text[m_at]) {
    case '#':
      return Comment();
    case '}':
      return Found(Item::Kind::kClose, m_at, m_at + 1);
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
  return Found(Item::Kind::kComment, m_at, end);
}

Item NginxScanner::Directive() {
  const std::size_t begin = m_at;
  std::size_t escaped = kNowhere;   // behind the last escaped byte
  std::size_t variable = kNowhere;  // behind the last "${"
  std::size_t from = begin;
  for (;;) {
    const std::size_t at = m_map.NextStop(from);
    if (at >= m_text.size()) return Item::Error(Problem::kNoSemicolon, begin, begin);
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
        if (BeginsWord(at, escaped)) return Item::Error(Problem::kBraceInDirective, begin, at);
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
        const std::size_t close = ClosingQuote(m_text, at);
        if (close == kNowhere) return Item::Error(Problem::kUnterminatedQuote, begin, at);
        from = close + 1;
        if (from >= m_text.size()) break;
        const char next = m_text[from];
        if (next == ')') {
          ++from;  // which begins a word
        } else if (!IsBlank(next) && next != ';' && next != '{') {
          return Item::Error(Problem::kTextBehindQuote, begin, from);
        }
        break;
      }
      default:
        break;
    }
  }
}

// The item from `begin` to `end`, unless nginx has no room for it.
Item NginxScanner::Found(Item::Kind kind, std::size_t begin, std::size_t end) {
  m_at = end;
  Item item;
  item.kind = kind;
  item.bytes = MakeSpan(begin, end);
  if (kind == Item::Kind::kDirective) item.states = StatesOf(item.bytes);
  if (end - begin < kBuffer || kind == Item::Kind::kComment) return item;
  const std::optional<std::size_t> too_long = TooLong(item.bytes);
  return too_long ? Item::Error(Problem::kTooLong, begin, *too_long) : item;
}

// Whether the byte at `at`, behind the first one of its directive, begins a word.
bool NginxScanner::BeginsWord(std::size_t at, std::size_t escaped) const {
  return IsBlank(m_text[at - 1]) && at != escaped;
}

// The name of a directive or of a block: as a rule what stands there, else a text that is kept in
// `buffer`.
std::string_view NginxScanner::Name(Span directive, std::string& buffer) const {
  std::size_t end = directive.begin;
  while (!IsBlank(m_text[end]) && !NginxClasses::IsStop(m_text[end])) ++end;
  if (IsBlank(m_text[end])) return m_text.substr(directive.begin, end - directive.begin);
  buffer = NginxValue(m_text, NginxWords(m_text, directive).front());
  return buffer;
}

States NginxScanner::StatesOf(Span directive) const {
  if (!MayIdentify(m_text.substr(directive.begin))) return States::kNothing;
  std::string buffer;
  const std::string_view name = Name(directive, buffer);
  if (name == kNames) return States::kNames;
  return name == kAddress ? States::kAddress : States::kNothing;
}

// The first word or comment of `directive` for which nginx has no room. It needs to see the byte
// behind a word as well, and behind a blank one more.
std::optional<std::size_t> NginxScanner::TooLong(Span directive) const {
  const std::string_view text = m_text.substr(0, directive.end);
  std::size_t at = directive.begin;
  while (at < text.size()) {
    at = BehindBlanks(text, at);
    const std::size_t begin = at;
    if (at >= text.size() || text[at] == ';' || text[at] == '{') return std::nullopt;
    if (text[at] == '#') {
      at = LineEnd(text, at);
      if (at - begin >= kBuffer) return begin;
      continue;
    }
    const bool quoted = IsQuote(text[at]);
    at = quoted ? ClosingQuote(text, at) + 1 : BareWordEnd(text, at);
    const std::size_t seen = at + 1 + IsBlank(text[at]) - begin - quoted;
    if (seen > kBuffer) return begin;
  }
  return std::nullopt;
}

Inside NginxScanner::InsideOf(Span head) const {
  std::string buffer;
  const std::string_view name = Name(head, buffer);
  constexpr std::string_view kLua = "_by_lua_block";
  if (name.size() > kLua.size() && name.substr(name.size() - kLua.size()) == kLua) {
    return Inside::kCode;
  }
  constexpr std::array<std::string_view, 5> kValues = {"charset_map", "geo", "map", "split_clients",
                                                       "types"};
  const bool values = std::find(kValues.begin(), kValues.end(), name) != kValues.end();
  return values ? Inside::kValues : Inside::kDirectives;
}

std::optional<std::uint32_t> NginxScanner::EndOfCode(Span head) const {
  return EndOfLua(m_text, head.end);
}

std::vector<Word> NginxWords(std::string_view text, Span directive) {
  text = text.substr(0, directive.end);
  std::vector<Word> words;
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
    } else {
      at = BareWordEnd(text, at);
    }
    const std::size_t quote = word.quote == '\0' ? 0 : 1;
    word.bytes = MakeSpan(begin, at);
    word.inner = MakeSpan(begin + quote, at - quote);
    word.as_written = text.substr(begin, at - begin).find('\\') == kNowhere;
    words.push_back(word);
  }
  return words;
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

}  // namespace tov_document
