// SPDX-License-Identifier: Apache-2.0

// Replaces the content of files in place, all of them or none, so that nothing is lost whatever
// happens meanwhile. This folder knows nothing of what the files hold. Start here.
//
//   FileUpdate update({"/etc/nginx/sites-enabled/a", "/etc/nginx/sites-enabled/b"});
//   for (std::size_t i = 0; i < update.Size(); ++i) update.Replace(i, Edited(update.Read(i)));
//   update.Commit({"~", "nginx -t", "systemctl reload nginx"});
//
// Each changed file NAME is written anew beside itself, as ".NAME.qeltemplate-new": a name that
// "include sites/*" does not read. It gets the owner, the mode, the ACL and the extended attributes
// of NAME, but those that /etc/xattr.conf says not to copy; where the user may not set one, the
// update fails. It is flushed to the disk and renamed to NAME. The old file is kept as
// ".NAME.qeltemplate-old" until all is well; a backup goes the same way as
// ".NAME.qeltemplate-new-backup" and ".NAME.qeltemplate-old-backup". A symbolic link is followed:
// all this happens beside the file that it leads to, and the link stays.
//
// Signals: SIGINT, SIGTERM and SIGHUP wait until Commit is through. They reach the commands that it
// runs, so that Ctrl-C stops a check, which then counts as refused; where that was about the old
// files, nothing is changed.
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
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "update/failure.h"
#include "update/locked_file.h"

namespace update {

// What becomes of a warning that the server's test gives for the new files and not for the old
// ones.
enum class NewWarnings { kNotLookedFor, kTold, kRefused };

struct UpdateOptions {
  // Keeps the old file as NAME + suffix, beside the file (where a symbolic link leads to). What is
  // there under that name is replaced, unless it is a directory. Not empty, without a '/'.
  std::optional<std::string> backup_suffix;

  // Lets the server judge the result; "": nobody is asked. A command for /bin/sh, which refuses by
  // an exit status other than 0.
  //
  // With "{}" in it: it is run once for each changed file before anything is put in place, and the
  // path of the new text, quoted, stands for each "{}". That is for files that are complete
  // configurations: "nginx -t -c {}".
  //
  // Without: it is run once, when all files, and backups, are in their places; when it refuses, the
  // old ones are put back. That is for files that only the server's main file makes complete, as a
  // site's: "nginx -t". A server that is restarted by others in between meets the unjudged files.
  std::string check;

  // Has the server take the new files; "": none. A command for /bin/sh. When it fails, the old
  // files are put back, and it is run once more: a server that the new ones have stopped gets up
  // again.
  std::string reload;

  // Of a `check` without "{}". Where they are looked for, it is run on the old files, too, before
  // anything else is done; whether it takes them does not matter.
  NewWarnings new_warnings = NewWarnings::kNotLookedFor;
};

// Lets this process open what an update of so many files needs at most, if it may. For the whole
// process: a program calls it, a library leaves it to its caller.
void AllowOpenFiles(std::size_t files);

class FileUpdate {
 public:
  static constexpr std::chrono::seconds kLockWait{30};

  // Locks the files, waiting for those who hold them up to `lock_wait` in all. They are locked in
  // the order of their real paths, so that two updates never wait for each other.
  //
  // Throws Failure when a file cannot be opened for reading and writing, is none (a directory, a
  // FIFO), has several hard links, which a rename would split, or stays locked; and when the limit
  // of open files is too low for so many.
  explicit FileUpdate(const std::vector<std::string>& names,
                      std::chrono::milliseconds lock_wait = kLockWait);

  // The same for one file, which is made by Commit when it is not there; until then its directory
  // is locked.
  static FileUpdate OfMissing(const std::string& name,
                              std::chrono::milliseconds lock_wait = kLockWait);

  // The number of files: of several names that lead to one file only the first counts.
  std::size_t Size() const { return m_files.size(); }

  // The name as it was given. The files keep the order of `names`.
  const std::string& Name(std::size_t file) const { return m_files[file].locked.Name(); }

  // The file's content: before Commit the old one, whatever Replace was told. "" for a file that is
  // not there. Reads it from the disk each time. Throws Failure.
  std::string Read(std::size_t file) { return m_files[file].locked.Read(); }

  // Has Commit replace the file's content by `text`. A file that holds just that is left alone.
  // Threads may read and replace different files at the same time. Throws Failure.
  void Replace(std::size_t file, std::string text);

  // Carries out what Replace was told. When there is nothing to change, no file is touched and no
  // command run. May be called once; the locks are held as long as this object lives.
  //
  // Returns the new warnings, if they are to be told, each with the lines that it names.
  //
  // Throws ServerRefusal when a command refuses, or warns where that is refused, Overtaken when
  // another program has changed a file, and Failure for everything else. Then all other files and
  // backups are what they were before; where one cannot be put back, the message says which, and
  // where its old content is.
  std::vector<std::string> Commit(const UpdateOptions& options);

 private:
  struct File {
    LockedFile locked;
    std::optional<std::string> new_text;  // of a file to be changed
  };

  FileUpdate(const std::vector<std::string>& names, std::chrono::milliseconds lock_wait,
             LockedFile::Missing missing);

  void ExpectFreeForBackups(const std::string& suffix) const;

  std::vector<File> m_files;
};

}  // namespace update
