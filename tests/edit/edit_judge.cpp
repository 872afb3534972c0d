// SPDX-License-Identifier: Apache-2.0

#include "edit/edit_judge.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace edit_judge {
namespace {

using Nodes = std::vector<std::size_t>;

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

bool AreBlanks(std::string_view text) {
  return std::all_of(text.begin(), text.end(), IsBlank);
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (char c : text.substr(0, 200)) {
    quoted += c == '\n' ? "\\n" : c == '\r' ? "\\r" : c == '\t' ? "\\t" : std::string(1, c);
  }
  return quoted + (text.size() > 200 ? "...\"" : "\"");
}

// The places of line ends and the text between them.
class Lines {
 public:
  explicit Lines(std::string_view text) : m_text(text) {}

  std::size_t BeginOf(std::size_t at) const {
    const std::size_t end = at == 0 ? std::string_view::npos : m_text.rfind('\n', at - 1);
    return end == std::string_view::npos ? 0 : end + 1;
  }
  // Where the next line begins.
  std::size_t Behind(std::size_t at) const {
    const std::size_t end = m_text.find('\n', at);
    return end == std::string_view::npos ? m_text.size() : end + 1;
  }
  // Without its line end, and the blanks around it.
  std::string_view Line(std::size_t begin) const {
    std::string_view line = m_text.substr(begin, Behind(begin) - begin);
    if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
    while (!line.empty() && IsBlank(line.back())) line.remove_suffix(1);
    while (!line.empty() && IsBlank(line.front())) line.remove_prefix(1);
    return line;
  }
  bool StartsItsLine(std::size_t at) const {
    return AreBlanks(m_text.substr(BeginOf(at), at - BeginOf(at)));
  }
  // A comment does not count.
  bool EndsItsLine(std::size_t at) const {
    std::string_view rest = m_text.substr(at, Behind(at) - at);
    rest = rest.substr(0, rest.find('#'));
    if (!rest.empty() && rest.back() == '\n') rest.remove_suffix(1);
    return AreBlanks(rest);
  }
  std::string_view IndentationAt(std::size_t at) const {
    return m_text.substr(BeginOf(at), at - BeginOf(at));
  }

 private:
  std::string_view m_text;
};

class Judge {
 public:
  Judge(Dialect dialect, std::string_view before, const Tree& tree, const Change& change,
        std::string_view after)
      : m_dialect(dialect),
        m_before(before),
        m_after(after),
        m_tree(tree),
        m_change(change),
        m_lines(before) {}

  std::string WhatIsWrong();

 private:
  std::string WrongInTree() const;
  std::string WrongInWords() const;
  std::string WrongInNew() const;
  std::string WrongInRemoval() const;
  std::string WrongInRemovedLines(const Node& block) const;
  std::string WrongInRemovedBytes(const Node& block) const;
  std::string Without(Bytes bytes) const;

  Outline Expected() const;
  void AddTo(Outline& outline) const;
  std::size_t PlaceOfNew() const;
  std::size_t PlaceOfNewDirective(const Nodes& inside, bool& has_like) const;
  std::size_t PlaceOfNewBlock(const Nodes& inside) const;
  std::size_t BehindPreceding(const Nodes& inside, std::size_t place) const;

  std::string WrongInInserted(const std::vector<std::size_t>& places) const;
  std::string WrongInLayout(std::string_view inserted) const;  // of whole lines
  std::string WrongInBlankLines(std::size_t blank_lines) const;
  std::optional<std::vector<std::size_t>> LinesForNew() const;
  std::vector<bool> BlankLinesBeforeSiblings() const;
  std::size_t AboveComments(std::size_t line_begin) const;

  const Node& At(std::size_t node) const { return m_tree.nodes.at(node); }
  bool IsLike(std::size_t node) const {
    const bool is_block = m_change.what == Change::What::kNewBlock;
    return At(node).is_block == is_block &&
           IsCalled(m_dialect, At(node), m_change.added.front().words.front());
  }

  const Dialect m_dialect;
  const std::string_view m_before;
  const std::string_view m_after;
  const Tree& m_tree;
  const Change& m_change;
  const Lines m_lines;
};

std::string Judge::WhatIsWrong() {
  std::string wrong = WrongInTree();
  if (!wrong.empty()) return wrong;
  switch (m_change.what) {
    case Change::What::kWords:
      return WrongInWords();
    case Change::What::kNewDirective:
    case Change::What::kNewBlock:
      return WrongInNew();
    case Change::What::kRemoval:
      return WrongInRemoval();
  }
  return "no such change";
}

// The trees.

std::string Judge::WrongInTree() const {
  const Tree tree = ReadTree(m_dialect, m_after);
  if (!tree.error.empty()) return tree.error;
  const Outline expected = Expected();
  const Outline actual = OutlineOf(tree);
  const auto [wanted, found] =
      std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
  if (wanted == expected.end() && found == actual.end()) return "";
  std::string wrong = wanted == expected.end() ? "expected the end" : "expected " + Show(*wanted);
  if (found == actual.end()) return wrong + ", found the end";
  const auto node = static_cast<std::size_t>(found - actual.begin()) + 1;
  return wrong + ", found " + Show(*found) + " in line " +
         std::to_string(LineNumber(m_after, tree.nodes.at(node).head.begin));
}

Outline Judge::Expected() const {
  Outline outline = OutlineOf(m_tree);
  // The outline has no line for the file.
  const auto line = outline.begin() + static_cast<std::ptrdiff_t>(m_change.node - 1);
  switch (m_change.what) {
    case Change::What::kWords: {
      const auto first = line->words.begin() + static_cast<std::ptrdiff_t>(m_change.first_word);
      const auto behind = first + static_cast<std::ptrdiff_t>(m_change.word_count);
      const auto at = line->words.erase(first, behind);
      line->words.insert(at, m_change.words.begin(), m_change.words.end());
      break;
    }
    case Change::What::kNewDirective:
    case Change::What::kNewBlock:
      AddTo(outline);
      break;
    case Change::What::kRemoval: {
      const std::size_t count = At(m_change.node).behind - m_change.node;
      outline.erase(line, line + static_cast<std::ptrdiff_t>(count));
      break;
    }
  }
  return outline;
}

void Judge::AddTo(Outline& outline) const {
  const Nodes inside = Inside(m_tree, m_change.node);
  const std::size_t place = PlaceOfNew();
  const std::size_t next = place < inside.size() ? inside.at(place) : At(m_change.node).behind;
  const std::size_t depth = outline.at(m_change.node - 1).depth + 1;
  Outline added = m_change.added;
  for (OutlineLine& line : added) line.depth += depth;
  outline.insert(outline.begin() + static_cast<std::ptrdiff_t>(next - 1), added.begin(),
                 added.end());
}

// Before which of the nodes inside the block what is new has to stand.
std::size_t Judge::PlaceOfNew() const {
  const Nodes inside = Inside(m_tree, m_change.node);
  if (m_change.what == Change::What::kNewBlock) return PlaceOfNewBlock(inside);
  bool has_like = false;
  const std::size_t place = PlaceOfNewDirective(inside, has_like);
  return has_like ? place : BehindPreceding(inside, place);
}

// Behind the last of its name; else behind the plain directives before the first block.
std::size_t Judge::PlaceOfNewDirective(const Nodes& inside, bool& has_like) const {
  const auto last =
      std::find_if(inside.rbegin(), inside.rend(), [&](std::size_t node) { return IsLike(node); });
  has_like = last != inside.rend();
  if (has_like) return static_cast<std::size_t>(inside.rend() - last);
  const auto block = std::find_if(inside.begin(), inside.end(),
                                  [&](std::size_t node) { return At(node).is_block; });
  return static_cast<std::size_t>(block - inside.begin());
}

std::size_t Judge::PlaceOfNewBlock(const Nodes& inside) const {
  const auto last =
      std::find_if(inside.rbegin(), inside.rend(), [&](std::size_t node) { return IsLike(node); });
  return last == inside.rend() ? inside.size() : static_cast<std::size_t>(inside.rend() - last);
}

std::size_t Judge::BehindPreceding(const Nodes& inside, std::size_t place) const {
  for (std::size_t i = place; i < inside.size(); ++i) {
    const Nodes& preceding = m_change.preceding;
    if (std::find(preceding.begin(), preceding.end(), inside.at(i)) != preceding.end()) {
      place = i + 1;
    }
  }
  return place;
}

// The bytes.

std::string Judge::WrongInWords() const {
  const std::vector<Word>& words = At(m_change.node).words;
  const std::size_t first = m_change.first_word;
  Bytes changed;
  if (m_change.word_count > 0) {
    changed.begin = words.at(first).bytes.begin;
    changed.end = words.at(first + m_change.word_count - 1).bytes.end;
  } else {
    changed.begin = changed.end = words.at(first - 1).bytes.end;
  }
  const std::string_view left = m_before.substr(0, changed.begin);
  const std::string_view right = m_before.substr(changed.end);
  if (m_after.size() < left.size() + right.size()) return "other bytes than the words are gone";
  if (m_after.substr(0, left.size()) != left) return "bytes before the words differ";
  if (m_after.substr(m_after.size() - right.size()) != right)
    return "bytes behind the words differ";
  return "";
}

std::string Judge::WrongInNew() const {
  if (m_after.size() < m_before.size()) return "bytes are gone";
  const std::optional<std::vector<std::size_t>> lines = LinesForNew();
  if (lines) return WrongInInserted(*lines);
  // In a line with others it may stand anywhere that the tree allows.
  const auto left = static_cast<std::size_t>(
      std::mismatch(m_before.begin(), m_before.end(), m_after.begin()).first - m_before.begin());
  const std::size_t added = m_after.size() - m_before.size();
  for (std::size_t at = 0; at <= left; ++at) {
    if (m_after.substr(at + added) == m_before.substr(at)) return "";
  }
  return "other bytes than the new ones differ";
}

// The beginnings of those lines before which it may stand; nothing where it has to share a line.
std::optional<std::vector<std::size_t>> Judge::LinesForNew() const {
  const Nodes inside = Inside(m_tree, m_change.node);
  const std::size_t place = PlaceOfNew();
  const Node& block = At(m_change.node);
  const std::size_t before = place > 0 ? At(inside.at(place - 1)).End() : block.head.end;
  const std::size_t behind =
      place < inside.size() ? At(inside.at(place)).head.begin : block.closing.begin;
  if (!m_lines.EndsItsLine(before) || !m_lines.StartsItsLine(behind)) return std::nullopt;
  const std::size_t first = m_lines.Behind(before);
  const std::size_t last = m_lines.BeginOf(behind);
  const bool is_block = m_change.what == Change::What::kNewBlock;
  if (place > 0 && (!is_block || place < inside.size() || IsLike(inside.at(place - 1)))) {
    return std::vector<std::size_t>{first};
  }
  if (place < inside.size()) return std::vector<std::size_t>{AboveComments(last)};
  if (!is_block) return std::vector<std::size_t>{last};
  // Of the first block of its kind, comments and blank lines may stand on either side.
  std::vector<std::size_t> lines{first};
  while (lines.back() < last) lines.push_back(m_lines.Behind(lines.back()));
  return lines;
}

std::size_t Judge::AboveComments(std::size_t line_begin) const {
  while (line_begin > 0) {
    const std::size_t above = m_lines.BeginOf(line_begin - 1);
    if (m_lines.Line(above).substr(0, 1) != "#") break;
    line_begin = above;
  }
  return line_begin;
}

std::string Judge::WrongInInserted(const std::vector<std::size_t>& places) const {
  const std::size_t added = m_after.size() - m_before.size();
  std::string wrong;
  for (std::size_t place : places) {
    if (m_after.substr(0, place) != m_before.substr(0, place) ||
        m_after.substr(place + added) != m_before.substr(place)) {
      continue;
    }
    const std::string_view inserted = m_after.substr(place, added);
    if (inserted.empty() || inserted.back() != '\n') continue;
    wrong = WrongInLayout(inserted);
    if (wrong.empty()) return "";
  }
  return wrong.empty() ? "the new lines stand elsewhere, or other bytes differ" : wrong;
}

std::string Judge::WrongInLayout(std::string_view inserted) const {
  const std::size_t line_end = m_before.find('\n');
  const bool returns =
      line_end != std::string_view::npos && line_end > 0 && m_before.at(line_end - 1) == '\r';
  for (std::size_t at = 0; at < inserted.size(); ++at) {
    if (inserted.at(at) != '\n') continue;
    if ((at > 0 && inserted.at(at - 1) == '\r') != returns) return "other line ends";
  }
  const Lines lines(inserted);
  std::size_t begin = 0;
  std::size_t blank_lines = 0;
  for (; begin < inserted.size() && lines.Line(begin).empty(); begin = lines.Behind(begin)) {
    ++blank_lines;
  }
  for (std::size_t at = begin; at < inserted.size(); at = lines.Behind(at)) {
    const std::string_view line = lines.Line(at);
    if (line.empty() || line.front() == '#') return "a line too many: " + Quoted(inserted);
  }
  const std::size_t word = inserted.find_first_not_of(" \t", begin);
  const std::string_view indentation = inserted.substr(begin, word - begin);
  bool is_usual = false;
  bool has_others = false;
  for (std::size_t node : Inside(m_tree, m_change.node)) {
    const std::size_t at = At(node).head.begin;
    if (!m_lines.StartsItsLine(at)) continue;
    has_others = true;
    is_usual = is_usual || m_lines.IndentationAt(at) == indentation;
  }
  if (has_others && !is_usual) return "other indentation: " + Quoted(inserted);
  return WrongInBlankLines(blank_lines);
}

// A new block has a blank line before it where those of its kind have one.
std::string Judge::WrongInBlankLines(std::size_t blank_lines) const {
  if (m_change.what != Change::What::kNewBlock) {
    return blank_lines == 0 ? "" : "a blank line before the new one";
  }
  if (blank_lines > 1) return "several blank lines before the new block";
  const std::vector<bool> siblings = BlankLinesBeforeSiblings();
  const bool all = std::find(siblings.begin(), siblings.end(), false) == siblings.end();
  const bool none = std::find(siblings.begin(), siblings.end(), true) == siblings.end();
  if (siblings.empty()) return "";
  if (all && blank_lines == 0) return "no blank line before the new block";
  if (none && blank_lines == 1) return "a blank line before the new block";
  return "";
}

// Whether there is one before each block of the kind that has something else of its block before
// it. Comments directly above a block belong to it.
std::vector<bool> Judge::BlankLinesBeforeSiblings() const {
  std::vector<bool> found;
  const Nodes inside = Inside(m_tree, m_change.node);
  for (std::size_t i = 1; i < inside.size(); ++i) {
    if (!IsLike(inside.at(i))) continue;
    const std::size_t begin = AboveComments(m_lines.BeginOf(At(inside.at(i)).head.begin));
    found.push_back(begin > 0 && m_lines.Line(m_lines.BeginOf(begin - 1)).empty());
  }
  return found;
}

std::string Judge::WrongInRemoval() const {
  const Node& block = At(m_change.node);
  const bool has_lines =
      m_lines.StartsItsLine(block.head.begin) && m_lines.EndsItsLine(block.closing.end);
  return has_lines ? WrongInRemovedLines(block) : WrongInRemovedBytes(block);
}

// A block goes with its lines, and with the blank line that would be left behind: the one before
// it, or the one behind it when it is the first.
std::string Judge::WrongInRemovedLines(const Node& block) const {
  std::size_t begin = m_lines.BeginOf(block.head.begin);
  std::size_t end = m_lines.Behind(block.closing.end);
  const Node& around = At(block.parent);
  const bool in_file = block.parent == 0;
  const bool is_first = begin == (in_file ? 0 : m_lines.Behind(around.head.end));
  const bool is_last = end == (in_file ? m_before.size() : m_lines.BeginOf(around.closing.begin));
  const bool blank_before = begin > 0 && m_lines.Line(m_lines.BeginOf(begin - 1)).empty();
  const bool blank_behind = end < m_before.size() && m_lines.Line(end).empty();
  if (blank_before && (blank_behind || is_last)) {
    begin = m_lines.BeginOf(begin - 1);
  } else if (blank_behind && is_first) {
    end = m_lines.Behind(end);
  }
  if (m_after == Without({begin, end})) return "";
  // Where the last line has no end, the line before may be left without one.
  const bool has_end = end < m_before.size() || m_before.at(end - 1) == '\n';
  while (!has_end && begin > 0 &&
         (m_before.at(begin - 1) == '\n' || m_before.at(begin - 1) == '\r')) {
    --begin;
    if (m_after == Without({begin, end})) return "";
  }
  return "other lines than the block's differ";
}

// A block that shares its lines goes with blanks beside it.
std::string Judge::WrongInRemovedBytes(const Node& block) const {
  std::size_t first = block.head.begin;
  while (first > 0 && IsBlank(m_before.at(first - 1))) --first;
  std::size_t last = block.closing.end;
  while (last < m_before.size() && IsBlank(m_before.at(last))) ++last;
  for (std::size_t begin = first; begin <= block.head.begin; ++begin) {
    for (std::size_t end = block.closing.end; end <= last; ++end) {
      if (m_after == Without({begin, end})) return "";
    }
  }
  return "other bytes than the block's differ";
}

std::string Judge::Without(Bytes bytes) const {
  std::string text(m_before.substr(0, bytes.begin));
  text += m_before.substr(bytes.end);
  return text;
}

}  // namespace

std::string WhatIsWrong(Dialect dialect, std::string_view before, const Tree& tree,
                        const Change& change, std::string_view after) {
  return Judge(dialect, before, tree, change, after).WhatIsWrong();
}

}  // namespace edit_judge
