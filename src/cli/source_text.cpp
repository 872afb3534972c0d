// SPDX-License-Identifier: Apache-2.0

#include "cli/source_text.h"

#include <algorithm>
#include <map>
#include <utility>

#include "cli/text.h"
#include "template/framework/str.h"

namespace cli {

SourceText::SourceText(std::string_view text) {
  std::size_t number = 0;
  std::size_t blanks_begin = 0;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t newline = text.find('\n', begin);
    const bool ended = newline != std::string_view::npos;
    const std::size_t next = ended ? newline + 1 : text.size();
    const bool carriage_return = ended && newline > begin && text[newline - 1] == '\r';
    const std::size_t end = ended ? newline - (carriage_return ? 1 : 0) : next;
    if (++number == 1 && carriage_return) m_new_end = "\r\n";
    m_ends_with_line_end = ended;
    const std::string_view line = text.substr(begin, end - begin);
    if (!str::view::Trim(line).empty()) {
      const std::string_view blanks = text.substr(blanks_begin, begin - blanks_begin);
      m_lines.push_back({line, text.substr(end, next - end), number, blanks});
      blanks_begin = next;
    }
    begin = next;
  }
  m_trailing_blanks = text.substr(blanks_begin);
}

namespace {

// Hands the lines of the edited text and the runs of blank lines that stay to `sink`, in their
// order.
template <class Sink>
void Write(const SourceText& source, const std::vector<EditedLine>& lines, Sink& sink) {
  const std::vector<SourceText::Line>& originals = source.lines();
  std::vector<bool> kept(originals.size());
  for (const EditedLine& line : lines) {
    if (line.original) kept[*line.original] = true;
  }
  std::size_t next = 0;  // the first original that has not had its turn
  const auto write_blanks_up_to = [&](std::size_t end) {
    for (; next < end; ++next) {
      if (kept[next] || next == 0 || kept[next - 1]) sink.BlanksBefore(next);
    }
  };
  const bool ends = source.EndsWithLineEnd() || !source.TrailingBlanks().empty();
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::optional<std::size_t>& original = lines[i].original;
    if (original) write_blanks_up_to(*original + 1);
    std::string_view end = original ? originals[*original].end : std::string_view();
    if (end.empty()) end = source.NewEnd();
    if (!ends && i + 1 == lines.size()) end = std::string_view();
    sink.Line(i, end);
  }
  write_blanks_up_to(originals.size());
  sink.TrailingBlanks();
}

class TextSink {
 public:
  TextSink(const SourceText& source, const std::vector<EditedLine>& lines)
      : m_source(source), m_lines(lines) {}

  void BlanksBefore(std::size_t original) { m_text += m_source.lines()[original].blanks; }
  void Line(std::size_t line, std::string_view end) { (m_text += m_lines[line].text) += end; }
  void TrailingBlanks() { m_text += m_source.TrailingBlanks(); }

  std::string Take() { return std::move(m_text); }

 private:
  const SourceText& m_source;
  const std::vector<EditedLine>& m_lines;
  std::string m_text;
};

// What lies between the lines that stay.
class EditSink {
 public:
  EditSink(const SourceText& source, const std::vector<EditedLine>& lines)
      : m_source(source), m_lines(lines) {}

  void BlanksBefore(std::size_t original) {
    const std::size_t before = original == 0 ? 0 : m_source.lines()[original - 1].number;
    Keep(before + 1, m_source.lines()[original].number - 1);
  }

  void Line(std::size_t line, std::string_view end) {
    if (m_lines[line].original) {
      const SourceText::Line& original = m_source.lines()[*m_lines[line].original];
      if (original.text == m_lines[line].text && original.end == end) {
        Keep(original.number, original.number);
        return;
      }
    }
    (m_edit.text += m_lines[line].text) += end;
    m_edit.lines.push_back(line);
  }

  void TrailingBlanks() {
    const std::string_view blanks = m_source.TrailingBlanks();
    const std::size_t last = m_source.lines().empty() ? 0 : m_source.lines().back().number;
    auto count = static_cast<std::size_t>(std::count(blanks.begin(), blanks.end(), '\n'));
    if (!blanks.empty() && blanks.back() != '\n') ++count;
    Keep(last + 1, last + count);
    Flush(last + count + 1);
  }

  std::vector<TextEdit> Take() { return std::move(m_edits); }

 private:
  // The lines from number `first` to `last` stay.
  void Keep(std::size_t first, std::size_t last) {
    if (last < first) return;
    Flush(first);
    m_edit.line = last + 1;
  }

  // Whatever stood before the line number `next` and did not stay is gone.
  void Flush(std::size_t next) {
    m_edit.count = next - m_edit.line;
    if (m_edit.count != 0 || !m_edit.text.empty()) m_edits.push_back(std::move(m_edit));
    m_edit = TextEdit();
    m_edit.line = next;
  }

  const SourceText& m_source;
  const std::vector<EditedLine>& m_lines;
  std::vector<TextEdit> m_edits;
  TextEdit m_edit;
};

template <class Sink>
auto Collected(const SourceText& source, const std::vector<EditedLine>& lines) {
  Sink sink(source, lines);
  Write(source, lines, sink);
  return sink.Take();
}

}  // namespace

std::string Written(const SourceText& source, const std::vector<EditedLine>& lines) {
  return Collected<TextSink>(source, lines);
}

std::vector<TextEdit> EditsOf(const SourceText& source, const std::vector<EditedLine>& lines) {
  return Collected<EditSink>(source, lines);
}

namespace {

constexpr std::string_view kDefaultStep = "\t";

// The blocks of a text by the positions of their lines.
struct Indents {
  struct Block {
    std::optional<std::size_t> opening;        // none: the whole text
    std::optional<std::string_view> of_lines;  // of the first line in it that is not new
  };
  std::vector<Block> blocks;
  std::vector<std::size_t> block_of;  // each line's; an opening line belongs to the block around it
};

Indents FindIndents(const std::vector<EditedLine>& lines, const std::vector<int>& changes) {
  Indents found{{{}}, {}};
  std::vector<std::size_t> open{0};
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (changes[i] < 0 && open.size() > 1) {
      found.block_of.push_back(open.back());
      open.pop_back();
      continue;
    }
    Indents::Block& block = found.blocks[open.back()];
    if (lines[i].original && !block.of_lines) block.of_lines = Indentation(lines[i].text);
    found.block_of.push_back(open.back());
    if (changes[i] > 0) {
      open.push_back(found.blocks.size());
      found.blocks.push_back({i, {}});
    }
  }
  return found;
}

// By how much most blocks are indented more than their opening lines.
std::string_view Step(const std::vector<EditedLine>& lines, const Indents& indents) {
  std::map<std::string_view, std::size_t> steps;
  for (const Indents::Block& block : indents.blocks) {
    if (!block.opening || !block.of_lines || !lines[*block.opening].original) continue;
    const std::string_view outer = Indentation(lines[*block.opening].text);
    if (block.of_lines->size() > outer.size() && str::view::StartsWith(*block.of_lines, outer)) {
      ++steps[block.of_lines->substr(outer.size())];
    }
  }
  const auto most = std::max_element(
      steps.begin(), steps.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
  return most == steps.end() ? kDefaultStep : most->first;
}

}  // namespace

std::vector<std::string> Indentations(const std::vector<EditedLine>& lines,
                                      const std::function<int(std::string_view)>& depth_change) {
  std::vector<int> changes;
  changes.reserve(lines.size());
  for (const EditedLine& line : lines) changes.push_back(depth_change(line.text));
  const Indents indents = FindIndents(lines, changes);
  const std::string_view step = Step(lines, indents);
  std::vector<std::string> result;
  result.reserve(lines.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const Indents::Block& block = indents.blocks[indents.block_of[i]];
    const bool closes = changes[i] < 0 && block.opening;
    if (lines[i].original) {
      result.emplace_back(Indentation(lines[i].text));
    } else if (block.of_lines && !closes) {
      result.emplace_back(*block.of_lines);
    } else if (block.opening) {
      result.push_back(result[*block.opening]);
      if (!closes) result.back() += step;
    } else {
      result.emplace_back();
    }
  }
  return result;
}

}  // namespace cli
