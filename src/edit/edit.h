// SPDX-License-Identifier: Apache-2.0

// The careful edit of a configuration: a template is carried out on the blocks that it means, and
// on nothing else. Start here.
//
//   tov_edit::Request request;
//   request.dialect = tov_edit::Dialect::kNginx;
//   request.template_text = "server {\n  server_name {% $name %};\n}\n";
//   request.values["name"] = {"a.example", "b.example"};
//   const tov_edit::Result result = tov_edit::Edit(request, text, "site.conf");
//   if (result.refusals.empty()) use(result.text);
//
// The text is read as its server reads it (src/document), the template by the engine
// (src/template). template_tree.h makes a tree of the template, address.h finds its blocks, plan.h
// decides what becomes of their directives, layout.h writes that into the text, and meant_tree.h
// looks whether the result is what was meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "edit/finding.h"
#include "edit/report.h"
#include "edit/request.h"
#include "template/export.h"

namespace tov_edit {

// Lines of a text in whose place others have come.
struct Change {
  std::size_t line = 1;                   // the number of the first one, from 1
  std::size_t count = 0;                  // how many; 0: the new ones have come before that line
  std::string text;                       // the new ones, with their line ends; "": there are none
  std::vector<FilePlace> template_lines;  // whose doing it is
};

struct Result {
  std::string text;      // edited; as it was, when the edit is refused
  bool changed = false;  // it is another one than before
  bool skipped = false;  // it has none of the template's blocks, see Request::skip_missing

  // What makes the edited text of the one before, when it is carried out from the last one to the
  // first. They do not touch. Of a refused edit what would be done but for the refusals.
  std::vector<Change> changes;

  std::vector<Finding> refusals;
  std::vector<Finding> warnings;
};

// Carries `request` out on `text`. Only what the edit is for differs in the result; where nothing
// has to change, it is the same byte by byte. An edit that would do other than the template says is
// refused: the result holds the reasons. `name` stands for the text in messages.
//
// Throws std::length_error for a text of 4 GiB or more, and what the request's importer throws.
// Cost: two passes over the text, one before the edit and one after; the rest depends on the blocks
// that the template means.
QELTEMPLATE_EXPORT Result Edit(const Request& request, std::string_view text,
                               const std::string& name);

// The same edit, and what became of each line of the template. Of a refused edit the report tells
// what would be done but for the refusals.
struct Explained {
  Result result;
  EditReport report;
};
QELTEMPLATE_EXPORT Explained Explain(const Request& request, std::string_view text,
                                     const std::string& name);

// The template's own result: the opening and closing lines of its blocks and what identifies them,
// with the new values and without the branches not taken. No configuration is looked at. Values are
// judged as in an edit.
QELTEMPLATE_EXPORT Result Prototype(const Request& request);

}  // namespace tov_edit
