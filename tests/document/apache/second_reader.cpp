// SPDX-License-Identifier: Apache-2.0

#include "document/apache/second_reader.h"

#include <algorithm>
#include <array>
#include <utility>

#include "document/apache/lines.h"

namespace second_reader {
namespace {

enum class Sort {
  kPlain,      // read as a whole, carried out later
  kCondition,  // carried out while the text is read, and its closing line looked for as it stands
  kMacro,
  kPerl,
  kLua
};

Sort SortOf(const std::string& name) {
  const std::string lower = LowerCase(name);
  for (const char* condition :
       {"ifmodule", "ifdefine", "ifversion", "iffile", "ifdirective", "ifsection"}) {
    if (lower == condition) return Sort::kCondition;
  }
  for (const char* lua :
       {"luahookpretranslatename", "luahooktranslatename", "luahookfixups", "luahookmaptostorage",
        "luahookcheckuserid", "luahooktypechecker", "luahookaccesschecker", "luahookauthchecker",
        "luahooklog", "luaquickhandler"}) {
    if (lower == lua) return Sort::kLua;
  }
  if (lower == "macro") return Sort::kMacro;
  if (lower == "perl") return Sort::kPerl;
  return Sort::kPlain;
}

struct Open {
  std::string name;
  bool condition = false;
  Range line;
};

class Reader {
 public:
  explicit Reader(std::string_view text) : m_text(text) {}

  // Reads from `begin` up to the end of the text.
  Reading From(std::uint32_t begin);

 private:
  void ReadLine();
  void ReadClosing(const std::string& word);
  void ReadOpening(Word name, std::size_t arguments);
  void ReadDirective(Word name, std::size_t arguments);
  void ReadRaw(const std::string& name, Sort sort);
  void AddBody(Range body);
  bool ClosesCondition() const;
  void TrimName(Word& name, std::size_t at_begin) const;
  void Refuse(Reason reason) { Refuse(reason, m_line.in_text); }
  void Refuse(Reason reason, Range line) { m_reading.refusal = Refusal{reason, line}; }
  void Add(Kind kind, std::vector<Word> words) {
    m_reading.events.push_back({kind, m_line.Place(0, m_line.bytes.size()), std::move(words)});
  }
  void AddWords(std::vector<Word>& words, std::size_t begin, std::size_t end) const {
    while (begin < end) words.push_back(TakeWord(m_line, begin, end));
  }

  std::string_view m_text;
  Line m_line;
  std::vector<Open> m_open;
  Reading m_reading;
};

Reading Reader::From(std::uint32_t begin) {
  m_line.in_text = {begin, begin};
  while (m_line.in_text.end < m_text.size() && !m_reading.refusal) {
    m_line = LineAt(m_text, m_line.in_text.end);
    ReadLine();
  }
  if (!m_reading.refusal && !m_open.empty()) Refuse(Reason::kUnclosed, m_open.back().line);
  return m_reading;
}

void Reader::ReadLine() {
  if (m_line.has_nul) return Refuse(Reason::kNulByte);
  if (m_line.bytes.empty() || m_line.bytes[0] == '#') return;
  if (ClosesCondition()) {
    m_open.pop_back();
    return Add(Kind::kClose, {});
  }
  std::size_t position = 0;
  Word name = TakeWord(m_line, position, m_line.bytes.size());
  if (name.value.empty()) return;
  if (name.value.compare(0, 2, "</") == 0) return ReadClosing(name.value);
  if (name.value[0] == '<') return ReadOpening(std::move(name), position);
  ReadDirective(std::move(name), position);
}

bool Reader::ClosesCondition() const {
  return !m_open.empty() && m_open.back().condition &&
         LowerCase(m_line.bytes) == "</" + LowerCase(m_open.back().name) + ">";
}

void Reader::ReadClosing(const std::string& word) {
  if (m_open.empty()) return Refuse(Reason::kExtraClosing);
  if (m_open.back().condition) return Refuse(Reason::kNotTheConditions);
  if (word.back() != '>') return Refuse(Reason::kNoBracket);
  if (LowerCase(word) != "</" + LowerCase(m_open.back().name) + ">") {
    return Refuse(Reason::kOtherClosing);
  }
  m_open.pop_back();
  Add(Kind::kClose, {});
}

// Takes `at_begin` bytes from the line's first word, and its last one if that is a ">". Where it is
// quoted its place is still that of the word as written.
void Reader::TrimName(Word& name, std::size_t at_begin) const {
  const bool quoted = m_line.bytes[0] == '"' || m_line.bytes[0] == '\'';
  const std::size_t size = name.value.size();
  const std::size_t end = size > at_begin && name.value[size - 1] == '>' ? size - 1 : size;
  name.value = name.value.substr(at_begin, end - at_begin);
  if (quoted) return;
  const auto after = std::lower_bound(m_line.at.begin(), m_line.at.end(), name.bytes.end);
  const std::size_t written_end =
      static_cast<std::size_t>(after - m_line.at.begin()) - (size - end);
  if (at_begin < written_end) {
    name.bytes = m_line.Place(at_begin, written_end);
  } else {
    name.bytes.begin = name.bytes.end = name.bytes.begin + static_cast<std::uint32_t>(at_begin);
  }
}

bool EndsWithBracket(const std::string& value) {
  return !value.empty() && value.back() == '>';
}

// <IfVersion> takes its words from the whole line: an operator that may be missing, and the
// version, which ends with the ">" or has it behind itself as a word of its own.
bool HasVersionsBracket(const std::vector<Word>& arguments) {
  if (arguments.size() == 1) return EndsWithBracket(arguments[0].value);
  const bool behind = arguments.size() > 2 && arguments[2].value == ">";
  return behind ? !arguments[1].value.empty() : EndsWithBracket(arguments[1].value);
}

// What follows the last ">" is ignored; without arguments it may be missing.
void Reader::ReadOpening(Word name, std::size_t arguments) {
  TrimName(name, 1);
  std::size_t bracket = m_line.bytes.size();
  if (arguments < m_line.bytes.size()) {
    bracket = m_line.bytes.rfind('>');
    if (bracket == std::string::npos || bracket < arguments) return Refuse(Reason::kNoBracket);
    std::vector<Word> uncut;
    AddWords(uncut, arguments, m_line.bytes.size());
    const bool version = LowerCase(name.value) == "ifversion";
    if (version && !HasVersionsBracket(uncut)) return Refuse(Reason::kNoBracket);
  }
  std::vector<Word> words{std::move(name)};
  AddWords(words, arguments, bracket);
  const std::string section = words[0].value;
  const Sort sort = SortOf(section);
  const bool raw = sort == Sort::kMacro || sort == Sort::kPerl || sort == Sort::kLua;
  Add(raw ? Kind::kOpenRaw : Kind::kOpen, std::move(words));
  if (raw) return ReadRaw(section, sort);
  m_open.push_back({section, sort == Sort::kCondition, m_line.in_text});
}

// httpd takes away a ">" at the end of any name that does not look like a closing one.
void Reader::ReadDirective(Word name, std::size_t arguments) {
  const bool like_closing = name.value.compare(1, 1, "/") == 0;
  if (!like_closing) TrimName(name, 0);
  std::vector<Word> words{std::move(name)};
  AddWords(words, arguments, m_line.bytes.size());
  Add(Kind::kDirective, std::move(words));
}

bool IsRawClosing(const Line& line, const std::string& name, Sort sort, int& depth) {
  if (sort == Sort::kPerl) return line.bytes == "</Perl>";
  if (sort == Sort::kLua) {
    return LowerCase(line.bytes).compare(0, name.size() + 2, "</" + LowerCase(name)) == 0;
  }
  if (line.bytes.empty() || line.bytes[0] == '#') return false;
  std::size_t position = 0;
  const std::string first = LowerCase(TakeWord(line, position, line.bytes.size()).value);
  if (first == "<macro") ++depth;
  if (first == "</macro>") --depth;
  return depth == 0;
}

// Whether sections nest in what a macro holds, in the macros among it, too.
bool Nests(const Reading& body) {
  return !body.refusal &&
         std::none_of(body.events.begin(), body.events.end(), [](const Event& event) {
           return event.kind == Kind::kOpenRaw && SortOf(event.words[0].value) == Sort::kMacro;
         });
}

// What stands in a macro is read if it can be.
void Reader::AddBody(Range body) {
  const Reading inside = Reader(m_text.substr(0, body.end)).From(body.begin);
  if (!Nests(inside)) return;
  m_reading.events.back().kind = Kind::kOpen;
  m_reading.events.insert(m_reading.events.end(), inside.events.begin(), inside.events.end());
}

void Reader::ReadRaw(const std::string& name, Sort sort) {
  const Range opening = m_line.in_text;
  for (int depth = 1; m_line.in_text.end < m_text.size();) {
    const std::uint32_t begin = m_line.in_text.end;
    m_line = sort == Sort::kLua ? PhysicalLineAt(m_text, begin) : LineAt(m_text, begin);
    if (m_line.has_nul) return Refuse(Reason::kNulByte);
    if (!IsRawClosing(m_line, name, sort, depth)) continue;
    if (sort == Sort::kMacro) AddBody({opening.end, begin});
    return Add(Kind::kClose, {});
  }
  Refuse(Reason::kUnclosedRaw, opening);
}

}  // namespace

Reading Read(std::string_view text) {
  return Reader(text).From(0);
}

std::string Show(const std::vector<Event>& events) {
  static const std::array<const char*, 4> names = {"directive", "open", "open raw", "close"};
  std::string shown;
  for (const Event& event : events) {
    shown += std::to_string(event.bytes.begin) + "-" + std::to_string(event.bytes.end) + " " +
             names.at(static_cast<std::size_t>(event.kind));
    for (const Word& word : event.words) {
      shown += " [" + word.value + "]" + std::to_string(word.bytes.begin) + "-" +
               std::to_string(word.bytes.end);
    }
    shown += "\n";
  }
  return shown;
}

std::string Show(const Refusal& refusal) {
  static const std::array<const char*, 7> names = {
      "no bracket", "extra closing", "other closing", "not the condition's closing",
      "unclosed",   "unclosed raw",  "NUL byte"};
  return std::string(names.at(static_cast<std::size_t>(refusal.reason))) + " " +
         std::to_string(refusal.line.begin) + "-" + std::to_string(refusal.line.end);
}

}  // namespace second_reader
