// SPDX-License-Identifier: Apache-2.0

// What became of each line of a template in an edit, and why.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/addresses.h"
#include "cli/findings.h"
#include "cli/guard.h"
#include "cli/source_text.h"
#include "cli/template_run.h"

namespace cli {

// A line of a template or of a configuration. Line 0: it is only in the edited text.
struct ReportedPlace {
  std::string file;
  std::size_t line = 0;
};

struct EditReport {
  // A statement of the template.
  struct Statement {
    ReportedPlace place;
    std::string text;    // "if $ssl == on"
    std::string values;  // of a condition's names: "ssl is 'off'"
    bool is_condition = false;
    bool is_branch = false;  // if, elif, else
    bool result = true;
    std::size_t next_item = 0;  // the line of the template behind it
  };

  // What a template line has to do with one line of the configuration.
  struct Event {
    enum class Kind { kFound, kAdded, kChanged, kRemoved } kind;
    std::size_t line = 0;  // its number before the edit; 0: it is new
    std::string from;      // its text before; "" for a new one
    std::string to;        // and after; "" for one that is gone
  };

  enum class Action {
    kAdded,
    kChanged,
    kRemoved,
    kAlreadyThere,
    kNotThere,      // had to go, and is not there
    kMissingValue,  // a place has no value
    kOutside,       // stands outside every block
    kNoBlock,       // its block is neither there nor made
    kNoKey,         // nothing is left of it with its values
    kNoEffect       // the library does not understand it, or another line of the template undid it
  };

  // A line of the template that is not a statement.
  struct Item {
    ReportedPlace place;
    std::string text;  // as in the template
    bool taken = true;
    std::optional<std::size_t> stopped_by;  // the statement because of which it is not taken
    std::string line;                       // with its values; "" when one is missing
    std::string key;
    bool part_key = false;
    std::vector<std::string> missing;  // the names of the values that it has none for
    std::optional<std::size_t> block;
    bool opens = false;
    std::vector<Event> events;
    Action action = Action::kNoEffect;
  };

  // A block of the template.
  struct Block {
    std::size_t item = 0;             // its opening line
    std::vector<std::string> path;    // in the configuration; empty: it is not there
    std::vector<std::string> own;     // the path by which the template itself calls it
    std::optional<std::size_t> line;  // of its opening line in the configuration before the edit
    bool created = false;
    bool renamed = false;
  };

  // A line of the configuration about which the library was told something else.
  struct Shown {
    std::size_t line = 0;
    std::string text;
    std::string shown;
  };

  // Lines of the configuration that others stand for, see TextEdit.
  struct Edit {
    std::size_t line = 1;
    std::size_t count = 0;
    std::string text;
    std::vector<std::size_t> items;  // whose doing it is
  };

  std::vector<Statement> statements;
  std::vector<Item> items;
  std::vector<Block> blocks;
  std::vector<Shown> shown;     // to the library otherwise than it stands in the file
  std::vector<Shown> put_back;  // that the library would have dropped
  std::vector<Edit> edits;
  std::vector<Finding> refusals;
  std::vector<Finding> warnings;
};

// What an editor knows at the end of an edit.
struct ReportSource {
  const MadeEdit& edit;
  const TemplateRun& as_written;  // the template, its lines not yet given to blocks
  const std::vector<bool>& created;
  const std::vector<bool>& renamed;
  const std::vector<std::size_t>& put_back;  // positions of lines
  const std::vector<EditedLine>& edited;
};

// All but the findings.
EditReport ReportEdit(const ReportSource& source);

// The names of the places in `line` of a template, in their order.
std::vector<std::string> PlaceNames(const std::string& line);

// Says of each name in the condition `statement` what its value is.
std::string ConditionValues(const std::string& statement,
                            const tov_template::Template::Values& values);

}  // namespace cli
