// SPDX-License-Identifier: Apache-2.0

// Writes the edits of the tests down, for the tests of other languages, which make them once more.
//
// Where QELTEMPLATE_WRITE_CASES names a folder, each edit becomes a line of the file
// SUITE.TEST.jsonl in it, a JSON object:
//
//   test            "SUITE.TEST"
//   dialect         "nginx" or "apache"
//   template, template_name, config, config_name
//   values          of each name an object; "old", "new": where there is one
//   create          "if-missing", "never" or "only"
//   all, must_exist, skip_missing, quote    true or false
//   forced, raw, must_be_used               names
//   imports         null: there is no importer; else its answers, in their order:
//                   "name", "from" (a place), "found": null, or "name", "text", "problem"
//   result          "text", "changed", "skipped"; "changes": "line", "count", "text",
//                   "template_lines" (places); "refusals", "warnings": "name", "message", "hint",
//                   "said", "template_place", "config_places", "in_result", "values", "remedies"
//                   ("all", "quote", "raw"), "can_be_forced"
//
// A place is an object: "file", "line", "column". Each character of each string is one byte, U+0000
// to U+00FF: texts are bytes, which JSON has no other way to hold.
#pragma once

#include <string>
#include <string_view>

#include "edit/edit.h"

namespace tov_edit {

// Edit, written down.
Result RecordedEdit(const Request& request, std::string_view text, const std::string& name);

}  // namespace tov_edit
