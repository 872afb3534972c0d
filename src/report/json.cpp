// SPDX-License-Identifier: Apache-2.0

#include "report/json.h"

#include "report/sayer.h"

namespace report {
namespace {

using nlohmann::ordered_json;
using tov_edit::EditReport;
using tov_edit::FilePlace;
using tov_edit::Finding;
using Event = EditReport::Event;
using Item = EditReport::Item;
using Kind = Event::Kind;
using Statement = EditReport::Statement;

// Without what is 0.
ordered_json Json(const FilePlace& place) {
  ordered_json json = {{"file", place.file}};
  if (place.line != 0) json["line"] = place.line;
  if (place.column != 0) json["column"] = place.column;
  return json;
}

ordered_json LineJson(const FilePlace& place) {
  return Json(FilePlace{place.file, place.line, 0});
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

ordered_json Json(const Event& event) {
  ordered_json json = {{"kind", NameOf(event.kind)}};
  if (event.place.line != 0) {
    json["line"] = event.place.line;
    json["column"] = event.place.column;
  }
  if (event.kind != Kind::kAdded) json["from"] = event.from;
  if (event.kind != Kind::kRemoved) json["to"] = event.to;
  return json;
}

ordered_json Json(const Statement& statement) {
  ordered_json json = {{"place", LineJson(statement.place)}, {"text", statement.text}};
  if (statement.is_branch) json["taken"] = statement.result;
  if (!statement.is_branch && !statement.result) json["taken"] = false;
  if (!statement.values.empty()) json["values"] = statement.values;
  return json;
}

ordered_json Json(const Item& item, const Sayer& sayer) {
  ordered_json json = {{"place", LineJson(item.place)}, {"text", item.text}, {"taken", item.taken}};
  if (item.stopped_by) json["statement"] = *item.stopped_by;
  if (item.missing.empty()) {
    json["line"] = item.line;
  } else {
    json["missing"] = item.missing;
  }
  json["key"] = item.key;
  json["key_is_beginning"] = item.key_is_beginning;
  if (item.block) json["block"] = *item.block;
  json["action"] = NameOf(item.action);
  json["said"] = sayer.Said(item);
  json["lines"] = ordered_json::array();
  for (const Event& event : item.events) json["lines"].push_back(Json(event));
  return json;
}

ordered_json Json(const EditReport::Block& block) {
  ordered_json json = {{"opening", block.item},
                       {"text", block.text},
                       {"created", block.created},
                       {"renamed", block.renamed},
                       {"found", ordered_json::array()}};
  for (const FilePlace& place : block.places) {
    json["found"].push_back({{"line", place.line}, {"column", place.column}});
  }
  return json;
}

ordered_json Json(const tov_edit::Change& change) {
  ordered_json json = {{"line", change.line},
                       {"count", change.count},
                       {"text", change.text},
                       {"template_lines", ordered_json::array()}};
  for (const FilePlace& place : change.template_lines)
    json["template_lines"].push_back(LineJson(place));
  return json;
}

}  // namespace

// Not in the namespace above, in which it would not see the functions of the header.
template <class List, class... Rest>
static ordered_json JsonList(const List& list, const Rest&... rest) {
  ordered_json json = ordered_json::array();
  for (const auto& each : list) json.push_back(Json(each, rest...));
  return json;
}

ordered_json Json(const Finding& finding) {
  ordered_json json = {{"name", finding.name}, {"message", finding.message}};
  if (!finding.hint.empty()) json["hint"] = finding.hint;
  json["said"] = Shown(finding);
  if (!finding.template_place.file.empty()) json["template_place"] = Json(finding.template_place);
  if (!finding.config_places.empty()) json["config_places"] = JsonList(finding.config_places);
  if (finding.in_result) json["in_result"] = true;
  if (!finding.values.empty()) json["values"] = finding.values;
  for (const tov_edit::Remedy remedy : finding.remedies)
    json["remedies"].push_back(RemedyName(remedy));
  if (finding.can_be_forced) json["can_be_forced"] = true;
  if (!finding.line_text.empty()) json["line_text"] = finding.line_text;
  return json;
}

ordered_json Json(const std::vector<Finding>& findings) {
  return JsonList(findings);
}

ordered_json Json(const tov_edit::Result& result) {
  ordered_json json = {{"refused", !result.refusals.empty()}, {"changed", result.changed}};
  if (result.skipped) json["skipped"] = true;
  json["changes"] = JsonList(result.changes);
  json["warnings"] = Json(result.warnings);
  json["refusals"] = Json(result.refusals);
  return json;
}

ordered_json Json(const ExplainedEdit& edit) {
  const EditReport& report = edit.explained.report;
  const tov_edit::Result& result = edit.explained.result;
  const Sayer sayer(report);
  return {{"config", edit.config_name},
          {"dialect", NameOf(edit.request.dialect)},
          {"template", edit.request.template_name},
          {"refused", !result.refusals.empty()},
          {"statements", JsonList(report.statements)},
          {"template_lines", JsonList(report.items, sayer)},
          {"blocks", JsonList(report.blocks)},
          {"changes", JsonList(result.changes)},
          {"warnings", Json(result.warnings)},
          {"refusals", Json(result.refusals)}};
}

}  // namespace report
