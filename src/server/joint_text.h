// SPDX-License-Identifier: Apache-2.0

// One text made of all files of a server: behind each include directive that stands around servers
// (not in one, nor in a location or the like), what it reads.
//
//   nginx.conf                     http {
//                                    include sites/*;
//   sites/a                          server { ... a ... }
//   sites/b                          server { ... b ... }
//   nginx.conf, what follows       }
//
// What stands in it is each in its order to the server, so that servers, names and addresses can be
// looked at as in one file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "edit/edit_parts.h"
#include "edit/finding.h"
#include "edit/match/parts.h"
#include "server/server_files.h"

namespace tov_server {

class JointText {
 public:
  // Refers to the names and the texts of `server`, which has to outlive it. Cost: one pass over the
  // texts to find out what stands around the includes, and one to put them together.
  explicit JointText(const ServerFiles& server);

  // Has `file` of the files, which then may be one more, read by one of the includes around
  // servers, at the place among the others that its name gives it. Until then it has no text.
  struct NewFile {
    std::string name;
    std::size_t in = 0;       // the file that the include stands in
    std::size_t include = 0;  // which one of its includes
  };
  void Add(const NewFile& file);

  // By position in ServerFiles::files, then the one that was added. A file comes once, where the
  // server reads it first. What is read in servers only, and what the server would refuse, is left
  // out, but the main file.
  enum class What {
    kAll,
    kCounting  // without ServerFile::left_out
  };
  tov_edit::Parts Join(What what = What::kAll) const;

  // The same with other texts, which have to outlive the result. In these, the includes that have
  // something read have to be there, in the same order. A condition is the one that has been read
  // where as many are opened by these words as before, or none of those has held, or all have. A
  // new one counts.
  tov_edit::Parts Join(const tov_edit::NewTexts& texts, What what = What::kAll) const;

  // Whether something does not count.
  bool LeavesOut() const;

  // The files that the server would refuse, as findings named "syntax".
  const std::vector<tov_edit::Finding>& problems() const { return m_problems; }

  // Whether a file is one of the text.
  bool Holds(std::size_t file) const { return m_reached[file] && m_files[file].readable; }

  // Whether an include stands around servers, and its file is one of the text.
  bool IsOuter(std::size_t file, std::size_t include) const;

 private:
  struct OuterInclude {
    std::size_t number = 0;  // among the includes of its file
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    std::vector<std::size_t> files;
  };

  struct File {
    std::string name;
    std::string_view text;
    std::vector<OuterInclude> includes;
    std::vector<LeftOut> left_out;
    bool readable = true;
  };

  class Joining;

  void Read(std::size_t number, const ServerFile& file);
  std::vector<OuterInclude> IncludesIn(std::size_t number, std::string_view text) const;
  std::vector<LeftOut> LeftOutIn(std::size_t number, std::string_view text) const;

  Dialect m_dialect;
  std::vector<File> m_files;
  std::vector<tov_edit::Finding> m_problems;
  std::vector<bool> m_reached;  // by files: it is one of the text
};

}  // namespace tov_server
