// SPDX-License-Identifier: Apache-2.0

#include "cli/apply_report.h"

#include "report/json.h"
#include "report/json_writer.h"
#include "update/failure.h"

namespace cli {
namespace {

using nlohmann::ordered_json;

const char* OutcomeName(ExitCode code) {
  switch (code) {
    case kRefused:
      return "refused";
    case kRefusedByServer:
      return "refused-by-server";
    case kOvertaken:
      return "overtaken";
    case kDone:
    case kChanged:
      return "done";
    default:
      return "failed";
  }
}

ordered_json FileJson(const ReportedFile& file) {
  ordered_json json = {{"file", file.name}};
  if (file.dialect) json["dialect"] = NameOf(*file.dialect);
  if (file.edit != nullptr) json.update(report::Json(*file.edit));
  if (file.diff) json["diff"] = *file.diff;
  if (!file.problem.empty()) json["problem"] = file.problem;
  return json;
}

// Of a failure about commands and files: what is known of them.
ordered_json DataJson(const tov_update::FailureData& data) {
  ordered_json json = ordered_json::object();
  if (!data.files.empty()) json["files"] = data.files;
  if (!data.not_put_back.empty()) json["not_put_back"] = data.not_put_back;
  if (!data.command.empty()) {
    json["command"] = data.command;
    json["output"] = data.output;
  }
  if (data.exit_status) json["exit_status"] = *data.exit_status;
  if (data.signal) json["signal"] = *data.signal;
  return json;
}

ordered_json FailureJson(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const tov_update::Failure& error) {
    ordered_json json = {{"message", error.what()}};
    json.update(DataJson(error.Data()));
    return json;
  } catch (const std::exception& error) {
    return {{"message", error.what()}};
  }
}

std::vector<std::string> WouldChange(const std::vector<ReportedFile>& files) {
  std::vector<std::string> names;
  for (const ReportedFile& file : files) {
    if (file.edit != nullptr && file.edit->changed) names.push_back(file.name);
  }
  return names;
}

}  // namespace

std::string ReportText(const ApplyReport& report) {
  const tov_update::UpdateResult update = report.update.value_or(tov_update::UpdateResult());
  ordered_json json = {{"outcome", OutcomeName(report.outcome)}, {"written", report.written}};
  json["changed"] = report.written ? update.changed : WouldChange(report.files);
  json["backups"] = update.backups;
  json["checked"] = update.checked;
  json["reloaded"] = update.reloaded;
  json["new_warnings"] = update.new_warnings;
  json["left_out"] = report.left_out;
  json["files"] = ordered_json::array();
  for (const ReportedFile& file : report.files) json["files"].push_back(FileJson(file));
  if (report.failure) json["failure"] = FailureJson(report.failure);
  return report::JsonText(json);
}

}  // namespace cli
