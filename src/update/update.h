// SPDX-License-Identifier: Apache-2.0

// Replaces the content of files in place, all of them or none, so that nothing is lost whatever
// happens meanwhile. This folder knows nothing of what the files hold. Start here.
//
//   tov_update::FileUpdate update({"/etc/nginx/sites-enabled/a", "/etc/nginx/sites-enabled/b"});
//   for (std::size_t i = 0; i < update.Size(); ++i) update.Replace(i, Edited(update.Read(i)));
//   tov_update::UpdateOptions options;
//   options.backup_suffix = "~";
//   options.check = "nginx -t";
//   options.reload = "systemctl reload nginx";
//   update.Commit(options);
//
// Each changed file NAME is written anew beside itself, as ".NAME.qeltemplate-new": a name that
// "include sites/*" does not read. It gets the owner, the mode, the ACL and the extended attributes
// of NAME, but those that /etc/xattr.conf says not to copy; where the user may not set one, the
// update fails. It is flushed to the disk and renamed to NAME. The old file is kept as
// ".NAME.qeltemplate-old" until all is well; a backup goes the same way as
// ".NAME.qeltemplate-new-backup" and ".NAME.qeltemplate-old-backup". A symbolic link is followed:
// all this happens beside the file that it leads to, and the link stays.
//
// Killed at any moment: each file, and each backup, is whole, the old one or the new one, and a
// file that is new has its backup already. A file may be new although its check or its reload was
// still to come. No lock stays behind. What does stay behind under the names above does not
// disturb: the next update of the file removes it, at the latest when it changes the file.
//
// Other programs: the lock holds off other updates of this kind, not an editor. What an editor
// saves from the lock on until Commit has done all but the reload is noticed, also while a check
// runs. It stays, nothing is put over it, all other files become the old ones again, and Commit
// throws Overtaken. The new text is kept as ".NAME.qeltemplate-kept-new", and the old one, where
// the new one was in its place already, as ".NAME.qeltemplate-kept-old". These files, and
// ".NAME.qeltemplate-kept-other", where another program and the end of this one by a signal have
// met, are left to people: no update removes them.
//
// Threads: different updates do not disturb one another, also those of the same files, of which one
// waits for the lock of the other. One update is used by one thread at a time, but as Replace says.
//
// The process: nothing that all of it shares is changed, such as its signals, its limits, its mask
// of permissions (which a file gets that was not there), its directory (which relative names are
// relative to when the update is made, and in which commands run), its environment (which they
// get), or its locale. Descriptors that are opened here are not inherited by programs. There are as
// many open as there are files, and in Commit two more for each file that changes.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "update/cancellation.h"
#include "update/export.h"
#include "update/failure.h"

namespace tov_update {

// What becomes of a warning that the server's test gives for the new files and not for the old
// ones.
enum class NewWarnings { kNotLookedFor, kTold, kRefused };

// Commands are run by /bin/sh, with nothing to read. Processes that they leave behind are not
// waited for.
struct UpdateOptions {
  // Keeps the old file as NAME + suffix, beside the file (where a symbolic link leads to). What is
  // there under that name is replaced, unless it is a directory. Not empty, without a '/'.
  std::optional<std::string> backup_suffix;

  // Lets the server judge the result; "": nobody is asked. A command that refuses by an exit status
  // other than 0.
  //
  // With "{}" in it: it is run once for each changed file before anything is put in place, and the
  // path of the new text, quoted, stands for each "{}". That is for files that are complete
  // configurations: "nginx -t -c {}".
  //
  // Without: it is run once, when all files, and backups, are in their places; when it refuses, the
  // old ones are put back. That is for files that only the server's main file makes complete, as a
  // site's: "nginx -t". A server that is restarted by others in between meets the unjudged files.
  std::string check;

  // Has the server take the new files; "": none. When it fails, the old files are put back, and it
  // is run once more: a server that the new ones have stopped gets up again.
  std::string reload;

  // Of a `check` without "{}". Where they are looked for, it is run on the old files, too, before
  // anything else is done; whether it takes them does not matter.
  NewWarnings new_warnings = NewWarnings::kNotLookedFor;

  // How long each run of a command may take; none: as long as it likes. One that takes longer is
  // stopped, and counts as refused. Its process group, which is one of its own, so that it cannot
  // ask anything at a terminal, gets SIGTERM, and SIGKILL when it has ended or two seconds later.
  std::optional<std::chrono::milliseconds> command_limit = std::nullopt;

  // For programs that a user or the system stops by signals. In the calling thread SIGINT, SIGTERM
  // and SIGHUP then wait until Commit is through; so they do for a process that has no other
  // thread. They do reach the commands that are run, so that Ctrl-C stops a check, which then
  // counts as refused; where that was about the old files, nothing is changed. A command that can
  // be stopped by `command_limit` or a Cancellation is not reached by Ctrl-C.
  //
  // Without it no signal is held back; a command begins with none blocked.
  bool hold_stop_signals = false;

  // By how many threads many files are written and put in place at a time, the calling one
  // included. The others are gone when Commit returns, and handle no signal.
  unsigned jobs = 1;
};

// What Commit has done. All files by their names, in the order of Name.
struct UpdateResult {
  // Those that hold another text now. None when there was nothing to change.
  std::vector<std::string> changed;

  // The backups of those: the names with the suffix.
  std::vector<std::string> backups;

  // Each in the server's words, and below it the lines of the files that it names. None unless they
  // are to be told.
  std::vector<std::string> new_warnings;

  // Whether the check, and the reload, have been run and have succeeded.
  bool checked = false;
  bool reloaded = false;
};

// Lets this process open what an update of so many files needs at most, if it may. For the whole
// process: a program calls it, a library leaves it to its caller.
QELTEMPLATE_UPDATE_EXPORT void AllowOpenFiles(std::size_t files);

// An update that has been moved from can be destroyed and assigned to; its other operations throw
// std::logic_error. The destructor gives up the locks.
//
// All operations also throw std::bad_alloc. Then all files are what they were.
class FileUpdate {
 public:
  static constexpr std::chrono::seconds kLockWait{30};

  // Locks the files, waiting for those who hold them up to `lock_wait` in all. They are locked in
  // the order of their real paths, so that two updates never wait for each other.
  //
  // A `cancellation` is for the whole update, from here on. Waiting for a lock ends at once with
  // Cancelled. So does Commit, with the old files in their places: a command that runs is stopped,
  // as UpdateOptions::command_limit says. A reload that was stopped is run once more with the old
  // files, for up to ten seconds, or the limit where that is shorter. When all is committed it does
  // nothing.
  //
  // Throws Failure when a file cannot be opened for reading and writing, is none (a directory, a
  // FIFO), has several hard links, which a rename would split, or stays locked; and when the limit
  // of open files is too low for so many.
  QELTEMPLATE_UPDATE_EXPORT explicit FileUpdate(
      const std::vector<std::string>& names, std::chrono::milliseconds lock_wait = kLockWait,
      const std::optional<Cancellation>& cancellation = std::nullopt);

  // The same for many files, which up to `jobs` threads lock and let go of, the calling one
  // included, as UpdateOptions::jobs says. They are all locked at once; where that cannot be, none
  // of them is kept, and they are locked in their order.
  QELTEMPLATE_UPDATE_EXPORT static FileUpdate OfMany(
      const std::vector<std::string>& names, unsigned jobs,
      std::chrono::milliseconds lock_wait = kLockWait,
      const std::optional<Cancellation>& cancellation = std::nullopt);

  // The same for one file, which is made by Commit when it is not there; until then its directory
  // is locked.
  QELTEMPLATE_UPDATE_EXPORT static FileUpdate OfMissing(
      const std::string& name, std::chrono::milliseconds lock_wait = kLockWait,
      const std::optional<Cancellation>& cancellation = std::nullopt);

  // The same for several files, the last of which, `missing`, may not be there.
  QELTEMPLATE_UPDATE_EXPORT static FileUpdate WithMissing(
      std::vector<std::string> names, const std::string& missing,
      std::chrono::milliseconds lock_wait = kLockWait,
      const std::optional<Cancellation>& cancellation = std::nullopt);

  QELTEMPLATE_UPDATE_EXPORT ~FileUpdate();
  QELTEMPLATE_UPDATE_EXPORT FileUpdate(FileUpdate&& other) noexcept;
  QELTEMPLATE_UPDATE_EXPORT FileUpdate& operator=(FileUpdate&& other) noexcept;

  // The number of files: of several names that lead to one file only the first counts.
  QELTEMPLATE_UPDATE_EXPORT std::size_t Size() const;

  // In the following, `file` is from 0 on; std::out_of_range is thrown for one too large.

  // The name as it was given. The files keep the order of `names`.
  QELTEMPLATE_UPDATE_EXPORT const std::string& Name(std::size_t file) const;

  // The file's content: before Commit the old one, whatever Replace was told. "" for a file that is
  // not there. Reads it from the disk each time. Throws Failure, also for a file of more than 1
  // GiB.
  QELTEMPLATE_UPDATE_EXPORT std::string Read(std::size_t file);

  // Has Commit replace the file's content by `text`. A file that holds just that is left alone.
  // Threads may read and replace different files at the same time. Throws Failure.
  QELTEMPLATE_UPDATE_EXPORT void Replace(std::size_t file, std::string text);

  // Carries out what Replace was told. When there is nothing to change, no file is touched and no
  // command run. May be called once, std::logic_error is thrown at the next time; the locks are
  // held as long as this object lives.
  //
  // Throws ServerRefusal when a command refuses, or warns where that is refused, Overtaken when
  // another program has changed a file, Cancelled, and Failure for everything else. Then all other
  // files and backups are what they were before; where one cannot be put back, the message says
  // which, and where its old content is.
  QELTEMPLATE_UPDATE_EXPORT UpdateResult Commit(const UpdateOptions& options);

 private:
  class Locked;
  explicit FileUpdate(std::unique_ptr<Locked> locked);
  Locked& Get() const;

  std::unique_ptr<Locked> m_locked;
};

}  // namespace tov_update
