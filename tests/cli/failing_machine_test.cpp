// SPDX-License-Identifier: Apache-2.0

// An edit of three files in place, on a machine that fails: each of its system calls fails in turn,
// and each is the last one. Here each call that changes something fails, in one way, and for some
// edits only each fifth; FAULTS=all has every call fail in every way, on the disk of the temporary
// directory (make faults).

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <ostream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "cli/sandbox.h"

namespace {

using Words = std::vector<std::string>;

constexpr char kOld[] = "server {\nserver_name a.example;\n}\n";
constexpr char kNew[] = "server {\nserver_name b.example;\n}\n";
constexpr char kEarlier[] = "# earlier\n";
const Words kFiles = {"a", "b", "sites/c"};

bool TriesAll() {
  const char* const faults = std::getenv("FAULTS");
  return faults && std::string(faults) == "all";
}

// How a call fails. What is not listed is never let fail: "exit_group" does not, and a "close" that
// does has closed the file; what "brk" returns when it fails is no error's number.
const std::map<std::string, Words> kErrors = {{"clone", {"EAGAIN", "ENOMEM"}},
                                              {"clone3", {"EAGAIN", "ENOMEM"}},
                                              {"fchmod", {"EIO", "EPERM"}},
                                              {"fchown", {"EIO", "EPERM"}},
                                              {"fcntl", {"EMFILE"}},
                                              {"fgetxattr", {"EIO"}},
                                              {"flistxattr", {"EIO"}},
                                              {"flock", {"ENOLCK", "EINTR"}},
                                              {"fsetxattr", {"ENOSPC", "EIO"}},
                                              {"fsync", {"EIO", "ENOSPC", "EINTR"}},
                                              {"getcwd", {"ENOMEM"}},
                                              {"ioctl", {"EIO"}},
                                              {"link", {"ENOSPC", "EIO", "EMLINK"}},
                                              {"lseek", {"EIO"}},
                                              {"memfd_create", {"EMFILE", "ENOMEM"}},
                                              {"mmap", {"ENOMEM"}},
                                              {"newfstatat", {"EIO", "ENOMEM"}},
                                              {"openat", {"EMFILE", "ENOSPC", "EIO", "EINTR"}},
                                              {"pread64", {"EIO", "EINTR"}},
                                              {"prlimit64", {"EPERM"}},
                                              {"read", {"EIO", "EINTR"}},
                                              {"readlink", {"EIO", "ENOMEM"}},
                                              {"rename", {"ENOSPC", "EIO"}},
                                              {"renameat2", {"ENOSPC", "EIO", "EINVAL"}},
                                              {"sync_file_range", {"EIO", "ENOSYS"}},
                                              {"syncfs", {"EIO", "ENOSPC", "ENOSYS"}},
                                              {"unlink", {"EIO"}},
                                              {"wait4", {"EINTR"}},
                                              {"write", {"ENOSPC", "EIO", "EINTR"}}};

// Those by which the files change, or which the rest depends on.
const std::set<std::string> kChanging = {"clone3", "exit_group",   "fchmod", "fchown", "fsync",
                                         "link",   "memfd_create", "openat", "rename", "flock",
                                         "read",   "renameat2",    "syncfs", "unlink", "wait4",
                                         "write",  "pread64"};

struct Case {
  const char* name;
  Words options;
  bool is_accepted;
  std::size_t step;  // each so-manieth call is tried
};

void PrintTo(const Case& c, std::ostream* out) {
  *out << c.name;
}

class FailingMachine : public testing::TestWithParam<Case> {
 protected:
  // A system call, by its name and number from 1.
  struct Call {
    std::string name;
    int number;
  };

  static Sandbox MakeSandbox() {
    if (!TriesAll() && std::filesystem::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 0);
    return {};
  }

  FailingMachine() {
    m_sandbox.Write("site.template", "server {\nserver_name {% $name %};\n}\n");
    std::filesystem::create_directory(m_sandbox.PathOf("sites"));
  }

  static bool HasBackup() { return GetParam().options.front() == "--in-place=.orig"; }

  void MakeFiles() const {
    for (const std::string& file : kFiles) m_sandbox.Write(file, kOld);
    std::filesystem::remove(m_sandbox.PathOf("b.orig"));
    std::filesystem::remove(m_sandbox.PathOf("sites/c.orig"));
    m_sandbox.Write("a.orig", kEarlier);
    for (const std::string& name : Leftovers()) std::filesystem::remove(m_sandbox.PathOf(name));
  }

  static Words Command() {
    Words command = {QELTEMPLATE_PROGRAM,
                     "apply",
                     "--dialect",
                     "nginx",
                     "--template",
                     "site.template",
                     "--old",
                     "name=a.example",
                     "--set",
                     "name=b.example",
                     "--jobs",
                     "1"};
    const Words& options = GetParam().options;
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(), kFiles.begin(), kFiles.end());
    return command;
  }

  // Not with the leak detector, which cannot be traced.
  Outcome RunTraced(const std::string& what) const {
    Words command = {"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-qq", "-o", "../trace", "-e",
                     what};
    const Words program = Command();
    command.insert(command.end(), program.begin(), program.end());
    return m_sandbox.Run(command);
  }

  Outcome RunInjected(const Call& call, const std::string& what) const {
    return RunTraced("inject=" + call.name + ':' + what + ":when=" + std::to_string(call.number));
  }

  static std::vector<Call> Sampled(const std::vector<Call>& calls) {
    std::vector<Call> sampled;
    for (std::size_t i = 0; i < calls.size(); i += GetParam().step) sampled.push_back(calls.at(i));
    return sampled;
  }

  // Those that are tried: from the template's opening on, if not all. Those before main() are the
  // loader's.
  std::vector<Call> Calls() const {
    MakeFiles();
    RunTraced("trace=all");
    std::vector<Call> calls;
    std::map<std::string, int> numbers;
    bool has_begun = false;
    std::istringstream trace(m_sandbox.Read("../trace"));
    for (std::string line; std::getline(trace, line);) {
      const std::string name = line.substr(0, line.find('('));
      if (name == line || name == "execve") continue;
      ++numbers[name];
      has_begun = has_begun ||
                  line.find(TriesAll() ? "fcntl(0," : "site.template\", O_RDONLY") != line.npos;
      const bool is_message = line.rfind("write(2,", 0) == 0;
      if (!has_begun || is_message || (!TriesAll() && kChanging.count(name) == 0)) continue;
      calls.push_back({name, numbers[name]});
    }
    constexpr std::size_t kAtLeast = 50;
    EXPECT_GT(calls.size(), kAtLeast);
    return TriesAll() ? calls : Sampled(calls);
  }

  // What is left under the names that the program uses for a while, with their directories.
  Words Leftovers() const {
    static const std::regex known(
        R"(\.(a|b|c)(\.orig)?\.qeltemplate-(new|old|new-backup|old-backup|kept-.*)$)");
    Words found;
    for (const char* directory : {"", "sites/"}) {
      for (const auto& entry : std::filesystem::directory_iterator(m_sandbox.PathOf(directory))) {
        const std::string name = entry.path().filename();
        if (name.front() != '.') continue;
        EXPECT_TRUE(std::regex_match(name, known)) << "left behind: " << name;
        found.push_back(directory + name);
      }
    }
    return found;
  }

  std::string BackupOf(const std::string& file) const {
    return std::filesystem::exists(m_sandbox.PathOf(file + ".orig"))
               ? m_sandbox.Read(file + ".orig")
               : "none";
  }

  static std::string EarlierBackupOf(const std::string& file) {
    return file == "a" ? kEarlier : "none";
  }

  void ExpectAll(bool is_new) const {
    for (const std::string& file : kFiles) {
      EXPECT_EQ(m_sandbox.Read(file), is_new ? kNew : kOld) << file;
      EXPECT_EQ(BackupOf(file), is_new && HasBackup() ? kOld : EarlierBackupOf(file)) << file;
    }
  }

  // A file that is not old, or whose backup is not, is one of which the message says where its old
  // text is: it could not be put back, or not even looked at.
  void ExpectOldOrNamed(const std::string& message) const {
    static const std::regex named(
        R"((\S+): (?:cannot be put back, its old content is in ([^\s:;]+)|has been changed by )"
        R"(another program meanwhile and stays so(?:;.* the old one is in ([^\s:;]+))?))");
    std::set<std::string> told;
    for (std::sregex_iterator found(message.begin(), message.end(), named), end; found != end;
         ++found) {
      const std::string file = (*found)[1];
      const std::string kept = (*found)[2].matched ? (*found)[2] : (*found)[3];
      const bool is_first_backup = file == "b.orig" || file == "sites/c.orig";
      if (kept.empty() && !is_first_backup) continue;  // it was not in its place yet
      told.insert(file);
      if (is_first_backup) continue;
      EXPECT_THAT(Sandbox::ReadFile(kept), testing::AnyOf(kOld, kEarlier)) << message;
    }
    const bool has_new_backup = message.find("is new and cannot be removed") != message.npos;
    for (const std::string& file : kFiles) {
      if (told.count(file) == 0) {
        EXPECT_EQ(m_sandbox.Read(file), kOld) << file;
      }
      if (told.count(file + ".orig") == 0 && !has_new_backup) {
        EXPECT_EQ(BackupOf(file), EarlierBackupOf(file)) << file;
      }
    }
  }

  // What cannot be looked at may be another program's.
  static testing::Matcher<int> ExpectedOf(const Call& call) {
    if (call.name == "newfstatat") return testing::AnyOf(3, 5, 7);
    return testing::AnyOf(3, 5);
  }

  void ExpectOldOrNew() const {
    for (const std::string& file : kFiles) {
      const std::string text = m_sandbox.Read(file);
      if (text == kNew && HasBackup()) {
        EXPECT_EQ(BackupOf(file), kOld) << file;
      } else if (text != kNew) {
        EXPECT_EQ(text, kOld) << file;
        EXPECT_THAT(BackupOf(file), testing::AnyOf(EarlierBackupOf(file), kOld)) << file;
      }
    }
  }

  // What was left behind does not disturb, and is removed with the next change.
  void ExpectNextEditWorks() const {
    Leftovers();
    for (const std::string& file : kFiles) m_sandbox.Write(file, kOld);
    const Words plain = {QELTEMPLATE_PROGRAM, "apply", "--dialect",      "nginx", "--template",
                         "site.template",     "--old", "name=a.example", "--set", "name=b.example",
                         "--in-place"};
    Words command = plain;
    command.insert(command.end(), kFiles.begin(), kFiles.end());
    EXPECT_EQ(m_sandbox.Run(command).err,
              "qeltemplate: 3 changed, 0 unchanged, 0 skipped, 0 refused, 0 failed\n");
    for (const std::string& file : kFiles) EXPECT_EQ(m_sandbox.Read(file), kNew) << file;
    EXPECT_THAT(Leftovers(), testing::Each(testing::HasSubstr(".qeltemplate-kept-")));
  }

  const Sandbox m_sandbox = MakeSandbox();
};

const Case kCases[] = {
    {"Plain", {"--in-place"}, true, 5},
    {"Backup", {"--in-place=.orig"}, true, 5},
    {"BackupAndCheck", {"--in-place=.orig", "--check=true"}, true, 1},
    {"RefusedByCheck", {"--in-place=.orig", "--check=false"}, false, 1},
    {"RefusedByReload", {"--in-place", "--reload=false"}, false, 5},
};

std::string NameOf(const testing::TestParamInfo<Case>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Edits, FailingMachine, testing::ValuesIn(kCases), NameOf);

TEST_P(FailingMachine, AllFilesAreOldOrAllAreNewWhateverFails) {
  std::size_t turn = 0;
  for (const Call& call : Calls()) {
    const auto errors = kErrors.find(call.name);
    if (errors == kErrors.end()) continue;
    const Words& all = errors->second;
    const Words one = {all.at(turn++ % all.size())};
    for (const std::string& error : TriesAll() ? all : one) {
      MakeFiles();
      const Outcome outcome = RunInjected(call, "error=" + error);
      SCOPED_TRACE(call.name + ", call " + std::to_string(call.number) + ", " + error + ": " +
                   outcome.err);
      EXPECT_NE(outcome.err, "");
      if (outcome.exit_code == 0) {
        EXPECT_TRUE(GetParam().is_accepted);
        ExpectAll(true);
      } else {
        ExpectOldOrNamed(outcome.err);
        EXPECT_THAT(outcome.exit_code, ExpectedOf(call));
      }
      ExpectNextEditWorks();
      if (HasFailure()) return;
    }
  }
}

TEST_P(FailingMachine, EachFileIsOldOrNewWhereverItIsKilled) {
  for (const Call& call : Calls()) {
    SCOPED_TRACE("killed at " + call.name + ", call " + std::to_string(call.number));
    MakeFiles();
    EXPECT_EQ(RunInjected(call, "signal=KILL").exit_code, -1);
    ExpectOldOrNew();
    ExpectNextEditWorks();
    if (HasFailure()) return;
  }
}

}  // namespace
