// SPDX-License-Identifier: Apache-2.0

// What an update of files does, keeps and refuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "update/failure.h"
#include "update/locked_file.h"
#include "update/update.h"
#include "update/update_test.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using tov_update::Failure;
using tov_update::FileUpdate;
using tov_update::ServerRefusal;
using std::string_literals::operator""s;
using Words = std::vector<std::string>;

class FileUpdates : public UpdateTest {
 protected:
  const tov_update::Glances m_glances{PathOf("a")};
  std::string m_buffer;
};

// --- Replacing ---

TEST_F(FileUpdates, ReplacesTheContent) {
  Commit("new\n", {"a"});
  EXPECT_EQ(m_sandbox.Read("a"), "new\n");
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a"));
}

TEST_F(FileUpdates, ReadsAndWritesAnyBytes) {
  const std::string large = std::string(200000, 'x') + '\0' + "\r\n\xff";
  const std::string long_name(230, 'n');
  m_sandbox.Write(long_name, large);
  FileUpdate update({PathOf(long_name)});
  EXPECT_EQ(update.Read(0), large);
  update.Replace(0, large + large);
  EXPECT_EQ(update.Read(0), large);
  update.Commit({});
  EXPECT_EQ(m_sandbox.Read(long_name), large + large);
}

TEST_F(FileUpdates, LeavesAFileAloneThatHoldsTheTextAlready) {
  const ino_t before = m_sandbox.Status("a").st_ino;
  m_sandbox.Write("b", "other\n");
  Commit("old\n", {"a", "b"}, WithBackup("~"));
  EXPECT_EQ(m_sandbox.Status("a").st_ino, before);
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "b", "b~"));
}

TEST_F(FileUpdates, RunsNoCommandWhenNothingChanges) {
  Commit("old\n", {"a"}, {"~", "touch " + PathOf("checked"), "touch " + PathOf("reloaded")});
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a"));
}

TEST_F(FileUpdates, TheLastReplaceCounts) {
  FileUpdate update({PathOf("a")});
  update.Replace(0, "new\n");
  update.Replace(0, "old\n");
  update.Commit(WithReload("false"));
  EXPECT_EQ(m_sandbox.Read("a"), "old\n");
}

TEST_F(FileUpdates, TakesAFileOnceThatHasSeveralNames) {
  m_sandbox.Write("b", "b\n");
  std::filesystem::create_symlink("a", PathOf("link"));
  std::filesystem::create_directory_symlink(".", PathOf("here"));
  const FileUpdate update(
      {PathOf("link"), PathOf("b"), PathOf("a"), PathOf("./a"), PathOf("here/b")});
  ASSERT_EQ(update.Size(), 2U);
  EXPECT_EQ(update.Name(0), PathOf("link"));
  EXPECT_EQ(update.Name(1), PathOf("b"));
}

TEST_F(FileUpdates, FollowsASymbolicLink) {
  std::filesystem::create_directory(PathOf("available"));
  std::filesystem::create_directory(PathOf("enabled"));
  m_sandbox.Write("available/site", "old\n");
  std::filesystem::create_symlink("../available/site", PathOf("enabled/site"));
  std::filesystem::create_symlink("site", PathOf("enabled/alias"));
  Commit("new\n", {"enabled/alias"}, WithBackup(".bak"));
  EXPECT_EQ(m_sandbox.Read("available/site"), "new\n");
  EXPECT_EQ(m_sandbox.Read("available/site.bak"), "old\n");
  EXPECT_TRUE(std::filesystem::is_symlink(PathOf("enabled/site")));
  EXPECT_THAT(m_sandbox.Names("enabled"), ElementsAre("alias", "site"));
}

TEST_F(FileUpdates, MakesAFileThatIsNotThere) {
  FileUpdate update = FileUpdate::OfMissing(PathOf("b"));
  EXPECT_EQ(update.Read(0), "");
  update.Replace(0, "");
  const mode_t mask = umask(027);
  update.Commit({"~", "true", "true"});
  umask(mask);
  EXPECT_EQ(m_sandbox.Read("b"), "");
  EXPECT_EQ(m_sandbox.Mode("b"), 0640U);
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "b"));
}

TEST_F(FileUpdates, MakesAFileTogetherWithOthers) {
  m_sandbox.Write("c", "old\n");
  const auto update = [this] {
    FileUpdate both = FileUpdate::WithMissing({PathOf("c")}, PathOf("b"));
    EXPECT_EQ(both.Size(), 2U);
    EXPECT_EQ(both.Name(1), PathOf("b"));
    both.Replace(0, "new\n");
    both.Replace(1, "made\n");
    return both;
  };
  EXPECT_THROW(update().Commit(WithCheck("false")), ServerRefusal);
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "c"));
  EXPECT_EQ(m_sandbox.Read("c"), "old\n");
  update().Commit(WithCheck("true"));
  EXPECT_EQ(m_sandbox.Read("c"), "new\n");
  EXPECT_EQ(m_sandbox.Read("b"), "made\n");
  EXPECT_EQ(MessageOf<Failure>([this] { FileUpdate::WithMissing({PathOf("d")}, PathOf("b")); }),
            "d: No such file or directory");
}

TEST_F(FileUpdates, AFileThatIsNotThereStaysAwayWhenItIsRefused) {
  FileUpdate update = FileUpdate::OfMissing(PathOf("b"));
  update.Replace(0, "new\n");
  EXPECT_THROW(update.Commit(WithCheck("false")), ServerRefusal);
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a"));
}

// --- Attributes ---

TEST_F(FileUpdates, KeepsTheMode) {
  for (const mode_t mode : {0600U, 0640U, 0666U, 04755U, 02770U, 01644U}) {
    m_sandbox.Write("a", "old\n");
    m_sandbox.SetMode("a", mode);
    Commit("new\n", {"a"}, WithBackup("~"));
    EXPECT_EQ(m_sandbox.Mode("a"), mode);
    EXPECT_EQ(m_sandbox.Mode("a~"), mode);
  }
}

TEST_F(FileUpdates, KeepsTheOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  ASSERT_EQ(chown(PathOf("a").c_str(), 12345, 54321), 0);
  m_sandbox.SetMode("a", 06750);
  Commit("new\n", {"a"}, WithBackup("~"));
  for (const char* file : {"a", "a~"}) {
    EXPECT_EQ(m_sandbox.Status(file).st_uid, 12345U);
    EXPECT_EQ(m_sandbox.Status(file).st_gid, 54321U);
    EXPECT_EQ(m_sandbox.Mode(file), 06750U);
  }
}

TEST_F(FileUpdates, KeepsExtendedAttributes) {
  const std::string value = "x\0y"s;
  if (setxattr(PathOf("a").c_str(), "user.note", value.data(), value.size(), 0) != 0) {
    GTEST_SKIP() << "the file system has no extended attributes";
  }
  Commit("new\n", {"a"}, WithBackup("~"));
  for (const char* file : {"a", "a~"}) {
    std::array<char, 16> kept{};
    const ssize_t size = getxattr(PathOf(file).c_str(), "user.note", kept.data(), kept.size());
    ASSERT_EQ(size, 3) << file;
    EXPECT_EQ(std::string(kept.data(), 3), value);
  }
}

// The ACL that a directory gives to new files is not that of the file.
TEST_F(FileUpdates, KeepsTheAcl) {
  m_sandbox.Write("plain", "old\n");
  m_sandbox.SetMode("plain", 0640);
  if (m_sandbox.Run({"setfacl", "-m", "u:12345:rw,g:54321:r", "a"}).exit_code != 0) {
    GTEST_SKIP() << "the file system has no ACLs";
  }
  ASSERT_EQ(m_sandbox.Run({"setfacl", "-d", "-m", "u:99999:rwx", "."}).exit_code, 0);
  const Words command = {"getfacl", "-n", "a", "plain"};
  const std::string before = m_sandbox.Run(command).out;
  ASSERT_THAT(before, HasSubstr("user:12345:rw-"));
  Commit("new\n", {"a", "plain"});
  EXPECT_EQ(m_sandbox.Run(command).out, before);
}

// --- Backups ---

TEST_F(FileUpdates, ABackupReplacesTheOneBefore) {
  Commit("second\n", {"a"}, WithBackup(".bak"));
  EXPECT_EQ(m_sandbox.Read("a.bak"), "old\n");
  Commit("third\n", {"a"}, WithBackup(".bak"));
  EXPECT_EQ(m_sandbox.Read("a.bak"), "second\n");
  EXPECT_EQ(m_sandbox.Read("a"), "third\n");
  EXPECT_EQ(m_sandbox.Status("a").st_nlink, 1U);
  EXPECT_EQ(m_sandbox.Status("a.bak").st_nlink, 1U);
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "a.bak"));
}

TEST_F(FileUpdates, ABackupReplacesALinkAndNotWhereItLeads) {
  m_sandbox.Write("precious", "precious\n");
  std::filesystem::create_symlink("precious", PathOf("a~"));
  Commit("new\n", {"a"}, WithBackup("~"));
  EXPECT_EQ(m_sandbox.Read("a~"), "old\n");
  EXPECT_FALSE(std::filesystem::is_symlink(PathOf("a~")));
  EXPECT_EQ(m_sandbox.Read("precious"), "precious\n");
}

TEST_F(FileUpdates, ARefusedUpdateBringsTheEarlierBackupBack) {
  m_sandbox.Write("a~", "earlier\n");
  m_sandbox.Write("b", "b\n");
  EXPECT_THROW(Commit("new\n", {"a", "b"}, {"~", "false", ""}), ServerRefusal);
  EXPECT_EQ(m_sandbox.Read("a~"), "earlier\n");
  EXPECT_EQ(m_sandbox.Status("a~").st_nlink, 1U);
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "a~", "b"));
}

TEST_F(FileUpdates, RefusesABackupThatCannotBe) {
  m_sandbox.Write("b", "b\n");
  m_sandbox.Write("b~", "b\n");
  std::filesystem::create_directory(PathOf("a.d"));
  struct Case {
    const char* name;
    Words files;
    const char* suffix;
    const char* message;
  };
  const Case cases[] = {
      {"no suffix", {"a"}, "", "a: no backup can have the suffix ''"},
      {"another directory", {"a"}, "/b", "a: no backup can have the suffix '/b'"},
      {"one of the files", {"b", "b~"}, "~", "b~: is to be a backup, and is itself to be edited"},
      {"a directory", {"a"}, ".d", "a.d: Is a directory"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(MessageOf<Failure>([&] { Commit("new\n", c.files, WithBackup(c.suffix)); }),
              c.message);
    EXPECT_EQ(m_sandbox.Read(c.files.front()), c.files.front() == "a" ? "old\n" : "b\n");
    EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "a.d", "b", "b~"));
  }
}

// --- Files that are none of ours ---

TEST_F(FileUpdates, RefusesWhatItCannotReplace) {
  std::filesystem::create_directory(PathOf("directory"));
  ASSERT_EQ(mkfifo(PathOf("fifo").c_str(), 0600), 0);
  std::filesystem::create_symlink("nowhere", PathOf("dangling"));
  std::filesystem::create_symlink("loop", PathOf("loop"));
  m_sandbox.Write("linked", "old\n");
  std::filesystem::create_hard_link(PathOf("linked"), PathOf("other"));
  struct Case {
    const char* file;
    const char* message;
  };
  const Case cases[] = {
      {"directory", "directory: Is a directory"},
      {"fifo", "fifo: is not a regular file"},
      {"missing", "missing: No such file or directory"},
      {"missing/a", "missing/a: No such file or directory"},
      {"a/b", "a/b: Not a directory"},
      {"a/", "a/: Not a directory"},
      {"a/..", "a/..: Not a directory"},
      {"directory/", "directory/: Is a directory"},
      {"directory/.", "directory/.: Is a directory"},
      {"directory/..", "directory/..: Is a directory"},
      {"missing/", "missing/: No such file or directory"},
      {"missing/..", "missing/..: No such file or directory"},
      {"dangling", "dangling: No such file or directory"},
      {"loop", "loop: Too many levels of symbolic links"},
      {"linked", "linked: has several hard links, which would no longer be one file"},
  };
  const Words before = m_sandbox.Names();
  for (const Case& c : cases) {
    EXPECT_EQ(MessageOf<Failure>([&] { Commit("new\n", {"a", c.file}); }), c.message);
    EXPECT_EQ(m_sandbox.Read("a"), "old\n");
    EXPECT_EQ(m_sandbox.Names(), before);
  }
  EXPECT_EQ(MessageOf<Failure>([&] { FileUpdate::OfMissing(PathOf("dangling")); }),
            "dangling: No such file or directory");
  EXPECT_EQ(MessageOf<Failure>([&] { FileUpdate::OfMissing(PathOf("directory")); }),
            "directory: Is a directory");
  EXPECT_EQ(MessageOf<Failure>([] { FileUpdate({""}); }), ": Invalid argument");
}

// No text of such a size is read.
TEST_F(FileUpdates, RefusesAFileThatIsTooLarge) {
  m_sandbox.Write("large", "");
  std::filesystem::resize_file(PathOf("large"), (std::uintmax_t{1} << 30) + 1);
  EXPECT_EQ(MessageOf<Failure>([&] { FileUpdate({PathOf("large")}).Read(0); }),
            "large: is larger than 1024 MiB");
  EXPECT_FALSE(m_glances.At(PathOf("large"), m_buffer));
}

// --- What others have left behind ---

// Beside a few files it is asked for, of many a directory is read.
TEST_F(FileUpdates, RemoveWhatWasLeftBehindBesideAnyNumberOfFiles) {
  for (const int count : {1, 8, 9, 40}) {
    SCOPED_TRACE(count);
    Words names;
    for (int i = 0; i < count; ++i) {
      names.push_back("site" + std::to_string(i));
      m_sandbox.Write(names.back(), "old\n");
    }
    for (const char* kind : {"new", "new-backup", "old-backup", "old", "kept-new"}) {
      m_sandbox.Write(".site0.qeltemplate-"s + kind, "left behind\n");
    }
    m_sandbox.Write(".other.qeltemplate-new", "of another one\n");
    Commit("new\n", names);
    EXPECT_EQ(m_sandbox.Read(names.back()), "new\n");
    EXPECT_EQ(m_sandbox.Read("site0"), "new\n");
    Words left = m_sandbox.Names();
    left.erase(std::remove_if(left.begin(), left.end(),
                              [](const std::string& name) { return name.front() != '.'; }),
               left.end());
    EXPECT_THAT(left, IsSupersetOf({".other.qeltemplate-new", ".site0.qeltemplate-kept-new"}));
    for (const char* kind : {"new-backup", "old-backup", "old"}) {
      EXPECT_THAT(left, Not(Contains(".site0.qeltemplate-"s + kind)));
    }
  }
}

// As an update leaves it that was killed before the new file was in its place.
TEST_F(FileUpdates, TakeAFileWhoseOtherNameWasLeftBehind) {
  std::filesystem::create_hard_link(PathOf("a"), PathOf(".a.qeltemplate-old"));
  Commit("new\n", {"a"});
  EXPECT_EQ(m_sandbox.Read("a"), "new\n");
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a"));
}

// --- A glance ---

TEST_F(FileUpdates, AGlanceTellsWhatAFileHolds) {
  std::filesystem::create_symlink("a", PathOf("link"));
  m_sandbox.Write("large", std::string(200000, 'x'));
  m_sandbox.Write("empty", "");
  std::filesystem::create_directory(PathOf("below"));
  m_sandbox.Write("below/c", "c\n");
  for (const char* name : {"a", "link", "large", "empty", "below/c"}) {
    SCOPED_TRACE(name);
    const auto glance = m_glances.At(PathOf(name), m_buffer);
    ASSERT_TRUE(glance);
    EXPECT_EQ(glance->text, m_sandbox.Read(name));
    EXPECT_TRUE(glance->mark.IsOfSameFile(
        tov_update::FileMark(m_sandbox.Status(name == "link"s ? "a" : name))));
  }
}

TEST_F(FileUpdates, AGlanceTellsNothingOfWhatCouldNotBeLockedAtOnce) {
  std::filesystem::create_directory(PathOf("directory"));
  ASSERT_EQ(mkfifo(PathOf("fifo").c_str(), 0600), 0);
  std::filesystem::create_symlink("nowhere", PathOf("dangling"));
  m_sandbox.Write("linked", "old\n");
  std::filesystem::create_hard_link(PathOf("linked"), PathOf("other"));
  for (const char* name : {"directory", "fifo", "missing", "dangling", "linked"}) {
    EXPECT_FALSE(m_glances.At(PathOf(name), m_buffer)) << name;
  }
  EXPECT_FALSE(m_glances.At(PathOf("a") + "\0b"s, m_buffer));
  const FileUpdate holder({PathOf("a")});
  EXPECT_FALSE(m_glances.At(PathOf("a"), m_buffer));
}

// Wherever the first one of many was.
TEST_F(FileUpdates, AGlanceFindsAFileByEachOfItsNames) {
  const std::string path = PathOf("a");
  const std::string folder = path.substr(0, path.size() - 1);
  for (const std::string& first : {path, "/"s, "relative"s, folder + "missing/a", ""s}) {
    const tov_update::Glances glances(first);
    for (const std::string& name : {path, folder + "/" + path, folder + "./a", folder + "//a"}) {
      const auto glance = glances.At(name, m_buffer);
      EXPECT_EQ(glance.has_value(), std::filesystem::exists(name)) << first << ' ' << name;
    }
    EXPECT_FALSE(glances.At(folder, m_buffer)) << first;
    EXPECT_FALSE(glances.At(path + '\0', m_buffer)) << first;
  }
}

TEST_F(FileUpdates, AGlanceTellsFilesOfTwoDirectoriesApart) {
  for (const std::string folder : {"x", "y"}) {
    std::filesystem::create_directory(PathOf(folder));
    m_sandbox.Write(folder + "/c", "of " + folder);
  }
  const tov_update::Glances glances(PathOf("x/a"));
  for (const std::string folder : {"x", "y", "x"}) {
    const auto glance = glances.At(PathOf(folder + "/c"), m_buffer);
    ASSERT_TRUE(glance) << folder;
    EXPECT_EQ(glance->text, "of " + folder);
  }
}

TEST_F(FileUpdates, AGlanceLeavesNoLock) {
  EXPECT_TRUE(m_glances.At(PathOf("a"), m_buffer));
  Commit("new\n", {"a"});
  EXPECT_EQ(m_sandbox.Read("a"), "new\n");
}

// --- Locks ---

TEST_F(FileUpdates, WaitsForTheLockAndThenGivesUp) {
  const FileUpdate holder({PathOf("a")});
  std::filesystem::create_symlink("a", PathOf("link"));
  EXPECT_EQ(
      MessageOf<Failure>([this] { FileUpdate({PathOf("link")}, std::chrono::milliseconds(50)); }),
      "link: stays locked by another update; try again when that has ended");
}

TEST_F(FileUpdates, HoldsTheLockOfTheNewFileUntilAllIsSettled) {
  const std::string try_lock = "flock -n " + PathOf("a") + " true && touch " + PathOf("unlocked");
  Commit("new\n", {"a"}, WithReload(try_lock + "; true"));
  EXPECT_FALSE(m_sandbox.Exists("unlocked"));
  EXPECT_EQ(m_sandbox.Run({"flock", "-n", "a", "true"}).exit_code, 0);
}

TEST_F(FileUpdates, NothingThatACommandStartsKeepsTheLock) {
  Commit("new\n", {"a"}, WithReload("sleep 5 & true"));
  Commit("newer\n", {"a"});
  EXPECT_EQ(m_sandbox.Read("a"), "newer\n");
}

TEST_F(FileUpdates, OpensMoreFilesThanTheUsualLimitAllows) {
  Words names;
  for (int i = 0; i < 700; ++i) {
    names.push_back("site" + std::to_string(i));
    m_sandbox.Write(names.back(), "old\n");
  }
  Words arguments = {"sh", "-c", "ulimit -S -n 256; exec \"$@\"", "sh", APPEND_LINE, "new"};
  arguments.insert(arguments.end(), names.begin(), names.end());
  const Outcome outcome = m_sandbox.Run(arguments);
  EXPECT_EQ(outcome.err, "");
  for (const std::string& name : names) EXPECT_EQ(m_sandbox.Read(name), "old\nnew\n");
}

// Both edit all files, and name them in opposite orders.
TEST_F(FileUpdates, UpdatesAtTheSameTimeLoseNoEdit) {
  constexpr int kRounds = 100;
  m_sandbox.Write("b", "");
  m_sandbox.Write("a", "");
  std::filesystem::create_symlink("b", PathOf("link"));
  const std::string rounds = "i=0; while [ $i -lt " + std::to_string(kRounds) +
                             " ]; do i=$((i+1)); \"$0\" --check=true \"$@\" || exit; done";
  const std::string script = "first() { " + rounds + "; }; " + "(set -- one a b; " + rounds +
                             ") & one=$!; " + "(set -- two link a; " + rounds + ") & two=$!; " +
                             "wait $one && wait $two";
  const Outcome outcome = m_sandbox.Run({"sh", "-c", script, APPEND_LINE});
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.exit_code, 0);
  for (const char* file : {"a", "b"}) {
    const std::string text = m_sandbox.Read(file);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2 * kRounds) << file;
  }
}

// --- Rights and room ---

TEST_F(FileUpdates, SaysWhatTheUserMayNot) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can take on another user's rights";
  std::filesystem::permissions(PathOf(".."), std::filesystem::perms(0755));
  const Words as_nobody = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
  const auto message = [&](const char* file) {
    const Outcome outcome = m_sandbox.Append({"new", file}, as_nobody);
    EXPECT_EQ(outcome.exit_code, 3);
    return outcome.err;
  };
  m_sandbox.SetMode("a", 0644);
  EXPECT_EQ(message("a"), "a: Permission denied\n");
  m_sandbox.SetMode("a", 0666);
  EXPECT_EQ(message("a"), "a: cannot write beside it: Permission denied\n");
  m_sandbox.SetMode(".", 0733);
  EXPECT_EQ(m_sandbox.Append({"--missing", "new", PathOf("b")}, as_nobody).err,
            std::filesystem::path(PathOf("b")).parent_path().string() + ": Permission denied\n");
  m_sandbox.SetMode(".", 0777);
  EXPECT_EQ(message("a"), "a: its owner cannot be kept: Operation not permitted\n");
  EXPECT_EQ(m_sandbox.Read("a"), "old\n");
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a"));
}

TEST_F(FileUpdates, AFullDiskLeavesAllAsItWas) {
  const std::string script =
      "trap '' XFSZ; ulimit -f 8; exec \"$0\" \"$(head -c 9000 /dev/zero | tr '\\0' x)\" b a";
  m_sandbox.Write("b", std::string(4000, 'b'));
  const Outcome outcome = m_sandbox.Run({"sh", "-c", script, APPEND_LINE});
  EXPECT_EQ(outcome.err, "b: cannot be written: File too large\n");
  EXPECT_EQ(outcome.exit_code, 3);
  EXPECT_EQ(m_sandbox.Read("a"), "old\n");
  EXPECT_EQ(m_sandbox.Read("b"), std::string(4000, 'b'));
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "b"));
}

// --- Signals ---

// Whatever the shell ignores that runs this.
const Words kWithSignals = {"env", "--default-signal=HUP,INT,TERM"};
const Words kInASessionWithSignals = {"env", "--default-signal=HUP,INT,TERM", "setsid"};

TEST_F(FileUpdates, ASignalWaitsForTheEndOfTheUpdate) {
  for (const char* signal : {"HUP", "INT", "TERM"}) {
    m_sandbox.Write("a", "old\n");
    const std::string check = std::string("kill -s ") + signal + " $PPID; sleep 0.1";
    const Outcome outcome = m_sandbox.Append({"--check=" + check, "new", "a"}, kWithSignals);
    EXPECT_EQ(outcome.exit_code, -1) << signal;
    EXPECT_EQ(m_sandbox.Read("a"), "old\nnew\n");
    EXPECT_THAT(m_sandbox.Names(), ElementsAre("a"));
  }
}

TEST_F(FileUpdates, ASignalThatEndsTheCheckTakesTheFilesBack) {
  const Outcome outcome =
      m_sandbox.Append({"--check=kill -s TERM 0", "new", "a"}, kInASessionWithSignals);
  EXPECT_EQ(outcome.exit_code, -1);
  EXPECT_EQ(m_sandbox.Read("a"), "old\n");
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a"));
}

TEST_F(FileUpdates, ASignalThatEndsTheCheckOfTheOldFilesLeavesThemAlone) {
  const ino_t before = m_sandbox.Status("a").st_ino;
  const std::string check = "--check=echo checked >>log; grep -q new a || kill -s INT 0";
  const Outcome outcome = m_sandbox.Append(
      {check, "--warnings=told", "--reload=touch loaded", "new", "a"}, kInASessionWithSignals);
  EXPECT_EQ(outcome.exit_code, -1);
  EXPECT_EQ(m_sandbox.Read("a"), "old\n");
  EXPECT_EQ(m_sandbox.Read("log"), "checked\n");
  EXPECT_EQ(m_sandbox.Status("a").st_ino, before);
  EXPECT_THAT(m_sandbox.Names(), ElementsAre("a", "log"));
}

TEST_F(FileUpdates, ASignalDuringTheCheckOfTheOldFilesWaitsForTheEndOfTheUpdate) {
  const Outcome outcome = m_sandbox.Append(
      {"--check=kill -s TERM $PPID; sleep 0.1", "--warnings=told", "new", "a"}, kWithSignals);
  EXPECT_EQ(outcome.exit_code, -1);
  EXPECT_EQ(m_sandbox.Read("a"), "old\nnew\n");
}

}  // namespace
