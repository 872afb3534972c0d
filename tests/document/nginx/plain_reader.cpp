// SPDX-License-Identifier: Apache-2.0

#include "document/nginx/plain_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "document/nginx/plain_lua.h"

namespace nginx_judge {

namespace {

using tov_document::Problem;

// From the first byte of a word or a comment on, nginx keeps the text in a buffer of this size
// until the next word or comment begins.
constexpr std::size_t kBuffer = 4096;

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool TakesValuesOnly(const std::string& name) {
  const char* const names[] = {"map", "geo", "types", "split_clients", "charset_map"};
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool IsLua(const std::string& name) {
  const std::string ending = "_by_lua_block";
  return name.size() > ending.size() &&
         name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
}

std::string Unescaped(std::string_view written) {
  std::string value;
  for (std::size_t i = 0; i < written.size(); ++i) {
    const char next = written[i] == '\\' && i + 1 < written.size() ? written[i + 1] : '\0';
    switch (next) {
      case '"':
      case '\'':
      case '\\':
        value += next;
        break;
      case 't':
        value += '\t';
        break;
      case 'r':
        value += '\r';
        break;
      case 'n':
        value += '\n';
        break;
      default:
        value += written[i];
        continue;
    }
    ++i;
  }
  return value;
}

struct OpenBlock {
  std::size_t begin;
  bool values_only;
};

class PlainReader {
 public:
  PlainReader(std::string_view text, Place place) : m_text(text), m_place(place) {}

  Reading Read() {
    while (ReadStatement()) {
    }
    return std::move(m_reading);
  }

 private:
  // Each of these is false when there is nothing more to read: the text has ended, or there is an
  // error.

  bool ReadStatement() {
    m_kept = m_pos;
    if (!SkipBlanksAndComments(true)) return false;
    if (AtEnd()) return !m_open.empty() && FailAt(Problem::kUnclosedBlock, m_open.back().begin);
    if (m_text[m_pos] == '}') return Close();
    return ReadDirective();
  }

  bool Close() {
    if (m_open.empty()) return FailAt(Problem::kExtraClosing, m_pos);
    m_open.pop_back();
    Add(What::kClose, m_pos, {});
    return true;
  }

  bool ReadDirective() {
    const std::size_t begin = m_pos;
    std::vector<ReadWord> words;
    while (true) {
      if (!SkipBlanksAndComments(false)) return false;
      if (AtEnd()) return FailAt(Problem::kNoSemicolon, begin);
      const char c = m_text[m_pos];
      if (c == '}') return FailAt(Problem::kBraceInDirective, m_pos);
      if ((c == ';' || c == '{') && words.empty()) return FailAt(Problem::kNoDirective, m_pos);
      if (c == ';') {
        Add(What::kDirective, begin, std::move(words));
        return true;
      }
      if (c == '{') return Open(begin, std::move(words));
      if (!(c == '"' || c == '\'' ? ReadQuoted(words) : ReadBare(words))) return false;
    }
  }

  bool Open(std::size_t begin, std::vector<ReadWord> words) {
    if (m_open.empty() ? m_place == Place::kAmongValues : m_open.back().values_only) {
      return FailAt(Problem::kBraceInValues, m_pos);
    }
    const std::string name = words.front().value;
    m_open.push_back({begin, TakesValuesOnly(name)});
    Add(What::kOpen, begin, std::move(words));
    if (!IsLua(name)) return true;
    const std::optional<std::size_t> closing = LuaClosing(m_text, m_pos);
    if (!closing) return FailAt(Problem::kUnclosedCode, begin);
    m_pos = *closing;
    return Close();
  }

  // A comment between directives counts as an event.
  bool SkipBlanksAndComments(bool between) {
    while (!AtEnd()) {
      if (!CanRead()) return false;
      m_token = m_kept = m_pos;
      if (m_text[m_pos] == '#') {
        if (!SkipComment(between)) return false;
      } else if (IsBlank(m_text[m_pos])) {
        ++m_pos;
      } else {
        break;
      }
    }
    return true;
  }

  bool SkipComment(bool between) {
    const std::size_t begin = m_pos;
    for (; !AtEnd(); ++m_pos) {
      if (!CanRead()) return false;
      if (m_text[m_pos] == '\n') break;
    }
    if (between) m_reading.events.push_back({What::kComment, begin, m_pos, {}});
    return true;
  }

  bool ReadQuoted(std::vector<ReadWord>& words) {
    const std::size_t begin = m_pos;
    const char quote = m_text[m_pos];
    m_kept = ++m_pos;
    for (; !AtEnd(); ++m_pos) {
      if (!CanRead()) return false;
      if (m_text[m_pos] == quote) break;
      if (m_text[m_pos] == '\\' && !SkipBackslash()) return false;
    }
    if (AtEnd()) return FailAt(Problem::kUnterminatedQuote, begin);
    ++m_pos;
    words.push_back({begin, m_pos, quote, Unescaped(Bytes(begin + 1, m_pos - 1))});
    return AtEnd() || LeaveQuotedWord();
  }

  bool LeaveQuotedWord() {
    if (!CanRead()) return false;
    const char c = m_text[m_pos];
    if (IsBlank(c)) ++m_pos;
    return IsBlank(c) || c == ';' || c == '{' || c == ')' ||
           FailAt(Problem::kTextBehindQuote, m_pos);
  }

  // The byte at which it begins is none that would end it.
  bool ReadBare(std::vector<ReadWord>& words) {
    const std::size_t begin = m_pos;
    bool in_variable = false;
    for (; !AtEnd(); ++m_pos) {
      if (!CanRead()) return false;
      const char c = m_text[m_pos];
      if (c == '{' && in_variable) continue;
      if (IsBlank(c) || c == ';' || c == '{') break;
      in_variable = c == '$';
      if (c == '\\' && !SkipBackslash()) return false;
    }
    if (AtEnd()) return true;  // the directive does not end
    words.push_back({begin, m_pos, '\0', Unescaped(Bytes(begin, m_pos))});
    if (IsBlank(m_text[m_pos])) ++m_pos;
    return true;
  }

  // To the byte that it takes with it.
  bool SkipBackslash() {
    ++m_pos;
    return AtEnd() || CanRead();
  }

  bool AtEnd() const { return m_pos >= m_text.size(); }

  // Whether the byte at m_pos still finds room in the buffer.
  bool CanRead() {
    if (m_pos - m_kept < kBuffer) return true;
    return FailAt(Problem::kTooLong, m_token);
  }

  std::string_view Bytes(std::size_t begin, std::size_t end) const {
    return m_text.substr(begin, end - begin);
  }

  // An event that ends with the byte at m_pos.
  void Add(What what, std::size_t begin, std::vector<ReadWord> words) {
    ++m_pos;
    m_reading.events.push_back({what, begin, m_pos, std::move(words)});
  }

  bool FailAt(Problem problem, std::size_t at) {
    m_reading.error = {problem, static_cast<std::uint32_t>(at), std::nullopt};
    if (!m_open.empty()) m_reading.error->opened = static_cast<std::uint32_t>(m_open.back().begin);
    return false;
  }

  const std::string_view m_text;
  const Place m_place;
  std::size_t m_pos = 0;
  std::size_t m_token = 0;  // the word or comment that was begun last
  std::size_t m_kept = 0;   // what nginx's buffer has to hold: from here on
  std::vector<OpenBlock> m_open;
  Reading m_reading;
};

}  // namespace

Reading ReadPlainly(std::string_view text, Place place) {
  return PlainReader(text, place).Read();
}

}  // namespace nginx_judge
