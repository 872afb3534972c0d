// SPDX-License-Identifier: Apache-2.0

// Asks the real Apache httpd how it reads texts.
//
// httpd reads a whole text into a tree first and carries the tree out then, in the order of the
// text. So what is wrong with lines and sections is found before any directive is looked at, but
// for those that are carried out while reading: Include, Define, LoadModule, Use and others,
// <IfModule> and other conditions, <Macro>. Only that the opening line of an ordinary section has a
// ">" is seen by that section itself, when the tree is carried out.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "server/server_folder.h"

struct Answer {
  enum class Kind {
    kReads,        // to its end
    kSyntaxError,  // in the line `line`
    kUnclosed,     // the text ends in a section
    kStopped       // at the line `line`, by a directive that fails; what follows was not looked at
  };
  Kind kind = Kind::kReads;
  std::size_t line = 0;
  std::string message;
};

class Httpd {
 public:
  Httpd();

  // How it reads each of the texts into a tree. Conditions that are open at the end are seen, too,
  // which httpd itself lets pass. Cost: one start of httpd, and one for each text that is refused.
  std::vector<Answer> Read(const std::vector<std::string>& texts) const;

  // The same and the tree carried out. Conditions that are open at the end are not seen.
  std::vector<Answer> CarryOut(const std::vector<std::string>& texts) const;

  // What httpd prints with `options` when it is asked about all texts together, which it takes.
  // Throws when it does not. Text number i is in a file "texti.conf".
  std::string Print(const std::vector<std::string>& texts, const std::string& options) const;

 private:
  std::string Start(const std::string& config, const std::string& options, bool& taken) const;

  ServerFolder m_folder;
};
