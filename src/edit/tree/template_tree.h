// SPDX-License-Identifier: Apache-2.0

// A template with its values, as its server would read it.
//
// The engine reads the template: it carries out the statements and puts in the values. What it
// makes of each line is then read by the grammar of the server: a directive with its words, the
// opening or the closing of a block. So the template becomes a tree like that of a configuration.
//
// This folder is all that is known of a template by itself, and of its values. Start here.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "edit/finding.h"
#include "edit/request.h"
#include "edit/tree/authored_line.h"

namespace tov_edit {

// A line that is not a statement.
struct TemplateLine {
  using Kind = LineKind;

  Kind kind = Kind::kBlank;
  FilePlace place;        // of its first byte that is no blank
  std::string text;       // as it is written, trimmed, without the template's own comment
  bool enabled = true;    // its branch was taken; false: what it stands for has to go
  std::size_t block = 0;  // the innermost block around it; an opening's and a closing's own

  WrittenPtr now;  // with the new values; null: one is missing
  WrittenPtr was;  // with the old values; null: one is missing

  // For a line that stands for the directive with this beginning, whatever follows: with the old
  // values, where these are known, and with the new ones.
  std::optional<Beginning> beginning;
  std::optional<Beginning> new_beginning;

  bool old_given = false;            // one of its values was said to have been another one
  std::vector<std::string> missing;  // the values that it has no new one for

  // With its new values it is more than one directive, and was allowed to be: only `now->text`
  // counts.
  bool raw = false;
};

struct TemplateBlock {
  std::size_t opening = 0;  // lines
  std::size_t closing = 0;
  std::size_t parent = 0;  // the block around it
  bool enabled = true;

  // The lines in it that are directives or comments, and the opening lines of blocks, in order.
  std::vector<std::size_t> children;
};

struct Statement {
  FilePlace place;
  std::string text;      // without its delimiters: "if $ssl == on"
  bool result = true;    // of a branch: it was taken; of an import: the file was there
  std::size_t next = 0;  // the line behind it
};

// The whole template counts as the block 0, which has no opening.
struct TemplateTree {
  std::vector<TemplateLine> lines;
  std::vector<TemplateBlock> blocks;
  std::vector<Statement> statements;
};

// Reads the request's template. What is wrong with it, or with the values, goes to `findings`; with
// refusals of the name "template" the tree is not to be used. Throws what the request's importer
// throws.
TemplateTree ReadTemplate(const Request& request, Findings& findings);

// The same as if the values `unknown` were not given, but in conditions, where their new ones
// count.
TemplateTree ReadTemplate(const Request& request, const std::set<std::string>& unknown,
                          Findings& findings);

// The skeleton of what the template stands for, with the new values: the lines of taken branches
// that open or close a block or, in nginx, identify one, joined by line ends. What is wrong goes to
// `findings`, as from ReadTemplate; with refusals the text is not to be used.
std::string Prototype(const Request& request, Findings& findings);

}  // namespace tov_edit
