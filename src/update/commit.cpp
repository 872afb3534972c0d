// SPDX-License-Identifier: Apache-2.0

#include "update/commit.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <optional>
#include <utility>

#include "update/cancelled_wait.h"
#include "update/explained_output.h"
#include "update/failure.h"
#include "update/open_files.h"
#include "update/replacement.h"
#include "update/server_warnings.h"
#include "update/shell_command.h"
#include "update/side_by_side.h"
#include "update/stop_signals.h"
#include "update/swap.h"
#include "update/work_files.h"

namespace tov_update {
namespace {

constexpr char kStagedPlace[] = "{}";
constexpr char kNothingIsChanged[] = ", nothing is changed";
constexpr char kOldOnesAreBack[] = ", the old ones are back";
constexpr char kOldFilesAreBack[] = ", the old files are back";
constexpr char kCancelled[] = "cancelled";

// --- Texts ---

std::string WithReplaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
  return text;
}

// What a command has said about the files, for the end of a message.
std::string Said(const std::string& output, const std::vector<JudgedFile>& files) {
  const std::string said = ExplainedOutput(output, files);
  return said.empty() ? said : ":\n" + said;
}

JudgedFile Judged(const Change& change) {
  return {change.file.Name(), change.file.Path(), change.text};
}

std::vector<JudgedFile> Judged(const std::vector<Change>& changes) {
  std::vector<JudgedFile> judged;
  judged.reserve(changes.size());
  for (const Change& change : changes) judged.push_back(Judged(change));
  return judged;
}

std::vector<std::string> Explained(std::vector<std::string> warnings,
                                   const std::vector<Change>& changes) {
  if (warnings.empty()) return warnings;
  const std::vector<JudgedFile> files = Judged(changes);
  for (std::string& warning : warnings) warning = ExplainedOutput(warning, files);
  return warnings;
}

// --- New files ---

Replacement StagedFile(const Change& change) {
  const LockedFile& file = change.file;
  const WorkFiles work(file.Path());
  Replacement staged(file.Name(), file.Path(), work.new_file, work.old_file);
  staged.Guard(file, change.text);
  staged.Stage(change.text, file.Exists() ? &file.Opened() : nullptr);
  return staged;
}

Replacement StagedBackup(LockedFile& file, const std::string& suffix) {
  const WorkFiles work(file.Path());
  Replacement staged(file.Name() + suffix, file.Path() + suffix, work.new_backup, work.old_backup);
  staged.Stage(file.Read(), &file.Opened());
  return staged;
}

// --- The road ---

sigset_t NoSignals() {
  sigset_t none = {};
  sigemptyset(&none);
  return none;
}

class Road {
 public:
  Road(const std::vector<Change>& changes, const UpdateOptions& options,
       const Cancellation* cancellation)
      : m_changes(changes), m_options(options), m_terms(NoSignals()) {
    if (options.hold_stop_signals) m_terms.signals = m_held.emplace().Before();
    m_terms.cancellation = cancellation;
    m_terms.limit = options.command_limit;
    m_terms.is_watched = !options.hold_stop_signals;
  }

  UpdateResult Go(std::size_t open_files) {
    const bool judge_staged = m_options.check.find(kStagedPlace) != std::string::npos;
    const bool judge_in_place = !judge_staged && !m_options.check.empty();
    const bool compare = judge_in_place && m_options.new_warnings != NewWarnings::kNotLookedFor;
    const std::string said_before = compare ? SaidOfOldFiles() : std::string();

    constexpr std::size_t kNew = 1;
    constexpr std::size_t kNewAndBackup = 2;
    const std::size_t for_each = m_options.backup_suffix ? kNewAndBackup : kNew;
    const std::size_t at_most = open_files + for_each * m_changes.size();
    ExpectOpenFiles(at_most);
    if (m_options.jobs > 1) MakeRoomFor(at_most);
    std::vector<Replacement> staged = Staged();
    if (judge_staged) {
      for (const Change& change : m_changes) JudgeStaged(change);
    }
    ForEachSideBySide(staged.size(), m_options.jobs,
                      [&staged](std::size_t i) { staged.at(i).ExpectOld(); });
    ExpectNotCancelled();

    const std::size_t backups = staged.size() - m_changes.size();
    Swap swap(std::move(staged), backups, m_options.jobs);
    swap.PutInPlace();
    std::vector<std::string> warnings;
    if (judge_in_place) {
      const std::string said = JudgeInPlace(swap);
      if (compare) warnings = NewServerWarnings(said_before, said);
    }
    if (!warnings.empty() && m_options.new_warnings == NewWarnings::kRefused) {
      RefuseWarnings(warnings, swap);
    }
    UpdateResult result = Result(std::move(warnings));
    swap.ExpectInPlace();
    if (IsCancelled()) TakeBackAndThrow<Cancelled>(swap, kCancelled, kOldFilesAreBack, {});
    if (!m_options.reload.empty()) Reload(swap);
    swap.Settle();
    return result;
  }

 private:
  bool IsCancelled() const {
    return CancelledWithin(std::chrono::milliseconds(0), m_terms.cancellation);
  }

  void ExpectNotCancelled() const {
    if (IsCancelled()) throw Cancelled(std::string(kCancelled) + kNothingIsChanged);
  }

  // What the check says of the old files. Whether it takes them does not matter.
  std::string SaidOfOldFiles() const {
    const std::string& check = m_options.check;
    const CommandResult result = RunInShell(check, m_terms);
    const bool is_by_signal = !result.Succeeded() && m_held && m_held->Waiting();
    if (result.stopped == Stopped::kCancelled) ThrowCancelled(check, result);
    if (result.stopped == Stopped::kTimedOut || is_by_signal) {
      throw Failure(check + ": stopped (" + result.end + ')' + kNothingIsChanged,
                    DataOf(check, result));
    }
    return result.output;
  }

  // The backups come first: a file that is new has its backup then.
  std::vector<Replacement> Staged() const {
    std::vector<std::string> paths;
    paths.reserve(m_changes.size());
    for (const Change& change : m_changes) paths.push_back(change.file.Path());
    const LeftBehind left_behind(paths);
    StagedOnes backups(m_changes.size());
    StageEach(backups, [&](const Change& change, StagedOne& backup) {
      const std::string& path = change.file.Path();
      if (left_behind.MayBeBeside(path)) WorkFiles(path).RemoveLeftovers(path);
      if (!m_options.backup_suffix || !change.file.Exists()) return;
      backup.emplace(StagedBackup(change.file, *m_options.backup_suffix));
    });
    StagedOnes files(m_changes.size());
    StageEach(files,
              [](const Change& change, StagedOne& file) { file.emplace(StagedFile(change)); });
    std::vector<Replacement> staged;
    staged.reserve(backups.size() + files.size());
    for (StagedOnes* const ones : {&backups, &files}) {
      for (StagedOne& one : *ones) {
        if (one) staged.push_back(std::move(*one));
      }
    }
    FlushAll(staged);
    return staged;
  }

  using StagedOne = std::optional<Replacement>;
  using StagedOnes = std::vector<StagedOne>;

  // One for each change.
  template <typename Step>
  void StageEach(StagedOnes& staged, const Step& step) const {
    ForEachSideBySide(m_changes.size(), m_options.jobs, [&](std::size_t i) {
      ExpectNotCancelled();
      step(m_changes.at(i), staged.at(i));
    });
  }

  void JudgeStaged(const Change& change) const {
    const std::string& check = m_options.check;
    const std::string& path = change.file.Path();
    const std::string staged = WorkFiles(path).new_file;
    const CommandResult result =
        RunInShell(WithReplaced(check, kStagedPlace, ShellQuoted(staged)), m_terms);
    if (result.Succeeded()) return;
    if (result.stopped == Stopped::kCancelled) ThrowCancelled(check, result);
    FailureData data = DataOf(check, result);
    data.files = {change.file.Name()};
    throw ServerRefusal(change.file.Name() + ": refused by '" + check + "' (" + result.end + ')' +
                            kNothingIsChanged +
                            Said(WithReplaced(result.output, staged, path), {Judged(change)}),
                        data);
  }

  [[noreturn]] static void ThrowCancelled(const std::string& command, const CommandResult& result) {
    throw Cancelled(command + ": " + kCancelled + kNothingIsChanged, DataOf(command, result));
  }

  // The message: the problem, what has been done, what has been said.
  template <typename Exception>
  [[noreturn]] static void TakeBackAndThrow(Swap& swap, const std::string& problem,
                                            const std::string& done, const FailureData& data,
                                            const std::string& said = "") {
    swap.TakeBack(problem + said, data);
    throw Exception(problem + done + said, data);
  }

  // What the check says of the new files, which it takes.
  std::string JudgeInPlace(Swap& swap) const {
    const std::string& check = m_options.check;
    const CommandResult result = swap.Run(check, m_terms);
    if (result.Succeeded()) return result.output;
    const FailureData data = DataOf(check, result);
    const std::string said = Said(result.output, Judged(m_changes));
    if (result.stopped == Stopped::kCancelled) {
      TakeBackAndThrow<Cancelled>(swap, check + ": " + kCancelled, kOldFilesAreBack, data, said);
    }
    TakeBackAndThrow<ServerRefusal>(swap, check + ": refuses the new files (" + result.end + ')',
                                    kOldOnesAreBack, data, said);
  }

  void RefuseWarnings(const std::vector<std::string>& warnings, Swap& swap) const {
    CommandResult result;
    result.exit_status = 0;
    for (const std::string& warning : warnings) {
      result.output += (result.output.empty() ? "" : "\n") + warning;
    }
    TakeBackAndThrow<ServerRefusal>(
        swap, m_options.check + ": warns of the new files as it did not of the old ones",
        ", which are back", DataOf(m_options.check, result),
        Said(result.output, Judged(m_changes)));
  }

  void Reload(Swap& swap) const {
    const std::string& reload = m_options.reload;
    const CommandResult result = swap.Run(reload, m_terms);
    if (result.Succeeded()) return;
    const bool is_cancelled = result.stopped == Stopped::kCancelled;
    const FailureData data = DataOf(reload, result);
    const std::string problem =
        reload + ": " +
        (is_cancelled ? kCancelled : "fails with the new files (" + result.end + ')');
    const std::string said = Said(result.output, Judged(m_changes));
    swap.TakeBack(problem + said, data);
    const std::string message = problem + (is_cancelled ? kOldFilesAreBack : kOldOnesAreBack) +
                                ReloadOld(is_cancelled) + said;
    if (is_cancelled) throw Cancelled(message, data);
    throw ServerRefusal(message, data);
  }

  // How it is then. The cancellation has done its part.
  std::string ReloadOld(bool is_cancelled) const {
    CommandTerms terms = m_terms;
    if (is_cancelled) {
      constexpr std::chrono::milliseconds kLongest = std::chrono::seconds(10);
      terms.cancellation = nullptr;
      terms.limit = std::min(terms.limit.value_or(kLongest), kLongest);
    }
    const CommandResult again = RunInShell(m_options.reload, terms);
    return again.Succeeded() ? " and it succeeds with them"
                             : " but it fails with them, too (" + again.end + ')';
  }

  // When all goes well to the end.
  UpdateResult Result(std::vector<std::string> warnings) const {
    UpdateResult result;
    for (const Change& change : m_changes) {
      result.changed.push_back(change.file.Name());
      if (m_options.backup_suffix && change.file.Exists()) {
        result.backups.push_back(change.file.Name() + *m_options.backup_suffix);
      }
    }
    result.new_warnings = Explained(std::move(warnings), m_changes);
    result.checked = !m_options.check.empty();
    result.reloaded = !m_options.reload.empty();
    return result;
  }

  const std::vector<Change>& m_changes;
  const UpdateOptions& m_options;
  std::optional<HeldStopSignals> m_held;
  CommandTerms m_terms;
};

}  // namespace

UpdateResult CarryOut(const std::vector<Change>& changes, const UpdateOptions& options,
                      const Cancellation* cancellation, std::size_t open_files) {
  return Road(changes, options, cancellation).Go(open_files);
}

}  // namespace tov_update
