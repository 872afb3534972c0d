// SPDX-License-Identifier: Apache-2.0

#include "expectation.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace alike {

namespace {

// Stands for something between any blanks that has been taken out of a text.
constexpr char kGap = '\x01';
// Stands for words whose spelling is open.
constexpr char kAnyWords[] = "\x02";

struct Cut {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::string instead;
};

using Choice = std::vector<Cut>;  // any of them

bool IsLineBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}
bool IsBlank(char c) {
  return IsLineBlank(c) || c == '\n';
}

std::size_t LineBegin(std::string_view text, std::size_t at) {
  const std::size_t end = at == 0 ? std::string_view::npos : text.rfind('\n', at - 1);
  return end == std::string_view::npos ? 0 : end + 1;
}

// Behind the line end.
std::size_t LineEnd(std::string_view text, std::size_t at) {
  const std::size_t end = text.find('\n', at);
  return end == std::string_view::npos ? text.size() : end + 1;
}

bool IsBlankText(std::string_view text) {
  return std::all_of(text.begin(), text.end(), IsBlank);
}

std::string_view Between(std::string_view text, std::size_t begin, std::size_t end) {
  return text.substr(begin, end - begin);
}

// The lines of a node that has them to itself. Nothing when it shares them.
std::optional<Span> OwnLines(std::string_view text, std::size_t begin, std::size_t end) {
  const Span lines{LineBegin(text, begin), end == text.size() ? end : LineEnd(text, end)};
  if (!IsBlankText(Between(text, lines.begin, begin))) return std::nullopt;
  if (!IsBlankText(Between(text, end, lines.end))) return std::nullopt;
  return lines;
}

bool HasBlankLineBefore(std::string_view text, std::size_t line) {
  return line > 0 && IsBlankText(Between(text, LineBegin(text, line - 1), line));
}

bool HasBlankLineAt(std::string_view text, std::size_t line) {
  return line < text.size() && IsBlankText(Between(text, line, LineEnd(text, line)));
}

bool ClosesAt(std::string_view text, std::size_t line) {
  while (line < text.size() && IsBlank(text.at(line))) ++line;
  return line == text.size() || text.at(line) == '}' || text.substr(line, 2) == "</";
}

// Whether the line before is the begin of a block, or there is none. A line that a backslash
// continues begins where the first of them does.
bool OpensBefore(std::string_view text, std::size_t line) {
  if (line == 0) return true;
  std::size_t before = LineBegin(text, line - 1);
  const auto is_continued = [&](std::size_t begin) {
    std::size_t at = begin - 1;
    while (at > 0 && IsBlank(text.at(at))) --at;
    return text.at(at) == '\\';
  };
  std::size_t end = line;
  while (end > before && IsBlank(text.at(end - 1))) --end;
  if (end == before) return false;
  while (before > 0 && is_continued(before)) before = LineBegin(text, before - 1);
  std::size_t begin = before;
  while (IsLineBlank(text.at(begin))) ++begin;
  const bool section = text.at(begin) == '<' && text.at(begin + 1) != '/';
  return section || text.at(end - 1) == '{';
}

// The name of the block that opens at, or behind, `at`.
std::string_view NameAt(std::string_view text, std::size_t at) {
  at = std::min(text.find_first_not_of(" \t<\"'", at), text.size());
  return text.substr(at, text.find_first_of(" \t\r\n<>{};\"'", at) - at);
}

// A removed node goes with its lines, and a block with the blank line before it that would be left
// behind. Where it is the first in its block, whether the blank line behind it goes is open; so it
// is of the one before it, where something else follows than another one of its name. Whether a
// comment behind a directive goes with it is open.
Choice RemovalCuts(std::string_view text, const Placed& placed, bool is_block) {
  if (const auto lines = OwnLines(text, placed.begin, placed.end)) {
    Cut cut{lines->begin, lines->end, ""};
    if (!is_block) return {cut};
    const bool leaves = HasBlankLineAt(text, cut.end) || ClosesAt(text, cut.end);
    if (HasBlankLineBefore(text, cut.begin) && leaves) {
      cut.begin = LineBegin(text, cut.begin - 1);
    } else if (OpensBefore(text, cut.begin) && HasBlankLineAt(text, cut.end)) {
      return {cut, {cut.begin, LineEnd(text, cut.end), ""}};
    } else if (HasBlankLineBefore(text, cut.begin) &&
               !EqualIgnoringCase(NameAt(text, cut.end), NameAt(text, placed.begin))) {
      return {cut, {LineBegin(text, cut.begin - 1), cut.end, ""}};
    }
    return {cut};
  }
  Choice choice;
  const std::size_t line_begin = LineBegin(text, placed.begin);
  std::size_t behind = placed.end;
  while (behind < text.size() && IsLineBlank(text.at(behind))) ++behind;
  const bool commented = behind < text.size() && text.at(behind) == '#';
  if (commented && IsBlankText(Between(text, line_begin, placed.begin))) {
    choice.push_back({line_begin, LineEnd(text, behind), ""});
  }
  choice.push_back({placed.begin, placed.end, std::string(1, kGap)});
  return choice;
}

Choice InsertionCuts(std::string_view text, const ReadNode& read, bool crowded) {
  if (crowded) return {{read.begin, read.end, std::string(1, kGap)}};
  const auto lines = OwnLines(text, read.begin, read.end);
  if (!lines) {
    std::size_t begin = read.begin;
    while (begin > 0 && IsLineBlank(text.at(begin - 1))) --begin;
    return {{begin, read.end, ""}};
  }
  Choice choice = {{lines->begin, lines->end, ""}};
  if (read.is_block && HasBlankLineBefore(text, lines->begin)) {
    choice.push_back({LineBegin(text, lines->begin - 1), lines->end, ""});
  }
  if (read.is_block && HasBlankLineAt(text, lines->end)) {
    choice.push_back({lines->begin, LineEnd(text, lines->end), ""});
  }
  return choice;
}

std::string WithCuts(std::string_view text, std::vector<Cut> cuts) {
  std::sort(cuts.begin(), cuts.end(), [](const Cut& a, const Cut& b) { return a.begin < b.begin; });
  std::string result;
  std::size_t at = 0;
  for (const Cut& cut : cuts) {
    if (cut.begin > at) result += Between(text, at, cut.begin);
    result += cut.instead;
    at = std::max(at, cut.end);
  }
  result += text.substr(at);
  return result;
}

// Blanks around a gap are part of it.
std::string Normal(const std::string& text) {
  std::string normal;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = at;
    bool gap = false;
    for (; end < text.size() && (IsBlank(text.at(end)) || text.at(end) == kGap); ++end) {
      gap = gap || text.at(end) == kGap;
    }
    if (gap) {
      normal += kGap;
    } else {
      end = std::max(end, at + 1);
      normal.append(text, at, end - at);
    }
    at = end;
  }
  return normal;
}

void SkipGap(const std::string& text, std::size_t& at) {
  while (at < text.size() && (IsBlank(text.at(at)) || text.at(at) == kGap)) ++at;
}

bool EqualButForGaps(const std::string& a, const std::string& b) {
  const std::string x = Normal(a);
  const std::string y = Normal(b);
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < x.size() || j < y.size()) {
    const bool gap = (i < x.size() && x.at(i) == kGap) || (j < y.size() && y.at(j) == kGap);
    if (gap) {
      SkipGap(x, i);
      SkipGap(y, j);
    } else {
      if (i == x.size() || j == y.size() || x.at(i) != y.at(j)) return false;
      ++i;
      ++j;
    }
  }
  return true;
}

std::string WithoutFinalLineEnds(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

class Comparison {
 public:
  Comparison(const Source& source, const Outcome& outcome, const std::string& result)
      : m_source(source), m_before(source.rendered.text), m_outcome(outcome), m_result(result) {}

  std::string Difference() {
    const auto read = PlainRead(m_source.dialect, m_result);
    if (!read) return "the result cannot be read";
    if (std::string wrong = CompareChildren(m_outcome.root, *read); !wrong.empty()) return wrong;
    if (!BytesAreKept()) return "bytes beside the edit have changed";
    if (std::string wrong = WrongLineEnds(); !wrong.empty()) return wrong;
    return m_wrong_layout;
  }

 private:
  static std::string Joined(const Words& words) {
    std::string joined;
    for (const std::string& word : words) joined += "[" + word + "]";
    return joined;
  }

  bool SameWords(const Node& node, const Words& words) const {
    if (node.words.size() != words.size()) return false;
    for (std::size_t i = 0; i < words.size(); ++i) {
      const std::string& word = node.words.at(i);
      const bool same = i == 0              ? IsSameName(m_source.dialect, word, words.at(i))
                        : node.address == i ? NormalAddress(m_source.dialect, word) ==
                                                  NormalAddress(m_source.dialect, words.at(i))
                                            : word == words.at(i);
      if (!same) return false;
    }
    return true;
  }

  std::string CompareChildren(const Node& node, const std::vector<ReadNode>& reads) {
    std::size_t next = 0;
    for (std::size_t i = 0; i < node.children.size(); ++i) {
      const Node& child = node.children.at(i);
      if (child.removed) {
        m_before_cuts.push_back(
            RemovalCuts(m_before, m_source.rendered.placed.at(child.id), child.IsBlock()));
      }
      if (child.removed || child.IsComment()) continue;
      if (next == reads.size()) return "missing: " + Joined(child.words);
      const ReadNode& read = reads.at(next++);
      if (child.IsBlock() != read.is_block || !SameWords(child, read.words)) {
        return "expected " + Joined(child.words) + ", found " + Joined(read.words);
      }
      if (!child.is_new) NoteKept(child, read);
      if (child.is_new && !node.is_new) NoteNew(node, i, reads, read);
      if (std::string wrong = CompareChildren(child, read.children); !wrong.empty()) return wrong;
    }
    return next == reads.size() ? "" : "too much: " + Joined(reads.at(next).words);
  }

  void NoteKept(const Node& node, const ReadNode& read) {
    const Placed& placed = m_source.rendered.placed.at(node.id);
    const auto any = [&](std::size_t first, std::size_t last_before, std::size_t last_after) {
      m_before_cuts.push_back(
          {{placed.spelled.at(first).begin, placed.spelled.at(last_before).end, kAnyWords}});
      m_result_cuts.push_back(
          {{read.spans.at(first).begin, read.spans.at(last_after).end, kAnyWords}});
    };
    if (node.tail) any(*node.tail, placed.spelled.size() - 1, read.spans.size() - 1);
    if (node.address) any(*node.address, *node.address, *node.address);
    for (const std::size_t i : node.replaced) {
      const Span& inner = placed.inner.at(i);
      if (NeedsQuotes(node.words.at(i)) && inner.begin == placed.spelled.at(i).begin) {
        any(i, i, i);
      } else {
        m_before_cuts.push_back({{inner.begin, inner.end, node.words.at(i)}});
      }
    }
  }

  // What stands around a new child in the text before: from its neighbour or its block's begin.
  Span GapFor(const Node& parent, std::size_t index) const {
    const auto& placed = m_source.rendered.placed;
    const bool is_root = parent.id == 0;
    Span gap{is_root ? 0 : placed.at(parent.id).body_begin,
             is_root ? m_before.size() : placed.at(parent.id).body_end};
    for (std::size_t i = 0; i < parent.children.size(); ++i) {
      const Node& child = parent.children.at(i);
      if (child.is_new || child.IsComment()) continue;
      if (i < index) gap.begin = placed.at(child.id).end;
      if (i > index) {
        gap.end = placed.at(child.id).begin;
        break;
      }
    }
    return gap;
  }

  bool IsCrowded(const Span& gap) const {
    const bool at_an_end = gap.begin == 0 || gap.end == m_before.size();
    return !at_an_end && Between(m_before, gap.begin, gap.end).find('\n') == std::string_view::npos;
  }

  bool IsRegular() const {
    return m_source.layout.style == Style::kPlain || m_source.layout.style == Style::kBraces;
  }

  void NoteNew(const Node& parent, std::size_t index, const std::vector<ReadNode>& reads,
               const ReadNode& read) {
    const bool crowded = IsCrowded(GapFor(parent, index));
    m_result_cuts.push_back(InsertionCuts(m_result, read, crowded));
    m_has_new = true;
    if (crowded || !IsRegular()) return;
    const Node& node = parent.children.at(index);
    CheckIndentation(reads, read);
    if (node.IsBlock()) CheckBlankLine(parent, node, read);
    if (!node.above_comments) return;
    std::size_t behind = EndOfNewOnes(parent, index, reads, read);
    while (behind < m_result.size() && IsBlank(m_result.at(behind))) ++behind;
    if (m_result.compare(behind, 1, "#") != 0) {
      m_wrong_layout = "a comment stands above what is new, and not above its block any more";
    }
  }

  // Where the last of the new nodes ends that begin with this one.
  static std::size_t EndOfNewOnes(const Node& parent, std::size_t index,
                                  const std::vector<ReadNode>& reads, const ReadNode& read) {
    const ReadNode* last = &read;
    while (last != &reads.back() && parent.children.at(++index).is_new) ++last;
    return last->end;
  }

  // As that of the nodes beside it.
  void CheckIndentation(const std::vector<ReadNode>& reads, const ReadNode& read) {
    const auto indentation = [&](const ReadNode& node) {
      return std::string(Between(m_result, LineBegin(m_result, node.begin), node.begin));
    };
    for (const ReadNode& other : reads) {
      if (other.begin == read.begin) continue;
      if (indentation(other) != indentation(read)) {
        m_wrong_layout = "the indentation of what is new is not that of its neighbours";
      }
      return;
    }
  }

  // A blank line before a new block where all blocks of its kind have one, none where none has.
  void CheckBlankLine(const Node& parent, const Node& node, const ReadNode& read) {
    std::size_t with = 0;
    std::size_t without = 0;
    for (const Node& other : parent.children) {
      const bool counts = other.IsBlock() && !other.is_new && !other.removed &&
                          IsSameName(m_source.dialect, other.words.at(0), node.words.at(0));
      if (!counts) continue;
      const std::size_t line = LineBegin(m_before, m_source.rendered.placed.at(other.id).begin);
      if (line == 0 || HasBlankLineBefore(m_before, line)) {
        with += line == 0 ? 0U : 1U;
      } else {
        ++without;  // first in its block, or behind a comment
      }
    }
    const bool has = HasBlankLineBefore(m_result, LineBegin(m_result, read.begin));
    if (with > 0 && without == 0 && !has) m_wrong_layout = "no blank line before the new block";
  }

  // Whether the texts are equal without what has changed, for one choice of cuts at least.
  bool BytesAreKept() const {
    const std::vector<std::string> befores = AllCut(m_before, m_before_cuts);
    const std::vector<std::string> results = AllCut(m_result, m_result_cuts);
    const bool changes_lines = m_has_new || !m_before_cuts.empty();
    for (const std::string& before : befores) {
      for (const std::string& result : results) {
        if (before == result) return true;
        if (!changes_lines) continue;
        if (EqualButForGaps(WithoutFinalLineEnds(before), WithoutFinalLineEnds(result))) {
          return true;
        }
      }
    }
    return false;
  }

  static std::vector<std::string> AllCut(const std::string& text,
                                         const std::vector<Choice>& choices) {
    std::vector<std::vector<Cut>> ways = {{}};
    for (const Choice& choice : choices) {
      const std::size_t count = ways.size();
      const std::size_t used = count > 32 ? 1 : choice.size();
      for (std::size_t i = 1; i < used; ++i) {
        for (std::size_t way = 0; way < count; ++way) {
          ways.push_back(ways.at(way));
          ways.back().push_back(choice.at(i));
        }
      }
      for (std::size_t way = 0; way < count; ++way) ways.at(way).push_back(choice.front());
    }
    std::vector<std::string> texts;
    texts.reserve(ways.size());
    for (const std::vector<Cut>& cuts : ways) texts.push_back(WithCuts(text, cuts));
    return texts;
  }

  std::string WrongLineEnds() const {
    const bool crlf = m_before.find("\r\n") != std::string::npos;
    if (m_before.find('\n') == std::string::npos) return "";
    for (std::size_t at = 0; at < m_result.size(); ++at) {
      if (m_result.at(at) == '\r' && !crlf) return "a carriage return is new";
      const bool bare = m_result.at(at) == '\n' && (at == 0 || m_result.at(at - 1) != '\r');
      if (bare && crlf) return "a line of a CRLF text ends in LF";
    }
    const bool lost =
        !m_result.empty() && m_source.layout.final_line_end && m_result.back() != '\n';
    return lost ? "the final line end is lost" : "";
  }

  const Source& m_source;
  const std::string& m_before;
  const Outcome& m_outcome;
  const std::string& m_result;
  std::vector<Choice> m_before_cuts;
  std::vector<Choice> m_result_cuts;
  bool m_has_new = false;
  std::string m_wrong_layout;
};

// Makes the example.
class Writer {
 public:
  Writer(const Source& source, const Outcome& outcome)
      : m_source(source), m_text(source.rendered.text) {
    Visit(outcome.root);
  }

  std::string Text() {
    std::stable_sort(m_cuts.begin(), m_cuts.end(),
                     [](const Cut& a, const Cut& b) { return a.begin < b.begin; });
    return WithCuts(m_text, m_cuts);
  }

 private:
  bool IsNginx() const { return m_source.dialect == Dialect::kNginx; }
  std::string LineEndText() const { return m_source.layout.crlf ? "\r\n" : "\n"; }

  static std::string Spelled(const Words& words, std::size_t from) {
    std::string text;
    for (std::size_t i = from; i < words.size(); ++i) {
      text +=
          (i > from ? " " : "") + (NeedsQuotes(words.at(i)) ? Quoted(words.at(i)) : words.at(i));
    }
    return text;
  }

  void Visit(const Node& node) {
    for (std::size_t i = 0; i < node.children.size(); ++i) {
      const Node& child = node.children.at(i);
      if (child.IsComment()) continue;
      if (child.is_new) {
        Insert(node, i);
        continue;
      }
      const Placed& placed = m_source.rendered.placed.at(child.id);
      if (child.removed) {
        m_cuts.push_back(RemovalCuts(m_text, placed, child.IsBlock()).front());
        m_cuts.back().instead.clear();
        continue;
      }
      if (child.tail) {
        m_cuts.push_back({placed.spelled.at(*child.tail).begin, placed.spelled.back().end,
                          Spelled(child.words, *child.tail)});
      }
      if (child.address) ChangeWord(placed, *child.address, child.words);
      for (const std::size_t word : child.replaced) ChangeWord(placed, word, child.words);
      Visit(child);
    }
  }

  void ChangeWord(const Placed& placed, std::size_t index, const Words& words) {
    const Span& inner = placed.inner.at(index);
    const bool bare = inner.begin == placed.spelled.at(index).begin;
    const std::string& word = words.at(index);
    m_cuts.push_back({inner.begin, inner.end, bare && NeedsQuotes(word) ? Quoted(word) : word});
  }

  std::string Indentation(const Node& parent) const {
    for (const Node& child : parent.children) {
      if (child.is_new || child.IsComment()) continue;
      const std::size_t begin = m_source.rendered.placed.at(child.id).begin;
      const std::size_t line = LineBegin(m_text, begin);
      if (IsBlankText(Between(m_text, line, begin))) return m_text.substr(line, begin - line);
    }
    return "  ";
  }

  std::string Lines(const Node& node, const std::string& indentation) const {
    const std::string end = LineEndText();
    const std::string words = Spelled(node.words, 0);
    if (!node.IsBlock()) return indentation + words + (IsNginx() ? ";" : "") + end;
    std::string text = indentation + (IsNginx() ? words + " {" : "<" + words + ">") + end;
    for (const Node& child : node.children) text += Lines(child, indentation + "  ");
    return text + indentation + (IsNginx() ? "}" : "</" + node.words.at(0) + ">") + end;
  }

  void Insert(const Node& parent, std::size_t index) {
    std::size_t at = parent.id == 0 ? 0 : m_source.rendered.placed.at(parent.id).body_begin;
    for (std::size_t i = 0; i < index; ++i) {
      const Node& child = parent.children.at(i);
      if (!child.is_new && !child.IsComment()) at = m_source.rendered.placed.at(child.id).end;
    }
    const Node& node = parent.children.at(index);
    std::string lines = Lines(node, Indentation(parent));
    if (node.IsBlock() && at != 0) lines.insert(0, LineEndText());
    std::size_t behind = at;
    while (behind < m_text.size() && IsLineBlank(m_text.at(behind))) ++behind;
    const bool comment = behind < m_text.size() && m_text.at(behind) == '#';
    if (at == 0) {
      m_cuts.push_back({0, 0, lines});
    } else if (behind == m_text.size()) {
      m_cuts.push_back({behind, behind, LineEndText() + lines});
    } else if (comment || m_text.at(behind) == '\n') {
      behind = LineEnd(m_text, behind);
      m_cuts.push_back({behind, behind, lines});
    } else {
      m_cuts.push_back({at, at, LineEndText() + lines});
    }
  }

  const Source& m_source;
  const std::string& m_text;
  std::vector<Cut> m_cuts;
};

}  // namespace

std::string Difference(const Source& source, const Outcome& outcome, const std::string& result) {
  return Comparison(source, outcome, result).Difference();
}

std::string Example(const Source& source, const Outcome& outcome) {
  return Writer(source, outcome).Text();
}

}  // namespace alike
