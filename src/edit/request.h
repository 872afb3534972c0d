// SPDX-License-Identifier: Apache-2.0

// What is asked of an edit.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "document/dialect.h"
#include "edit/finding.h"

namespace tov_edit {

using tov_document::Dialect;

// A value of a template. None: not given.
struct OldAndNew {
  std::optional<std::string> old_value;  // what the configuration holds now
  std::optional<std::string> new_value;  // what it is to hold

  // The old value is what each configuration says itself, in the lines of the template that hold
  // the value; see old_values.h. An `old_value` goes before it.
  bool read_old = false;
};

using Values = std::map<std::string, OldAndNew>;  // by name

// Whether blocks that are not there may be made.
enum class Create {
  kIfMissing,  // edit what is there, make what is not
  kNever,      // only edit what is there
  kOnly        // only make what is not there
};

// A file that a template imports.
struct ImportedFile {
  std::string name;  // that tells it from all others, for messages and for imports in it
  std::string text;
  std::string problem = {};  // why its text cannot be had, for a refusal; "": here it is
};

// Finds what `name` stands for in an import that is written at `from`; none: there is no such file.
// What it throws passes through the edit. FileImporter (file_importer.h) reads files.
using Importer =
    std::function<std::optional<ImportedFile>(const std::string& name, const FilePlace& from)>;

// An edit, with all that it needs but the configuration: it can be carried out on any number of
// texts, by several threads at a time if the importer can.
struct Request {
  Dialect dialect = Dialect::kNginx;
  std::string template_name;  // for messages, and for the importer
  std::string template_text;

  // A value without an old one is taken for what the configuration holds already.
  Values values;

  Importer importer;  // none: there is nothing to import

  Create create = Create::kIfMissing;
  bool all = false;         // edit each block that fits; false: several are refused
  bool must_exist = false;  // what is to be removed has to be there

  // Leave a text alone that has none of the template's blocks; where all of these are sought by
  // their names, also one that its server would not take.
  bool skip_missing = false;

  // Values that a line or a condition of the template has to use: those that somebody has named by
  // hand, perhaps wrongly.
  std::set<std::string> must_be_used;

  // The values are texts: one that would not be read as such is written in quotes, or with escapes
  // where its place stands in quotes already, so that the server reads just it. A trailing place
  // without quotes around it still takes its value as it is, as any number of words. Old values are
  // compared as these texts. What cannot be written so is refused as "value".
  bool quote = false;

  // Fill Result::changes. Costs a look at all lines before the last change.
  bool list_changes = true;

  std::set<std::string> forced;  // the refusals that do not count, by name
  std::set<std::string> raw;     // the values that may be more than a word, by name
};

}  // namespace tov_edit
