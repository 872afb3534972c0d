// SPDX-License-Identifier: Apache-2.0

// What tells files apart, how they get other names, and what lies beside them meanwhile.

#include "update/work_files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "update/failure.h"
#include "update/file_mark.h"
#include "update/renames.h"
#include "update/update_sandbox.h"

namespace {

using testing::ElementsAre;
using tov_update::FileMark;
using tov_update::LeftBehind;
using tov_update::Renamed;
using tov_update::WorkFiles;
using Words = std::vector<std::string>;

int rename_error = 0;  // of each; 0: none

}  // namespace

// In the place of the C library's.
extern "C" int renameat2(int from_folder, const char* from, int to_folder, const char* to,
                         unsigned flags) noexcept {
  if (rename_error != 0) {
    errno = rename_error;
    return -1;
  }
  return static_cast<int>(syscall(SYS_renameat2, from_folder, from, to_folder, to, flags));
}

namespace {

class Files : public testing::Test {
 protected:
  ~Files() override { rename_error = 0; }

  std::string PathOf(const std::string& name) const { return m_sandbox.PathOf(name); }

  // No files but those that the shell makes by `commands`.
  void Make(const std::string& commands) const {
    std::filesystem::remove_all(PathOf(""));
    std::filesystem::create_directory(PathOf(""));
    EXPECT_EQ(m_sandbox.Run({"sh", "-ec", commands}).err, "");
  }

  UpdateSandbox m_sandbox;
};

// --- Marks ---

TEST(FileMarks, DifferInWhicheverPartOfAFileDoes) {
  struct stat status = {};
  status.st_dev = 1;
  status.st_ino = 2;
  status.st_size = 3;
  status.st_mtim.tv_sec = 4;
  status.st_mtim.tv_nsec = 5;
  const FileMark mark(status);
  EXPECT_TRUE(mark == FileMark(status));
  EXPECT_FALSE(mark != FileMark(status));
  struct Case {
    const char* name;
    void (*change)(struct stat&);
    bool is_same_file;
  };
  const Case cases[] = {
      {"device", [](struct stat& changed) { changed.st_dev = 9; }, false},
      {"inode", [](struct stat& changed) { changed.st_ino = 9; }, false},
      {"size", [](struct stat& changed) { changed.st_size = 9; }, true},
      {"second", [](struct stat& changed) { changed.st_mtim.tv_sec = 9; }, true},
      {"nanosecond", [](struct stat& changed) { changed.st_mtim.tv_nsec = 9; }, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    struct stat changed = status;
    c.change(changed);
    const FileMark other(changed);
    EXPECT_FALSE(mark == other);
    EXPECT_TRUE(mark != other);
    EXPECT_EQ(mark.IsOfSameFile(other), c.is_same_file);
  }
}

TEST_F(Files, AMarkIsThatOfALinkItself) {
  Make("touch a; ln -s a link");
  EXPECT_EQ(tov_update::MarkAt(PathOf("link")), FileMark(m_sandbox.Status("link")));
  EXPECT_NE(tov_update::MarkAt(PathOf("link")), tov_update::MarkAt(PathOf("a")));
  EXPECT_EQ(tov_update::MarkAt(PathOf("missing")), std::nullopt);
  const tov_update::Descriptor opened = tov_update::Open(PathOf("link"), O_RDONLY);
  EXPECT_EQ(FileMark(tov_update::StatusOf(opened, "a")), FileMark(m_sandbox.Status("a")));
  EXPECT_THROW(tov_update::StatusOf(tov_update::Descriptor(), "a"), tov_update::Failure);
}

TEST_F(Files, TwoNamesAreOfOneFileOnlyWhereBothAreThere) {
  Make("touch a b; ln a second; ln -s a link");
  struct Case {
    const char* one;
    const char* other;
    bool same;
  };
  const Case cases[] = {
      {"a", "a", true},        {"a", "second", true},   {"a", "b", false},
      {"a", "link", false},    {"a", "missing", false}, {"missing", "a", false},
      {"none", "none", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(tov_update::IsSameFile(PathOf(c.one), PathOf(c.other)), c.same)
        << c.one << " and " << c.other;
  }
}

// --- Names ---

TEST_F(Files, ARenameTellsWhyItHasNotBeenDone) {
  struct Case {
    int error;
    Renamed exchange;
    Renamed move;  // "a" to "b", which is there
  };
  const Case cases[] = {
      {ENOENT, Renamed::kElsewise, Renamed::kFailed},
      {EEXIST, Renamed::kFailed, Renamed::kElsewise},
      {EIO, Renamed::kFailed, Renamed::kFailed},
      // A link is tried instead of a move, and meets "b".
      {EINVAL, Renamed::kNoMeans, Renamed::kElsewise},
      {ENOSYS, Renamed::kNoMeans, Renamed::kElsewise},
      {EOPNOTSUPP, Renamed::kNoMeans, Renamed::kElsewise},
  };
  Make("echo a >a; echo b >b");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.error);
    rename_error = c.error;
    EXPECT_EQ(tov_update::Exchange(PathOf("a"), PathOf("b")), c.exchange);
    EXPECT_EQ(tov_update::MoveToFree(PathOf("a"), PathOf("b")), c.move);
    EXPECT_EQ(m_sandbox.Read("a"), "a\n");
    EXPECT_EQ(m_sandbox.Read("b"), "b\n");
  }
}

TEST_F(Files, AreExchanged) {
  Make("echo a >a; echo b >b");
  EXPECT_EQ(tov_update::Exchange(PathOf("a"), PathOf("b")), Renamed::kDone);
  EXPECT_EQ(m_sandbox.Read("a"), "b\n");
  EXPECT_EQ(m_sandbox.Read("b"), "a\n");
  EXPECT_EQ(tov_update::Exchange(PathOf("a"), PathOf("c")), Renamed::kElsewise);
}

TEST_F(Files, AreMovedOnlyToAFreeName) {
  for (const int error : {0, EINVAL}) {
    SCOPED_TRACE(error);
    Make("echo a >a; echo b >b");
    rename_error = error;
    EXPECT_EQ(tov_update::MoveToFree(PathOf("a"), PathOf("b")), Renamed::kElsewise);
    EXPECT_EQ(tov_update::MoveToFree(PathOf("a"), PathOf("c")), Renamed::kDone);
    EXPECT_THAT(m_sandbox.Names(), ElementsAre("b", "c"));
    EXPECT_EQ(m_sandbox.Read("b"), "b\n");
    EXPECT_EQ(m_sandbox.Read("c"), "a\n");
    EXPECT_EQ(tov_update::MoveToFree(PathOf("a"), PathOf("d")), Renamed::kFailed);
    EXPECT_EQ(errno, ENOENT);
  }
}

// --- Beside a file ---

TEST_F(Files, HaveHiddenNamesBesideThem) {
  const WorkFiles work("/etc/sites/a");
  EXPECT_EQ(work.new_file, "/etc/sites/.a.qeltemplate-new");
  EXPECT_EQ(work.old_file, "/etc/sites/.a.qeltemplate-old");
  EXPECT_EQ(work.new_backup, "/etc/sites/.a.qeltemplate-new-backup");
  EXPECT_EQ(work.old_backup, "/etc/sites/.a.qeltemplate-old-backup");
  EXPECT_EQ(work.kept, "/etc/sites/.a.qeltemplate-kept-");
}

// In the commands, new and old stand for those beside a.
TEST_F(Files, LoseNoTextWithWhatHasBeenLeftBehind) {
  struct Case {
    const char* name;
    const char* commands;
    Words left;
  };
  const std::string beside = ".a.qeltemplate-";
  const Case cases[] = {
      {"nothing", ":", {}},
      {"a new file", "touch $new", {}},
      {"backups", "touch $new-backup $old-backup", {}},
      {"a text that was kept", "touch .a.qeltemplate-kept-old", {beside + "kept-old"}},
      {"an old file that is nowhere else", "touch $old", {beside + "old"}},
      {"an old file that is in its place", "ln a $old", {}},
      {"what may be another program's", "touch $new $old", {beside + "kept-other", beside + "old"}},
      {"the same once more",
       "touch $new $old .a.qeltemplate-kept-other",
       {beside + "kept-other", beside + "kept-other-2", beside + "old"}},
      {"a new file, and the old one in its place", "touch $new; ln a $old", {}},
      {"an old file with two names", "touch $new; ln $new $old", {beside + "old"}},
      {"those of another file", "touch .b.qeltemplate-new", {".b.qeltemplate-new"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Make(std::string("new=.a.qeltemplate-new old=.a.qeltemplate-old; echo a >a; ") + c.commands);
    const std::string path = PathOf("a");
    WorkFiles(path).RemoveLeftovers(path);
    Words left = c.left;
    left.emplace_back("a");
    EXPECT_EQ(m_sandbox.Names(), left);
    EXPECT_EQ(m_sandbox.Read("a"), "a\n");
  }
}

TEST_F(Files, SayWhatCannotBeRemovedBesideThem) {
  for (const char* kind : {"new", "new-backup", "old-backup"}) {
    const std::string beside = std::string(".a.qeltemplate-") + kind;
    Make("touch a; mkdir " + beside);
    try {
      WorkFiles(PathOf("a")).RemoveLeftovers(PathOf("a"));
      ADD_FAILURE() << kind;
    } catch (const tov_update::Failure& failure) {
      EXPECT_EQ(failure.what(), PathOf(beside) + ": Is a directory");
    }
  }
}

TEST_F(Files, KeepTextsUnderNamesThatAreFree) {
  Make("touch a");
  const WorkFiles work(PathOf("a"));
  for (const char* name : {"kept-new", "kept-new-2", "kept-new-3", "kept-new-4"}) {
    const std::string free = std::string(".a.qeltemplate-") + name;
    EXPECT_EQ(work.KeptName("new"), PathOf(free));
    std::filesystem::create_symlink("nowhere", PathOf(free));
  }
  EXPECT_EQ(work.KeptName("old"), PathOf(".a.qeltemplate-kept-old"));
}

// --- Beside many files ---

class ManyFiles : public Files {
 protected:
  // Those beside which something may have been left, of so many files: "site0", "site1" and so on.
  Words Beside(const std::string& folder, int count) const {
    Words names;
    for (int i = 0; i < count; ++i) names.push_back("site" + std::to_string(i));
    return Beside(folder, names);
  }

  Words Beside(const std::string& folder, const Words& names) const {
    Words paths;
    for (const std::string& name : names) paths.push_back(PathOf(folder + name));
    const LeftBehind left_behind(paths);
    Words beside;
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (left_behind.MayBeBeside(paths.at(i))) beside.push_back(names.at(i));
    }
    return beside;
  }
};

TEST_F(ManyFiles, AreKnownToHaveNothingBesideThem) {
  Make(
      "touch .site0.qeltemplate-new .site3.qeltemplate-old-backup .site3.qeltemplate-kept-new "
      ".site4.swp site5.qeltemplate-new .qeltemplate-new ..qeltemplate-new .other.qeltemplate-new "
      ".site6 _site7 _site8.qeltemplate-new");
  EXPECT_THAT(Beside("", 9), ElementsAre("site0", "site3"));
  EXPECT_THAT(Beside("", 40), ElementsAre("site0", "site3"));
}

TEST_F(ManyFiles, AreFoundByTheWholeOfTheirNames) {
  Make("touch .a.qeltemplate-b.qeltemplate-new .b.qeltemplate-new .qeltemplate-new");
  EXPECT_THAT(
      Beside("", {"a", "a.qeltemplate-b", "b.c", ".b", "qeltemplate-new", "1", "2", "3", "4"}),
      ElementsAre("a.qeltemplate-b"));
}

TEST_F(ManyFiles, AreLookedForOneByOneWhereADirectoryIsNotRead) {
  Make("mkdir many full; touch many/.site1.qeltemplate-new; seq -f 'full/%g' 1000 | xargs touch");
  EXPECT_EQ(Beside("", 8).size(), 8U) << "so few are quickly asked for";
  EXPECT_EQ(Beside("full/", 9).size(), 9U) << "it holds much else";
  EXPECT_THAT(Beside("full/", 40), testing::IsEmpty());
  EXPECT_EQ(Beside("missing/", 9).size(), 9U);
  Words several = {"few"};
  for (int i = 0; i < 9; ++i) several.push_back("many/site" + std::to_string(i));
  EXPECT_THAT(Beside("", several), ElementsAre("few", "many/site1"));
}

}  // namespace
