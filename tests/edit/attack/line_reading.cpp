// SPDX-License-Identifier: Apache-2.0

#include "edit/attack/line_reading.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "edit/config_tree.h"

namespace attack {
namespace {

using edit_judge::ReadTree;
using edit_judge::Tree;
using edit_judge::Word;

// What a segment became, as text.
struct Part {
  Segment segment;
  std::size_t begin = 0;
  std::size_t end = 0;
};

struct Text {
  std::string bytes;
  std::vector<Part> parts;
};

Text Assembled(const std::vector<Segment>& segments, const std::vector<std::string>& texts) {
  Text text;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const std::size_t begin = text.bytes.size();
    text.bytes += texts.at(i);
    text.parts.push_back({segments.at(i), begin, text.bytes.size()});
  }
  return text;
}

std::string Marker(std::size_t number) {
  return "Zq" + std::to_string(number) + "z";
}

// The texts of the segments: of a place its value, or a harmless word.
std::vector<std::string> TextsOf(const std::vector<Segment>& segments, const Texts* values) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const Segment& segment = segments.at(i);
    if (!segment.is_place) {
      texts.push_back(segment.text);
    } else {
      texts.push_back(values == nullptr ? Marker(i) : values->at(segment.text));
    }
  }
  return texts;
}

// The words of a text that is one directive, or one opening; "": it is, else why not. A directive
// behind it has to be what it is, so that nothing of it is swallowed.
std::string ReadAlone(Dialect dialect, const Line& line, const std::string& bytes,
                      std::vector<Word>& words) {
  const bool nginx = dialect == Dialect::kNginx;
  std::string text = bytes;
  if (line.kind == Line::Kind::kOpening) text += "\n" + line.closing;
  text += nginx ? "\nzprobe x;\n" : "\nzprobe x\n";
  const Tree tree = ReadTree(dialect, text);
  if (!tree.error.empty()) return tree.error;
  const std::size_t own = line.kind == Line::Kind::kComment ? 0 : 1;
  if (tree.nodes.size() != own + 2) return "it is not one directive";
  const auto& probe = tree.nodes.back();
  if (probe.words.size() != 2 || probe.words[0].value != "zprobe" || probe.words[1].value != "x" ||
      probe.parent != 0) {
    return "what follows reads otherwise";
  }
  if (own == 0) return "";
  if (tree.nodes.at(1).is_block != (line.kind == Line::Kind::kOpening)) return "no block, or one";
  words = tree.nodes.at(1).words;
  return "";
}

// Where in the text with values a word of the text with markers begins, and ends.
std::size_t MappedBegin(const Text& marked, const Text& filled, std::size_t at) {
  for (std::size_t i = 0; i < marked.parts.size(); ++i) {
    const Part& part = marked.parts.at(i);
    if (at >= part.begin && at < part.end) return filled.parts.at(i).begin + (at - part.begin);
  }
  return filled.bytes.size();
}

std::size_t MappedEnd(const Text& marked, const Text& filled, std::size_t at) {
  for (std::size_t i = 0; i < marked.parts.size(); ++i) {
    const Part& part = marked.parts.at(i);
    if (at <= part.begin || at > part.end) continue;
    if (at == part.end) return filled.parts.at(i).end;
    return filled.parts.at(i).begin + (at - part.begin);
  }
  return 0;
}

// A word as its author wrote it.
struct AuthorWord {
  Word word;
  bool is_open = false;               // a trailing place stands in it, and no quotes do
  std::vector<std::size_t> places;    // the segments in it
  std::vector<std::string> literals;  // what the server makes of the text around the places
};

AuthorWord AuthorWordOf(const Text& marked, const Word& word) {
  AuthorWord author;
  author.word = word;
  const char first = marked.bytes.at(word.bytes.begin);
  const bool quoted = first == '"' || first == '\'';
  std::string rest = word.value;
  for (std::size_t i = 0; i < marked.parts.size(); ++i) {
    const Part& part = marked.parts.at(i);
    if (!part.segment.is_place || part.begin < word.bytes.begin || part.end > word.bytes.end) {
      continue;
    }
    author.places.push_back(i);
    if (part.segment.is_trailing && !quoted) author.is_open = true;
    const std::size_t at = rest.find(Marker(i));
    author.literals.push_back(rest.substr(0, at));
    rest = at == std::string::npos ? "" : rest.substr(at + Marker(i).size());
  }
  author.literals.push_back(rest);
  return author;
}

// Whether `value` is the author's literals with something between them.
bool HoldsLiterals(const std::vector<std::string>& literals, std::string_view value) {
  if (literals.size() == 1) return value == literals.front();
  const std::string& last = literals.back();
  std::size_t at = 0;
  for (std::size_t i = 0; i + 1 < literals.size(); ++i) {
    at = i == 0 ? (value.substr(0, literals.front().size()) == literals.front() ? 0
                                                                                : std::string::npos)
                : value.find(literals.at(i), at);
    if (at == std::string::npos) return false;
    at += literals.at(i).size();
  }
  return value.size() >= at + last.size() && value.substr(value.size() - last.size()) == last;
}

class Comparison {
 public:
  Comparison(const Text& marked, const Text& filled, const std::vector<Word>& words)
      : m_marked(marked), m_filled(filled), m_words(words) {}

  // "" when `author`'s word stands as the next one or, where it is open, as the next ones.
  std::string Next(const AuthorWord& author) {
    const std::size_t begin = MappedBegin(m_marked, m_filled, author.word.bytes.begin);
    const std::size_t end = MappedEnd(m_marked, m_filled, author.word.bytes.end);
    return author.is_open ? NextOpen(author, begin, end) : NextWhole(author, begin, end);
  }

  bool IsAtEnd() const { return m_next == m_words.size(); }

 private:
  std::string NextWhole(const AuthorWord& author, std::size_t begin, std::size_t end) {
    if (IsAtEnd()) return "a word is missing";
    const Word& word = m_words.at(m_next++);
    if (word.bytes.begin != begin || word.bytes.end != end) return "a word is another one";
    return HoldsLiterals(author.literals, word.value) ? "" : "the author's text means otherwise";
  }

  std::string NextOpen(const AuthorWord& author, std::size_t begin, std::size_t end) {
    std::vector<Word> taken;
    while (!IsAtEnd() && m_words.at(m_next).bytes.begin < end)
      taken.push_back(m_words.at(m_next++));
    if (!taken.empty() && (taken.front().bytes.begin < begin || taken.back().bytes.end > end)) {
      return "a word is another one";
    }
    for (const std::size_t place : author.places) {
      const Part& part = m_filled.parts.at(place);
      const auto holds = [&](const Word& word) {
        return word.bytes.begin <= part.begin && part.end <= word.bytes.end;
      };
      const bool is_free = part.segment.is_trailing || part.begin == part.end;
      if (!is_free && std::none_of(taken.begin(), taken.end(), holds)) {
        return "a full place is more than a word";
      }
    }
    const std::string& first = author.literals.front();
    const std::string& last = author.literals.back();
    if (first.empty() && last.empty()) return "";
    if (taken.empty()) return "a word is missing";
    const std::string& front = taken.front().value;
    const std::string& back = taken.back().value;
    if (!first.empty() && (taken.front().bytes.begin != begin || front.rfind(first, 0) != 0)) {
      return "the author's text before a place means otherwise";
    }
    if (!last.empty() && (taken.back().bytes.end != end || back.size() < last.size() ||
                          back.compare(back.size() - last.size(), last.size(), last) != 0)) {
      return "the author's text behind a place means otherwise";
    }
    return "";
  }

  const Text& m_marked;
  const Text& m_filled;
  const std::vector<Word>& m_words;
  std::size_t m_next = 0;
};

// The author's words, and the words before the first trailing place.
std::vector<AuthorWord> AuthorWords(Dialect dialect, const Line& line, const Text& marked,
                                    LineReading& reading) {
  std::vector<Word> words;
  reading.why = ReadAlone(dialect, line, marked.bytes, words);
  std::vector<AuthorWord> authors;
  if (!reading.why.empty()) {
    reading.why = "the template: " + reading.why;
    return authors;
  }
  for (const Word& word : words) authors.push_back(AuthorWordOf(marked, word));
  return authors;
}

bool HasTrailing(const std::vector<Segment>& segments) {
  return std::any_of(segments.begin(), segments.end(),
                     [](const Segment& segment) { return segment.is_trailing; });
}

// The words that stand whole before the line's first trailing place.
std::size_t WordsBeforeTrailing(const std::vector<AuthorWord>& authors, const Text& marked) {
  for (std::size_t i = 0; i < authors.size(); ++i) {
    for (const std::size_t place : authors.at(i).places) {
      if (marked.parts.at(place).segment.is_trailing) return i;
    }
  }
  return authors.size();
}

// Reads the line with these texts in the place of its segments, as it is.
LineReading ReadAsItIs(Dialect dialect, const Line& line, const std::vector<Segment>& segments,
                       const std::vector<std::string>& texts) {
  LineReading reading;
  const Text marked = Assembled(segments, TextsOf(segments, nullptr));
  const Text filled = Assembled(segments, texts);
  reading.has_trailing = HasTrailing(segments);
  const std::vector<AuthorWord> authors = AuthorWords(dialect, line, marked, reading);
  if (!reading.why.empty()) return reading;
  if (filled.bytes.find('\0') != std::string::npos) {
    reading.why = "a NUL byte";
    return reading;
  }
  std::vector<Word> words;
  reading.why = ReadAlone(dialect, line, filled.bytes, words);
  Comparison comparison(marked, filled, words);
  for (const AuthorWord& author : authors) {
    if (reading.why.empty()) reading.why = comparison.Next(author);
  }
  if (reading.why.empty() && !comparison.IsAtEnd()) reading.why = "there are more words";
  if (!reading.why.empty()) return reading;
  reading.in_place = true;
  for (const Word& word : words) reading.words.push_back(word.value);
  const std::size_t before = std::min(WordsBeforeTrailing(authors, marked), words.size());
  reading.beginning.assign(reading.words.begin(),
                           reading.words.begin() + static_cast<std::ptrdiff_t>(before));
  return reading;
}

// The same; and none of the texts may reach into a trailing place that is empty now.
LineReading ReadFilled(Dialect dialect, const Line& line, const std::vector<Segment>& segments,
                       const std::vector<std::string>& texts) {
  LineReading reading = ReadAsItIs(dialect, line, segments, texts);
  if (!reading.in_place || line.kind == Line::Kind::kComment) return reading;
  std::vector<std::string> others = texts;
  const Text marked = Assembled(segments, TextsOf(segments, nullptr));
  LineReading ignored;
  for (const AuthorWord& author : AuthorWords(dialect, line, marked, ignored)) {
    for (const std::size_t place : author.places) {
      const bool is_blank = texts.at(place).find_first_not_of(" \t\r\n\v\f") == std::string::npos;
      if (author.is_open && is_blank) others.at(place) = Marker(place);
    }
  }
  if (others == texts || ReadAsItIs(dialect, line, segments, others).in_place) return reading;
  reading.in_place = false;
  reading.why = "a value reaches into an empty place";
  return reading;
}

// `word` with the values in the place of the markers.
std::string WithValues(const std::string& word, const std::vector<Segment>& segments,
                       const Texts& values) {
  std::string with;
  std::size_t at = 0;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const std::size_t marker = word.find(Marker(i), at);
    if (!segments.at(i).is_place || marker == std::string::npos) continue;
    with += word.substr(at, marker - at) + values.at(segments.at(i).text);
    at = marker + Marker(i).size();
  }
  return with + word.substr(at);
}

}  // namespace

std::vector<Segment> SegmentsOf(const std::string& line) {
  std::vector<Segment> segments;
  std::size_t at = 0;
  while (at < line.size()) {
    const std::size_t full = line.find("{%", at);
    const std::size_t trailing = line.find("[%", at);
    const std::size_t begin = std::min(full, trailing);
    if (begin == std::string::npos) break;
    const bool is_trailing = begin == trailing;
    const std::size_t end = line.find(is_trailing ? "%]" : "%}", begin);
    if (begin > at) segments.push_back({false, false, line.substr(at, begin - at)});
    std::string name = line.substr(begin + 2, end - begin - 2);
    name.erase(
        std::remove_if(name.begin(), name.end(), [](char c) { return c == ' ' || c == '$'; }),
        name.end());
    segments.push_back({true, is_trailing, name});
    at = end + 2;
  }
  if (at < line.size()) segments.push_back({false, false, line.substr(at)});
  return segments;
}

bool IsComplete(const std::string& line, const Texts& values) {
  const std::vector<Segment> segments = SegmentsOf(line);
  return std::all_of(segments.begin(), segments.end(), [&](const Segment& segment) {
    return !segment.is_place || values.count(segment.text) != 0;
  });
}

std::string Filled(const std::string& line, const Texts& values) {
  const std::vector<Segment> segments = SegmentsOf(line);
  return Assembled(segments, TextsOf(segments, &values)).bytes;
}

LineReading ReadLine(Dialect dialect, const Line& line, const Texts& values) {
  const std::vector<Segment> segments = SegmentsOf(line.text);
  return ReadFilled(dialect, line, segments, TextsOf(segments, &values));
}

LineReading ReadQuotedLine(Dialect dialect, const Line& line, const Texts& values) {
  if (line.kind == Line::Kind::kComment) return ReadLine(dialect, line, values);
  const std::vector<Segment> segments = SegmentsOf(line.text);
  std::vector<std::string> texts = TextsOf(segments, nullptr);
  const Text marked = Assembled(segments, texts);
  LineReading reading;
  for (const AuthorWord& author : AuthorWords(dialect, line, marked, reading)) {
    for (const std::size_t place : author.places) {
      if (author.is_open) texts.at(place) = values.at(segments.at(place).text);
    }
  }
  reading = ReadFilled(dialect, line, segments, texts);
  for (std::vector<std::string>* const words : {&reading.words, &reading.beginning}) {
    for (std::string& word : *words) word = WithValues(word, segments, values);
  }
  return reading;
}

}  // namespace attack
