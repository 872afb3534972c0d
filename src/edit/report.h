// SPDX-License-Identifier: Apache-2.0

// What became of each line of a template in an edit, and why.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "edit/finding.h"

namespace tov_edit {

struct EditReport {
  struct Statement {
    FilePlace place;
    std::string text;           // "if $ssl == on"
    std::string values;         // of a condition's names: "ssl is 'off'"
    bool is_branch = false;     // if, elif, else
    bool result = true;         // the branch was taken; the imported file was there
    std::size_t next_item = 0;  // the line of the template behind it
  };

  // What a template line has to do with one directive of the configuration.
  struct Event {
    enum class Kind { kFound, kAdded, kChanged, kRemoved };

    Kind kind = Kind::kFound;
    FilePlace place;   // before the edit; line 0: it is new
    std::string from;  // as it was; "" for a new one
    std::string to;    // as it is; "" for one that is gone
  };

  enum class Action {
    kAdded,
    kChanged,
    kRemoved,
    kAlreadyThere,
    kNotThere,      // had to go, and is not there
    kMissingValue,  // a place has no value
    kNoBlock,       // its block is neither there nor made
    kNothing        // it only closes a block, or the edit is refused because of it
  };

  // A line of the template that is not a statement.
  struct Item {
    FilePlace place;
    std::string text;  // as in the template
    bool taken = true;
    std::optional<std::size_t> stopped_by;  // the statement because of which it is not taken
    std::string line;                       // with its values; "" when one is missing
    std::string key;  // what it is found by: the line with its old values, or its beginning
    bool key_is_beginning = false;
    std::vector<std::string> missing;  // the names of the values that it has none for
    std::optional<std::size_t> block;  // none: it stands outside every block
    bool opens = false;
    std::vector<Event> events;
    Action action = Action::kNothing;
  };

  // A block of the template.
  struct Block {
    std::size_t item = 0;            // its opening line
    std::string text;                // as the template has it
    std::vector<FilePlace> places;   // in the configuration before the edit
    std::vector<std::string> found;  // what stands there: "server (a.example, *:80)"
    bool created = false;
    bool renamed = false;
    bool undecided = false;  // several blocks fit, so the edit is refused
  };

  std::vector<Statement> statements;
  std::vector<Item> items;
  std::vector<Block> blocks;
};

}  // namespace tov_edit
