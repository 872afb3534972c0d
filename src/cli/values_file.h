// SPDX-License-Identifier: Apache-2.0

// Named values, and the files that hold them.
#pragma once

#include <string>

#include "edit/request.h"

namespace cli {

using tov_edit::Values;

// The values in `text`: an object (a mapping) with a member for each name, which is the new value
// (a string or null) or an object with the members "old" and "new" (each a string or null, or left
// out), and "read_old" (true or false, see tov_edit::OldAndNew):
//
//   {"root": "/srv/b", "name": {"old": "a.example", "new": "b.example"},
//    "ip": {"read_old": true, "new": "10.0.0.2"}}
//
// `file` says how to read it: "x.json" is JSON, "x.yaml" and "x.yml" are YAML, under any other name
// a text that begins with a brace is JSON. In YAML, every scalar is a string as it is written,
// "port: 80" and "tls: on", but for null in its usual spellings; quotes make that a string, too.
// There may be one document, without aliases; an empty one has no values.
//
// The values are put over `earlier` ones: a side that is given replaces the earlier one, null too.
//
// Throws Failure for anything else, as "FILE:LINE:COLUMN: what is wrong"; also for a name given
// twice, of which one would otherwise be lost without a word.
Values ParseValues(const std::string& text, const std::string& file, Values earlier = {});

// The same for the content of `file`, "-" for standard input. Throws Failure also when it cannot be
// read.
Values ReadValuesFile(const std::string& file, Values earlier = {});

}  // namespace cli
