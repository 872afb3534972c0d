// SPDX-License-Identifier: Apache-2.0

// An update to which the system says no: what it tells of that, and the files that it leaves.

#include <acl/libacl.h>
#include <attr/libattr.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "update/failure.h"
#include "update/update.h"
#include "update/update_test.h"

namespace {

using testing::EndsWith;
using tov_update::Failure;
using tov_update::FileUpdate;
using tov_update::UpdateOptions;
using Files = std::map<std::string, std::string>;

constexpr int kAlways = 1000;

// Calls of a function that fail for files whose path ends with `file`.
struct Fault {
  std::string function;
  std::string file;
  int error;
  int times = kAlways;
  int after = 0;  // so many that do not
};

std::vector<Fault> faults;
std::map<std::string, std::vector<std::string>> calls;  // of each, for which files
std::size_t most_written = std::string::npos;           // at once

bool EndsIn(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool Fails(const char* function, const std::string& path) {
  if (faults.empty()) return false;
  calls[function].push_back(path.substr(path.rfind('/') + 1));
  for (Fault& fault : faults) {
    if (fault.function != function || !EndsIn(path, fault.file)) continue;
    if (fault.after-- > 0 || fault.times-- <= 0) continue;
    errno = fault.error;
    return true;
  }
  return false;
}

bool Fails(const char* function, int descriptor) {
  if (faults.empty()) return false;
  std::array<char, 4096> path = {};
  const std::string entry = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t size = readlink(entry.c_str(), path.data(), path.size());
  return Fails(function, std::string(path.data(), size > 0 ? static_cast<std::size_t>(size) : 0));
}

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// In the place of the C library's, and of those of libacl and libattr.

extern "C" int link(const char* from, const char* to) noexcept {
  return Fails("link", to) ? -1 : linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}

extern "C" int unlink(const char* path) noexcept {
  return Fails("unlink", path) ? -1 : unlinkat(AT_FDCWD, path, 0);
}

extern "C" int rename(const char* from, const char* to) noexcept {
  return Fails("rename", to) ? -1 : renameat(AT_FDCWD, from, AT_FDCWD, to);
}

extern "C" int renameat2(int from_folder, const char* from, int to_folder, const char* to,
                         unsigned flags) noexcept {
  if (Fails("renameat2", from)) return -1;
  return static_cast<int>(syscall(SYS_renameat2, from_folder, from, to_folder, to, flags));
}

extern "C" int lstat(const char* path, struct stat* status) noexcept {
  return Fails("lstat", path) ? -1 : fstatat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

extern "C" int fstat(int descriptor, struct stat* status) noexcept {
  return Fails("fstat", descriptor) ? -1 : fstatat(descriptor, "", status, AT_EMPTY_PATH);
}

extern "C" int flock(int descriptor, int operation) noexcept {
  if (Fails("flock", descriptor)) return -1;
  return static_cast<int>(syscall(SYS_flock, descriptor, operation));
}

extern "C" int fchmod(int descriptor, mode_t mode) noexcept {
  return Fails("fchmod", descriptor) ? -1 : static_cast<int>(syscall(SYS_fchmod, descriptor, mode));
}

extern "C" int fchown(int descriptor, uid_t user, gid_t group) noexcept {
  if (Fails("fchown", descriptor)) return -1;
  return static_cast<int>(syscall(SYS_fchown, descriptor, user, group));
}

extern "C" int fsync(int descriptor) {
  return Fails("fsync", descriptor) ? -1 : static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" int syncfs(int descriptor) noexcept {
  return Fails("syncfs", descriptor) ? -1 : static_cast<int>(syscall(SYS_syncfs, descriptor));
}

extern "C" ssize_t write(int descriptor, const void* bytes, std::size_t size) {
  if (Fails("write", descriptor)) return -1;
  return syscall(SYS_write, descriptor, bytes, std::min(size, most_written));
}

extern "C" ssize_t fgetxattr(int descriptor, const char* name, void* value,
                             std::size_t size) noexcept {
  if (Fails("fgetxattr", descriptor)) return -1;
  return syscall(SYS_fgetxattr, descriptor, name, value, size);
}

extern "C" ssize_t flistxattr(int descriptor, char* list, std::size_t size) noexcept {
  return Fails("flistxattr", descriptor) ? -1 : syscall(SYS_flistxattr, descriptor, list, size);
}

extern "C" int perm_copy_fd(const char* from, int from_descriptor, const char* to,
                            int to_descriptor, struct error_context* context) {
  if (Fails("perm_copy_fd", from)) return -1;
  return Next<decltype(perm_copy_fd)>("perm_copy_fd")(from, from_descriptor, to, to_descriptor,
                                                      context);
}

extern "C" int attr_copy_fd(const char* from, int from_descriptor, const char* to,
                            int to_descriptor, int (*check)(const char*, struct error_context*),
                            struct error_context* context) {
  if (Fails("attr_copy_fd", from)) return -1;
  return Next<decltype(attr_copy_fd)>("attr_copy_fd")(from, from_descriptor, to, to_descriptor,
                                                      check, context);
}

namespace {

// Of the file "a", which is to hold "new" instead of "old", or of "d", which is to be made.
class FailingSystem : public UpdateTest {
 protected:
  FailingSystem() { Mend(); }
  ~FailingSystem() override { Mend(); }

  static void Mend() {
    faults.clear();
    calls.clear();
    most_written = std::string::npos;
  }

  // What it says, with DIR for the directory.
  std::string MessageOfUpdate(const std::vector<Fault>& of_system, const std::string& name,
                              const UpdateOptions& options) const {
    faults = of_system;
    const std::string message = MessageOf<Failure>([&] {
      FileUpdate update = FileUpdate::OfMissing(PathOf(name), std::chrono::seconds(1));
      update.Replace(0, "new\n");
      update.Commit(options);
    });
    Mend();
    const std::string slash = PathOf("");
    const std::string directory = slash.substr(0, slash.size() - 1);
    std::string told = message;
    for (std::size_t at = told.find(directory); at != std::string::npos;
         at = told.find(directory)) {
      told.replace(at, directory.size(), "DIR");
    }
    return told;
  }

  Files All() const {
    Files all;
    for (const std::string& name : m_sandbox.Names()) all[name] = m_sandbox.Read(name);
    return all;
  }
};

const Fault kNone = {"none", "", 0};  // calls are noted

const char kDone[] = "nothing was thrown";
const Files kOld = {{"a", "old\n"}};
const Files kOldAndMade = {{"a", "old\n"}, {"d", "new\n"}};

TEST_F(FailingSystem, IsToldOfTheFileAndLeavesAllAsItWas) {
  struct Case {
    std::vector<Fault> faults;
    const char* name;
    const char* message;
  };
  const Case cases[] = {
      {{{"flock", "/a", EIO}}, "a", "a: cannot be locked: Input/output error"},
      {{{"fstat", "/a", EIO}}, "a", "a: Input/output error"},
      {{{"flock", "a.qeltemplate-new", EIO}}, "a", "a: cannot be locked: Input/output error"},
      {{{"write", "a.qeltemplate-new", ENOSPC}},
       "a",
       "a: cannot be written: No space left on device"},
      {{{"write", "d.qeltemplate-new", ENOSPC}},
       "d",
       "d: cannot be written: No space left on device"},
      {{{"fstat", "a.qeltemplate-new", EIO}}, "a", "a: Input/output error"},
      {{{"fchmod", "", EPERM}}, "a", "a: its mode cannot be kept: Operation not permitted"},
      {{{"fgetxattr", "", EIO}, {"perm_copy_fd", "", EPERM}},
       "a",
       "a: its ACL cannot be kept: Operation not permitted"},
      {{{"fgetxattr", "/a", EIO}, {"perm_copy_fd", "", EPERM}},
       "a",
       "a: its ACL cannot be kept: Operation not permitted"},
      {{{"fgetxattr", "a.qeltemplate-new", EIO}, {"perm_copy_fd", "", EPERM}},
       "a",
       "a: its ACL cannot be kept: Operation not permitted"},
      {{{"flistxattr", "/a", EIO}, {"attr_copy_fd", "", EPERM}},
       "a",
       "a: its extended attributes cannot be kept: Operation not permitted"},
      {{{"fsync", "a.qeltemplate-new", EIO}}, "a", "a: cannot be written: Input/output error"},
      {{{"link", "", EIO}}, "a", "a: cannot be kept as .a.qeltemplate-old: Input/output error"},
      {{{"link", "", EPERM}},
       "a",
       "a: cannot be kept as .a.qeltemplate-old: Operation not permitted"},
      {{{"link", "", EIO}}, "d", "d: cannot be kept as .d.qeltemplate-old: Input/output error"},
      {{{"lstat", ".a.qeltemplate-old", EIO}},
       "a",
       "a: cannot be kept as .a.qeltemplate-old: Input/output error"},
      {{{"renameat2", "", EIO}}, "a", "a: cannot be replaced: Input/output error"},
      {{{"renameat2", "", EIO}}, "d", "d: cannot be replaced: Input/output error"},
      {{{"renameat2", "", EINVAL}, {"rename", "", EIO}},
       "a",
       "a: cannot be replaced: Input/output error"},
      {{{"renameat2", "", EINVAL}, {"link", "/d", EIO}},
       "d",
       "d: cannot be replaced: Input/output error"},
      {{{"fsync", "/files", EIO, 1}}, "a", "DIR: Input/output error"},
      {{{"fsync", "/files", EIO, 1}}, "d", "DIR: Input/output error"},
      {{{"fsync", "/files", EIO}}, "a", "DIR: Input/output error\nDIR: Input/output error"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.name << ", " << c.faults.front().function << " of "
                                    << c.faults.front().file << ": " << c.message);
    EXPECT_EQ(MessageOfUpdate(c.faults, c.name, {}), c.message);
    EXPECT_EQ(All(), kOld);
  }
}

// The same where there is no need to ask, or another way.
TEST_F(FailingSystem, DoesNotMatterWhereAnUpdateCanDoWithout) {
  struct Case {
    std::vector<Fault> faults;
    const char* name;
  };
  const Case cases[] = {
      {{{"flock", "", EINTR, 2}}, "a"},
      {{{"flock", "a.qeltemplate-new", EINTR, 2}}, "a"},
      {{{"write", "", EINTR, 2}}, "a"},
      {{{"fsync", "", EINTR, 2}}, "a"},
      {{{"fsync", "/files", EINTR, 2}}, "a"},
      {{{"fchown", "", EPERM}}, "a"},
      {{{"fchmod", "", EPERM}}, "d"},
      {{{"fgetxattr", "", ENODATA}, {"perm_copy_fd", "", EPERM}}, "a"},
      {{{"fgetxattr", "", EOPNOTSUPP}, {"perm_copy_fd", "", EPERM}}, "a"},
      {{{"syncfs", "", EIO}}, "a"},
      {{{"renameat2", "", EINVAL}}, "a"},
      {{{"renameat2", "", EINVAL}}, "d"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message()
                 << c.name << ", " << c.faults.front().function << ' ' << c.faults.front().error);
    m_sandbox.Write("a", "old\n");
    std::filesystem::remove(PathOf("d"));
    EXPECT_EQ(MessageOfUpdate(c.faults, c.name, {}), kDone);
    EXPECT_EQ(All(), *c.name == 'a' ? (Files{{"a", "new\n"}}) : kOldAndMade);
  }
}

TEST_F(FailingSystem, MayTakeATextInAnyPieces) {
  for (const std::size_t most : {std::size_t{1}, std::size_t{3}}) {
    SCOPED_TRACE(most);
    m_sandbox.Write("a", "old\n");
    most_written = most;
    Commit("a longer text\n", {"a"});
    most_written = std::string::npos;
    EXPECT_EQ(m_sandbox.Read("a"), "a longer text\n");
  }
}

// --- On the way back ---

TEST_F(FailingSystem, IsToldWhereAFileCannotBePutBack) {
  struct Case {
    std::vector<Fault> faults;
    const char* name;
    const char* command;
    const char* problem;
    Files after;
  };
  const char* const stays =
      "a: cannot be put back, its old content is in .a.qeltemplate-old: Input/output error";
  const Files new_and_old = {{"a", "new\n"}, {".a.qeltemplate-old", "old\n"}};
  const char* const made_stays = "d: is new and cannot be removed: Input/output error";
  const Case cases[] = {
      {{{"renameat2", "", EIO, kAlways, 1}}, "a", "", stays, new_and_old},
      {{{"renameat2", "", EINVAL}, {"rename", "", EIO, kAlways, 1}}, "a", "", stays, new_and_old},
      {{{"renameat2", "", EIO, kAlways, 1}}, "d", "", made_stays, kOldAndMade},
      {{{"renameat2", "", EINVAL}, {"link", ".d.qeltemplate-new", EIO}},
       "d",
       "",
       made_stays,
       kOldAndMade},
      // With one name only, and where what is to go has gone.
      {{{"link", ".a.qeltemplate-new", EIO}}, "a", "", "", kOld},
      {{{"link", ".a.qeltemplate-new", EIO}, {"renameat2", "", EINVAL}}, "a", "", "", kOld},
      {{}, "d", "rm d; ", "", kOld},
      // What a command has put where the update works.
      {{}, "a", "echo x >.a.qeltemplate-new; ", "", kOld},
      {{{"renameat2", "", EINVAL}}, "a", "echo x >.a.qeltemplate-new; ", "", kOld},
      {{}, "d", "echo x >.d.qeltemplate-new; ", "", kOld},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.name << ", " << c.command
                                    << (c.faults.empty() ? "" : c.faults.back().function));
    for (const std::string& name : m_sandbox.Names()) std::filesystem::remove(PathOf(name));
    m_sandbox.Write("a", "old\n");
    const std::string check = "cd " + PathOf("") + "; " + c.command + "false";
    const std::string message = MessageOfUpdate(c.faults, c.name, WithCheck(check));
    if (*c.problem == '\0') {
      EXPECT_THAT(message, EndsWith("(exit status 1), the old ones are back"));
    } else {
      EXPECT_THAT(message, EndsWith(std::string("(exit status 1)\n") + c.problem));
    }
    EXPECT_EQ(All(), c.after);
  }
}

// --- Beside another program ---

// That has changed the file before it was replaced, or during the check.
TEST_F(FailingSystem, IsToldWhereATextCannotBeKept) {
  struct Case {
    std::vector<Fault> faults;
    const char* check;
    const char* kept;
    Files after;
  };
  const std::string changed = "a: has been changed by another program meanwhile and stays so; ";
  const char* const before = "echo theirs >b; mv b a; : {}";
  const char* const after = "echo theirs >b; mv b a";
  const Files theirs = {{"a", "theirs\n"}};
  const Files theirs_and_old = {{"a", "theirs\n"}, {".a.qeltemplate-kept-old", "old\n"}};
  const Case cases[] = {
      {{{"renameat2", ".a.qeltemplate-new", EIO}},
       before,
       "the new text is in .a.qeltemplate-new",
       {{"a", "theirs\n"}, {".a.qeltemplate-new", "new\n"}}},
      {{{"flock", "kept-new", EIO}},
       after,
       "the new text is in no file (a: cannot be locked: Input/output error); "
       "the old one is in .a.qeltemplate-kept-old",
       theirs_and_old},
      {{{"write", "kept-new", ENOSPC}},
       after,
       "the new text is in no file (a: cannot be written: No space left on device); "
       "the old one is in .a.qeltemplate-kept-old",
       theirs_and_old},
      {{{"fsync", "kept-new", EIO}},
       after,
       "the new text is in no file (a: cannot be written: Input/output error); "
       "the old one is in .a.qeltemplate-kept-old",
       theirs_and_old},
      {{{"renameat2", ".a.qeltemplate-old", EIO}},
       after,
       "the new text is in .a.qeltemplate-kept-new; the old one is in .a.qeltemplate-old",
       {{"a", "theirs\n"}, {".a.qeltemplate-kept-new", "new\n"}, {".a.qeltemplate-old", "old\n"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message()
                 << c.faults.front().function << " of " << c.faults.front().file);
    for (const std::string& name : m_sandbox.Names()) std::filesystem::remove(PathOf(name));
    m_sandbox.Write("a", "old\n");
    const std::string check = "cd " + PathOf("") + "; " + c.check;
    EXPECT_EQ(MessageOfUpdate(c.faults, "a", WithCheck(check)), changed + c.kept);
    EXPECT_EQ(All(), c.after);
  }
}

// What cannot be seen for a moment, a file or what is kept of it, may be another one.
TEST_F(FailingSystem, IsNoReasonToLoseAFileWhereOneLookFails) {
  std::set<std::string> messages;
  for (const char* command : {"true", "false"}) {
    bool has_failed = true;
    for (int number = 0; has_failed; ++number) {
      SCOPED_TRACE(testing::Message() << command << ", look " << number);
      for (const std::string& name : m_sandbox.Names()) std::filesystem::remove(PathOf(name));
      m_sandbox.Write("a", "old\n");
      Fault& look = faults.emplace_back(Fault{"lstat", "", EIO, 1, number});
      const std::string message =
          MessageOf<Failure>([&] { Commit("new\n", {"a"}, WithCheck(command)); });
      has_failed = look.times < 1;
      Mend();
      messages.insert(message);
      const std::string kept_old = ".a.qeltemplate-kept-old";
      const bool is_kept = m_sandbox.Exists(kept_old);
      EXPECT_EQ(message.find(kept_old) != std::string::npos, is_kept) << message;
      EXPECT_EQ(m_sandbox.Read(is_kept ? kept_old : "a"), message == kDone ? "new\n" : "old\n");
    }
  }
  EXPECT_THAT(messages, testing::IsSupersetOf(
                            {"a file was changed by another program meanwhile, and changed back",
                             "a: cannot be kept as .a.qeltemplate-old: Input/output error",
                             "nothing was thrown"}));
}

// --- Many files ---

// Few are flushed one by one, many by their file system, where that is possible.
TEST_F(FailingSystem, FlushesAllTextsBeforeAnyIsInPlace) {
  struct Case {
    std::vector<Fault> faults;
    int count;
    const char* message;  // its end
    std::size_t flushed;  // with the directory
    std::size_t file_systems;
  };
  const char* const failed = ": cannot be written: Input/output error";
  const Case cases[] = {
      {{kNone}, 8, kDone, 9, 0},
      {{kNone}, 9, kDone, 1, 1},
      {{{"syncfs", "", EINTR, 2}}, 9, kDone, 1, 3},
      {{{"syncfs", "", EIO}}, 9, failed, 0, 1},
      {{{"syncfs", "", ENOSYS}}, 9, kDone, 10, 9},
      {{{"syncfs", "", ENOSYS}, {"fsync", "site8.qeltemplate-new", EIO}}, 9, failed, 9, 9},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.count << " files, " << c.faults.front().function << ' '
                                    << c.faults.front().error);
    std::vector<std::string> names;
    for (int i = 0; i < c.count; ++i) {
      names.push_back("site" + std::to_string(i));
      m_sandbox.Write(names.back(), "old\n");
    }
    faults = c.faults;
    const std::string message = MessageOf<Failure>([&] { Commit("new\n", names); });
    EXPECT_EQ(calls["fsync"].size(), c.flushed);
    EXPECT_EQ(calls["syncfs"].size(), c.file_systems);
    Mend();
    EXPECT_THAT(message, EndsWith(c.message));
    for (const std::string& name : names) {
      EXPECT_EQ(m_sandbox.Read(name), message == kDone ? "new\n" : "old\n");
    }
    EXPECT_EQ(m_sandbox.Names().size(), names.size() + 1);
  }
}

TEST_F(FailingSystem, FlushesEachDirectoryOnceOnTheWayThereAndOnTheWayBack) {
  std::vector<std::string> names;
  for (const char* directory : {"y", "x"}) std::filesystem::create_directory(PathOf(directory));
  for (const char* name : {"y/1", "x/1", "y/2", "y/3"}) {
    names.emplace_back(name);
    m_sandbox.Write(name, "old\n");
  }
  struct Case {
    const char* check;
    std::vector<std::string> flushed;
  };
  const std::string of_one = ".1.qeltemplate-new";
  const std::vector<std::string> there = {
      of_one, of_one, ".2.qeltemplate-new", ".3.qeltemplate-new", "x", "y"};
  std::vector<std::string> and_back = there;
  and_back.insert(and_back.end(), {"x", "y"});
  for (const Case& c : {Case{"false", and_back}, Case{"true", there}}) {
    faults = {kNone};
    MessageOf<Failure>([&] { Commit("new\n", names, WithCheck(c.check)); });
    EXPECT_EQ(calls["fsync"], c.flushed) << c.check;
    Mend();
  }
}

}  // namespace
