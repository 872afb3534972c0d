// SPDX-License-Identifier: Apache-2.0

#include "report/json.h"

#include <utility>

#include "report/json_writer.h"
#include "report/sayer.h"

namespace report {
namespace {

using tov_edit::EditReport;
using tov_edit::FilePlace;
using tov_edit::Finding;
using Event = EditReport::Event;
using Item = EditReport::Item;
using Kind = Event::Kind;
using Statement = EditReport::Statement;

// An array of what `write` writes of each.
template <class List, class Write>
void WriteList(Writer& writer, const char* name, const List& list, const Write& write) {
  writer.Name(name);
  writer.Begin('[');
  for (const auto& each : list) write(each);
  writer.End(']');
}

// Without what is 0.
void WritePlace(Writer& writer, const FilePlace& place) {
  writer.Begin('{');
  writer.Member("file", place.file);
  if (place.line != 0) writer.Member("line", place.line);
  if (place.column != 0) writer.Member("column", place.column);
  writer.End('}');
}

void WriteLine(Writer& writer, const FilePlace& place) {
  WritePlace(writer, FilePlace{place.file, place.line, 0});
}

void WriteLineMember(Writer& writer, const FilePlace& place) {
  writer.Name("place");
  WriteLine(writer, place);
}

const char* RemedyName(tov_edit::Remedy remedy) {
  switch (remedy) {
    case tov_edit::Remedy::kAll:
      return "all";
    case tov_edit::Remedy::kQuote:
      return "quote";
    case tov_edit::Remedy::kRaw:
      return "raw";
  }
  return "";
}

// Whether places in the configuration name their file: one of several.
enum class Files { kOne, kSeveral };

void WriteEvent(Writer& writer, const Event& event, Files files) {
  writer.Begin('{');
  writer.Member("kind", NameOf(event.kind));
  if (files == Files::kSeveral && !event.place.file.empty()) {
    writer.Member("file", event.place.file);
  }
  if (event.place.line != 0) {
    writer.Member("line", event.place.line);
    writer.Member("column", event.place.column);
  }
  if (event.kind != Kind::kAdded) writer.Member("from", event.from);
  if (event.kind != Kind::kRemoved) writer.Member("to", event.to);
  writer.End('}');
}

void WriteStatement(Writer& writer, const Statement& statement) {
  writer.Begin('{');
  WriteLineMember(writer, statement.place);
  writer.Member("text", statement.text);
  if (statement.is_branch || !statement.result) writer.Member("taken", statement.result);
  if (!statement.values.empty()) writer.Member("values", statement.values);
  writer.End('}');
}

void WriteItem(Writer& writer, const Item& item, const Sayer& sayer, Files files) {
  writer.Begin('{');
  WriteLineMember(writer, item.place);
  writer.Member("text", item.text);
  writer.Member("taken", item.taken);
  if (item.stopped_by) writer.Member("statement", *item.stopped_by);
  if (item.missing.empty()) {
    writer.Member("line", item.line);
  } else {
    writer.Member("missing", item.missing);
  }
  writer.Member("key", item.key);
  writer.Member("key_is_beginning", item.key_is_beginning);
  if (item.block) writer.Member("block", *item.block);
  writer.Member("action", NameOf(item.action));
  writer.Member("said", sayer.Said(item));
  WriteList(writer, "lines", item.events,
            [&](const Event& event) { WriteEvent(writer, event, files); });
  writer.End('}');
}

void WriteBlock(Writer& writer, const EditReport::Block& block, Files files) {
  writer.Begin('{');
  writer.Member("opening", block.item);
  writer.Member("text", block.text);
  writer.Member("created", block.created);
  writer.Member("renamed", block.renamed);
  WriteList(writer, "found", block.places, [&](const FilePlace& place) {
    writer.Begin('{');
    if (files == Files::kSeveral) writer.Member("file", place.file);
    writer.Member("line", place.line);
    writer.Member("column", place.column);
    writer.End('}');
  });
  writer.End('}');
}

void WriteChange(Writer& writer, const tov_edit::Change& change) {
  writer.Begin('{');
  writer.Member("line", change.line);
  writer.Member("count", change.count);
  writer.Member("text", change.text);
  WriteList(writer, "template_lines", change.template_lines,
            [&](const FilePlace& place) { WriteLine(writer, place); });
  writer.End('}');
}

void WriteChanges(Writer& writer, const std::vector<tov_edit::Change>& changes) {
  WriteList(writer, "changes", changes,
            [&](const tov_edit::Change& change) { WriteChange(writer, change); });
}

void WriteFindings(Writer& writer, const tov_edit::Result& result) {
  writer.Name("warnings");
  Write(writer, result.warnings);
  writer.Name("refusals");
  Write(writer, result.refusals);
}

// What has changed, and what was found.
void WriteOutcome(Writer& writer, const tov_edit::Result& result) {
  WriteChanges(writer, result.changes);
  WriteFindings(writer, result);
}

// What was asked for, and what became of each line of the template.
void WriteReport(Writer& writer, const ExplainedEdit& edit, Files files) {
  const EditReport& report = edit.explained.report;
  const Sayer sayer(report);
  writer.Member("dialect", NameOf(edit.request.dialect));
  writer.Member("template", edit.request.template_name);
  writer.Member("refused", !edit.explained.result.refusals.empty());
  WriteList(writer, "statements", report.statements,
            [&](const Statement& statement) { WriteStatement(writer, statement); });
  WriteList(writer, "template_lines", report.items,
            [&](const Item& item) { WriteItem(writer, item, sayer, files); });
  WriteList(writer, "blocks", report.blocks,
            [&](const EditReport::Block& block) { WriteBlock(writer, block, files); });
}

template <class Whole>
std::string ObjectJson(const Whole& whole) {
  JsonWriter json;
  json.Begin('{');
  WriteMembers(json, whole);
  json.End('}');
  return std::move(json).Text();
}

}  // namespace

void Write(Writer& writer, const Finding& finding) {
  writer.Begin('{');
  writer.Member("name", finding.name);
  writer.Member("message", finding.message);
  if (!finding.hint.empty()) writer.Member("hint", finding.hint);
  writer.Member("said", Shown(finding));
  if (!finding.template_place.file.empty()) {
    writer.Name("template_place");
    WritePlace(writer, finding.template_place);
  }
  if (!finding.config_places.empty()) {
    WriteList(writer, "config_places", finding.config_places,
              [&](const FilePlace& place) { WritePlace(writer, place); });
  }
  if (finding.in_result) writer.Member("in_result", true);
  if (!finding.values.empty()) writer.Member("values", finding.values);
  if (!finding.remedies.empty()) {
    WriteList(writer, "remedies", finding.remedies,
              [&](tov_edit::Remedy remedy) { writer.Value(RemedyName(remedy)); });
  }
  if (finding.can_be_forced) writer.Member("can_be_forced", true);
  if (!finding.line_text.empty()) writer.Member("line_text", finding.line_text);
  writer.End('}');
}

void Write(Writer& writer, const std::vector<Finding>& findings) {
  writer.Begin('[');
  for (const Finding& finding : findings) Write(writer, finding);
  writer.End(']');
}

void WriteMembers(Writer& writer, const tov_edit::Result& result) {
  writer.Member("refused", !result.refusals.empty());
  writer.Member("changed", result.changed);
  if (result.skipped) writer.Member("skipped", true);
  WriteOutcome(writer, result);
}

void WriteMembers(Writer& writer, const ExplainedEdit& edit) {
  writer.Member("config", edit.config_name);
  WriteReport(writer, edit, Files::kOne);
  WriteOutcome(writer, edit.explained.result);
}

std::string Json(const tov_edit::Result& result) {
  return ObjectJson(result);
}

std::string Json(const ExplainedEdit& edit) {
  return ObjectJson(edit);
}

std::string Json(const ExplainedServerEdit& edit) {
  JsonWriter json;
  json.Begin('{');
  json.Member("main", edit.edit.config_name);
  WriteReport(json, edit.edit, Files::kSeveral);
  WriteList(json, "files", edit.files, [&](const ChangedFile& file) {
    json.Begin('{');
    json.Member("file", file.name);
    json.Member("is_new", file.is_new);
    WriteChanges(json, file.changes);
    json.End('}');
  });
  WriteFindings(json, edit.edit.explained.result);
  json.End('}');
  return std::move(json).Text();
}

std::string LintJson(const std::vector<Finding>& warnings) {
  JsonWriter json;
  json.Begin('{');
  json.Name("warnings");
  Write(json, warnings);
  json.End('}');
  return std::move(json).Text();
}

}  // namespace report
