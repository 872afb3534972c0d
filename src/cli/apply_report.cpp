// SPDX-License-Identifier: Apache-2.0

#include "cli/apply_report.h"

#include <cstddef>
#include <utility>

#include "report/json.h"
#include "report/json_writer.h"
#include "update/failure.h"

namespace cli {
namespace {

using report::JsonWriter;

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

void WriteFile(JsonWriter& json, const ReportedFile& file) {
  json.Begin('{');
  json.Member("file", file.name);
  if (file.dialect) json.Member("dialect", NameOf(*file.dialect));
  if (file.edit != nullptr) WriteMembers(json, *file.edit);
  if (file.diff) json.Member("diff", *file.diff);
  if (!file.problem.empty()) json.Member("problem", file.problem);
  json.End('}');
}

// Of a failure about commands and files: what is known of them.
void WriteData(JsonWriter& json, const tov_update::FailureData& data) {
  if (!data.files.empty()) json.Member("files", data.files);
  if (!data.not_put_back.empty()) json.Member("not_put_back", data.not_put_back);
  if (!data.command.empty()) {
    json.Member("command", data.command);
    json.Member("output", data.output);
  }
  if (data.exit_status) json.Member("exit_status", static_cast<std::size_t>(*data.exit_status));
  if (data.signal) json.Member("signal", static_cast<std::size_t>(*data.signal));
}

void WriteFailure(JsonWriter& json, const std::exception_ptr& failure) {
  json.Name("failure");
  json.Begin('{');
  try {
    std::rethrow_exception(failure);
  } catch (const tov_update::Failure& error) {
    json.Member("message", std::string(error.what()));
    WriteData(json, error.Data());
  } catch (const std::exception& error) {
    json.Member("message", std::string(error.what()));
  }
  json.End('}');
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
  JsonWriter json;
  json.Begin('{');
  json.Member("outcome", OutcomeName(report.outcome));
  json.Member("written", report.written);
  json.Member("changed", report.written ? update.changed : WouldChange(report.files));
  json.Member("backups", update.backups);
  json.Member("checked", update.checked);
  json.Member("reloaded", update.reloaded);
  json.Member("new_warnings", update.new_warnings);
  json.Member("left_out", report.left_out);
  json.Name("files");
  json.Begin('[');
  for (const ReportedFile& file : report.files) WriteFile(json, file);
  json.End(']');
  if (report.server != nullptr) {
    json.Name("warnings");
    report::Write(json, report.server->warnings);
    json.Name("refusals");
    report::Write(json, report.server->refusals);
  }
  if (report.failure) WriteFailure(json, report.failure);
  json.End('}');
  return std::move(json).Text();
}

}  // namespace cli
