// SPDX-License-Identifier: Apache-2.0

#include "server/shadow_check.h"

#include <filesystem>
#include <ios>
#include <map>
#include <optional>

#include "server/check_command.h"
#include "server/shadow_tree.h"
#include "update/explained_output.h"
#include "update/failure.h"
#include "update/server_warnings.h"
#include "update/shell_command.h"
#include "update/stop_signals.h"

namespace tov_server {
namespace {

using tov_update::CommandResult;
using tov_update::NewWarnings;
using tov_update::Stopped;
using tov_update::UpdateOptions;

sigset_t NoSignals() {
  sigset_t none = {};
  sigemptyset(&none);
  return none;
}

class Check {
 public:
  Check(const UpdateOptions& options, const ServerFiles& server, const std::vector<FileEdit>& files,
        const tov_update::Cancellation* cancellation)
      : m_options(options),
        m_command(options.check),
        m_server(server),
        m_files(files),
        m_main(AbsolutePath(server.files.front().name)),
        m_terms(NoSignals()) {
    if (options.hold_stop_signals) m_terms.signals = m_held.emplace().Before();
    m_terms.cancellation = cancellation;
    m_terms.limit = options.command_limit;
    m_terms.is_watched = !options.hold_stop_signals;
    for (const FileEdit& file : files) {
      m_new_texts[file.name] = file.text;
      if (!file.is_new) m_old_texts[file.name] = file.old_text;
    }
  }

  ShadowJudgement Run() {
    if (!CheckCommandWith(m_command, m_main, m_server.dialect, "")) {
      return {"it is no plain test of the server's", {}};
    }
    const ShadowTree after(m_server, m_new_texts, ServerRootIn(m_command, m_main));
    if (!after.problem().empty()) return {after.problem(), {}};
    const CommandResult judged = Ask(after);
    const bool refused = !judged.Succeeded();
    if (refused && judged.stopped == Stopped::kNot && !TakesOldFiles()) {
      return {"it does not take a copy of the configuration as it is", {}};
    }
    if (refused) Refuse(judged, "refuses the new files (" + judged.end + ')');
    ShadowJudgement judgement;
    if (m_options.new_warnings == NewWarnings::kNotLookedFor) return judgement;
    judgement.new_warnings = tov_update::NewServerWarnings(AskOfOldFiles().output, judged.output);
    if (m_options.new_warnings == NewWarnings::kRefused && !judgement.new_warnings.empty()) {
      RefuseWarnings(judgement.new_warnings);
    }
    for (std::string& warning : judgement.new_warnings) {
      warning = tov_update::ExplainedOutput(warning, Judged());
    }
    return judgement;
  }

 private:
  // What the server says of a tree, with the real names.
  CommandResult Ask(const ShadowTree& tree) const {
    CommandResult result = RunCommand(tree.In(""));
    result.output = tree.WithRealNames(std::move(result.output));
    return result;
  }

  CommandResult AskOfOldFiles() const {
    CommandResult result = Ask(ShadowTree(m_server, m_old_texts, ServerRootIn(m_command, m_main)));
    if (result.stopped == Stopped::kTimedOut) ThrowStopped(result);
    return result;
  }

  // Asks about `tree`; "": about the files in their places.
  CommandResult RunCommand(const std::string& tree) const {
    const std::string command = *CheckCommandWith(m_command, m_main, m_server.dialect, tree);
    CommandResult result = tov_update::RunInShell(command, m_terms);
    if (m_held && m_held->Waiting()) ThrowStopped(result);
    if (result.stopped == Stopped::kCancelled) {
      throw tov_update::Cancelled(m_command + ": cancelled, nothing is changed",
                                  tov_update::DataOf(m_command, result));
    }
    return result;
  }

  [[noreturn]] void ThrowStopped(const CommandResult& result) const {
    throw tov_update::Failure(m_command + ": stopped, nothing is changed",
                              tov_update::DataOf(m_command, result));
  }

  // Whether the server takes a copy of what is there, or takes what is there as little: then a
  // refusal of the new files is about these.
  bool TakesOldFiles() const { return AskOfOldFiles().Succeeded() || !RunCommand("").Succeeded(); }

  std::vector<tov_update::JudgedFile> Judged() const {
    std::vector<tov_update::JudgedFile> judged;
    for (const FileEdit& file : m_files) {
      judged.push_back({file.name, AbsolutePath(file.name), file.text});
    }
    return judged;
  }

  [[noreturn]] void Refuse(const CommandResult& result, const std::string& what) const {
    const std::string said = tov_update::ExplainedOutput(result.output, Judged());
    throw tov_update::ServerRefusal(
        m_command + ": " + what + ", nothing is changed" + (said.empty() ? "" : ":\n" + said),
        tov_update::DataOf(m_command, result));
  }

  [[noreturn]] void RefuseWarnings(const std::vector<std::string>& warnings) const {
    CommandResult result;
    result.exit_status = 0;
    for (const std::string& warning : warnings) {
      result.output += (result.output.empty() ? "" : "\n") + warning;
    }
    Refuse(result, "warns of the new files as it did not of the old ones");
  }

  const UpdateOptions& m_options;
  const std::string& m_command;
  const ServerFiles& m_server;
  const std::vector<FileEdit>& m_files;
  const std::string m_main;
  std::map<std::string, std::string> m_old_texts;  // by names
  std::map<std::string, std::string> m_new_texts;

  std::optional<tov_update::HeldStopSignals> m_held;  // what is made in the meantime is removed
  tov_update::CommandTerms m_terms;
};

}  // namespace

ShadowJudgement JudgeInShadow(const UpdateOptions& options, const ServerFiles& server,
                              const std::vector<FileEdit>& files,
                              const tov_update::Cancellation* cancellation) {
  try {
    return Check(options, server, files, cancellation).Run();
  } catch (const std::filesystem::filesystem_error& error) {
    return {error.what(), {}};
  } catch (const std::ios_base::failure& error) {
    return {"no copy of the configuration can be made: " + std::string(error.what()), {}};
  }
}

}  // namespace tov_server
