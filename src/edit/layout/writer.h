// SPDX-License-Identifier: Apache-2.0

// What a plan tells of the changes that it makes.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "edit/match/contents.h"

namespace tov_edit {

// A word that a directive is to have.
struct NewWord {
  std::string value;    // what the server makes of it
  std::string spelled;  // how the template writes it
};

// Takes the changes of one text: Layout writes them into it, PartsLayout into the files that it is
// made of. `line` always is the template's line that is the reason.
class Writer {
 public:
  virtual ~Writer() = default;
  Writer() = default;
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Gives a directive, or a block's head, other words; a name in another case stays. Words that
  // stay keep their bytes and what stands between them; a word that changes keeps its quotes where
  // its new value allows.
  virtual void ChangeWords(const Child& child, const std::vector<NewWord>& words,
                           std::size_t line) = 0;

  // Puts `text` in the place of a comment.
  virtual void ChangeComment(const Child& comment, const std::string& text, std::size_t line) = 0;

  // Puts `text` in the place of a block's closing line.
  virtual void ChangeClosing(BlockId block, const std::string& text, std::size_t line) = 0;

  // Puts any `text` in the place of `bytes`: what it means is not known.
  virtual void Replace(Span bytes, const std::string& text, std::size_t line) = 0;

  // Takes a directive, comment or block away: with its lines, where nothing else stands on them. A
  // block takes along the blank line that it would leave behind, and one before it that is its own
  // (`own_blank`).
  virtual void Remove(const Child& child, std::size_t line, bool own_blank) = 0;

  // Where something new goes.
  struct Place {
    BlockId block = tov_document::kWholeText;
    enum class Kind { kBehind, kBefore, kAtEnd } kind = Kind::kAtEnd;
    std::size_t child = 0;  // the position among the block's contents; not for kAtEnd
  };

  // Puts lines there, the first one indented like its neighbours, the others as much more as they
  // are deeper: `depths` has a number for each line. With `blank_between` a blank line stands
  // between them and the neighbour. Several for one place come one after the other.
  virtual void Add(const Place& place, const std::vector<std::string>& lines,
                   const std::vector<std::size_t>& depths, bool blank_between,
                   std::size_t line) = 0;

  // The same for a block that is new.
  virtual void AddBlock(const Place& place, const std::vector<std::string>& lines,
                        const std::vector<std::size_t>& depths, bool blank_between,
                        std::size_t line) {
    Add(place, lines, depths, blank_between, line);
  }
};

}  // namespace tov_edit
