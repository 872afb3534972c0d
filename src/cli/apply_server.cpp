// SPDX-License-Identifier: Apache-2.0

#include "cli/apply_server.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/apply_report.h"
#include "cli/diff.h"
#include "cli/failure.h"
#include "cli/findings.h"
#include "cli/terminal.h"
#include "cli/text_io.h"
#include "server/check_command.h"
#include "server/server_edit.h"
#include "server/server_files.h"
#include "server/shadow_check.h"
#include "update/failure.h"
#include "update/update.h"

namespace cli {
namespace {

using tov_server::FileEdit;
using tov_server::ServerFiles;

class ServerRun {
 public:
  explicit ServerRun(const ApplyOptions& options) : m_options(options) {
    ServerOptions reading = options.reading;
    reading.main = options.configs.empty() ? std::string() : options.configs.front();
    reading.dialect = options.dialect;
    m_reading = ReadingOf(reading);
  }

  Outcome operator()() {
    Request request = LoadRequest(m_options);
    SetGuards(m_options, request.edit);
    request.edit.skip_missing = m_options.skip_missing;
    request.edit.list_changes = m_options.json;
    SetDialect(request, m_reading.dialect);
    m_server = ReadWithProgress(m_reading);
    m_result = tov_server::EditServer(request.edit, m_server, {m_options.new_in});
    for (const Finding& warning : m_result.warnings) Say("warning: " + Said(warning));
    try {
      RefuseIfFound(m_result.refusals, m_server.files.front().name, "not edited:");
    } catch (const Refusal& refusal) {
      if (!m_options.json) throw;
      Say(refusal.what());
      return {Report(kRefused), kRefused};
    }
    if (m_options.WritesFiles() && !m_result.files.empty()) Write();
    Outcome outcome;
    if (m_options.exit_code && !m_result.files.empty()) outcome.exit_code = kChanged;
    if (m_options.json) {
      outcome.text = Report(outcome.exit_code);
    } else {
      for (const FileEdit& file : m_result.files) outcome.text += Shown(file);
    }
    return outcome;
  }

 private:
  std::string Report(ExitCode code) const {
    ApplyReport report;
    report.outcome = code;
    report.written = m_options.WritesFiles();
    report.update = m_committed;
    report.server = &m_result;
    std::vector<tov_edit::Result> edits(m_result.files.size());
    for (std::size_t i = 0; i < edits.size(); ++i) {
      const FileEdit& file = m_result.files[i];
      edits[i].changed = true;
      edits[i].changes = file.changes;
      ReportedFile reported;
      reported.name = file.name;
      reported.dialect = m_reading.dialect;
      reported.edit = &edits[i];
      if (m_options.diff) reported.diff = UnifiedDiff(file.old_text, file.text, file.name);
      report.files.push_back(std::move(reported));
    }
    return ReportText(report);
  }

  // What standard output gets of a file.
  std::string Shown(const FileEdit& file) const {
    if (m_options.diff) {
      const std::string diff = UnifiedDiff(file.old_text, file.text, file.name);
      return WantsColour(m_options.colour) ? Coloured(diff) : diff;
    }
    const char* const done = m_options.in_place && !m_options.dry_run ? "" : "would be ";
    return file.name + ": " + done + (file.is_new ? "made" : "changed") + '\n';
  }

  void Write() {
    tov_update::FileUpdate update = Locked();
    ExpectUntouched(update);
    tov_update::UpdateOptions commit = UpdateFor(m_options, m_reading.dialect);
    if (m_options.ChecksByDialect()) {
      commit.check = tov_server::CheckCommandOf(m_server.files.front().name, m_reading.dialect);
    }
    CheckBesides(commit);
    for (std::size_t i = 0; i < update.Size(); ++i) update.Replace(i, TextOf(update.Name(i)));
    m_committed = update.Commit(commit);
    for (const std::string& warning : m_committed->new_warnings) {
      Say("warning: " + commit.check + ": " + warning);
    }
    if (m_judged) {
      m_committed->checked = true;
      m_committed->new_warnings = *m_judged;
    }
  }

  // All files that change.
  tov_update::FileUpdate Locked() const {
    std::vector<std::string> names;
    const FileEdit* made = nullptr;
    for (const FileEdit& file : m_result.files) {
      if (file.is_new) made = &file;
      if (!file.is_new) names.push_back(file.name);
    }
    tov_update::AllowOpenFiles(m_result.files.size());
    return made == nullptr ? tov_update::FileUpdate::OfMany(names, JobsOf(m_options))
                           : tov_update::FileUpdate::WithMissing(names, made->name);
  }

  const std::string& TextOf(const std::string& name) const {
    return std::find_if(m_result.files.begin(), m_result.files.end(),
                        [&name](const FileEdit& file) { return file.name == name; })
        ->text;
  }

  // What was judged is what there is, also in the files that stay: a name may have come there.
  void ExpectUntouched(tov_update::FileUpdate& update) const {
    for (std::size_t i = 0; i < update.Size(); ++i) {
      const auto edit =
          std::find_if(m_result.files.begin(), m_result.files.end(),
                       [&](const FileEdit& file) { return file.name == update.Name(i); });
      if (update.Read(i) != edit->old_text) ThrowOvertaken(edit->name);
    }
    const ServerFiles now = tov_server::ReadServer(m_reading);
    const std::size_t both = std::min(now.files.size(), m_server.files.size());
    for (std::size_t i = 0; i < both; ++i) {
      const bool same = now.files[i].name == m_server.files[i].name &&
                        now.files[i].text == m_server.files[i].text;
      if (!same) ThrowOvertaken(now.files[i].name);
    }
    if (now.files.size() > both) ThrowOvertaken(now.files[both].name);
    if (m_server.files.size() > both) ThrowOvertaken(m_server.files[both].name);
  }

  [[noreturn]] static void ThrowOvertaken(const std::string& file) {
    tov_update::FailureData data;
    data.files = {file};
    throw tov_update::Overtaken(
        file + ": another program has changed this file meanwhile; nothing is written", data);
  }

  // The server's judgement before anything is put in its place, where that can be had.
  void CheckBesides(tov_update::UpdateOptions& commit) {
    if (commit.check.empty() || commit.check.find("{}") != std::string::npos) return;
    tov_server::ShadowJudgement judgement =
        tov_server::JudgeInShadow(commit, m_server, m_result.files);
    if (!judgement.why_not.empty()) {
      Say(commit.check + ": asked when the new files are in place, since " + judgement.why_not);
      return;
    }
    m_judged = std::move(judgement.new_warnings);
    for (const std::string& warning : *m_judged) {
      Say("warning: " + commit.check + ": " + warning);
    }
    commit.check.clear();
    commit.new_warnings = tov_update::NewWarnings::kNotLookedFor;
  }

  const ApplyOptions& m_options;
  tov_server::ReadingOptions m_reading;
  ServerFiles m_server;
  tov_server::ServerResult m_result;
  std::optional<std::vector<std::string>> m_judged;     // the warnings of a judgement before
  std::optional<tov_update::UpdateResult> m_committed;  // none: nothing is put in place
};

}  // namespace

Outcome ApplyToServer(const ApplyOptions& options) {
  return ServerRun(options)();
}

}  // namespace cli
