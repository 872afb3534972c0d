// SPDX-License-Identifier: Apache-2.0

// An update that is killed, or that the system fails, at each of its system calls in turn.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <array>
#include <filesystem>
#include <map>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "update/update_sandbox.h"

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsSupersetOf;
using Words = std::vector<std::string>;

constexpr char kOld[] = "old\n";
constexpr char kNew[] = "old\nnew\n";
constexpr char kEarlier[] = "earlier\n";
constexpr mode_t kMode = 0640;
constexpr uid_t kOwner = 12345;

// Two files, the second behind a symbolic link and with a backup from before.
class Interrupted : public testing::Test {
 protected:
  void MakeFiles() const {
    std::filesystem::remove_all(m_sandbox.PathOf(""));
    std::filesystem::create_directories(m_sandbox.PathOf("sites"));
    m_sandbox.Write("a", kOld);
    m_sandbox.Write("sites/b", kOld);
    m_sandbox.Write("sites/b~", kEarlier);
    std::filesystem::create_symlink("sites/b", m_sandbox.PathOf("b"));
    for (const char* file : {"a", "sites/b"}) {
      const std::string path = m_sandbox.PathOf(file);
      m_sandbox.SetMode(file, kMode);
      setxattr(path.c_str(), "user.note", "kept", 4, 0);
      if (geteuid() == 0) {
        EXPECT_EQ(chown(path.c_str(), kOwner, kOwner), 0);
      }
    }
  }

  // Runs the update under strace, with its option `trace`. Not with the leak detector, which cannot
  // be traced.
  Outcome RunTraced(const std::string& trace, const Words& arguments) const {
    return m_sandbox.Append(arguments, {"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-qq", "-o",
                                        "../trace", "-e", trace});
  }

  // Lets "SYSTEM-CALL:WHAT" happen to the call of that number.
  Outcome RunInjected(const std::string& name, const std::string& what, int number,
                      const Words& arguments) const {
    return RunTraced("inject=" + name + ':' + what + ":when=" + std::to_string(number), arguments);
  }

  // Their names, in order.
  std::vector<std::string> CallsInTrace() const {
    std::vector<std::string> names;
    std::istringstream trace(m_sandbox.Read("../trace"));
    for (std::string line; std::getline(trace, line);) {
      const std::size_t name_end = line.find('(');
      if (name_end != std::string::npos) names.push_back(line.substr(0, name_end));
    }
    return names;
  }

  struct Calls {
    int first = 1;
    int last = 0;
  };

  // What the update calls from its first lock on, by their numbers, without what nobody else sees:
  // between two of these calls it is the same when it is killed.
  std::map<std::string, Calls> SystemCalls(const Words& arguments) const {
    MakeFiles();
    RunTraced(
        "trace=openat,flock,fchown,fchmod,fsetxattr,write,fsync,syncfs,link,rename,renameat2,"
        "unlink,"
        "memfd_create,pread64,wait4,exit_group,pipe2,poll,kill",
        arguments);
    std::map<std::string, Calls> calls;
    bool has_lock = false;
    for (const std::string& name : CallsInTrace()) {
      has_lock = has_lock || name == "flock";
      ++calls[name].last;
      if (!has_lock) ++calls[name].first;
    }
    return calls;
  }

  void ExpectAttributesKept() const {
    for (const char* file : {"a", "sites/b"}) {
      std::array<char, 8> note{};
      EXPECT_EQ(m_sandbox.Mode(file), kMode);
      EXPECT_EQ(getxattr(m_sandbox.PathOf(file).c_str(), "user.note", note.data(), note.size()), 4);
      if (geteuid() == 0) {
        EXPECT_EQ(m_sandbox.Status(file).st_uid, kOwner);
      }
    }
    EXPECT_TRUE(std::filesystem::is_symlink(m_sandbox.PathOf("b")));
  }

  void ExpectWhole(const char* file, bool has_backup, const std::string& earlier_backup) const {
    const std::string backup = std::string(file) + '~';
    const bool is_new = m_sandbox.Read(file) == kNew;
    if (!is_new) {
      EXPECT_EQ(m_sandbox.Read(file), kOld);
    }
    if (!has_backup) return;
    const std::string kept = m_sandbox.Exists(backup) ? m_sandbox.Read(backup) : "";
    if (is_new || kept != earlier_backup) {
      EXPECT_EQ(kept, kOld);
    }
  }

  void ExpectAllOrNone(bool all, bool has_backup) const {
    EXPECT_EQ(m_sandbox.Read("a"), all ? kNew : kOld);
    EXPECT_EQ(m_sandbox.Read("sites/b"), all ? kNew : kOld);
    EXPECT_EQ(m_sandbox.Read("sites/b~"), all && has_backup ? kOld : kEarlier);
    EXPECT_EQ(m_sandbox.Exists("a~"), all && has_backup);
  }

  void ExpectNextUpdateWorks() const {
    const std::string a = m_sandbox.Read("a");
    const std::string b = m_sandbox.Read("sites/b");
    const Outcome next = m_sandbox.Append({"--wait=5", "next", "a", "b"});
    EXPECT_EQ(next.exit_code, 0) << next.err;
    EXPECT_EQ(m_sandbox.Read("a"), a + "next\n");
    EXPECT_EQ(m_sandbox.Read("sites/b"), b + "next\n");
    for (const std::string& name : m_sandbox.Names())
      EXPECT_THAT(name, AnyOf("a", "a~", "b", "sites"));
    EXPECT_THAT(m_sandbox.Names("sites"), ElementsAre("b", "b~"));
  }

  void KillAtEachCall(const Words& update, bool has_backup) const {
    std::set<std::string> seen;
    for (const auto& [name, calls] : SystemCalls(update)) {
      for (int number = calls.first; number <= calls.last; ++number) {
        SCOPED_TRACE("killed at " + name + ", call " + std::to_string(number));
        MakeFiles();
        EXPECT_EQ(RunInjected(name, "signal=KILL", number, update).exit_code, -1);
        seen.insert(m_sandbox.Read("a") + m_sandbox.Read("sites/b"));
        ExpectWhole("a", has_backup, "");
        ExpectWhole("sites/b", has_backup, kEarlier);
        ExpectAttributesKept();
        ExpectNextUpdateWorks();
        if (HasFailure()) return;
      }
    }
    EXPECT_THAT(seen, IsSupersetOf({std::string(kOld) + kOld, std::string(kNew) + kOld,
                                    std::string(kNew) + kNew}));
  }

  UpdateSandbox m_sandbox;
};

// The words for an update of both files.
Words UpdateWith(Words options) {
  options.insert(options.end(), {"new", "a", "b"});
  return options;
}

struct Case {
  const char* name;
  Words options;
  bool has_backup;
};

void PrintTo(const Case& c, std::ostream* out) {
  *out << c.name;
}

class Accepted : public Interrupted, public testing::WithParamInterface<Case> {};
class Refused : public Interrupted, public testing::WithParamInterface<Case> {};

const Case kAccepted[] = {
    {"Plain", {}, false},
    {"Backup", {"--backup=~"}, true},
    {"CheckInPlace", {"--check=true"}, false},
    {"CheckOfStaged", {"--check=grep -q new {}"}, false},
    {"CheckOfWarnings", {"--check=cat a sites/b", "--warnings=refused"}, false},
    {"Everything", {"--backup=~", "--check=true", "--warnings=told", "--reload=true"}, true},
    {"Library", {"--library", "--check=true", "--reload=true"}, false},
};

const Case kRefused[] = {
    {"Check", {"--backup=~", "--check=false"}, true},
    {"Warnings",
     {"--backup=~", "--check=grep -q new a && echo '[warn] new'; true", "--warnings=refused"},
     true},
    {"Reload", {"--backup=~", "--reload=false"}, true},
    {"Library", {"--library", "--backup=~", "--reload=false"}, true},
};

std::string NameOf(const testing::TestParamInfo<Case>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Updates, Accepted, testing::ValuesIn(kAccepted), NameOf);
INSTANTIATE_TEST_SUITE_P(Updates, Refused, testing::ValuesIn(kRefused), NameOf);

TEST_P(Accepted, KilledAtAnyCallEachFileIsOldOrNew) {
  KillAtEachCall(UpdateWith(GetParam().options), GetParam().has_backup);
}

TEST_P(Refused, KilledAtAnyCallEachFileIsOldOrNew) {
  KillAtEachCall(UpdateWith(GetParam().options), GetParam().has_backup);
}

TEST_P(Accepted, WhenACallFailsAllFilesAreOldOrAllAreNew) {
  const std::set<std::string> calls_that_change = {
      "openat", "flock",     "fchown", "fchmod",  "fsetxattr",    "write", "fsync",
      "link",   "renameat2", "unlink", "pread64", "memfd_create", "pipe2", "poll"};
  const Words update = UpdateWith(GetParam().options);
  for (const auto& [name, calls] : SystemCalls(update)) {
    if (calls_that_change.count(name) == 0) continue;
    for (int number = calls.first; number <= calls.last; ++number) {
      MakeFiles();
      const Outcome outcome = RunInjected(name, "error=EIO", number, update);
      SCOPED_TRACE(name + " fails, call " + std::to_string(number) + ": " + outcome.err);
      ExpectAllOrNone(outcome.exit_code == 0, GetParam().has_backup);
      ExpectAttributesKept();
      if (HasFailure()) return;
    }
  }
}

TEST_F(Interrupted, KilledAtAnyCallAFileThatWasNotThereIsMissingOrWhole) {
  const Words update = {"--missing", "--check=true", "new", "sites/c"};
  std::set<std::string> seen;
  for (const auto& [name, calls] : SystemCalls(update)) {
    for (int number = calls.first; number <= calls.last; ++number) {
      SCOPED_TRACE("killed at " + name + ", call " + std::to_string(number));
      MakeFiles();
      EXPECT_EQ(RunInjected(name, "signal=KILL", number, update).exit_code, -1);
      const std::string text = m_sandbox.Exists("sites/c") ? m_sandbox.Read("sites/c") : "missing";
      seen.insert(text);
      EXPECT_EQ(m_sandbox.Append({"--missing", "--wait=5", "next", "sites/c"}).exit_code, 0);
      EXPECT_EQ(m_sandbox.Read("sites/c"), text == "missing" ? "next\n" : "new\nnext\n");
      EXPECT_THAT(m_sandbox.Names("sites"), ElementsAre("b", "b~", "c"));
      if (HasFailure()) return;
    }
  }
  EXPECT_THAT(seen, ElementsAre("missing", "new\n"));
}

TEST_F(Interrupted, FlushesAFileBeforeItGetsItsNameAndTheNameAfterwards) {
  MakeFiles();
  RunTraced("trace=write,fsync,link,rename,renameat2", {"new", "a"});
  EXPECT_THAT(CallsInTrace(), ElementsAre("write", "fsync", "link", "renameat2", "fsync"));
}

// Of many files each flush would take as long as one of all.
TEST_F(Interrupted, FlushesManyFilesAtOnceBeforeTheFirstOneGetsItsName) {
  Words update = {"new"};
  for (int file = 0; file < 10; ++file) update.push_back("many" + std::to_string(file));
  const auto make = [&] {
    MakeFiles();
    for (std::size_t i = 1; i < update.size(); ++i) m_sandbox.Write(update.at(i), kOld);
  };
  const auto expect_all = [&](const char* text) {
    for (std::size_t i = 1; i < update.size(); ++i) EXPECT_EQ(m_sandbox.Read(update.at(i)), text);
  };
  Words calls(10, "write");
  calls.emplace_back("syncfs");
  for (int file = 0; file < 10; ++file) calls.insert(calls.end(), {"link", "renameat2"});
  calls.emplace_back("fsync");
  make();
  RunTraced("trace=write,fsync,syncfs,link,rename,renameat2", update);
  EXPECT_EQ(CallsInTrace(), calls);
  expect_all(kNew);

  make();
  EXPECT_EQ(RunInjected("syncfs", "error=ENOSPC", 1, update).err,
            "many0: cannot be written: No space left on device\n");
  expect_all(kOld);

  make();
  RunTraced("inject=syncfs:error=ENOSYS", update);
  expect_all(kNew);
}

// The files are renamed one after the other, and back the other way round.
TEST_F(Interrupted, SaysWhereTheOldContentIsThatCannotBePutBack) {
  MakeFiles();
  const Outcome outcome =
      RunInjected("renameat2", "error=EIO", 3, {"--check=false", "new", "a", "b"});
  const std::string kept = m_sandbox.PathOf("sites/.b.qeltemplate-old");
  EXPECT_EQ(outcome.err,
            "false: refuses the new files (exit status 1)\n"
            "b: cannot be put back, its old content is in " +
                kept + ": Input/output error\n");
  EXPECT_EQ(outcome.exit_code, 3);
  EXPECT_EQ(m_sandbox.Read("a"), kOld);
  EXPECT_EQ(m_sandbox.Read("sites/b"), kNew);
  EXPECT_EQ(m_sandbox.Read("sites/.b.qeltemplate-old"), kOld);
}

}  // namespace
