// SPDX-License-Identifier: Apache-2.0

// The careful edit of a text that is made of several files: see Edit, whose rules hold across all
// of them.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "edit/edit.h"
#include "edit/finding.h"
#include "edit/match/parts.h"
#include "edit/report.h"
#include "edit/request.h"

namespace tov_edit {

// The texts of the files that change, by their positions among Parts::files().
using NewTexts = std::map<std::size_t, std::string>;

struct PartsEdit {
  const Parts& parts;
  std::string name;  // of the whole, for messages

  // The file in which blocks of the template are made when none of its blocks are there; none: that
  // is refused as "no-file", unless there is one file only.
  std::optional<std::size_t> new_file;

  // What speaks against the edit from the beginning: files that cannot be read as they stand. It
  // counts like a refusal of the edit.
  std::vector<Finding> problems;

  // The same whole with other texts of some files, which outlive the result. For the search for
  // collisions.
  std::function<Parts(const NewTexts& texts)> rejoin;

  // Whether that is without what counts for nothing, and `parts` are with it.
  bool leaves_out = false;
};

struct PartsResult {
  NewTexts texts;  // of the files that change; none when the edit is refused
  std::map<std::size_t, std::vector<Change>> changes;  // see Result::changes
  bool skipped = false;
  std::vector<Finding> refusals;
  std::vector<Finding> warnings;
};

// Carries `request` out on the whole: all files or none. Each change is made in the one file that
// it belongs to, as if that were edited by itself. What has other files read is not changed: that
// is refused as "included".
PartsResult EditParts(const Request& request, const PartsEdit& edit);

struct ExplainedParts {
  PartsResult result;
  EditReport report;
};
ExplainedParts ExplainParts(const Request& request, const PartsEdit& edit);

// The first name that the template gives to one of its servers, as it is to be. None: it gives
// none.
std::optional<std::string> FirstName(const Request& request);

// Why the server could not read this file; none: it could.
std::optional<Finding> SyntaxProblem(const tov_document::Document& document,
                                     const std::string& name);

}  // namespace tov_edit
