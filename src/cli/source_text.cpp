#include "cli/source_text.h"

#include <algorithm>
#include <map>

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

std::string Written(const SourceText& source, const std::vector<EditedLine>& lines) {
  const std::vector<SourceText::Line>& originals = source.lines();
  std::vector<bool> kept(originals.size());
  for (const EditedLine& line : lines) {
    if (line.original) kept[*line.original] = true;
  }
  std::string text;
  std::size_t next = 0;  // the first original that has not had its turn
  const auto write_blanks_up_to = [&](std::size_t end) {
    for (; next < end; ++next) {
      if (kept[next] || next == 0 || kept[next - 1]) text += originals[next].blanks;
    }
  };
  for (const EditedLine& line : lines) {
    if (line.original) write_blanks_up_to(*line.original + 1);
    text += line.text;
    const std::string_view end = line.original ? originals[*line.original].end : std::string_view();
    text += end.empty() ? source.NewEnd() : end;
  }
  write_blanks_up_to(originals.size());
  text += source.TrailingBlanks();
  const bool ends = source.EndsWithLineEnd() || !source.TrailingBlanks().empty();
  if (!ends && !text.empty()) {
    text.pop_back();
    if (!text.empty() && text.back() == '\r') text.pop_back();
  }
  return text;
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
