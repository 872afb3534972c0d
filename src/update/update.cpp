// SPDX-License-Identifier: Apache-2.0

#include "update/update.h"

#include <map>
#include <set>
#include <stdexcept>
#include <utility>

#include "update/cancelled_wait.h"
#include "update/commit.h"
#include "update/failure.h"
#include "update/locked_file.h"
#include "update/open_files.h"
#include "update/real_paths.h"
#include "update/side_by_side.h"

namespace tov_update {

// The files, and what Replace was told.
class FileUpdate::Locked {
 public:
  // `missing`: the name of the one that may not be there.
  Locked(const std::vector<std::string>& names, std::chrono::milliseconds lock_wait,
         const std::optional<Cancellation>& cancellation, const std::optional<std::string>& missing)
      : m_cancellation(cancellation) {
    LockInOrder(names, DeadlineAfter(lock_wait), missing);
  }

  Locked(const std::vector<std::string>& names, unsigned jobs, std::chrono::milliseconds lock_wait,
         const std::optional<Cancellation>& cancellation)
      : m_cancellation(cancellation), m_jobs(jobs) {
    const Deadline deadline = DeadlineAfter(lock_wait);
    if (!LockSideBySide(names)) LockInOrder(names, deadline, std::nullopt);
  }

  // The kernel frees the old files when they are closed.
  ~Locked() { CloseAll(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

  std::size_t Size() const { return m_files.size(); }
  LockedFile& At(std::size_t file) { return m_files.at(file).locked; }

  void Replace(std::size_t file, std::string text) {
    File& replaced = m_files.at(file);
    const bool is_same = replaced.locked.Holds(text);
    replaced.new_text = is_same ? std::nullopt : std::optional(std::move(text));
  }

  UpdateResult Commit(const UpdateOptions& options) {
    if (std::exchange(m_is_committed, true)) throw std::logic_error("this update is committed");
    ExpectNotCancelled();
    std::vector<Change> changes;
    for (File& file : m_files) {
      if (file.new_text) changes.push_back({file.locked, *file.new_text});
    }
    if (options.backup_suffix) ExpectFreeForBackups(*options.backup_suffix);
    if (changes.empty()) return {};
    return CarryOut(changes, options, CancellationOrNull(), m_files.size());
  }

 private:
  struct File {
    LockedFile locked;
    std::optional<std::string> new_text;  // of a file to be changed
  };

  // Waits for others with the locks of those files only that come before in the order of paths.
  void LockInOrder(const std::vector<std::string>& names, Deadline deadline,
                   const std::optional<std::string>& missing) {
    std::map<std::string, std::size_t> by_path;
    RealPaths paths;
    for (const std::string& name : names) {
      LockedFile file(name, paths.Of(name));
      const bool is_first = by_path.emplace(file.Path(), m_files.size()).second;
      if (is_first) m_files.push_back({std::move(file), std::nullopt});
    }
    ExpectOpenFiles(by_path.size());
    for (const auto& [path, file] : by_path) {
      ExpectNotCancelled();
      LockedFile& locked = m_files.at(file).locked;
      const bool may_miss = missing && locked.Name() == *missing;
      locked.Lock(deadline,
                  may_miss ? LockedFile::Missing::kAllowed : LockedFile::Missing::kRefused,
                  CancellationOrNull());
    }
  }

  // In no order, and so without waiting for anybody: who does not wait does not take part in a
  // circle of those who wait for one another. False, and none is locked, when one cannot be had at
  // once, two are the same file, or for any other reason: to lock them in order will tell.
  bool LockSideBySide(const std::vector<std::string>& names) {
    constexpr std::size_t kMany = 64;
    if (m_jobs < 2 || names.size() < kMany) return false;
    try {
      ExpectOpenFiles(names.size());
      RealPaths paths;
      m_files.reserve(names.size());
      for (const std::string& name : names) {
        m_files.push_back({LockedFile(name, paths.OfNoLink(name)), std::nullopt});
      }
      constexpr std::size_t kOldAndNew = 2;
      MakeRoomFor(kOldAndNew * names.size());
      ForEachSideBySide(m_files.size(), m_jobs, [this](std::size_t file) {
        ExpectNotCancelled();
        LockAtOnce(m_files.at(file).locked);
      });
      return true;
    } catch (const Failure&) {
      CloseAll();
      m_files.clear();
      return false;
    }
  }

  // The file is taken for none that is a symbolic link: a link shows when it is opened.
  void LockAtOnce(LockedFile& file) const {
    constexpr auto kMissing = LockedFile::Missing::kRefused;
    try {
      file.Lock(Deadline::min(), kMissing, CancellationOrNull());
    } catch (const Failure&) {
      std::string path = RealPaths().Of(file.Name());
      if (path == file.Path()) throw;
      file = LockedFile(file.Name(), std::move(path));
      file.Lock(Deadline::min(), kMissing, CancellationOrNull());
    }
  }

  void CloseAll() noexcept {
    ForEachSideBySide(m_files.size(), m_jobs,
                      [this](std::size_t file) { m_files.at(file).locked.Close(); });
  }

  const Cancellation* CancellationOrNull() const {
    return m_cancellation ? &*m_cancellation : nullptr;
  }

  void ExpectNotCancelled() const {
    if (m_cancellation && m_cancellation->IsCancelled()) {
      throw Cancelled("cancelled, nothing is changed");
    }
  }

  void ExpectFreeForBackups(const std::string& suffix) const {
    std::set<std::string> paths;
    for (const File& file : m_files) paths.insert(file.locked.Path());
    for (const File& file : m_files) {
      if (suffix.empty() || suffix.find_first_of(std::string("/\0", 2)) != std::string::npos) {
        throw Failure(file.locked.Name(), "no backup can have the suffix '" + suffix + '\'');
      }
      if (paths.count(file.locked.Path() + suffix) != 0) {
        throw Failure(file.locked.Name() + suffix, "is to be a backup, and is itself to be edited");
      }
    }
  }

  const std::optional<Cancellation> m_cancellation;
  const unsigned m_jobs = 1;
  std::vector<File> m_files;
  bool m_is_committed = false;
};

FileUpdate::FileUpdate(const std::vector<std::string>& names, std::chrono::milliseconds lock_wait,
                       const std::optional<Cancellation>& cancellation)
    : FileUpdate(std::make_unique<Locked>(names, lock_wait, cancellation, std::nullopt)) {}

FileUpdate FileUpdate::OfMany(const std::vector<std::string>& names, unsigned jobs,
                              std::chrono::milliseconds lock_wait,
                              const std::optional<Cancellation>& cancellation) {
  return FileUpdate(std::make_unique<Locked>(names, jobs, lock_wait, cancellation));
}

FileUpdate FileUpdate::OfMissing(const std::string& name, std::chrono::milliseconds lock_wait,
                                 const std::optional<Cancellation>& cancellation) {
  return WithMissing({}, name, lock_wait, cancellation);
}

FileUpdate FileUpdate::WithMissing(std::vector<std::string> names, const std::string& missing,
                                   std::chrono::milliseconds lock_wait,
                                   const std::optional<Cancellation>& cancellation) {
  names.push_back(missing);
  return FileUpdate(std::make_unique<Locked>(names, lock_wait, cancellation, missing));
}

FileUpdate::FileUpdate(std::unique_ptr<Locked> locked) : m_locked(std::move(locked)) {}
FileUpdate::~FileUpdate() = default;
FileUpdate::FileUpdate(FileUpdate&& other) noexcept = default;
FileUpdate& FileUpdate::operator=(FileUpdate&& other) noexcept = default;

FileUpdate::Locked& FileUpdate::Get() const {
  if (!m_locked) throw std::logic_error("this update has been moved from");
  return *m_locked;
}

std::size_t FileUpdate::Size() const {
  return Get().Size();
}

const std::string& FileUpdate::Name(std::size_t file) const {
  return Get().At(file).Name();
}

std::string FileUpdate::Read(std::size_t file) {
  return Get().At(file).Read();
}

void FileUpdate::Replace(std::size_t file, std::string text) {
  Get().Replace(file, std::move(text));
}

UpdateResult FileUpdate::Commit(const UpdateOptions& options) {
  return Get().Commit(options);
}

}  // namespace tov_update
