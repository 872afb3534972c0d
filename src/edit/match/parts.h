// SPDX-License-Identifier: Apache-2.0

// A text that is put together from stretches of files, and the way back to them.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "document/document.h"
#include "document/places.h"
#include "edit/finding.h"

namespace tov_edit {

// Used by one thread at a time.
class Parts {
 public:
  struct File {
    std::string name;
    std::string_view text;  // must outlive the parts
  };

  explicit Parts(std::vector<File> files) : m_files(std::move(files)) {}

  // --- Putting together ---

  // Appends the bytes of a file from `begin` up to `end`. Those of one file come in their order,
  // none twice.
  void Append(std::size_t file, std::size_t begin, std::size_t end);

  // Appends a line end, which is of no file, unless the text is empty or ends with one.
  void EndLine();

  // Says that other files are read where this directive of `file` stands, from its byte `begin` on.
  void NoteInclude(std::size_t file, std::size_t begin) { m_includes.emplace(file, begin); }

  // --- The whole text ---

  const std::vector<File>& files() const { return m_files; }
  const std::string& text() const { return m_text; }

  // --- The way back ---

  // Which file a byte is from; what is of none counts to what stands before it.
  std::size_t FileOf(std::size_t offset) const;

  // Where a byte stands in its file; what is of none, and the end of the text, stand behind the
  // last byte before them.
  std::size_t InFile(std::size_t offset) const;

  // Bytes that begin and end in one file, in this file.
  tov_document::Span InFile(tov_document::Span bytes) const;

  // Whether all bytes are of the file of the first one.
  bool IsOfOneFile(tov_document::Span bytes) const;

  // Whether the directive that begins there has other files read.
  bool IsInclude(std::size_t offset) const {
    return m_includes.count({FileOf(offset), InFile(offset)}) != 0;
  }

  // Cost: the first time for a file a pass over its text.
  FilePlace PlaceOf(std::size_t offset) const;
  FilePlace PlaceIn(std::size_t file, std::size_t offset_in_file) const;

 private:
  struct Stretch {
    std::size_t at = 0;  // in the whole text
    std::size_t file = 0;
    std::size_t begin = 0;  // in the file
    std::size_t end = 0;
  };

  // The stretch of a byte, or the last one before it; none: there is no text.
  std::size_t StretchOf(std::size_t offset) const;

  std::vector<File> m_files;
  std::string m_text;
  std::vector<Stretch> m_stretches;
  std::set<std::pair<std::size_t, std::size_t>> m_includes;      // files, and where in them
  mutable std::map<std::size_t, tov_document::Places> m_places;  // by files
};

}  // namespace tov_edit
