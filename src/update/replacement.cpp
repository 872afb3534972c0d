// SPDX-License-Identifier: Apache-2.0

#include "update/replacement.h"

#include <acl/libacl.h>
#include <attr/libattr.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <set>
#include <utility>

#include "update/failure.h"
#include "update/renames.h"
#include "update/work_files.h"

namespace tov_update {
namespace {

constexpr char kChangedByOthers[] = "has been changed by another program meanwhile";

void Unlink(const std::string& path) {
  unlink(path.c_str());
}

// One thread at a time: libattr reads its configuration at the first call, for all threads.
int CopyExtendedAttributes(const char* from, const Descriptor& model, const char* to,
                           const Descriptor& copy) {
  static std::mutex one_at_a_time;
  const std::lock_guard<std::mutex> lock(one_at_a_time);
  return attr_copy_fd(from, model.Number(), to, copy.Number(), nullptr, nullptr);
}

// False: its mode is all.
bool MayHaveAcl(const Descriptor& opened) {
  return fgetxattr(opened.Number(), "system.posix_acl_access", nullptr, 0) >= 0 ||
         (errno != ENODATA && errno != EOPNOTSUPP);
}

// Makes `name` another name of the file at `path`, whatever it was before. False: errno says why.
bool Link(const std::string& path, const std::string& name) {
  if (link(path.c_str(), name.c_str()) == 0) return true;
  if (errno != EEXIST) return false;
  Unlink(name);
  return link(path.c_str(), name.c_str()) == 0;
}

bool IsDirectory(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

Replacement::Replacement(std::string name, std::string path, std::string staged, std::string kept)
    : m_name(std::move(name)),
      m_path(std::move(path)),
      m_staged(std::move(staged)),
      m_kept(std::move(kept)) {}

Replacement::~Replacement() {
  if (m_state == State::kStaged) Unlink(m_staged);
}

Replacement::Replacement(Replacement&& other) noexcept
    : m_name(std::move(other.m_name)),
      m_path(std::move(other.m_path)),
      m_staged(std::move(other.m_staged)),
      m_kept(std::move(other.m_kept)),
      m_guarded(other.m_guarded),
      m_text(other.m_text),
      m_state(std::exchange(other.m_state, State::kDone)),
      m_old(other.m_old),
      m_new_mark(other.m_new_mark),
      m_new(std::move(other.m_new)) {}

void Replacement::Guard(const LockedFile& old, const std::string& text) {
  m_guarded = &old;
  m_text = &text;
}

// --- The new file ---

void Replacement::Stage(const std::string& text, const Descriptor* model) {
  constexpr mode_t kOwnerOnly = 0600;  // until the model's attributes are there
  constexpr mode_t kByUmask = 0666;
  Create(model ? kOwnerOnly : kByUmask);
  Write(text);  // before the mode is there, of which writing may take bits away
  const struct stat made = StatusOf(m_new, m_name);
  m_new_mark = FileMark(made);
  if (model) CopyAttributes(*model, made);
}

// The lock goes into place with the file, so that others wait until all is settled.
void Replacement::Create(mode_t mode) {
  m_new = Open(m_staged, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
  if (!m_new) FailBySystem(m_name, "cannot write beside it");
  m_state = State::kStaged;
  if (Retried([this] { return flock(m_new.Number(), LOCK_EX | LOCK_NB); }) != 0) {
    FailBySystem(m_name, "cannot be locked");
  }
}

void Replacement::Write(const std::string& text) const {
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t size = Retried(
        [&] { return write(m_new.Number(), text.data() + written, text.size() - written); });
    if (size < 0) FailBySystem(m_name, "cannot be written");
    written += static_cast<std::size_t>(size);
  }
}

// The owner first, since a change of it takes bits of the mode away. The ACL of a file that has
// none is its mode: so it takes away what the directory gives to new files. `made` is the status of
// the new file: what is right already takes no call of the system.
void Replacement::CopyAttributes(const Descriptor& model, const struct stat& made) const {
  constexpr mode_t kModeBits = 07777;
  const struct stat status = StatusOf(model, m_name);
  const bool has_owner = made.st_uid == status.st_uid && made.st_gid == status.st_gid;
  if (!has_owner && fchown(m_new.Number(), status.st_uid, status.st_gid) != 0) {
    FailBySystem(m_name, "its owner cannot be kept");
  }
  if (fchmod(m_new.Number(), status.st_mode & kModeBits) != 0) {
    FailBySystem(m_name, "its mode cannot be kept");
  }
  const char* const from = m_path.c_str();
  const char* const to = m_staged.c_str();
  const bool may_have_acl = MayHaveAcl(model) || MayHaveAcl(m_new);
  if (may_have_acl && perm_copy_fd(from, model.Number(), to, m_new.Number(), nullptr) != 0) {
    FailBySystem(m_name, "its ACL cannot be kept");
  }
  if (flistxattr(model.Number(), nullptr, 0) == 0) return;
  if (CopyExtendedAttributes(from, model, to, m_new) != 0) {
    FailBySystem(m_name, "its extended attributes cannot be kept");
  }
}

void Replacement::Flush() const {
  if (Retried([this] { return fsync(m_new.Number()); }) != 0) {
    FailBySystem(m_name, "cannot be written");
  }
}

bool Replacement::FlushFileSystem() const {
  if (Retried([this] { return syncfs(m_new.Number()); }) == 0) return true;
  if (errno != ENOSYS) FailBySystem(m_name, "cannot be written");
  return false;
}

// What cannot be read has been written by us, as far as its mark tells.
bool Replacement::IsNewAt(const std::string& path) const {
  return MarkAt(path) == m_new_mark && (!m_text || MayHold(m_new, *m_text));
}

// --- Into its place ---

void Replacement::ExpectOld() {
  if (m_guarded && !m_guarded->LooksUntouched()) FailBeforePlaced();
}

void Replacement::PutInPlace() {
  const bool replaces_known = m_guarded && m_guarded->Exists();
  if (!replaces_known) {
    ExpectOld();
    if (IsDirectory(m_path)) throw Failure(m_name, SystemMessage(EISDIR));
  }
  KeepOld();
  if (replaces_known && !m_guarded->IsUntouchedAs(m_old)) FailBeforePlaced();
  if (m_old) {
    SwapIn();
  } else {
    MoveIn();
  }
}

void Replacement::KeepOld() {
  const bool is_kept = Link(m_path, m_kept);
  if (is_kept) m_old = MarkAt(m_kept);
  if (m_old || errno == ENOENT) return;
  const int error = errno;
  if (is_kept) Unlink(m_kept);
  ExpectOld();
  errno = error;
  FailBySystem(m_name, "cannot be kept as " + m_kept);
}

void Replacement::SwapIn() {
  switch (Exchange(m_staged, m_path)) {
    case Renamed::kDone:
      m_state = State::kInPlace;
      if (MarkAt(m_staged) != m_old) PutOthersBack();
      Unlink(m_staged);
      return;
    case Renamed::kNoMeans:
      if (MarkAt(m_path) != m_old) FailBeforePlaced();
      if (rename(m_staged.c_str(), m_path.c_str()) != 0) FailToReplace();
      m_state = State::kInPlace;
      return;
    case Renamed::kElsewise:
      FailBeforePlaced();
    case Renamed::kFailed:
      FailToReplace();
  }
}

void Replacement::MoveIn() {
  const Renamed moved = MoveToFree(m_staged, m_path);
  if (moved == Renamed::kElsewise) FailBeforePlaced();
  if (moved != Renamed::kDone) FailToReplace();
  m_state = State::kInPlace;
}

void Replacement::FailToReplace() {
  const Failure failure(m_name, "cannot be replaced: " + SystemMessage(errno));
  if (m_old) Unlink(m_kept);
  throw failure;
}

// What has come out under the name of the new file is another program's.
void Replacement::PutOthersBack() {
  m_state = State::kDone;
  const bool is_back = Exchange(m_staged, m_path) == Renamed::kDone;
  if (is_back && IsNewAt(m_staged)) {
    m_state = State::kStaged;
  } else {
    KeepAs("other", m_staged);
  }
  FailBeforePlaced();
}

void Replacement::FailBeforePlaced() {
  std::string problem = kChangedByOthers;
  if (m_old) Unlink(m_kept);
  if (m_text) {
    const bool is_staged = std::exchange(m_state, State::kDone) == State::kStaged;
    problem += " and stays so; the new text is in ";
    problem += is_staged ? KeepAs("new", m_staged) : KeepNew();
  }
  throw Overtaken(m_name, problem);
}

// The file's name from now on: the old one if it cannot be changed.
std::string Replacement::KeepAs(const char* kind, const std::string& path) const {
  std::string kept = WorkFiles(m_path).KeptName(kind);
  return MoveToFree(path, kept) == Renamed::kDone ? kept : path;
}

// --- And back ---

bool Replacement::IsInPlace() const {
  return IsNewAt(m_path) && (!m_old || MarkAt(m_kept) == m_old);
}

void Replacement::TakeBack() {
  if (m_state != State::kInPlace) return;
  m_state = State::kDone;
  if (m_old) {
    SwapBack();
  } else {
    TakeAway();
  }
}

// By a second name for it, so that the old file is never without the one that says what it is.
void Replacement::SwapBack() {
  const bool has_second_name = link(m_kept.c_str(), m_staged.c_str()) == 0;
  const std::string& from = has_second_name ? m_staged : m_kept;
  switch (Exchange(from, m_path)) {
    case Renamed::kDone:
      if (!IsNewAt(from)) LeaveToOthers(from);
      break;
    case Renamed::kNoMeans:
      if (!IsNewAt(m_path)) LeaveAlone();
      if (rename(from.c_str(), m_path.c_str()) != 0) FailToPutBack();
      break;
    case Renamed::kElsewise:
      LeaveAlone();
    case Renamed::kFailed:
      FailToPutBack();
  }
  Unlink(m_staged);
  Unlink(m_kept);
  const FileMark old = *std::exchange(m_old, std::nullopt);
  const std::optional<FileMark> now = MarkAt(m_path);
  if (now && *now != old) FailPlaced();
}

void Replacement::FailToPutBack() {
  const std::string reason = SystemMessage(errno);
  Unlink(m_staged);
  throw Failure(m_name, "cannot be put back, its old content is in " + m_kept + ": " + reason);
}

void Replacement::LeaveAlone() {
  Unlink(m_staged);
  FailPlaced();
}

// What has come out under the name `from`, where the old file was, is another program's.
void Replacement::LeaveToOthers(const std::string& from) {
  const bool is_back = Exchange(from, m_path) == Renamed::kDone;
  const std::optional<FileMark> now = MarkAt(from);
  if (is_back && now && now->IsOfSameFile(*m_old)) LeaveAlone();
  KeepAs("other", from);
  if (from == m_kept) m_old.reset();
  FailPlaced();
}

void Replacement::TakeAway() {
  Unlink(m_staged);
  if (MoveToFree(m_path, m_staged) != Renamed::kDone) {
    if (errno == ENOENT) return;
    FailBySystem(m_name, "is new and cannot be removed");
  }
  if (IsNewAt(m_staged)) return Unlink(m_staged);
  if (MoveToFree(m_staged, m_path) != Renamed::kDone) KeepAs("other", m_staged);
  FailPlaced();
}

void Replacement::FailPlaced() {
  std::string problem = std::string(kChangedByOthers) + " and stays so";
  if (m_text) problem += "; the new text is in " + KeepNew();
  if (m_old) problem += "; the old one is in " + KeepAs("old", m_kept);
  throw Overtaken(m_name, problem);
}

// Its name, or why there is none.
std::string Replacement::KeepNew() const {
  try {
    std::string kept = WorkFiles(m_path).KeptName("new");
    Replacement copy(m_name, m_path, kept, "");
    copy.Stage(*m_text, &m_new);
    copy.Flush();
    copy.m_state = State::kDone;
    return kept;
  } catch (const Failure& failure) {
    return std::string("no file (") + failure.what() + ')';
  }
}

void Replacement::Settle() {
  if (m_old) Unlink(m_kept);
  m_new = Descriptor();
  m_state = State::kDone;
}

std::string Replacement::Directory() const {
  return m_path.substr(0, std::max<std::size_t>(m_path.rfind('/'), 1));
}

void FlushAll(const std::vector<Replacement>& staged) {
  constexpr std::size_t kFew = 8;
  std::set<dev_t> flushed;
  for (const Replacement& one : staged) {
    if (flushed.count(one.Device()) != 0) continue;
    if (staged.size() > kFew && one.FlushFileSystem()) {
      flushed.insert(one.Device());
    } else {
      one.Flush();
    }
  }
}

void FlushDirectory(const std::string& directory) {
  const Descriptor opened = Open(directory, O_RDONLY | O_DIRECTORY);
  if (!opened || Retried([&opened] { return fsync(opened.Number()); }) != 0) {
    FailBySystem(directory);
  }
}

}  // namespace tov_update
