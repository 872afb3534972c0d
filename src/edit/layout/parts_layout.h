// SPDX-License-Identifier: Apache-2.0

// How changes of a text that is made of several files stand in these files: each in the one that it
// belongs to, as if that were edited by itself.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "edit/finding.h"
#include "edit/layout/layout.h"
#include "edit/layout/writer.h"
#include "edit/match/contents.h"
#include "edit/match/parts.h"
#include "edit/tree/template_tree.h"

namespace tov_edit {

class PartsLayout : public Writer {
 public:
  // A file that is edited.
  struct Sheet {
    Sheet(Dialect dialect, std::string_view text)
        : document(dialect, text), contents(document), layout(contents) {}

    Document document;
    Contents contents;
    Layout layout;
  };

  // What stands around servers is looked for in all files, and what is new among them has to go
  // somewhere: into the file that holds the template's blocks which are there (`found`); where none
  // is, into `new_file`, which has no text yet, where there is one. Everything must outlive it.
  PartsLayout(const Parts& parts, const TemplateTree& tree, Contents& contents,
              std::optional<std::size_t> new_file, const std::vector<BlockId>& found,
              Findings& findings);

  void ChangeWords(const Child& child, const std::vector<NewWord>& words,
                   std::size_t line) override;
  void ChangeComment(const Child& comment, const std::string& text, std::size_t line) override;
  void ChangeClosing(BlockId block, const std::string& text, std::size_t line) override;
  void Replace(Span bytes, const std::string& text, std::size_t line) override;
  void Remove(const Child& child, std::size_t line, bool own_blank) override;
  void Add(const Place& place, const std::vector<std::string>& lines,
           const std::vector<std::size_t>& depths, bool blank_between, std::size_t line) override;
  void AddBlock(const Place& place, const std::vector<std::string>& lines,
                const std::vector<std::size_t>& depths, bool blank_between,
                std::size_t line) override;

  // Those that are edited, by their positions among Parts::files().
  const std::map<std::size_t, std::unique_ptr<Sheet>>& sheets() const { return m_sheets; }

 private:
  // A place in a file.
  struct FilePosition {
    std::size_t file = 0;
    Place place;
  };

  Sheet& SheetOf(std::size_t file);
  std::size_t FileOfBlock(BlockId block) const;
  BlockId BlockIn(const Sheet& sheet, std::size_t file, BlockId block) const;
  const Child& ChildIn(Sheet& sheet, const Child& child);
  bool IsAroundServers(BlockId block) const;
  bool Refuses(Span bytes);

  FilePosition PositionOf(const Place& place);
  FilePosition InFile(std::size_t file, BlockId block, const std::string& name);
  Place BesideOwn(const Place& place) const;
  bool IsBesideItsLike(const Place& place, const std::string& text);

  const Parts& m_parts;
  const TemplateTree& m_tree;
  Contents& m_contents;
  const Document& m_document;
  const std::optional<std::size_t> m_new_file;
  std::set<std::size_t> m_homes;  // the files of the template's blocks that are there
  Findings& m_findings;
  std::map<std::size_t, std::unique_ptr<Sheet>> m_sheets;
};

}  // namespace tov_edit
