// SPDX-License-Identifier: Apache-2.0

#include "edit/layout/layout.h"

#include <algorithm>
#include <cstdint>
#include <map>

#include "document/meaning.h"
#include "edit/tree/limits.h"
#include "edit/tree/quoting.h"
#include "text/reserve_ahead.h"

namespace tov_edit {
namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::string_view kDefaultStep = "\t";

bool IsBlank(char byte) {
  return kBlanks.find(byte) != std::string_view::npos;
}

Span SpanOf(std::size_t begin, std::size_t end) {
  return {static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end)};
}

// `word`, spelled like the word that it takes the place of, where that is possible. Quotes that the
// old value needed are no matter of style.
std::string Respelled(Dialect dialect, const NewWord& word, char quote, const std::string& old) {
  if (quote != '\0') {
    const bool quoted = word.spelled.find_first_of("\"'") == 0;
    const bool may_keep =
        (quoted || IsWordFor(dialect, old, old)) &&
        word.value.find_first_of(std::string("\\\n") + quote) == std::string::npos;
    return may_keep ? quote + word.value + quote : word.spelled;
  }
  const bool may_be_bare = !word.value.empty() &&
                           word.value.find_first_of(" \t\r\n\v\f;{}#\"'\\<>") == std::string::npos;
  return may_be_bare ? word.value : word.spelled;
}

// A search for each is faster than a look at each byte: lines are long enough.
std::size_t LineEndsIn(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = text.find('\n'); at != std::string_view::npos;
       at = text.find('\n', at + 1)) {
    ++count;
  }
  return count;
}

}  // namespace

Layout::Layout(Contents& contents)
    : m_contents(contents),
      m_document(contents.document()),
      m_text(m_document.text()),
      m_meant(m_document) {}

// --- Lines ---

// The line that `offset` is in, or the line end that it is.
const Layout::Line& Layout::LineAt(std::size_t offset) const {
  const auto holds = [&](const Line& line) {
    return line.begin <= offset &&
           (offset < line.end || (offset == line.end && !BeginsLine(offset)));
  };
  if (m_line && holds(*m_line)) return *m_line;
  const std::size_t before = offset == 0 ? std::string_view::npos : m_text.rfind('\n', offset - 1);
  const std::size_t end = m_text.find('\n', offset);
  m_line = {before == std::string_view::npos ? 0 : before + 1,
            end == std::string_view::npos ? m_text.size() : end + 1};
  return *m_line;
}

std::string_view Layout::IndentationAt(std::size_t offset) const {
  const std::size_t begin = LineBegin(offset);
  const std::size_t most = std::min(m_text.size(), begin + kLongestIndentation);
  std::size_t end = begin;
  while (end < most && (m_text[end] == ' ' || m_text[end] == '\t')) ++end;
  return m_text.substr(begin, end - begin);
}

bool Layout::BeginsLine(std::size_t offset) const {
  return offset == 0 || m_text[offset - 1] == '\n';
}

bool Layout::IsFirstOnLine(std::size_t offset) const {
  return BackOverBlanksAndRemoved(offset) == LineBegin(offset);
}

// Whether nothing but blanks and a comment stands behind `offset` on its line.
bool Layout::EndsLine(std::size_t offset) const {
  const std::size_t at = SkipBlanksAndRemoved(offset);
  return at >= m_text.size() || m_text[at] == '\n' || m_text[at] == '#';
}

bool Layout::IsBlankLine(std::size_t begin) const {
  while (begin < m_text.size() && IsBlank(m_text[begin])) ++begin;
  return begin < m_text.size() && m_text[begin] == '\n';
}

// What a new line ends with: as the text's first line does.
const std::string& Layout::NewEnd() {
  if (m_end) return *m_end;
  const std::size_t end = m_text.find('\n');
  const bool crlf = end != std::string_view::npos && end > 0 && m_text[end - 1] == '\r';
  m_end = crlf ? "\r\n" : "\n";
  return *m_end;
}

void Layout::UseStyleOf(Layout& other) {
  m_end = other.NewEnd();
  m_step = other.Step();
}

// By how much most blocks are indented more than the lines that open them.
const std::string& Layout::Step() {
  if (m_step) return *m_step;
  constexpr std::size_t kEnough = 1000;
  std::map<std::string_view, std::size_t> steps;
  const auto& blocks = m_document.blocks();
  for (std::size_t i = 1; i < std::min(blocks.size(), kEnough); ++i) {
    const std::string_view body = m_document.Bytes(blocks[i].body());
    const std::size_t visible = body.find_first_not_of(" \t\r\n\v\f");
    if (visible == std::string_view::npos || body.rfind('\n', visible) == std::string_view::npos) {
      continue;
    }
    const std::string_view outer = IndentationAt(blocks[i].head.begin);
    const std::string_view inner = IndentationAt(blocks[i].body().begin + visible);
    if (inner.size() > outer.size() && inner.substr(0, outer.size()) == outer) {
      ++steps[inner.substr(outer.size())];
    }
  }
  const auto most = std::max_element(
      steps.begin(), steps.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
  m_step = most == steps.end() ? kDefaultStep : most->first;
  return *m_step;
}

// That of what stands in the block already.
const std::string& Layout::IndentationIn(BlockId block) {
  const auto [known, is_new] = m_indentations.try_emplace(block);
  if (!is_new) return known->second;
  for (const Child& child : m_contents.Of(block)) {
    if (IsFirstOnLine(child.bytes.begin)) {
      return known->second = IndentationAt(child.bytes.begin);
    }
  }
  if (block == tov_document::kWholeText) return known->second;
  known->second = IndentationAt(m_document.blocks()[block].head.begin);
  return known->second += Step();
}

// --- Changes ---

void Layout::Replace(Span bytes, const std::string& text, std::size_t line) {
  m_patches.push_back({bytes.begin, bytes.end, text, line});
}

void Layout::ChangeComment(const Child& comment, const std::string& text, std::size_t line) {
  m_meant.ChangeComment(comment, text);
  Replace(comment.bytes, text, line);
}

void Layout::ChangeClosing(BlockId block, const std::string& text, std::size_t line) {
  m_meant.ChangeClosing(block, text);
  Replace(m_document.blocks()[block].closing, text, line);
}

void Layout::ChangeWords(const Child& child, const std::vector<NewWord>& words, std::size_t line) {
  std::vector<std::string> values;
  values.reserve(words.size());
  for (const NewWord& word : words) values.push_back(word.value);
  m_meant.ChangeWords(child, values);
  const Dialect dialect = m_document.dialect();
  const auto& old_words = child.words;
  const auto same = [&](std::size_t old_word, std::size_t word) {
    return child.values[old_word] == words[word].value;
  };
  const std::size_t fewer = std::min(old_words.size(), words.size());
  const bool keeps_name =
      tov_document::SameName(dialect, child.values.front(), words.front().value);
  if (!keeps_name) {
    const auto& name = old_words.front();
    const bool section = child.IsBlock() && dialect == Dialect::kApache;
    if (section) Replace(name.inner, words.front().value, line);
    if (!section)
      Replace(name.bytes, Respelled(dialect, words.front(), name.quote, child.values.front()),
              line);
  }
  std::size_t front = 1;
  while (front < fewer && same(front, front)) ++front;
  std::size_t back = 0;
  while (back < fewer - front && same(old_words.size() - 1 - back, words.size() - 1 - back)) {
    ++back;
  }
  const std::size_t replaced = fewer - back;
  for (std::size_t i = front; i < replaced; ++i) {
    if (same(i, i)) continue;
    Replace(old_words[i].bytes, Respelled(dialect, words[i], old_words[i].quote, child.values[i]),
            line);
  }
  const std::uint32_t behind = old_words[replaced - 1].bytes.end;
  std::string added;
  for (std::size_t i = replaced; i < words.size() - back; ++i) {
    added += " " + Respelled(dialect, words[i], '\0', std::string());
  }
  // A quote that nothing ends would take what comes behind along.
  const auto& end_word = old_words[replaced - 1];
  const bool open = end_word.quote != '\0' && end_word.bytes.size() < end_word.inner.size() + 2;
  if (!added.empty() && open && same(replaced - 1, replaced - 1)) {
    Replace(end_word.bytes, InQuotes(dialect, words[replaced - 1].value), line);
  }
  const std::size_t last = old_words.size() - back;
  const std::uint32_t end = last > replaced ? old_words[last - 1].bytes.end : behind;
  if (!added.empty() || end != behind) Replace({behind, end}, added, line);
}

// --- Removals ---

void Layout::Remove(const Child& child, std::size_t line, bool own_blank) {
  m_meant.Remove(child);
  m_removals.push_back(
      {child.bytes, child.IsBlock() ? child.block : tov_document::kWholeText, line, own_blank});
  m_removed_from.emplace(child.bytes.begin, child.bytes.end);
  m_removed_to.emplace(child.bytes.end, child.bytes.begin);
  m_indentations.clear();
}

std::size_t Layout::SkipBlanksAndRemoved(std::size_t from) const {
  std::vector<std::size_t*> passed;
  for (;;) {
    while (from < m_text.size() && IsBlank(m_text[from])) ++from;
    const auto removed = m_removed_from.find(from);
    if (removed == m_removed_from.end()) break;
    passed.push_back(&removed->second);
    from = removed->second;
  }
  for (std::size_t* const end : passed) *end = from;
  return from;
}

// Of the blanks before `from`.
std::size_t Layout::BeginOfBlanks(std::size_t from) const {
  if (m_blanks && m_blanks->begin <= from && from <= m_blanks->end) return m_blanks->begin;
  std::size_t begin = from;
  while (begin > 0 && IsBlank(m_text[begin - 1])) --begin;
  m_blanks = {begin, from};
  return begin;
}

std::size_t Layout::BackOverBlanksAndRemoved(std::size_t from) const {
  std::vector<std::size_t*> passed;
  for (;;) {
    from = BeginOfBlanks(from);
    const auto removed = m_removed_to.find(from);
    if (removed == m_removed_to.end()) break;
    passed.push_back(&removed->second);
    from = removed->second;
  }
  for (std::size_t* const begin : passed) *begin = from;
  return from;
}

Span Layout::RemovedBytes(const Removal& removal) const {
  const std::size_t first = BackOverBlanksAndRemoved(removal.bytes.begin);
  if (!BeginsLine(first) || !EndsLine(removal.bytes.end)) {
    return RemovedBesideOthers(removal.bytes);
  }
  std::size_t begin = LineBegin(removal.bytes.begin);
  std::size_t end = LineEnd(removal.bytes.end);
  if (removal.block != tov_document::kWholeText) TakeBlankLine(removal, begin, end);
  // The last line of a text that does not end its last line.
  if (end == m_text.size() && begin > 0 && m_text.back() != '\n') {
    --begin;
    if (begin > 0 && m_text[begin - 1] == '\r') --begin;
  }
  return SpanOf(begin, end);
}

// What stands on a line with others goes with the blanks behind it, or, at the line's end, with
// those before it.
Span Layout::RemovedBesideOthers(Span bytes) const {
  std::size_t begin = bytes.begin;
  std::size_t end = bytes.end;
  while (end < m_text.size() && IsBlank(m_text[end])) ++end;
  if (end == m_text.size() || m_text[end] == '\n') {
    end = bytes.end;
    while (begin > 0 && IsBlank(m_text[begin - 1])) --begin;
  }
  return SpanOf(begin, end);
}

// Widens the lines of a block by the blank line that would be left behind: the one before it, where
// another one or an end follows, or where it is the block's own; the one behind it, where it is the
// first.
void Layout::TakeBlankLine(const Removal& removal, std::size_t& begin, std::size_t& end) const {
  const Span around = m_document.blocks()[m_document.blocks()[removal.block].parent].body();
  const auto only_blanks = [this](std::size_t from, std::size_t to) {
    return m_text.substr(from, to - from).find_first_not_of(" \t\r\n\v\f") ==
           std::string_view::npos;
  };
  const std::size_t before = begin == 0 ? 0 : LineBegin(begin - 1);
  const bool blank_before = begin > 0 && IsBlankLine(before);
  const bool blank_behind = end < m_text.size() && IsBlankLine(end);
  const bool is_last = only_blanks(end, std::max<std::size_t>(end, around.end));
  const bool is_first = only_blanks(around.begin, std::max<std::size_t>(begin, around.begin));
  if (blank_before && (blank_behind || is_last || removal.own_blank)) {
    begin = before;
  } else if (blank_behind && !blank_before && is_first) {
    end = LineEnd(end);
  }
}

void Layout::FinishRemovals() {
  std::vector<Patch> patches;
  for (const Removal& removal : m_removals) {
    const Span bytes = RemovedBytes(removal);
    m_meant.TakeAlong(bytes);
    patches.push_back({bytes.begin, bytes.end, std::string(), removal.line});
  }
  m_removals.clear();
  for (Patch& patch : patches) LeaveLineEnd(patch);
  m_patches.insert(m_patches.end(), patches.begin(), patches.end());
}

// Where a text does not end its last line, and loses it, the line end before goes, too: but it
// stays for what is added there, which then is the last line.
void Layout::LeaveLineEnd(Patch& removal) {
  if (removal.end != m_text.size()) return;
  const std::size_t line = LineEnd(removal.begin);
  if (line >= m_text.size() || !BeginsLine(line)) return;
  if (m_text.substr(removal.begin, line - removal.begin).find_first_not_of("\r\n") !=
      std::string_view::npos) {
    return;
  }
  Patch* last = nullptr;
  for (Patch& patch : m_patches) {
    if (patch.begin == line && patch.end == line) last = &patch;
  }
  if (last == nullptr) return;
  removal.begin = line;
  while (!last->text.empty() && (last->text.back() == '\n' || last->text.back() == '\r')) {
    last->text.pop_back();
  }
}

// --- Additions ---

// Where the comments directly above a child begin, or itself: the beginning of a line.
std::size_t Layout::BeginWithComments(const std::vector<Child>& children, std::size_t child) const {
  std::size_t begin = LineBegin(children[child].bytes.begin);
  while (child > 0) {
    const Child& before = children[child - 1];
    const bool comment = before.kind == tov_document::NodeKind::kComment &&
                         IsFirstOnLine(before.bytes.begin) && LineEnd(before.bytes.end) == begin;
    if (!comment) break;
    begin = LineBegin(before.bytes.begin);
    --child;
  }
  return begin;
}

void Layout::AddLines(std::size_t at, const std::string& indentation,
                      const std::vector<std::string>& lines, const std::vector<std::size_t>& depths,
                      bool blank_before, std::size_t line) {
  const std::string& end = NewEnd();
  const bool open_end = at == m_text.size() && !m_text.empty() && m_text.back() != '\n';
  std::string text = blank_before ? end : std::string();
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::size_t begin = text.size();
    text += indentation;
    for (std::size_t depth = 0; depth < depths[i]; ++depth) text += Step();
    text.resize(std::min(text.size(), begin + kLongestIndentation));
    (text += lines[i]) += end;
  }
  if (open_end) {
    text.resize(text.size() - end.size());
    text.insert(0, end);
  }
  m_patches.push_back({at, at, text, line});
}

// A comment ends with its line.
bool Layout::HoldsComment(const std::vector<std::string>& lines) const {
  return std::any_of(lines.begin(), lines.end(), [this](const std::string& line) {
    const Document document(m_document.dialect(), line);
    const auto nodes = document.Nodes(tov_document::kWholeText);
    return std::any_of(nodes.begin(), nodes.end(), [](const tov_document::Node& node) {
      return node.kind == tov_document::NodeKind::kComment;
    });
  });
}

void Layout::AddInline(std::size_t at, const std::string& before,
                       const std::vector<std::string>& lines, const std::string& behind,
                       std::size_t line) {
  const bool own_lines = HoldsComment(lines);
  const std::string end = NewEnd() + std::string(IndentationAt(at));
  std::string text = own_lines ? end : before;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    text += (i == 0 ? "" : own_lines ? end : " ") + lines[i];
  }
  m_patches.push_back({at, at, text + (own_lines ? end : behind), line});
}

void Layout::Add(const Place& place, const std::vector<std::string>& lines,
                 const std::vector<std::size_t>& depths, bool blank_between, std::size_t line) {
  AddText(place, lines, depths, blank_between, line);
  m_meant.Add(place.block, m_patches.back().begin, lines);
}

// Blank lines at the end of what it stands in stay behind a new block, and one is put before it:
// one that is removed takes the blank line before it along, and only that.
void Layout::AddBlock(const Place& place, const std::vector<std::string>& lines,
                      const std::vector<std::size_t>& depths, bool blank_between,
                      std::size_t line) {
  std::optional<std::size_t> at;
  if (place.kind == Place::Kind::kAtEnd) at = BlankEnd(place.block);
  if (!at) {
    Add(place, lines, depths, blank_between, line);
    return;
  }
  AddLines(*at, IndentationIn(place.block), lines, depths, true, line);
  m_meant.Add(place.block, *at, lines);
}

// Where the blank lines begin that the block ends with. None: there are none, or nothing else.
std::optional<std::size_t> Layout::BlankEnd(BlockId block) {
  const auto [known, is_new] = m_blank_ends.try_emplace(block);
  if (!is_new) return known->second;
  const bool is_whole = block == tov_document::kWholeText;
  const std::size_t begin = is_whole ? 0 : m_document.blocks()[block].body().begin;
  std::size_t end = m_text.size();
  if (!is_whole) {
    const std::size_t closing = m_document.blocks()[block].closing.begin;
    if (!IsFirstOnLine(closing)) return std::nullopt;
    end = LineBegin(closing);
  }
  std::size_t at = end;
  while (at > begin && BeginsLine(at)) {
    const std::size_t before = LineBegin(at - 1);
    if (before < begin || !IsBlankLine(before)) break;
    at = before;
  }
  const bool holds_more =
      m_text.substr(begin, at - begin).find_first_not_of(" \t\r\n\v\f") != std::string_view::npos;
  if (at < end && holds_more) known->second = at;
  return known->second;
}

void Layout::AddText(const Place& place, const std::vector<std::string>& lines,
                     const std::vector<std::size_t>& depths, bool blank_between, std::size_t line) {
  if (place.kind == Place::Kind::kAtEnd) {
    AddAtEnd(place.block, lines, depths, blank_between, line);
    return;
  }
  const std::vector<Child>& children = m_contents.Of(place.block);
  const Span child = children[place.child].bytes;
  const std::string indentation(IsFirstOnLine(child.begin) ? std::string(IndentationAt(child.begin))
                                                           : IndentationIn(place.block));
  if (place.kind == Place::Kind::kBehind) {
    if (EndsLine(child.end)) {
      AddLines(LineEnd(child.end), indentation, lines, depths, blank_between, line);
    } else {
      AddInline(child.end, " ", lines, std::string(), line);
    }
  } else if (IsFirstOnLine(child.begin)) {
    AddLines(BeginWithComments(children, place.child), indentation, lines, depths, false, line);
    if (blank_between) m_patches.back().text += NewEnd();
  } else {
    AddInline(child.begin, std::string(), lines, " ", line);
  }
}

void Layout::AddAtEnd(BlockId block, const std::vector<std::string>& lines,
                      const std::vector<std::size_t>& depths, bool blank_before, std::size_t line) {
  if (block == tov_document::kWholeText) {
    AddLines(m_text.size(), std::string(), lines, depths, blank_before, line);
    return;
  }
  const std::size_t closing = m_document.blocks()[block].closing.begin;
  if (IsFirstOnLine(closing)) {
    AddLines(LineBegin(closing), IndentationIn(block), lines, depths, blank_before, line);
    return;
  }
  std::size_t at = closing;
  while (at > 0 && IsBlank(m_text[at - 1])) --at;
  AddInline(at, " ", lines, at == closing ? " " : "", line);
}

// --- The result ---

std::string Layout::Text() {
  FinishRemovals();
  std::stable_sort(m_patches.begin(), m_patches.end(), [](const Patch& a, const Patch& b) {
    if (a.begin != b.begin) return a.begin < b.begin;
    return a.begin == a.end && b.begin != b.end;
  });
  std::string text;
  tov_text::ReserveAhead(text, m_text.size() + 256);
  std::size_t at = 0;
  for (const Patch& patch : m_patches) {
    if (patch.begin > at) text += m_text.substr(at, patch.begin - at);
    text += patch.text;
    at = std::max({at, patch.begin, patch.end});
  }
  text += m_text.substr(at);
  return text;
}

std::vector<TextEdit> Layout::Edits() {
  Text();  // sorts
  std::vector<TextEdit> edits;
  std::size_t begin = 0;
  std::size_t end = 0;
  std::size_t number = 1;  // of the line at `counted`
  std::size_t counted = 0;
  std::size_t first = 0;  // patch
  const auto finish = [&](std::size_t last) {
    if (first == last) return;
    TextEdit edit;
    number += LineEndsIn(m_text.substr(counted, begin - counted));
    counted = begin;
    edit.line = number;
    const std::string_view old = m_text.substr(begin, end - begin);
    edit.count = LineEndsIn(old) + (!old.empty() && old.back() != '\n' ? 1 : 0);
    std::size_t at = begin;
    for (std::size_t i = first; i < last; ++i) {
      const Patch& patch = m_patches[i];
      if (patch.begin > at) edit.text += m_text.substr(at, patch.begin - at);
      edit.text += patch.text;
      at = std::max({at, patch.begin, patch.end});
      edit.lines.push_back(patch.line);
    }
    edit.text += m_text.substr(at, end - at);
    std::sort(edit.lines.begin(), edit.lines.end());
    edit.lines.erase(std::unique(edit.lines.begin(), edit.lines.end()), edit.lines.end());
    edits.push_back(std::move(edit));
    first = last;
  };
  for (std::size_t i = 0; i < m_patches.size(); ++i) {
    const Patch& patch = m_patches[i];
    const bool whole_lines = BeginsLine(patch.begin) && BeginsLine(patch.end) &&
                             (patch.text.empty() || patch.text.back() == '\n');
    const std::size_t patch_begin = LineBegin(patch.begin);
    const std::size_t patch_end =
        whole_lines ? patch.end : std::max(LineEnd(patch.end), patch_begin);
    if (first < i && patch_begin > end) finish(i);
    if (first == i) {
      begin = patch_begin;
      end = patch_end;
    }
    end = std::max(end, patch_end);
  }
  finish(m_patches.size());
  return edits;
}

}  // namespace tov_edit
