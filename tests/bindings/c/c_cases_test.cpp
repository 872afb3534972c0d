// SPDX-License-Identifier: Apache-2.0

// The edits of the C++ tests, made through the C interface: all of each result is the same.
//
//   c_cases_test FOLDER   which tests/edit/case_writer.h has written
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "bindings/c/c_edit.h"
#include "qeltemplate_c.h"

namespace {

using nlohmann::json;

// The bytes of which each is a character, and the other way round.
std::string Bytes(const json& value) {
  const std::string text = value;
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80U) {
      bytes += text[i];
    } else {
      const auto next = static_cast<unsigned char>(text[++i]);
      bytes += static_cast<char>((lead & 0x3U) << 6U | (next & 0x3fU));
    }
  }
  return bytes;
}

json Characters(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80U) {
      text += c;
    } else {
      text += static_cast<char>(0xc0U | (byte >> 6U));
      text += static_cast<char>(0x80U | (byte & 0x3fU));
    }
  }
  return text;
}

// --- The request ---

void Do(qel_status status, const CError& error) {
  if (status != QEL_OK) throw std::runtime_error(error.Message());
}

void SetNames(qel_request request, const json& names,
              qel_status (*set)(qel_request, const char*, size_t, qel_error*)) {
  for (const json& name : names) {
    CError error;
    const std::string bytes = Bytes(name);
    Do(set(request, bytes.data(), bytes.size(), error.Out()), error);
  }
}

void Import(void* context, qel_import import, const char* name, size_t name_size, const char* file,
            size_t file_size, size_t line) {
  for (const json& answer : *static_cast<const json*>(context)) {
    if (Bytes(answer["name"]) != std::string(name, name_size)) continue;
    if (Bytes(answer["from"]["file"]) != std::string(file, file_size)) continue;
    if (answer["from"]["line"] != line) continue;
    const json& found = answer["found"];
    if (found.is_null()) return;
    const std::string problem = Bytes(found["problem"]);
    if (!problem.empty()) {
      qel_import_problem(import, problem.data(), problem.size(), nullptr);
      return;
    }
    const std::string real = Bytes(found["name"]);
    const std::string text = Bytes(found["text"]);
    qel_import_found(import, real.data(), real.size(), text.data(), text.size(), nullptr);
    return;
  }
}

std::optional<std::string> Value(const json& value, const char* which) {
  if (!value.contains(which)) return std::nullopt;
  return Bytes(value[which]);
}

void Fill(const CRequest& request, const json& c) {
  const qel_request handle = request.Handle();
  for (const auto& [name, value] : c["values"].items()) {
    const std::optional<std::string> old_value = Value(value, "old");
    const std::optional<std::string> new_value = Value(value, "new");
    request.SetValue(Bytes(name), old_value ? &*old_value : nullptr,
                     new_value ? &*new_value : nullptr);
    if (value.contains("read_old")) SetNames(handle, json::array({name}), qel_request_read_old);
  }
  const std::pair<const char*, int> options[] = {{"all", QEL_ALL},
                                                 {"must_exist", QEL_MUST_EXIST},
                                                 {"skip_missing", QEL_SKIP_MISSING},
                                                 {"quote", QEL_QUOTE}};
  for (const auto& [name, option] : options) {
    CError error;
    Do(qel_request_set_option(handle, option, c[name].get<bool>() ? 1 : 0, error.Out()), error);
  }
  const int create = c["create"] == "never"  ? QEL_CREATE_NEVER
                     : c["create"] == "only" ? QEL_CREATE_ONLY
                                             : QEL_CREATE_IF_MISSING;
  CError error;
  Do(qel_request_set_create(handle, create, error.Out()), error);
  SetNames(handle, c["forced"], qel_request_force);
  SetNames(handle, c["raw"], qel_request_raw);
  SetNames(handle, c["must_be_used"], qel_request_must_use);
  if (c["imports"].is_null()) return;
  Do(qel_request_set_importer(handle, Import, const_cast<json*>(&c["imports"]), nullptr,
                              error.Out()),
     error);
}

// --- The result ---

json Finding(const CResult& result, int kind, size_t index) {
  const qel_result handle = result.Handle();
  const auto text = [&](auto get) { return Characters(result.Get(get, kind, index)); };
  json finding = {{"name", text(qel_finding_name)},
                  {"message", text(qel_finding_message)},
                  {"hint", text(qel_finding_hint)},
                  {"said", text(qel_finding_said)},
                  {"template_place",
                   {{"file", text(qel_finding_template_file)},
                    {"line", qel_finding_template_line(handle, kind, index)},
                    {"column", qel_finding_template_column(handle, kind, index)}}},
                  {"config_places", json::array()},
                  {"in_result", qel_finding_in_result(handle, kind, index) == 1},
                  {"values", json::array()},
                  {"remedies", json::array()},
                  {"can_be_forced", qel_finding_can_be_forced(handle, kind, index) == 1}};
  for (size_t i = 0; i < qel_finding_config_count(handle, kind, index); ++i) {
    finding["config_places"].push_back(
        {{"file", Characters(result.Get(qel_finding_config_file, kind, index, i))},
         {"line", qel_finding_config_line(handle, kind, index, i)},
         {"column", qel_finding_config_column(handle, kind, index, i)}});
  }
  for (size_t i = 0; i < qel_finding_value_count(handle, kind, index); ++i) {
    finding["values"].push_back(Characters(result.Get(qel_finding_value, kind, index, i)));
  }
  const int remedies = qel_finding_remedies(handle, kind, index);
  if ((remedies & QEL_REMEDY_ALL) != 0) finding["remedies"].push_back("all");
  if ((remedies & QEL_REMEDY_QUOTE) != 0) finding["remedies"].push_back("quote");
  if ((remedies & QEL_REMEDY_RAW) != 0) finding["remedies"].push_back("raw");
  return finding;
}

json Findings(const CResult& result, int kind) {
  json findings = json::array();
  for (size_t i = 0; i < qel_finding_count(result.Handle(), kind); ++i) {
    findings.push_back(Finding(result, kind, i));
  }
  return findings;
}

json Changes(const CResult& result) {
  const qel_result handle = result.Handle();
  json changes = json::array();
  for (size_t i = 0; i < qel_result_change_count(handle); ++i) {
    json places = json::array();
    for (size_t place = 0; place < qel_result_change_place_count(handle, i); ++place) {
      places.push_back({{"file", Characters(result.Get(qel_result_change_place_file, i, place))},
                        {"line", qel_result_change_place_line(handle, i, place)}});
    }
    changes.push_back({{"line", qel_result_change_line(handle, i)},
                       {"count", qel_result_change_lines(handle, i)},
                       {"text", Characters(result.Get(qel_result_change_text, i))},
                       {"template_lines", places}});
  }
  return changes;
}

json Made(const json& c) {
  const CRequest request(c["dialect"].get<std::string>().c_str(), Bytes(c["template"]),
                         Bytes(c["template_name"]));
  Fill(request, c);
  const CResult result(request, Bytes(c["config"]), Bytes(c["config_name"]));
  const bool refused = qel_finding_count(result.Handle(), QEL_REFUSALS) > 0;
  if (result.Status() != (refused ? QEL_REFUSED : QEL_OK)) throw std::runtime_error("the status");
  return {{"text", Characters(result.Text())},
          {"changed", qel_result_changed(result.Handle()) == 1},
          {"skipped", qel_result_skipped(result.Handle()) == 1},
          {"changes", Changes(result)},
          {"refusals", Findings(result, QEL_REFUSALS)},
          {"warnings", Findings(result, QEL_WARNINGS)}};
}

// What was written down, without the columns of template lines, which are 0 or not handed out.
json Expected(const json& c) {
  json expected = c["result"];
  for (json& change : expected["changes"]) {
    for (json& place : change["template_lines"]) place.erase("column");
  }
  return expected;
}

// Whether all is the same.
bool Try(const std::string& line) {
  const json c = json::parse(line);
  const json expected = Expected(c);
  std::string problem;
  try {
    const json made = Made(c);
    if (made == expected) return true;
    problem = json::diff(expected, made).dump(1);
  } catch (const std::exception& error) {
    problem = error.what();
  }
  std::cerr << c["test"] << "\n" << problem << "\n" << line << "\n";
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  size_t tried = 0;
  size_t wrong = 0;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line); ++tried) {
      if (!Try(line)) ++wrong;
    }
  }
  std::cout << tried << " edits, " << wrong << " with another result\n";
  return tried > 0 && wrong == 0 ? 0 : 1;
}
