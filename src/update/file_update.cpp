// SPDX-License-Identifier: Apache-2.0

#include "update/file_update.h"

#include <sys/resource.h>

#include <algorithm>
#include <exception>
#include <map>
#include <set>
#include <utility>

#include "update/explained_output.h"
#include "update/failure.h"
#include "update/real_paths.h"
#include "update/replacement.h"
#include "update/server_warnings.h"
#include "update/shell_command.h"
#include "update/stop_signals.h"
#include "update/swap.h"
#include "update/work_files.h"

namespace update {
namespace {

constexpr char kStagedPlace[] = "{}";

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

// A file and the text that it is to hold.
struct Change {
  LockedFile& file;
  const std::string& text;
};

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

void JudgeStaged(const std::string& check, const Change& change, const sigset_t& signals) {
  const std::string& path = change.file.Path();
  const std::string staged = WorkFiles(path).new_file;
  const CommandResult result =
      RunInShell(WithReplaced(check, kStagedPlace, ShellQuoted(staged)), signals);
  if (result.Succeeded()) return;
  throw ServerRefusal(change.file.Name(),
                      "refused by '" + check + "' (" + result.end + "), nothing is changed" +
                          Said(WithReplaced(result.output, staged, path), {Judged(change)}));
}

// What the check says of the old files. Whether it takes them does not matter.
std::string SaidOfOldFiles(const std::string& check, const HeldStopSignals& held) {
  const CommandResult result = RunInShell(check, held.Before());
  if (!result.Succeeded() && held.Waiting()) {
    throw Failure(check, "stopped (" + result.end + "), nothing is changed");
  }
  return result.output;
}

// What the check says of the new files, which it takes.
std::string JudgeInPlace(const std::string& check, Swap& swap, const std::vector<Change>& changes,
                         const sigset_t& signals) {
  const CommandResult result = swap.Run(check, signals);
  if (result.Succeeded()) return result.output;
  const std::string refusal = "refuses the new files (" + result.end + ')';
  const std::string output = Said(result.output, Judged(changes));
  swap.TakeBack(check + ": " + refusal + output);
  throw ServerRefusal(check, refusal + ", the old ones are back" + output);
}

void RefuseWarnings(const std::string& check, const std::vector<std::string>& warnings, Swap& swap,
                    const std::vector<Change>& changes) {
  std::string all;
  for (const std::string& warning : warnings) all += (all.empty() ? "" : "\n") + warning;
  const std::string refusal = "warns of the new files as it did not of the old ones";
  const std::string output = Said(all, Judged(changes));
  swap.TakeBack(check + ": " + refusal + output);
  throw ServerRefusal(check, refusal + ", which are back" + output);
}

void Reload(const std::string& reload, Swap& swap, const std::vector<Change>& changes,
            const sigset_t& signals) {
  const CommandResult result = swap.Run(reload, signals);
  if (result.Succeeded()) return;
  const std::string failure = "fails with the new files (" + result.end + ')';
  const std::string output = Said(result.output, Judged(changes));
  swap.TakeBack(reload + ": " + failure + output);
  const CommandResult again = RunInShell(reload, signals);
  const std::string outcome = again.Succeeded()
                                  ? " and it succeeds with them"
                                  : " but it fails with them, too (" + again.end + ')';
  throw ServerRefusal(reload, failure + ", the old ones are back" + outcome + output);
}

constexpr rlim_t kAnyway = 16;  // descriptors that are open or needed for a moment

// That it may have so many descriptors is seen before any is opened.
void ExpectOpenFiles(std::size_t count) {
  struct rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= count + kAnyway) return;
  throw Failure("these files at once need " + std::to_string(count + kAnyway) +
                " open files, and the limit is " + std::to_string(limit.rlim_cur) +
                " (ulimit -n); name fewer at a time");
}

// The backups come first: a file that is new has its backup then.
std::vector<Replacement> Staged(const std::vector<Change>& changes,
                                const std::optional<std::string>& backup_suffix) {
  constexpr std::size_t kFileAndBackup = 2;
  std::vector<Replacement> staged;
  staged.reserve(kFileAndBackup * changes.size());
  for (const Change& change : changes) {
    WorkFiles(change.file.Path()).RemoveLeftovers(change.file.Path());
    if (backup_suffix && change.file.Exists()) {
      staged.push_back(StagedBackup(change.file, *backup_suffix));
    }
  }
  for (const Change& change : changes) staged.push_back(StagedFile(change));
  FlushAll(staged);
  return staged;
}

}  // namespace

void AllowOpenFiles(std::size_t files) {
  constexpr std::size_t kOldNewAndBackup = 3;
  constexpr rlim_t kForTheProgram = 256;
  const rlim_t wanted = kOldNewAndBackup * files + kForTheProgram;
  struct rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= wanted) return;
  const struct rlimit more = {wanted, std::max(limit.rlim_max, wanted)};
  if (setrlimit(RLIMIT_NOFILE, &more) == 0) return;
  limit.rlim_cur = std::min(limit.rlim_max, wanted);
  setrlimit(RLIMIT_NOFILE, &limit);
}

FileUpdate::FileUpdate(const std::vector<std::string>& names, std::chrono::milliseconds lock_wait)
    : FileUpdate(names, lock_wait, LockedFile::Missing::kRefused) {}

FileUpdate FileUpdate::OfMissing(const std::string& name, std::chrono::milliseconds lock_wait) {
  return FileUpdate({name}, lock_wait, LockedFile::Missing::kAllowed);
}

FileUpdate::FileUpdate(const std::vector<std::string>& names, std::chrono::milliseconds lock_wait,
                       LockedFile::Missing missing) {
  std::map<std::string, std::size_t> by_path;
  RealPaths paths;
  for (const std::string& name : names) {
    LockedFile file(name, paths.Of(name));
    const bool is_first = by_path.emplace(file.Path(), m_files.size()).second;
    if (is_first) m_files.push_back({std::move(file), std::nullopt});
  }
  ExpectOpenFiles(by_path.size());
  const auto deadline = std::chrono::steady_clock::now() + lock_wait;
  for (const auto& [path, file] : by_path) m_files[file].locked.Lock(deadline, missing);
}

void FileUpdate::Replace(std::size_t file, std::string text) {
  File& replaced = m_files[file];
  const bool is_same = replaced.locked.Holds(text);
  replaced.new_text = is_same ? std::nullopt : std::optional(std::move(text));
}

void FileUpdate::ExpectFreeForBackups(const std::string& suffix) const {
  std::set<std::string> paths;
  for (const File& file : m_files) paths.insert(file.locked.Path());
  for (const File& file : m_files) {
    if (suffix.empty() || suffix.find('/') != std::string::npos) {
      throw Failure(file.locked.Name(), "no backup can have the suffix '" + suffix + '\'');
    }
    if (paths.count(file.locked.Path() + suffix) != 0) {
      throw Failure(file.locked.Name() + suffix, "is to be a backup, and is itself to be edited");
    }
  }
}

std::vector<std::string> FileUpdate::Commit(const UpdateOptions& options) {
  std::vector<Change> changes;
  for (File& file : m_files) {
    if (file.new_text) changes.push_back({file.locked, *file.new_text});
  }
  if (options.backup_suffix) ExpectFreeForBackups(*options.backup_suffix);
  if (changes.empty()) return {};

  const HeldStopSignals held;
  const bool judge_staged = options.check.find(kStagedPlace) != std::string::npos;
  const bool judge_in_place = !judge_staged && !options.check.empty();
  const bool compare = judge_in_place && options.new_warnings != NewWarnings::kNotLookedFor;
  const std::string said_before = compare ? SaidOfOldFiles(options.check, held) : std::string();

  constexpr std::size_t kNew = 1;
  constexpr std::size_t kNewAndBackup = 2;
  const std::size_t for_each = options.backup_suffix ? kNewAndBackup : kNew;
  ExpectOpenFiles(m_files.size() + for_each * changes.size());
  std::vector<Replacement> staged = Staged(changes, options.backup_suffix);
  if (judge_staged) {
    for (const Change& change : changes) JudgeStaged(options.check, change, held.Before());
  }
  for (Replacement& one : staged) one.ExpectOld();

  Swap swap(std::move(staged));
  swap.PutInPlace();
  std::vector<std::string> warnings;
  if (judge_in_place) {
    const std::string said = JudgeInPlace(options.check, swap, changes, held.Before());
    if (compare) warnings = NewServerWarnings(said_before, said);
  }
  if (!warnings.empty() && options.new_warnings == NewWarnings::kRefused) {
    RefuseWarnings(options.check, warnings, swap, changes);
  }
  swap.ExpectInPlace();
  if (!options.reload.empty()) Reload(options.reload, swap, changes, held.Before());
  swap.Settle();
  return Explained(std::move(warnings), changes);
}

}  // namespace update
