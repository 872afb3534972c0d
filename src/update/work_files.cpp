// SPDX-License-Identifier: Apache-2.0

#include "update/work_files.h"

#include <dirent.h>

#include <cerrno>
#include <map>
#include <memory>
#include <string_view>

#include "update/descriptor.h"
#include "update/file_mark.h"
#include "update/renames.h"

namespace tov_update {
namespace {

constexpr std::string_view kOurs = ".qeltemplate-";

std::string Beside(const std::string& path, std::string_view kind) {
  const std::size_t file = path.rfind('/') + 1;
  std::string beside;
  beside.reserve(path.size() + kOurs.size() + kind.size() + 1);
  beside.append(path, 0, file).append(1, '.').append(path, file).append(kOurs).append(kind);
  return beside;
}

void Remove(const std::string& path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) FailBySystem(path);
}

void Keep(const std::string& path, const std::string& kept) {
  if (MoveToFree(path, kept) != Renamed::kDone) FailBySystem(path);
}

std::string_view FolderOf(std::string_view path) {
  return path.substr(0, path.rfind('/') + 1);
}

// Whose work file has this name: "a" of ".a.qeltemplate-new"; "" for other files.
std::string_view WorkedOn(std::string_view name) {
  if (name.front() != '.') return {};
  const std::size_t end = name.rfind(kOurs);
  return end == std::string_view::npos || end == 0 ? std::string_view() : name.substr(1, end - 1);
}

}  // namespace

WorkFiles::WorkFiles(const std::string& path)
    : new_file(Beside(path, "new")),
      old_file(Beside(path, "old")),
      new_backup(Beside(path, "new-backup")),
      old_backup(Beside(path, "old-backup")),
      kept(Beside(path, "kept-")) {}

void WorkFiles::RemoveLeftovers(const std::string& path) const {
  if (MayBeOfOthers(path)) Keep(new_file, KeptName("other"));
  Remove(new_file);
  Remove(new_backup);
  Remove(old_backup);
  if (IsSameFile(path, old_file)) Remove(old_file);
}

// The new file is exchanged with what is in its place, which is the old file as a rule. Killed just
// then, nobody has looked.
bool WorkFiles::MayBeOfOthers(const std::string& path) const {
  return MarkAt(new_file) && MarkAt(old_file) && !IsSameFile(old_file, path) &&
         !IsSameFile(old_file, new_file);
}

std::string WorkFiles::KeptName(const char* kind) const {
  const std::string name = kept + kind;
  std::string free = name;
  for (int number = 2; MarkAt(free); ++number) free = name + '-' + std::to_string(number);
  return free;
}

LeftBehind::LeftBehind(const std::vector<std::string>& paths) {
  constexpr std::size_t kFew = 8;
  std::map<std::string_view, std::size_t> files;  // by directories
  for (const std::string& path : paths) ++files[FolderOf(path)];
  for (const auto& [folder, count] : files) {
    if (count > kFew) Read(std::string(folder), count);
  }
}

bool LeftBehind::MayBeBeside(const std::string& path) const {
  const bool is_read = m_read.find(FolderOf(path)) != m_read.end();
  return !is_read || m_beside.count(path) != 0;
}

// Gives up where the directory holds many times as much.
void LeftBehind::Read(const std::string& folder, std::size_t files) {
  constexpr std::size_t kTimes = 64;
  std::size_t left = kTimes * files;
  const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(folder.c_str()), closedir);
  if (!opened) return;
  errno = 0;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): this thread's own directory
  while (const dirent* const entry = readdir(opened.get())) {
    if (--left == 0) return;
    const std::string_view file = WorkedOn(static_cast<const char*>(entry->d_name));
    if (!file.empty()) m_beside.insert(std::string(folder).append(file));
    errno = 0;
  }
  if (errno == 0) m_read.insert(folder);
}

}  // namespace tov_update
