// SPDX-License-Identifier: Apache-2.0

// How changes stand in the text: whatever is not changed keeps its bytes, and what is new looks
// like its neighbours. Start here: the rest of the folder is what Layout is told, and the tree that
// it has to leave behind.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "edit/layout/meant_tree.h"
#include "edit/layout/writer.h"
#include "edit/match/contents.h"

namespace tov_edit {

// Lines of a text that others stand for in the edited text.
struct TextEdit {
  std::size_t line = 1;            // the number of the first one, from 1
  std::size_t count = 0;           // how many; 0: the others come before that one
  std::string text;                // the others, with their line ends
  std::vector<std::size_t> lines;  // of the template, whose doing it is
};

// Collects the changes of one text.
class Layout : public Writer {
 public:
  // Both must outlive it.
  explicit Layout(Contents& contents);

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

  // What is new has the line ends and the indentation that it would have in the other's text.
  void UseStyleOf(Layout& other);

  // The edited text.
  std::string Text();

  // The same as edits of lines, in their order. They do not touch.
  std::vector<TextEdit> Edits();

  // What the edited text has to be, unless something was put in of which that is not known.
  const MeantTree& meant() const { return m_meant; }

  bool IsChanged() const { return !m_patches.empty() || !m_removals.empty(); }

 private:
  struct Patch {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string text;
    std::size_t line = 0;
  };

  struct Removal {
    Span bytes;
    BlockId block = tov_document::kWholeText;  // of a block only
    std::size_t line = 0;
    bool own_blank = false;
  };

  // A line of the text, with its line end.
  struct Line {
    std::size_t begin = 0;
    std::size_t end = 0;
  };

  const Line& LineAt(std::size_t offset) const;
  std::size_t LineBegin(std::size_t offset) const { return LineAt(offset).begin; }
  std::size_t LineEnd(std::size_t offset) const { return LineAt(offset).end; }
  std::string_view IndentationAt(std::size_t offset) const;
  bool IsFirstOnLine(std::size_t offset) const;
  bool EndsLine(std::size_t offset) const;
  bool IsBlankLine(std::size_t begin) const;
  bool BeginsLine(std::size_t offset) const;
  const std::string& NewEnd();
  const std::string& Step();
  const std::string& IndentationIn(BlockId block);

  void AddText(const Place& place, const std::vector<std::string>& lines,
               const std::vector<std::size_t>& depths, bool blank_between, std::size_t line);
  std::size_t BeginWithComments(const std::vector<Child>& children, std::size_t child) const;
  void AddLines(std::size_t at, const std::string& indentation,
                const std::vector<std::string>& lines, const std::vector<std::size_t>& depths,
                bool blank_before, std::size_t line);
  bool HoldsComment(const std::vector<std::string>& lines) const;
  void AddInline(std::size_t at, const std::string& before, const std::vector<std::string>& lines,
                 const std::string& behind, std::size_t line);
  std::optional<std::size_t> BlankEnd(BlockId block);
  void AddAtEnd(BlockId block, const std::vector<std::string>& lines,
                const std::vector<std::size_t>& depths, bool blank_before, std::size_t line);

  void FinishRemovals();
  void LeaveLineEnd(Patch& removal);
  Span RemovedBytes(const Removal& removal) const;
  Span RemovedBesideOthers(Span bytes) const;
  void TakeBlankLine(const Removal& removal, std::size_t& begin, std::size_t& end) const;
  std::size_t SkipBlanksAndRemoved(std::size_t from) const;
  std::size_t BeginOfBlanks(std::size_t from) const;
  std::size_t BackOverBlanksAndRemoved(std::size_t from) const;

  Contents& m_contents;
  const Document& m_document;
  std::string_view m_text;
  MeantTree m_meant;
  std::vector<Patch> m_patches;
  std::vector<Removal> m_removals;

  // Where what is removed ends, by where it begins, and the other way round. What has been passed
  // with all that follows it is passed in one step the next time.
  using Ends = std::unordered_map<std::size_t, std::size_t>;
  mutable Ends m_removed_from;
  mutable Ends m_removed_to;

  mutable std::optional<Line> m_line;    // the one looked at last: a line may be long
  mutable std::optional<Line> m_blanks;  // those looked at last: there may be many
  std::optional<std::string> m_end;
  std::optional<std::string> m_step;
  std::unordered_map<BlockId, std::optional<std::size_t>> m_blank_ends;
  std::unordered_map<BlockId, std::string> m_indentations;  // in blocks, as long as nothing goes
};

}  // namespace tov_edit
