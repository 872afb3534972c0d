// SPDX-License-Identifier: Apache-2.0

#include "edit/case_writer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

namespace tov_edit {
namespace {

using nlohmann::ordered_json;

// Each byte as the character of its number.
std::string Bytes(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80U) {
      result += c;
    } else {
      result += static_cast<char>(0xc0U | (byte >> 6U));
      result += static_cast<char>(0x80U | (byte & 0x3fU));
    }
  }
  return result;
}

ordered_json Json(const FilePlace& place) {
  return {{"file", Bytes(place.file)}, {"line", place.line}, {"column", place.column}};
}

template <class Names>
ordered_json NamesJson(const Names& names) {
  ordered_json json = ordered_json::array();
  for (const std::string& name : names) json.push_back(Bytes(name));
  return json;
}

ordered_json Json(const Finding& finding) {
  ordered_json json = {{"name", Bytes(finding.name)},
                       {"message", Bytes(finding.message)},
                       {"hint", Bytes(finding.hint)},
                       {"said", Bytes(Shown(finding))},
                       {"template_place", Json(finding.template_place)},
                       {"config_places", ordered_json::array()},
                       {"in_result", finding.in_result},
                       {"values", NamesJson(finding.values)},
                       {"remedies", ordered_json::array()},
                       {"can_be_forced", finding.can_be_forced}};
  for (const FilePlace& place : finding.config_places) json["config_places"].push_back(Json(place));
  for (const Remedy remedy : finding.remedies) {
    json["remedies"].push_back(remedy == Remedy::kAll     ? "all"
                               : remedy == Remedy::kQuote ? "quote"
                                                          : "raw");
  }
  return json;
}

ordered_json Json(const Change& change) {
  ordered_json json = {{"line", change.line},
                       {"count", change.count},
                       {"text", Bytes(change.text)},
                       {"template_lines", ordered_json::array()}};
  for (const FilePlace& place : change.template_lines)
    json["template_lines"].push_back(Json(place));
  return json;
}

template <class List>
ordered_json ListJson(const List& list) {
  ordered_json json = ordered_json::array();
  for (const auto& each : list) json.push_back(Json(each));
  return json;
}

ordered_json Json(const Result& result) {
  return {{"text", Bytes(result.text)},
          {"changed", result.changed},
          {"skipped", result.skipped},
          {"changes", ListJson(result.changes)},
          {"refusals", ListJson(result.refusals)},
          {"warnings", ListJson(result.warnings)}};
}

ordered_json Json(const Values& values) {
  ordered_json json = ordered_json::object();
  for (const auto& [name, value] : values) {
    ordered_json& both = json[Bytes(name)] = ordered_json::object();
    if (value.old_value) both["old"] = Bytes(*value.old_value);
    if (value.new_value) both["new"] = Bytes(*value.new_value);
    if (value.read_old) both["read_old"] = true;
  }
  return json;
}

const char* NameOf(Create create) {
  switch (create) {
    case Create::kIfMissing:
      return "if-missing";
    case Create::kNever:
      return "never";
    case Create::kOnly:
      return "only";
  }
  return "";
}

ordered_json Json(const Request& request) {
  const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
  return {{"test", std::string(test.test_suite_name()) + '.' + test.name()},
          {"dialect", NameOf(request.dialect)},
          {"template", Bytes(request.template_text)},
          {"template_name", Bytes(request.template_name)},
          {"values", Json(request.values)},
          {"create", NameOf(request.create)},
          {"all", request.all},
          {"must_exist", request.must_exist},
          {"skip_missing", request.skip_missing},
          {"quote", request.quote},
          {"forced", NamesJson(request.forced)},
          {"raw", NamesJson(request.raw)},
          {"must_be_used", NamesJson(request.must_be_used)},
          {"imports", request.importer ? ordered_json::array() : ordered_json()}};
}

ordered_json Json(const std::string& name, const FilePlace& from,
                  const std::optional<ImportedFile>& found) {
  ordered_json json = {{"name", Bytes(name)}, {"from", Json(from)}, {"found", nullptr}};
  if (found) {
    json["found"] = {{"name", Bytes(found->name)},
                     {"text", Bytes(found->text)},
                     {"problem", Bytes(found->problem)}};
  }
  return json;
}

// Behind what has been written by this test already.
void Write(const std::string& folder, const ordered_json& line) {
  static std::set<std::string> begun;
  std::string test = line["test"];
  for (char& c : test) {
    if (c == '/') c = '-';
  }
  const bool first = begun.insert(test).second;
  std::ofstream file(folder + '/' + test + ".jsonl", first ? std::ios::trunc : std::ios::app);
  file << line.dump() << '\n';
  EXPECT_TRUE(file.flush()) << folder << '/' << test;
}

}  // namespace

Result RecordedEdit(const Request& request, std::string_view text, const std::string& name) {
  const char* const folder = std::getenv("QELTEMPLATE_WRITE_CASES");
  if (folder == nullptr) return Edit(request, text, name);
  ordered_json line = Json(request);
  Request recorded = request;
  if (request.importer) {
    recorded.importer = [&](const std::string& import, const FilePlace& from) {
      std::optional<ImportedFile> found = request.importer(import, from);
      line["imports"].push_back(Json(import, from, found));
      return found;
    };
  }
  Result result = Edit(recorded, text, name);
  line["config"] = Bytes(text);
  line["config_name"] = Bytes(name);
  line["result"] = Json(result);
  Write(folder, line);
  return result;
}

}  // namespace tov_edit
