// SPDX-License-Identifier: Apache-2.0

#include "edit/layout/parts_layout.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "document/meaning.h"

namespace tov_edit {
namespace {

// The name of the first directive, or block, in `text`.
std::string NameIn(Dialect dialect, const std::string& text) {
  const Document document(dialect, text);
  if (document.blocks().size() > 1 && document.blocks()[1].head.begin == 0) {
    return document.Value(document.HeadWords(1).front());
  }
  for (const tov_document::Node& node : document.Nodes(tov_document::kWholeText)) {
    if (node.kind != tov_document::NodeKind::kDirective) continue;
    return document.Value(document.Words(node).front());
  }
  return {};
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) (text += line) += '\n';
  return text;
}

}  // namespace

PartsLayout::PartsLayout(const Parts& parts, const TemplateTree& tree, Contents& contents,
                         std::optional<std::size_t> new_file, const std::vector<BlockId>& found,
                         Findings& findings)
    : m_parts(parts),
      m_tree(tree),
      m_contents(contents),
      m_document(contents.document()),
      m_new_file(new_file),
      m_findings(findings) {
  for (const BlockId block : found) {
    if (!IsAroundServers(block)) m_homes.insert(FileOfBlock(block));
  }
}

// --- The same things in a file ---

PartsLayout::Sheet& PartsLayout::SheetOf(std::size_t file) {
  std::unique_ptr<Sheet>& sheet = m_sheets[file];
  if (!sheet) sheet = std::make_unique<Sheet>(m_document.dialect(), m_parts.files()[file].text);
  return *sheet;
}

// The main file for the whole text.
std::size_t PartsLayout::FileOfBlock(BlockId block) const {
  if (block == tov_document::kWholeText) return 0;
  return m_parts.FileOf(m_document.blocks()[block].head.begin);
}

// A block of another file is around all of this one.
BlockId PartsLayout::BlockIn(const Sheet& sheet, std::size_t file, BlockId block) const {
  if (block == tov_document::kWholeText || FileOfBlock(block) != file) {
    return tov_document::kWholeText;
  }
  const auto begin = m_parts.InFile(m_document.blocks()[block].head).begin;
  const auto& blocks = sheet.document.blocks();
  const auto at =
      std::partition_point(blocks.begin() + 1, blocks.end(),
                           [begin](const auto& other) { return other.head.begin < begin; });
  return static_cast<BlockId>(at - blocks.begin());
}

const Child& PartsLayout::ChildIn(Sheet& sheet, const Child& child) {
  const std::size_t file = m_parts.FileOf(child.bytes.begin);
  const BlockId around = child.IsBlock()
                             ? sheet.document.blocks()[BlockIn(sheet, file, child.block)].parent
                             : BlockIn(sheet, file, child.around);
  const std::vector<Child>& children = sheet.contents.Of(around);
  const auto begin = m_parts.InFile(child.bytes).begin;
  return *std::partition_point(children.begin(), children.end(),
                               [begin](const Child& other) { return other.bytes.begin < begin; });
}

bool PartsLayout::IsAroundServers(BlockId block) const {
  return block == tov_document::kWholeText ||
         tov_document::IsAroundServers(m_document.dialect(), m_contents.HeadOf(block).front());
}

// --- Changes ---

// What has other files read, with these. Whether it is so.
bool PartsLayout::Refuses(Span bytes) {
  if (!m_parts.IsInclude(bytes.begin) && m_parts.IsOfOneFile(bytes)) return false;
  Finding finding{"included",
                  "what changes here has other files read, and their sites would come or go with "
                  "it",
                  "Edit this file by itself"};
  finding.config_places.push_back(m_parts.PlaceOf(bytes.begin));
  m_findings.refusals.push_back(std::move(finding));
  return true;
}

void PartsLayout::ChangeWords(const Child& child, const std::vector<NewWord>& words,
                              std::size_t line) {
  if (!child.IsBlock() && Refuses(child.bytes)) return;
  Sheet& sheet = SheetOf(m_parts.FileOf(child.bytes.begin));
  sheet.layout.ChangeWords(ChildIn(sheet, child), words, line);
}

void PartsLayout::ChangeComment(const Child& comment, const std::string& text, std::size_t line) {
  Sheet& sheet = SheetOf(m_parts.FileOf(comment.bytes.begin));
  sheet.layout.ChangeComment(ChildIn(sheet, comment), text, line);
}

void PartsLayout::ChangeClosing(BlockId block, const std::string& text, std::size_t line) {
  const std::size_t file = FileOfBlock(block);
  Sheet& sheet = SheetOf(file);
  sheet.layout.ChangeClosing(BlockIn(sheet, file, block), text, line);
}

void PartsLayout::Replace(Span bytes, const std::string& text, std::size_t line) {
  if (Refuses(bytes)) return;
  SheetOf(m_parts.FileOf(bytes.begin)).layout.Replace(m_parts.InFile(bytes), text, line);
}

void PartsLayout::Remove(const Child& child, std::size_t line, bool own_blank) {
  if (Refuses(child.bytes)) return;
  Sheet& sheet = SheetOf(m_parts.FileOf(child.bytes.begin));
  sheet.layout.Remove(ChildIn(sheet, child), line, own_blank);
}

// --- Additions ---

PartsLayout::FilePosition PartsLayout::PositionOf(const Place& place) {
  FilePosition position;
  position.place = place;
  if (place.kind == Place::Kind::kAtEnd) {
    position.file = FileOfBlock(place.block);
    position.place.block = BlockIn(SheetOf(position.file), position.file, place.block);
    return position;
  }
  const Child& child = m_contents.Of(place.block)[place.child];
  position.file = m_parts.FileOf(child.bytes.begin);
  const Child& own = ChildIn(SheetOf(position.file), child);
  position.place.block = own.around;
  position.place.child = own.position;
  return position;
}

// What is for no server in particular, and stands beside nothing of its name, stays in the file of
// the block around.
void PartsLayout::Add(const Place& place, const std::vector<std::string>& lines,
                      const std::vector<std::size_t>& depths, bool blank_between,
                      std::size_t line) {
  const bool may_stay = !IsAroundServers(place.block) || IsBesideItsLike(place, Joined(lines));
  const FilePosition position = PositionOf(may_stay ? place : BesideOwn(place));
  SheetOf(position.file).layout.Add(position.place, lines, depths, blank_between, line);
}

bool PartsLayout::IsBesideItsLike(const Place& place, const std::string& text) {
  if (place.kind == Place::Kind::kAtEnd) return true;
  const Child& child = m_contents.Of(place.block)[place.child];
  return !child.values.empty() && tov_document::SameName(m_document.dialect(), child.values.front(),
                                                         NameIn(m_document.dialect(), text));
}

// The nearest place before that is in the file of the block around.
PartsLayout::Place PartsLayout::BesideOwn(const Place& place) const {
  if (place.kind == Place::Kind::kAtEnd) return place;
  const std::size_t own = FileOfBlock(place.block);
  const std::vector<Child>& children = m_contents.Of(place.block);
  const auto is_own = [&](std::size_t child) {
    return m_parts.FileOf(children[child].bytes.begin) == own;
  };
  if (is_own(place.child)) return place;
  for (std::size_t child = place.child; child > 0; --child) {
    if (is_own(child - 1)) return {place.block, Place::Kind::kBehind, child - 1};
  }
  return {place.block, Place::Kind::kAtEnd, 0};
}

void PartsLayout::AddBlock(const Place& place, const std::vector<std::string>& lines,
                           const std::vector<std::size_t>& depths, bool blank_between,
                           std::size_t line) {
  const FilePosition beside = PositionOf(place);
  if (!IsAroundServers(place.block) || m_parts.files().size() == 1) {
    SheetOf(beside.file).layout.AddBlock(beside.place, lines, depths, blank_between, line);
    return;
  }
  const std::optional<std::size_t> home = m_homes.count(beside.file) != 0 ? beside.file
                                          : !m_homes.empty()              ? *m_homes.rbegin()
                                                                          : m_new_file;
  if (!home) {
    if (!m_findings.refusals.empty()) return;  // it was not to be made
    Finding finding{"no-file",
                    "this block is in none of the server's files, and it is not said which file it "
                    "is to be made in",
                    "", m_tree.lines[line].place};
    m_findings.refusals.push_back(std::move(finding));
    return;
  }
  Sheet& sheet = SheetOf(*home);
  if (sheet.document.text().empty()) sheet.layout.UseStyleOf(SheetOf(beside.file).layout);
  const FilePosition position =
      *home == beside.file
          ? beside
          : InFile(*home, place.block, NameIn(m_document.dialect(), Joined(lines)));
  const bool first = position.place.kind == Place::Kind::kAtEnd;
  sheet.layout.AddBlock(position.place, lines, depths, blank_between && !first, line);
}

// Behind the last block of this name in `file`, else behind all that stands there in `block`.
PartsLayout::FilePosition PartsLayout::InFile(std::size_t file, BlockId block,
                                              const std::string& name) {
  Sheet& sheet = SheetOf(file);
  const BlockId around = BlockIn(sheet, file, block);
  const std::vector<Child>& children = sheet.contents.Of(around);
  const auto like = std::find_if(children.rbegin(), children.rend(), [&](const Child& child) {
    return child.IsBlock() &&
           tov_document::SameName(m_document.dialect(), child.values.front(), name);
  });
  if (children.empty()) return {file, {around, Place::Kind::kAtEnd, 0}};
  const std::size_t child = like == children.rend() ? children.size() - 1 : like->position;
  return {file, {around, Place::Kind::kBehind, child}};
}

}  // namespace tov_edit
