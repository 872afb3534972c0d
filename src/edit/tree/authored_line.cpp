// SPDX-License-Identifier: Apache-2.0

#include "edit/tree/authored_line.h"

#include <algorithm>
#include <utility>

#include "edit/tree/quoting.h"
#include "template/framework/str.h"

namespace tov_edit {
namespace {

using tov_document::Document;
using tov_document::Node;
using tov_document::NodeKind;
using tov_document::Problem;
using tov_document::Word;
using Kind = LineKind;

// Stands for a place in a line; neither a template nor a value may hold it.
constexpr char kMark = '\x01';

// --- Reading ---

// A text that is one directive, or one block's opening.
struct Reading {
  Kind kind = Kind::kDirective;
  std::vector<Word> words;
  Written written;
};

// How many of `nodes` are neither blanks nor comments.
std::size_t CountOf(const std::vector<Node>& nodes) {
  return static_cast<std::size_t>(std::count_if(nodes.begin(), nodes.end(), [](const Node& node) {
    return node.kind != NodeKind::kBlank && node.kind != NodeKind::kComment;
  }));
}

Reading ReadingOf(const Document& document, std::vector<Word> words, Kind kind) {
  Reading reading;
  reading.kind = kind;
  reading.written.words.reserve(words.size());
  reading.written.spelled.reserve(words.size());
  for (const Word& word : words) {
    reading.written.words.push_back(document.Value(word));
    reading.written.spelled.emplace_back(document.Bytes(word.bytes));
  }
  reading.words = std::move(words);
  return reading;
}

// The head of the one block that `document` is, when nothing but comments stands in it.
std::optional<Reading> HeadOf(const Document& document) {
  if (document.blocks().size() != 2 || CountOf(document.Nodes(1)) != 0) return std::nullopt;
  if (document.blocks()[1].reading == tov_document::Body::kOpaque) return std::nullopt;
  return ReadingOf(document, document.HeadWords(1), Kind::kOpening);
}

std::optional<Reading> DirectiveOf(const Document& document, const std::vector<Node>& nodes) {
  for (const Node& node : nodes) {
    if (node.kind != NodeKind::kDirective) continue;
    return ReadingOf(document, document.Words(node), Kind::kDirective);
  }
  return std::nullopt;
}

std::optional<Reading> Read(Dialect dialect, const std::string& text) {
  const bool apache = dialect == Dialect::kApache;
  if (apache && !text.empty() && text.back() == '\\') return std::nullopt;
  const Document document(dialect, text);
  const std::vector<Node> nodes = document.Nodes(tov_document::kWholeText);
  if (CountOf(nodes) != 1) return std::nullopt;
  if (!document.error()) return DirectiveOf(document, nodes);
  if (document.error()->problem == Problem::kUnclosedBlock) return HeadOf(document);
  if (!apache || document.error()->problem != Problem::kUnclosedCode) return std::nullopt;
  // What stands in a macro is read when the macro ends.
  const std::string whole = text + "\n</Macro>";
  const Document macro(dialect, whole);
  return macro.error() ? std::nullopt : HeadOf(macro);
}

// --- Words ---

bool IsMark(std::string_view text) {
  return text.size() == 1 && text.front() == kMark;
}

// Takes off `value` what it begins with, if it is `begin`.
bool CutBegin(std::string_view begin, std::string_view& value) {
  if (!str::view::StartsWith(value, begin)) return false;
  value.remove_prefix(begin.size());
  return true;
}

const char* BlanksOf(Dialect dialect) {
  return dialect == Dialect::kNginx ? " \t\r\n" : " \t\r\n\v\f";
}

}  // namespace

// --- Places ---

std::vector<Place> PlacesIn(std::string_view line) {
  std::vector<Place> places;
  std::size_t full = line.find("{%");
  std::size_t trailing = line.find("[%");
  while (full != std::string_view::npos || trailing != std::string_view::npos) {
    Place place;
    place.begin = std::min(full, trailing);
    place.trailing = place.begin == trailing;
    const std::size_t begin = place.begin + 2;
    const std::size_t close = std::min(line.find(place.trailing ? "%]" : "%}", begin), line.size());
    place.closed = close < line.size();
    place.end = std::min(close + 2, line.size());
    std::string_view content = str::view::Trim(line.substr(begin, close - begin));
    place.is_value = str::view::StartsWith(content, "$");
    if (place.is_value) place.name = content.substr(1);
    if (full < place.end) full = line.find("{%", place.end);
    if (trailing < place.end) trailing = line.find("[%", place.end);
    places.push_back(std::move(place));
  }
  return places;
}

std::optional<std::string> FilledIn(std::string_view text, const AuthoredLine::Values& values) {
  std::string filled;
  std::size_t at = 0;
  for (const Place& place : PlacesIn(text)) {
    const auto value = values.find(place.name);
    if (!place.is_value || value == values.end()) return std::nullopt;
    (filled += text.substr(at, place.begin - at)) += value->second;
    at = place.end;
  }
  return filled += text.substr(at);
}

std::optional<Written> ReadWritten(Dialect dialect, const std::string& text, Kind& kind) {
  std::optional<Reading> reading = Read(dialect, text);
  if (!reading) return std::nullopt;
  kind = reading->kind;
  reading->written.text = text;
  return std::move(reading->written);
}

// --- The line ---

AuthoredLine::AuthoredLine(Dialect dialect, const std::string& text)
    : m_dialect(dialect), m_text(text), m_places(PlacesIn(text)) {
  std::size_t at = 0;
  for (const Place& place : m_places) {
    m_marked += m_text.substr(at, place.begin - at);
    m_marks.push_back(m_marked.size());
    m_marked += kMark;
    at = place.end;
  }
  m_marked += m_text.substr(at);
  ReadWords();
}

void AuthoredLine::ReadWords() {
  std::optional<Reading> reading = Read(m_dialect, m_marked);
  if (!reading) return;
  m_kind = reading->kind;
  m_words.reserve(reading->words.size());
  for (std::size_t i = 0; i < reading->words.size(); ++i) {
    const Word& word = reading->words.at(i);
    AuthoredWord authored;
    authored.begin = word.bytes.begin;
    authored.end = word.bytes.end;
    authored.quote = word.quote;
    std::string_view rest = reading->written.words.at(i);
    for (std::size_t place = 0; place < m_marks.size(); ++place) {
      if (m_marks.at(place) < authored.begin || m_marks.at(place) >= authored.end) continue;
      authored.places.push_back(place);
      authored.open = authored.open || (m_places.at(place).trailing && word.quote == '\0');
      const std::size_t mark = std::min(rest.find(kMark), rest.size());
      authored.literals.emplace_back(rest.substr(0, mark));
      rest.remove_prefix(std::min(mark + 1, rest.size()));
    }
    authored.literals.emplace_back(rest);
    m_words.push_back(std::move(authored));
  }
  if (m_places.empty()) m_filling = AsItStands(std::move(reading->written));
}

bool AuthoredLine::IsInWord(std::size_t place) const {
  return std::any_of(m_words.begin(), m_words.end(), [place](const AuthoredWord& word) {
    return !word.open &&
           std::find(word.places.begin(), word.places.end(), place) != word.places.end();
  });
}

std::string AuthoredLine::Harmless() const {
  std::string harmless = m_marked;
  for (const std::size_t mark : m_marks) harmless.at(mark) = 'x';
  return harmless;
}

std::vector<AuthoredLine::PlacedWord> AuthoredLine::PlacedWords() const {
  std::vector<PlacedWord> words;
  for (const AuthoredWord& word : m_words) {
    words.push_back({word.literals, {}, word.open});
    for (const std::size_t place : word.places) {
      words.back().names.push_back(m_places.at(place).name);
    }
  }
  return words;
}

std::optional<AuthoredLine::Texts> AuthoredLine::TextsOf(const Values& values,
                                                         const Handling& handling) const {
  Texts texts;
  for (const Place& place : m_places) {
    const auto value = values.find(place.name);
    if (!place.is_value || value == values.end()) return std::nullopt;
    texts.push_back({value->second, handling.raw.count(place.name) != 0});
  }
  return texts;
}

// --- Quotes ---

// Whether the word's values are texts, to be written in whatever way says so.
bool AuthoredLine::IsQuoted(const AuthoredWord& word, const Texts& texts) {
  return !word.open && !word.places.empty() &&
         std::none_of(word.places.begin(), word.places.end(),
                      [&](std::size_t place) { return texts.at(place).raw; });
}

// What the server is to make of a word.
std::string AuthoredLine::Meant(const AuthoredWord& word, const Texts& texts) const {
  std::string meant = word.literals.front();
  for (std::size_t i = 0; i < word.places.size(); ++i) {
    (meant += texts.at(word.places.at(i)).value) += word.literals.at(i + 1);
  }
  return meant;
}

// The word with its values: the author's own quotes stay, and new ones come only where they have
// to.
std::string AuthoredLine::Spelled(const AuthoredWord& word, const Texts& texts) const {
  std::string spelled;
  std::size_t at = word.begin;
  for (const std::size_t place : word.places) {
    spelled += m_marked.substr(at, m_marks.at(place) - at);
    const std::string& value = texts.at(place).value;
    spelled += word.quote == '\0' ? value : Escaped(m_dialect, value, word.quote);
    at = m_marks.at(place) + 1;
  }
  spelled += m_marked.substr(at, word.end - at);
  const std::string meant = Meant(word, texts);
  if (IsWordFor(m_dialect, spelled, meant)) return spelled;
  if (word.quote == '\0') return InQuotes(m_dialect, meant);
  return word.quote + Escaped(m_dialect, meant, word.quote) + word.quote;
}

Unwritable AuthoredLine::WhyNotQuoted(const Texts& texts) const {
  for (const AuthoredWord& word : m_words) {
    if (!IsQuoted(word, texts)) continue;
    std::string before = word.literals.front();
    for (std::size_t i = 0; i < word.places.size(); ++i) {
      const std::string& value = texts.at(word.places.at(i)).value;
      if (HoldsUnwritable(m_dialect, value)) return Unwritable::kControl;
      std::string behind;
      for (std::size_t j = i + 1; j < word.places.size() && behind.empty(); ++j) {
        behind = word.literals.at(j) + texts.at(word.places.at(j)).value;
      }
      if (behind.empty()) behind = word.literals.back();
      if (HoldsVariable(m_dialect, before, value, behind)) return Unwritable::kVariable;
      (before += value) += word.literals.at(i + 1);
    }
  }
  return Unwritable::kNothing;
}

// --- Filling ---

AuthoredLine::Assembled AuthoredLine::Assemble(const Texts& texts, bool quote) const {
  Assembled assembled;
  assembled.text.reserve(m_marked.size());
  assembled.at.reserve(m_marked.size() + 1);
  std::size_t place = 0;
  auto word = m_words.begin();
  for (std::size_t i = 0; i < m_marked.size();) {
    while (word != m_words.end() && word->begin < i) ++word;
    assembled.at.resize(i + 1, assembled.text.size());
    if (quote && word != m_words.end() && word->begin == i && IsQuoted(*word, texts)) {
      assembled.text += Spelled(*word, texts);
      place += word->places.size();
      i = word->end;
    } else if (place < m_marks.size() && m_marks.at(place) == i) {
      assembled.text += texts.at(place++).value;
      ++i;
    } else {
      assembled.text += m_marked.at(i++);
    }
  }
  assembled.at.resize(m_marked.size() + 1, assembled.text.size());
  // What a value has at the end of the line goes with the blanks there: behind a backslash the next
  // line would be a part of this one.
  assembled.text.erase(assembled.text.find_last_not_of(BlanksOf(m_dialect)) + 1);
  return assembled;
}

// What stands in an open place may come to be more than it is now: none of the other texts may
// reach into it, as an Apache quote that nothing closes does.
bool AuthoredLine::IsInPlace(const Texts& texts, bool quote) const {
  Texts marked = texts;
  bool is_same = true;
  for (const AuthoredWord& word : m_words) {
    for (const std::size_t place : word.places) {
      Text& text = marked.at(place);
      if (!word.open || !str::view::Trim(text.value).empty()) continue;
      text.value = kMark;
      is_same = false;
    }
  }
  return ReadsAsAuthored(texts, quote) && (is_same || ReadsAsAuthored(marked, quote)) &&
         KeepsLiterals(texts, quote);
}

// Whether a text may make something else of the author's text behind it, and the next text may put
// the like of that there: "\\" before an "n".
bool AuthoredLine::MaySwallow(const AuthoredWord& word, const Texts& texts) {
  return !word.open && word.places.size() > 1 &&
         std::any_of(word.places.begin(), word.places.end(), [&](std::size_t place) {
           return str::view::EndsWith(texts.at(place).value, "\\");
         });
}

// Whether such texts leave the author's text as it is: where every other one is a mark, there is
// one place only for what the author wrote.
bool AuthoredLine::KeepsLiterals(const Texts& texts, bool quote) const {
  Texts evens = texts;
  Texts odds = texts;
  bool may_swallow = false;
  for (const AuthoredWord& word : m_words) {
    if (!MaySwallow(word, texts)) continue;
    may_swallow = true;
    for (std::size_t i = 0; i < word.places.size(); ++i) {
      (i % 2 == 0 ? evens : odds).at(word.places.at(i)).value = kMark;
    }
  }
  return !may_swallow || (ReadsAsAuthored(evens, quote) && ReadsAsAuthored(odds, quote));
}

// Whether `value` is the author's text around the places of `word`, with something in these: where
// a text is a mark, with that.
bool AuthoredLine::HoldsLiterals(const AuthoredWord& word, const Texts& texts,
                                 std::string_view value) {
  if (word.places.empty()) return value == word.literals.front();
  if (!CutBegin(word.literals.front(), value)) return false;
  const auto is_mark = [&](std::size_t i) { return IsMark(texts.at(word.places.at(i)).value); };
  const std::size_t last = word.places.size() - 1;
  for (std::size_t i = 0; i < last; ++i) {
    const std::string& behind = word.literals.at(i + 1);
    if (is_mark(i)) {
      if (!CutBegin(kMark + behind, value)) return false;
      continue;
    }
    const std::size_t at = is_mark(i + 1) ? value.find(kMark) : value.find(behind);
    if (at == std::string_view::npos) return false;
    if (is_mark(i + 1)) {
      if (!str::view::EndsWith(value.substr(0, at), behind)) return false;
      value.remove_prefix(at);
    } else {
      value.remove_prefix(at + behind.size());
    }
  }
  const std::string& end = word.literals.back();
  return is_mark(last) ? value == kMark + end : str::view::EndsWith(value, end);
}

// Whether the server reads the author's words, with each text inside of its word.
bool AuthoredLine::ReadsAsAuthored(const Texts& texts, bool quote) const {
  const Assembled assembled = Assemble(texts, quote);
  const std::optional<Reading> reading = Read(m_dialect, assembled.text);
  if (!reading || reading->kind != m_kind) return false;
  std::size_t next = 0;
  for (const AuthoredWord& word : m_words) {
    std::vector<ReadWord> read;
    const std::size_t end = assembled.at.at(word.end);
    const auto belongs = [&] {
      return word.open ? reading->words.at(next).bytes.begin < end : read.empty();
    };
    for (; next < reading->words.size() && belongs(); ++next) {
      const tov_document::Span bytes = reading->words.at(next).bytes;
      read.push_back({bytes.begin, bytes.end, reading->written.words.at(next)});
    }
    const std::size_t begin = assembled.at.at(word.begin);
    const bool fits =
        word.open
            ? FitsOpen(word, read, begin, end) && KeepsFull(word, read, assembled)
            : read.size() == 1 && read.front().begin == begin && read.front().end == end &&
                  !IsLoneQuote(read.front()) &&
                  (quote && IsQuoted(word, texts) ? read.front().value == Meant(word, texts)
                                                  : HoldsLiterals(word, texts, read.front().value));
    if (!fits) return false;
  }
  return next == reading->words.size();
}

// A quote that httpd takes for an empty word: its text was not meant to be nothing.
bool AuthoredLine::IsLoneQuote(const ReadWord& word) {
  return word.value.empty() && word.end == word.begin + 1;
}

// The author's text at the two ends of such a word stays what it is.
bool AuthoredLine::FitsOpen(const AuthoredWord& word, const std::vector<ReadWord>& read,
                            std::size_t begin, std::size_t end) {
  const std::string& before = word.literals.front();
  const std::string& behind = word.literals.back();
  if (read.empty()) return before.empty() && behind.empty();
  const ReadWord& first = read.front();
  const ReadWord& last = read.back();
  if (first.begin < begin || last.end > end) return false;
  const bool begins =
      before.empty() || (first.begin == begin && str::view::StartsWith(first.value, before));
  return begins && (behind.empty() || (last.end == end && str::view::EndsWith(last.value, behind)));
}

// Each full place of such a word stays inside of one word.
bool AuthoredLine::KeepsFull(const AuthoredWord& word, const std::vector<ReadWord>& read,
                             const Assembled& assembled) const {
  return std::all_of(word.places.begin(), word.places.end(), [&](std::size_t place) {
    const std::size_t begin = assembled.at.at(m_marks.at(place));
    const std::size_t end = assembled.at.at(m_marks.at(place) + 1);
    return m_places.at(place).trailing || begin == end ||
           std::any_of(read.begin(), read.end(), [&](const ReadWord& each) {
             return each.begin <= begin && end <= each.end;
           });
  });
}

// The names of the texts that are not in place by themselves; of very many the first ones.
std::vector<std::string> AuthoredLine::Guilty(const Texts& texts, bool quote) const {
  constexpr std::size_t kMost = 20;
  std::vector<std::string> guilty;
  std::vector<std::string> all;
  for (std::size_t i = 0; i < texts.size() && all.size() < kMost; ++i) {
    const std::string& name = m_places.at(i).name;
    if (std::find(all.begin(), all.end(), name) != all.end()) continue;
    all.push_back(name);
    Texts alone(texts.size(), {std::string(1, kMark), true});
    alone.at(i) = texts.at(i);
    if (!IsInPlace(alone, quote)) guilty.push_back(name);
  }
  return guilty.empty() ? all : guilty;
}

// A line without places, which no value changes.
AuthoredLine::Filling AuthoredLine::AsItStands(Written written) const {
  Filling filling;
  filling.text = m_text;
  filling.in_place = !written.words.front().empty() &&
                     std::none_of(m_words.begin(), m_words.end(), [](const AuthoredWord& word) {
                       return IsLoneQuote({word.begin, word.end, word.literals.front()});
                     });
  if (!filling.in_place) return filling;
  written.text = m_text;
  filling.written = std::make_shared<const Written>(std::move(written));
  return filling;
}

std::optional<AuthoredLine::Filling> AuthoredLine::Fill(const Values& values,
                                                        const Handling& handling) const {
  if (m_filling) return m_filling;
  const std::optional<Texts> texts = TextsOf(values, handling);
  if (!texts) return std::nullopt;
  Filling filling;
  filling.text = Assemble(*texts, handling.quote).text;
  filling.text.erase(0, filling.text.find_first_not_of(BlanksOf(m_dialect)));
  if (m_kind == Kind::kBlank) return filling;
  Texts judged = *texts;
  for (Text& text : judged) {
    if (text.raw) text.value = kMark;
  }
  if (handling.quote) filling.unwritable = WhyNotQuoted(judged);
  filling.in_place =
      filling.unwritable == Unwritable::kNothing && IsInPlace(judged, handling.quote);
  if (!filling.in_place) {
    filling.guilty = Guilty(judged, handling.quote);
    return filling;
  }
  Kind kind = Kind::kBlank;
  std::optional<Written> written = ReadWritten(m_dialect, filling.text, kind);
  // A name may be empty in quotes, and httpd takes a ">" off it: of that alone nothing is left.
  if (written && kind == m_kind && !written->words.front().empty()) {
    filling.written = std::make_shared<const Written>(std::move(*written));
  }
  filling.in_place = filling.written || std::any_of(texts->begin(), texts->end(),
                                                    [](const Text& text) { return text.raw; });
  if (!filling.in_place) filling.guilty = Guilty(judged, handling.quote);
  return filling;
}

std::optional<Beginning> AuthoredLine::BeginningWith(const Values& values,
                                                     const Handling& handling) const {
  const auto is_trailing = [](const Place& place) { return place.trailing; };
  if (std::none_of(m_places.begin(), m_places.end(), is_trailing)) return std::nullopt;
  Texts texts;
  for (const Place& place : m_places) {
    const auto value = place.trailing ? values.end() : values.find(place.name);
    if (place.trailing) {
      texts.push_back({std::string(1, kMark), true});
    } else if (place.is_value && value != values.end()) {
      texts.push_back({value->second, handling.raw.count(place.name) != 0});
    } else {
      return std::nullopt;
    }
  }
  const std::optional<Reading> reading = Read(m_dialect, Assemble(texts, handling.quote).text);
  if (!reading) return std::nullopt;
  Beginning beginning;
  for (const std::string& word : reading->written.words) {
    const std::size_t mark = word.find(kMark);
    if (mark != std::string::npos) {
      beginning.next = word.substr(0, mark);
      return beginning;
    }
    beginning.words.push_back(word);
  }
  return beginning;
}

}  // namespace tov_edit
