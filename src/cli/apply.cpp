// SPDX-License-Identifier: Apache-2.0

// qeltemplate apply: the edited configurations, or what the edit changes, or the files replaced.

#include <sys/types.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

#include "cli/apply_options.h"
#include "cli/apply_report.h"
#include "cli/apply_server.h"
#include "cli/command.h"
#include "cli/diff.h"
#include "cli/findings.h"
#include "cli/guard_options.h"
#include "cli/leftovers.h"
#include "cli/parallel.h"
#include "cli/request.h"
#include "cli/terminal.h"
#include "cli/text_io.h"
#include "edit/edit.h"
#include "edit/prepared_edit.h"
#include "update/locked_file.h"
#include "update/update.h"

namespace cli {
namespace {

constexpr char kFooter[] = R"(
The edited text goes to standard output, or where --in-place or --output say.
Only the lines that the edit changes differ from CONFIG. A block of the template
that is not in CONFIG is made. Imports are looked up beside the file that names
them first, then in the current directory.

The edit is refused when it would do something else than the template says. The
message ends with the reason in brackets; the reasons are listed below. For some
of them --force REASON makes the edit all the same. Where several blocks fit,
--all edits all of them. For a value that does not fit its place, --quote writes
it in quotes, and --raw NAME puts it in, whatever it holds.

Several CONFIG need --diff, --in-place, --dry-run or --json. With --in-place all
of them are replaced, or none. A CONFIG that is named like a backup or an editor's
copy of another one given ("site.orig" beside "site") is left out.

A CMD of --check that holds "{}" is run for each new text before that is put in
place, with its path for "{}". Any other CMD is run once, when all new texts are in
place. When it refuses them, or the CMD of --reload fails, the old files are put
back.

Examples:
  qeltemplate apply --dialect nginx --template site.template \
      --old name=example.com --set name=shop.example.com --diff site.conf
  qeltemplate apply --template site.template --values site.yaml \
      --in-place=.orig --check --reload 'systemctl reload nginx' \
      /etc/nginx/sites-available/*)";

constexpr char kExitHelp[] =
    R"(Exit status: 0 done, 1 something changed (with --exit-code only), 2 wrong usage,
3 failed, 4 the edit is refused, 5 the server refuses the result, 7 another
program has changed a file meanwhile.)";

constexpr char kNothingWritten[] = "nothing is written: all files or none";

// --- The command line ---

std::string CheckSuffix(const std::string& suffix) {
  if (suffix.find('/') == std::string::npos) return std::string();
  return "the suffix '" + suffix + "' must not hold a '/'";
}

std::string CheckCommandText(const std::string& command) {
  return command.empty() ? "the command is empty" : std::string();
}

bool ReadsStandardInput(const ApplyOptions& options) {
  if (options.server) return false;
  return options.configs.empty() ||
         std::any_of(options.configs.begin(), options.configs.end(), IsStandardInput);
}

void RequireFilesToWrite(const ApplyOptions& options, const char* option) {
  if (options.in_place || !options.output.empty()) return;
  throw CLI::ValidationError(option,
                             "there is nothing to ask the server about without --in-place "
                             "or --output");
}

void Exclude(bool one, bool other, const char* option, const char* other_option) {
  if (one && other) throw CLI::ValidationError(option, std::string("excludes ") + other_option);
}

void CheckServerOptions(const ApplyOptions& options) {
  if (!options.server) {
    RefuseServerOptions(options.reading, options.new_in);
    return;
  }
  Exclude(true, !options.output.empty(), "--server", "--output");
  if (options.configs.size() > 1) {
    throw CLI::ValidationError("--server", "takes one CONFIG, the server's main file");
  }
  if (!options.configs.empty() && IsStandardInput(options.configs.front())) {
    throw CLI::ValidationError("--server", "a server is not read from standard input");
  }
  if (!options.diff && !options.in_place && !options.dry_run && !options.json) {
    throw CLI::ValidationError("--server", "needs --diff, --in-place, --dry-run or --json");
  }
}

void Check(const ApplyOptions& options) {
  CheckRequestOptions(options);
  Exclude(options.in_place, !options.output.empty(), "--in-place", "--output");
  CheckGuardOptions(options);
  if (options.configs.size() > 1) {
    if (!options.output.empty()) throw CLI::ValidationError("--output", "takes one CONFIG only");
    if (!options.diff && !options.in_place && !options.dry_run && !options.json) {
      throw CLI::ValidationError("CONFIG", "several need --diff, --in-place, --dry-run or --json");
    }
    if (ReadsStandardInput(options)) {
      throw CLI::ValidationError("CONFIG", "\"-\" cannot be one of several");
    }
  }
  if (ReadsStandardInput(options)) {
    RefuseValuesOnStandardInput(options);
    if (options.in_place) {
      throw CLI::ValidationError("--in-place", "standard input cannot be replaced; name a CONFIG");
    }
  }
  CheckServerOptions(options);
  if (options.check) RequireFilesToWrite(options, "--check");
  if (!options.reload.empty()) RequireFilesToWrite(options, "--reload");
}

void AddOutputOptions(CLI::App& command, ApplyOptions& options) {
  command.add_flag("--diff", options.diff, "Write a unified diff instead of the edited text");
  AddColourOption(command, options.colour, "the diff");
  AddOptionalValue(command, "--in-place", "SUFFIX", options.backup_suffix,
                   "Replace CONFIG; with SUFFIX, keep the old one as CONFIG+SUFFIX")
      ->check(CheckSuffix);
  AddFileOption(command, "--output", options.output, "Write the edited text to FILE");
  command.add_flag("--dry-run", options.dry_run,
                   "Only say what would change: nothing is written, checked or reloaded");
  AddOptionalValue(
      command, "--check", "CMD", options.check_command,
      "Have the server judge the result, by CMD or its own test; strict: no new warning");
  command.add_flag("--json", options.json,
                   "Write what has been done as JSON, with the diff if that is asked for");
  command.add_option("--reload", options.reload, "Run CMD when all files are in place")
      ->check(CheckCommandText)
      ->type_name("CMD");
  command.add_flag("--skip-missing", options.skip_missing,
                   "Leave alone a CONFIG that has none of the template's blocks");
  command.add_flag("--exit-code", options.exit_code, "Exit with 1 when something changed");
  command.add_option("--jobs", options.jobs, "Edit N files at a time; 0: one for each processor")
      ->type_name("N");
}

// The first of many.
std::string Listed(const std::vector<std::string>& names) {
  constexpr std::size_t kShown = 5;
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kShown); ++i) {
    list += (i == 0 ? "" : ", ") + names[i];
  }
  if (names.size() <= kShown) return list;
  return list + " and " + std::to_string(names.size() - kShown) + " more";
}

// --- One file ---

struct Result {
  std::optional<tov_edit::Dialect> dialect;
  bool changed = false;
  bool skipped = false;    // it has none of the template's blocks
  std::size_t locked = 0;  // which one of those that are locked, for an edit in place
  std::string out;         // for standard output
  std::unique_ptr<tov_edit::Result> edit;  // for the report, without its text
  std::vector<tov_edit::Finding> warnings;
  std::exception_ptr failure;
};

class Run {
 public:
  // `names` are the configurations.
  Run(const ApplyOptions& options, std::vector<std::string> names)
      : m_options(options),
        m_request(MakeRequest(options)),
        m_coloured(WantsColour(options.colour)) {
    m_names = NamesToEdit(std::move(names));
    m_results.resize(m_names.size());
    if (!options.WritesFiles()) return;
    if (options.in_place) {
      if (options.skip_missing && m_names.size() > 1) SkipUnconcerned();
      LockAll();
    } else {
      m_update.emplace(tov_update::FileUpdate::OfMissing(options.output));
    }
  }

  Outcome operator()() {
    EditAll();
    SayGuesses();
    SayWarnings();
    if (m_names.size() == 1 && m_results[0].failure && !m_options.json) {
      std::rethrow_exception(m_results[0].failure);
    }
    ExitCode code = ReportFailures();
    const bool edited = code == kDone;
    if (edited && m_update) code = CommitAndSay(UpdateFor(m_options, *m_results[0].dialect));
    if (!m_failure) SaySummary();
    if (!edited && m_options.in_place) Say(kNothingWritten);
    if (code == kDone && m_options.exit_code && AnyChanged()) code = kChanged;
    return {m_options.json ? Report(code) : TakeOutput(), code};
  }

 private:
  static Request MakeRequest(const ApplyOptions& options) {
    Request request = LoadRequest(options);
    SetGuards(options, request.edit);
    request.edit.skip_missing = options.skip_missing;
    request.edit.list_changes = options.json;
    return request;
  }

  // Without what lies beside the configurations that are meant, and was named with them.
  std::vector<std::string> NamesToEdit(std::vector<std::string> names) {
    if (names.empty()) names.emplace_back("-");
    const std::vector<std::string> left_out = LeftoversAmong(names, m_options.backup_suffix);
    if (left_out.empty()) return names;
    const std::set<std::string> leftovers(left_out.begin(), left_out.end());
    const auto is_one = [&leftovers](const std::string& name) {
      return leftovers.count(name) != 0;
    };
    names.erase(std::remove_if(names.begin(), names.end(), is_one), names.end());
    m_left_out = left_out;
    Say("left out, as copies of other files named here: " + Listed(left_out));
    return names;
  }

  // A file that has none of the blocks is locked for the moment only in which it is read. Whatever
  // else there is to say of a file is found out again when all that are concerned are locked.
  void SkipUnconcerned() {
    std::vector<std::optional<tov_update::FileMark>> marks(m_names.size());
    const tov_update::Glances glances(m_names.front());
    std::atomic<std::size_t> skipped = 0;
    std::atomic<std::size_t> concerned = 0;
    const auto look = [&](std::size_t file) noexcept {
      constexpr std::size_t kToTell = 32;
      if (concerned > kToTell && concerned > skipped) return;  // it is not worth while
      marks[file] = SkippedMark(file, glances);
      ++(marks[file] ? skipped : concerned);
    };
    const ProgressBar progress(m_names.size());
    ForEachInParallel(m_names.size(), m_options.jobs, look,
                      [&progress](std::size_t done) { progress.Show(done); });
    DropSecondNames(marks);
  }

  // The mark of a file that has none of the blocks.
  std::optional<tov_update::FileMark> SkippedMark(std::size_t file,
                                                  const tov_update::Glances& glances) noexcept {
    try {
      thread_local std::string buffer;
      Result& result = m_results[file];
      const std::optional<tov_update::Glance> glance = glances.At(m_names[file], buffer);
      if (!glance) return std::nullopt;
      Edit(file, glance->text, result);
      return result.skipped ? std::optional(glance->mark) : std::nullopt;
    } catch (...) {
      return std::nullopt;
    }
  }

  // Of the names of a file that is skipped only the first one counts.
  void DropSecondNames(const std::vector<std::optional<tov_update::FileMark>>& marks) {
    std::vector<std::tuple<dev_t, ino_t, std::size_t>> skipped;
    skipped.reserve(marks.size());
    for (std::size_t i = 0; i < marks.size(); ++i) {
      if (marks[i]) {
        skipped.emplace_back(marks[i]->device, marks[i]->inode, i);
      } else {
        m_results[i] = Result();
      }
    }
    std::sort(skipped.begin(), skipped.end());
    std::set<std::size_t> second;
    for (std::size_t i = 1; i < skipped.size(); ++i) {
      const auto& [device, inode, file] = skipped[i];
      const auto& [device_before, inode_before, file_before] = skipped[i - 1];
      if (device == device_before && inode == inode_before) second.insert(file);
    }
    Drop(second);
  }

  // The files with these numbers.
  void Drop(const std::set<std::size_t>& dropped) {
    if (dropped.empty()) return;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_names.size(); ++i) {
      if (dropped.count(i) != 0) continue;
      if (kept != i) {
        m_names[kept] = std::move(m_names[i]);
        m_results[kept] = std::move(m_results[i]);
      }
      ++kept;
    }
    m_names.resize(kept);
    m_results.resize(kept);
  }

  // Those that are not skipped.
  void LockAll() {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < m_names.size(); ++i) {
      if (!m_results[i].skipped) names.push_back(m_names[i]);
    }
    try {
      tov_update::AllowOpenFiles(names.size());
      m_update.emplace(tov_update::FileUpdate::OfMany(names, JobsOf(m_options)));
    } catch (const tov_update::Failure&) {
      if (m_names.size() > 1) Say(kNothingWritten);
      throw;
    }
    DropOtherNames();
  }

  // Of several names of a file that is locked only the first one counts.
  void DropOtherNames() {
    std::size_t locked = 0;
    std::set<std::size_t> other;
    for (std::size_t i = 0; i < m_names.size(); ++i) {
      if (m_results[i].skipped) continue;
      if (locked == m_update->Size() || m_names[i] != m_update->Name(locked)) {
        other.insert(i);
      } else {
        m_results[i].locked = locked++;
      }
    }
    Drop(other);
  }

  // Throws when it cannot be done, unless that goes into a report.
  ExitCode CommitAndSay(const tov_update::UpdateOptions& options) {
    try {
      m_committed = m_update->Commit(options);
    } catch (const tov_update::Failure& error) {
      if (!m_options.json) throw;
      Say(error.what());
      m_failure = std::current_exception();
      return ExitCodeOf(error);
    }
    for (const std::string& warning : m_committed->new_warnings) {
      Say("warning: " + options.check + ": " + warning);
    }
    return kDone;
  }

  void EditAll() {
    std::vector<std::size_t> files;
    for (std::size_t i = 0; i < m_results.size(); ++i) {
      if (!m_results[i].skipped) files.push_back(i);
    }
    const ProgressBar progress(files.size());
    ForEachInParallel(
        files.size(), m_options.jobs, [&](std::size_t i) { EditOne(files[i]); },
        [&progress](std::size_t done) { progress.Show(done); });
  }

  void EditOne(std::size_t file) noexcept {
    Result& result = m_results[file];
    try {
      const std::string text = Read(file);
      std::string edited = Edit(file, text, result);
      if (!m_options.json || m_options.diff) {
        result.out = Shown(text, edited, TextName(m_names[file]));
      }
      if (m_update && (result.changed || !m_options.in_place)) {
        m_update->Replace(m_options.in_place ? result.locked : 0, std::move(edited));
      }
    } catch (...) {
      result.failure = std::current_exception();
    }
  }

  // The edited text.
  std::string Edit(std::size_t file, std::string_view text, Result& result) {
    const std::string& name = m_names[file];
    result.dialect = m_request.dialect ? *m_request.dialect : DialectOf(text, TextName(name));
    const tov_edit::PreparedEdit& edit = EditIn(*result.dialect);
    if (!m_options.json && edit.Skips(text)) {
      result.skipped = true;
      return std::string(text);
    }
    return Edit(edit, text, TextName(name), result);
  }

  std::string Edit(const tov_edit::PreparedEdit& edit, std::string_view text,
                   const std::string& name, Result& result) const {
    tov_edit::Result made = edit.On(text, name);
    if (m_options.json) {
      result.edit = std::make_unique<tov_edit::Result>(made);
      result.edit->text.clear();
    }
    RefuseIfFound(made.refusals, name, "not edited:");
    result.skipped = made.skipped;
    result.changed = made.changed;
    result.warnings = std::move(made.warnings);
    return std::move(made.text);
  }

  // Reading the template takes longer than to edit a small file: it is read once for all.
  const tov_edit::PreparedEdit& EditIn(tov_edit::Dialect dialect) {
    const std::lock_guard lock(m_preparing);
    std::optional<tov_edit::PreparedEdit>& prepared = m_prepared[dialect];
    if (!prepared) {
      Request request = m_request;
      SetDialect(request, dialect);
      prepared.emplace(std::move(request.edit));
    }
    return *prepared;
  }

  std::string Read(std::size_t file) {
    if (m_options.in_place && m_update) return m_update->Read(m_results[file].locked);
    return IsStandardInput(m_names[file]) ? ReadStandardInput() : ReadFile(m_names[file]);
  }

  std::string Shown(const std::string& text, const std::string& edited,
                    const std::string& name) const {
    if (m_options.diff) {
      const std::string diff = UnifiedDiff(text, edited, name);
      return m_coloured && !m_options.json ? Coloured(diff) : diff;
    }
    if (m_options.dry_run) return text == edited ? "" : name + ": would be changed\n";
    return m_update ? std::string() : edited;
  }

  // --- All files ---

  void SayGuesses() const {
    if (m_request.dialect) return;
    const auto told = [](const Result& result) { return !result.failure; };
    const auto first = std::find_if(m_results.begin(), m_results.end(), told);
    if (first == m_results.end()) return;
    const auto count = std::count_if(m_results.begin(), m_results.end(), told);
    const std::string& name = m_names[static_cast<std::size_t>(first - m_results.begin())];
    SayGuess(count == 1 ? TextName(name) : std::to_string(count) + " files", *first->dialect);
  }

  // Those of the template are the same for many files: each is said once.
  void SayWarnings() const {
    std::set<std::string> said;
    for (const Result& result : m_results) {
      if (result.failure) continue;
      for (const tov_edit::Finding& warning : result.warnings) {
        const std::string message = Said(warning);
        if (said.insert(message).second) Say("warning: " + message);
      }
    }
  }

  // kDone when there are none.
  ExitCode ReportFailures() const {
    ExitCode worst = kDone;
    for (std::size_t i = 0; i < m_results.size(); ++i) {
      if (!m_results[i].failure) continue;
      const ExitCode code = SayFailure(m_results[i].failure, m_names[i]);
      if (worst != kFailed) worst = code;
    }
    return worst;
  }

  static ExitCode SayFailure(const std::exception_ptr& failure, const std::string& name) {
    Say(MessageOf(failure, name));
    return CodeOf(failure);
  }

  static std::string MessageOf(const std::exception_ptr& failure, const std::string& name) {
    try {
      std::rethrow_exception(failure);
    } catch (const std::bad_alloc&) {
      return name + ": out of memory";
    } catch (const Failure& error) {
      return error.what();
    } catch (const tov_update::Failure& error) {
      return error.what();
    } catch (const std::exception& error) {
      return name + ": " + error.what();
    }
  }

  static ExitCode CodeOf(const std::exception_ptr& failure) {
    try {
      std::rethrow_exception(failure);
    } catch (const std::exception& error) {
      return ExitCodeOf(error);
    }
  }

  void SaySummary() const {
    if (m_results.size() == 1 && m_left_out.empty() && !m_options.dry_run) return;
    std::size_t changed = 0;
    std::size_t skipped = 0;
    std::size_t refused = 0;
    std::size_t failed = 0;
    for (const Result& result : m_results) {
      if (result.failure) {
        ++(CodeOf(result.failure) == kRefused ? refused : failed);
      } else if (result.skipped) {
        ++skipped;
      } else if (result.changed) {
        ++changed;
      }
    }
    const std::size_t unchanged = m_results.size() - changed - skipped - refused - failed;
    Say(std::to_string(changed) + " changed, " + std::to_string(unchanged) + " unchanged, " +
        std::to_string(skipped + m_left_out.size()) + " skipped, " + std::to_string(refused) +
        " refused, " + std::to_string(failed) + " failed");
  }

  bool AnyChanged() const {
    return std::any_of(m_results.begin(), m_results.end(),
                       [](const Result& result) { return result.changed; });
  }

  std::string Report(ExitCode code) {
    ApplyReport report;
    report.outcome = code;
    report.written = m_options.WritesFiles();
    report.left_out = m_left_out;
    report.update = m_committed;
    report.failure = m_failure;
    for (std::size_t i = 0; i < m_names.size(); ++i) {
      Result& result = m_results[i];
      ReportedFile file;
      file.name = TextName(m_names[i]);
      file.dialect = result.dialect;
      if (result.edit) file.edit = &*result.edit;
      if (m_options.diff && !result.failure) file.diff = std::move(result.out);
      if (result.failure && (!result.edit || result.edit->refusals.empty())) {
        file.problem = MessageOf(result.failure, m_names[i]);
      }
      report.files.push_back(std::move(file));
    }
    return ReportText(report);
  }

  std::string TakeOutput() {
    std::string all = std::move(m_results[0].out);
    for (std::size_t i = 1; i < m_results.size(); ++i) all += m_results[i].out;
    return all;
  }

  const ApplyOptions& m_options;
  const Request m_request;
  const bool m_coloured;
  std::optional<tov_update::FileUpdate> m_update;
  std::vector<std::string> m_names;
  std::vector<std::string> m_left_out;
  std::optional<tov_update::UpdateResult> m_committed;
  std::exception_ptr m_failure;  // of the update, for the report
  std::vector<Result> m_results;
  std::mutex m_preparing;
  std::map<tov_edit::Dialect, std::optional<tov_edit::PreparedEdit>> m_prepared;  // by dialects
};

void AddOptions(CLI::App& command, ApplyOptions& options) {
  AddRequestOptions(command, options);
  AddOutputOptions(command, options);
  AddGuardOptions(command, options);
  command.add_flag("--server", options.server,
                   "Edit the whole server: CONFIG is its main file, or left out");
  AddNewInOption(command, options.new_in);
  AddServerOptions(command, options.reading);
  AddFiles(command, "CONFIG", options.configs,
           "The configurations; standard input when it is \"-\" or left out");
  command.footer(std::string(kValuesHelp) + kFooter + "\n\n" + RefusalHelp() + "\n" + kExitHelp);
  command.callback([&command, &options] {
    options.in_place = command.count("--in-place") > 0;
    options.check = command.count("--check") > 0;
    Check(options);
  });
}

// What goes wrong before any file is edited goes into the report, too.
Outcome RunApply(ApplyOptions& options) {
  try {
    return options.server ? ApplyToServer(options) : Run(options, std::move(options.configs))();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    if (!options.json) throw;
    Say(error.what());
    ApplyReport report;
    report.outcome = ExitCodeOf(error);
    report.written = options.WritesFiles();
    report.failure = std::current_exception();
    return {ReportText(report), report.outcome};
  }
}

}  // namespace

Command AddApply(CLI::App& program) {
  CLI::App* command = program.add_subcommand("apply", "Edit configurations by a template");
  const auto options = std::make_shared<ApplyOptions>();
  command->preparse_callback([command, options](std::size_t) { AddOptions(*command, *options); });
  return {command, [options] { return RunApply(*options); }, &options->configs};
}

}  // namespace cli
