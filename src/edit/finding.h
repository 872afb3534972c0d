// SPDX-License-Identifier: Apache-2.0

// What speaks against an edit, or should be known about it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "template/export.h"

namespace tov_edit {

// A place in a file. Lines and columns count from 1, columns in bytes; 0: none in particular.
struct FilePlace {
  std::string file;
  std::size_t line = 0;
  std::size_t column = 0;
};

// "site.conf:12:5", without what is 0, and without control characters of the name.
QELTEMPLATE_EXPORT std::string Shown(const FilePlace& place);

// What a request can be given so that an edit is made that was refused.
enum class Remedy {
  kAll,    // Request::all
  kQuote,  // Request::quote
  kRaw     // Request::raw, with the names in Finding::values
};

// One thing that was found: sentences for people, and what they are made of.
struct Finding {
  std::string name;       // of the kind: "ambiguous", see below
  std::string message;    // what is wrong, without its place: "'server {' fits several blocks: ..."
  std::string hint = {};  // what to do instead; "": there is nothing to say

  FilePlace template_place = {};  // the line of the template that it is about; line 0: none

  // What of the configuration it is about, the most important first; of very many the first ones
  // (kMostPlacesNamed in edit/limits.h). Before the edit; of `in_result` in the edited text.
  std::vector<FilePlace> config_places = {};
  bool in_result = false;

  std::vector<std::string> values = {};  // the names of those that it is about
  std::vector<Remedy> remedies = {};     // each would do
  bool can_be_forced = false;            // by Request::forced, with the name

  // Of a finding of Lint or Inspect: the line that it is about, as it stands there.
  std::string line_text = {};
};

// Where it is: in the template if it is about a line of that, else in the configuration. A place
// without a file when it is about neither.
QELTEMPLATE_EXPORT const FilePlace& PlaceOf(const Finding& finding);

// Where it is, what is wrong, and what to do, without control characters: "site.template:2:3: ...
// is not there. Correct ...".
QELTEMPLATE_EXPORT std::string Shown(const Finding& finding);

struct Findings {
  std::vector<Finding> refusals;
  std::vector<Finding> warnings;
};

// `text` without what would move the cursor of a terminal.
QELTEMPLATE_EXPORT std::string Printable(std::string_view text);

// `text` in quotes for a message, on one line, cut when it is long.
QELTEMPLATE_EXPORT std::string Quoted(std::string_view text);

// A name of findings, with what they are about, for help texts.
struct FindingKind {
  const char* name;
  const char* what;
};

// Those for which an edit is refused: the first ones can be switched off, see Request::forced, the
// others not. And those that are only said. One more refusal should never come, and is none of
// these: "fault", when the edited text is not what the template means.
QELTEMPLATE_EXPORT extern const std::vector<FindingKind> kForcedRefusals;
QELTEMPLATE_EXPORT extern const std::vector<FindingKind> kFirmRefusals;
QELTEMPLATE_EXPORT extern const std::vector<FindingKind> kEditWarnings;

}  // namespace tov_edit
