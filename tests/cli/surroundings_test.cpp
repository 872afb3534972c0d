// SPDX-License-Identifier: Apache-2.0

// The program on a machine that gives it less than usual: streams that are closed, no threads, no
// memory, few open files, no temporary directory, no locale, files without an end.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "cli/program.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

class Surroundings : public Program {
 protected:
  const Words kRename = {"apply", "--dialect",      "nginx", "--template",    "site.template",
                         "--old", "name=a.example", "--set", "name=b.example"};

  Words Rename(const Words& more) const {
    Words words = kRename;
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }

  // Files that all hold the site.
  Words MakeSites(int count) const {
    Words names;
    for (int i = 0; i < count; ++i) {
      names.push_back("site" + std::to_string(i));
      m_sandbox.Write(names.back(), kSite);
    }
    return names;
  }

  void ExpectAll(const Words& names, const std::string& text) const {
    for (const std::string& name : names) EXPECT_EQ(m_sandbox.Read(name), text) << name;
  }

  Words RenameIn(const Words& names, const Words& options) const {
    Words words = Rename(options);
    words.insert(words.end(), names.begin(), names.end());
    return words;
  }
};

// --- Streams ---

TEST_F(Surroundings, NoMessageGetsIntoAFileWhateverStreamIsClosed) {
  for (const char* closed :
       {"<&-", ">&-", "2>&-", "<&- >&-", "<&- 2>&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
    SCOPED_TRACE(closed);
    const std::string shell = std::string("exec \"$@\" ") + closed;
    m_sandbox.Write("site.conf", kSite);
    // Says the guess, and warns of nothing: two messages that have to go somewhere.
    const Words renames = {"apply",          "--template", "site.template",  "--old",
                           "name=a.example", "--set",      "name=b.example", "--in-place=.orig",
                           "--check=true",   "site.conf"};
    EXPECT_EQ(RunInShell(shell, renames).exit_code, 0);
    EXPECT_EQ(m_sandbox.Read("site.conf"), ServerNamed("b.example"));
    EXPECT_EQ(m_sandbox.Read("site.conf.orig"), kSite);

    EXPECT_EQ(RunInShell(shell, Rename({"--only-create", "--in-place", "site.conf"})).exit_code, 4);
    EXPECT_EQ(m_sandbox.Read("site.conf"), ServerNamed("b.example"));

    EXPECT_EQ(RunInShell(shell, {"apply", "--template", "site.template", "--old", "name=b.example",
                                 "--set", "name=c.example", "--in-place", "--check=echo no; exit 1",
                                 "site.conf"})
                  .exit_code,
              5);
    EXPECT_EQ(m_sandbox.Read("site.conf"), ServerNamed("b.example"));
  }
}

TEST_F(Surroundings, AResultThatCannotBeWrittenIsAFailure) {
  const std::vector<Words> commands = {
      Rename({"site.conf"}),
      Rename({"--diff", "site.conf"}),
      Rename({"--dry-run", "site.conf"}),
      {"prototype", "--dialect", "nginx", "--template", "site.template", "--set", "name=x"},
      {"inspect", "site.conf"},
      {"apply", "--help"},
      {"--version"}};
  for (const Words& command : commands) {
    SCOPED_TRACE(testing::PrintToString(command));
    const Outcome closed = RunInShell("exec \"$@\" >&-", command);
    EXPECT_THAT(closed.err, EndsWith("(standard output): Bad file descriptor\n"));
    EXPECT_EQ(closed.exit_code, 3);
    const Outcome full = RunInShell("exec \"$@\" > /dev/full", command);
    EXPECT_THAT(full.err, EndsWith("(standard output): No space left on device\n"));
    EXPECT_EQ(full.exit_code, 3);
  }
}

TEST_F(Surroundings, AClosedStandardInputIsNotAnEmptyConfiguration) {
  const Outcome outcome = RunInShell("exec \"$@\" <&-", kRename);
  EXPECT_EQ(outcome.err, "qeltemplate: (standard input): Bad file descriptor\n");
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.exit_code, 3);
}

// --- Threads, memory, open files ---

// The system's calls that make threads fail from the first or the second one on.
TEST_F(Surroundings, GoesOnWithTheThreadsThatThereAre) {
  const Words names = MakeSites(20);
  for (const char* from : {"1+", "2+"}) {
    SCOPED_TRACE(from);
    const std::string failing = std::string("inject=clone,clone3:error=EAGAIN:when=") + from;
    Words command = {"env",    "ASAN_OPTIONS=detect_leaks=0",
                     "strace", "-f",
                     "-qq",    "-o",
                     "trace",  "-e",
                     failing,  QELTEMPLATE_PROGRAM};
    for (const std::string& word : RenameIn(names, {"--jobs", "20", "--in-place"})) {
      command.push_back(word);
    }
    ExpectAll(MakeSites(20), kSite);
    const Outcome outcome = m_sandbox.Run(command);
    EXPECT_EQ(outcome.err,
              "qeltemplate: 20 changed, 0 unchanged, 0 skipped, 0 refused, 0 failed\n");
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(m_sandbox.Read("trace"), HasSubstr("EAGAIN"));
    ExpectAll(names, ServerNamed("b.example"));
  }
}

// Sanitizers need too many addresses for these.
class LittleMemory : public Surroundings {
 protected:
  static std::string Repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
  }

  Outcome RenameWithin(int megabytes) const {
    return RunInShell("ulimit -v " + std::to_string(1000 * megabytes) + "; exec \"$@\"",
                      Rename({"--in-place", "site.conf"}));
  }
};

// From a limit at which the program cannot even be loaded to one that is enough.
TEST_F(LittleMemory, IsEnoughForAllOrForNothing) {
  std::string note;
  for (int line = 0; line < 10'000; ++line) note += "# a line of a note\n";
  const Words names = MakeSites(6);
  int done = 0;
  int failed = 0;
  for (int kilobytes = 7500; kilobytes < 100'000; kilobytes += kilobytes / 8) {
    SCOPED_TRACE(testing::Message() << kilobytes << " kB");
    for (const std::string& name : names) m_sandbox.Write(name, kSite + note);
    const std::string shell = "ulimit -v " + std::to_string(kilobytes) + "; exec \"$@\"";
    const Outcome outcome = RunInShell(shell, RenameIn(names, {"--jobs", "6", "--in-place"}));
    ++(outcome.exit_code == 0 ? done : failed);
    EXPECT_NE(outcome.exit_code, -1) << outcome.err;
    EXPECT_NE(outcome.err, "");
    ExpectAll(names, (outcome.exit_code == 0 ? ServerNamed("b.example") : kSite) + note);
  }
  EXPECT_GT(done, 0);
  EXPECT_GT(failed, 0);
}

// A text of 0.3 MB, and one of 15 MB.
TEST_F(LittleMemory, IsEnoughForDeeplyNestedBlocks) {
  for (const auto& [depth, megabytes] : {std::pair(20'000, 40), std::pair(1'000'000, 250)}) {
    SCOPED_TRACE(depth);
    const std::string nested = Repeated("location / {\n", depth) + Repeated("}\n", depth);
    m_sandbox.Write("site.conf", "server {\nserver_name a.example;\n" + nested + "}\n");
    ExpectText(RenameWithin(megabytes), "");
    EXPECT_EQ(m_sandbox.Read("site.conf"), "server {\nserver_name b.example;\n" + nested + "}\n");
  }
}

TEST_F(LittleMemory, IsEnoughToRefuseALongLine) {
  m_sandbox.Write("site.conf", "server {\nserver_name a.example;\nroot /" +
                                   std::string(50'000'000, 'x') + ";\n}\n");
  const Outcome outcome = RenameWithin(250);
  EXPECT_THAT(outcome.err, HasSubstr("this is longer than the 4,096 bytes that nginx reads"));
  EXPECT_EQ(outcome.exit_code, 4);
}

TEST_F(Surroundings, SaysBeforeItBeginsThatTooFewFilesMayBeOpen) {
  const Words names = MakeSites(40);
  const Words command = RenameIn(names, {"--in-place"});
  // Without the right to raise the limit that it has been given.
  Words as_user = {"sh", "-c",
                   "ulimit -n 32; exec setpriv --bounding-set -all --inh-caps -all \"$@\"", "sh",
                   QELTEMPLATE_PROGRAM};
  as_user.insert(as_user.end(), command.begin(), command.end());
  const Outcome outcome = m_sandbox.Run(as_user);
  EXPECT_EQ(outcome.err,
            "qeltemplate: nothing is written: all files or none\n"
            "qeltemplate: these files at once need 56 open files, and the limit is 32 (ulimit "
            "-n); name fewer at a time\n");
  EXPECT_EQ(outcome.exit_code, 3);
  ExpectAll(names, kSite);
}

TEST_F(Surroundings, RaisesTheLimitOfOpenFilesWhereItMay) {
  const Words names = MakeSites(40);
  const Outcome outcome =
      RunInShell("ulimit -S -n 32; exec \"$@\"", RenameIn(names, {"--in-place"}));
  EXPECT_EQ(outcome.err, "qeltemplate: 40 changed, 0 unchanged, 0 skipped, 0 refused, 0 failed\n");
  ExpectAll(names, ServerNamed("b.example"));
}

// --- What a system has, as a rule ---

TEST_F(Surroundings, NeedsNoEnvironment) {
  const Words environments[] = {
      {"env", "-i"},
      {"env", "-i", "TMPDIR=/nonexistent", "HOME=/nonexistent"},
      {"env", "-i", "LC_ALL=xx_XX.no-such-locale", "LANG=no-such-locale", "LANGUAGE=xx"}};
  for (const Words& environment : environments) {
    SCOPED_TRACE(testing::PrintToString(environment));
    m_sandbox.Write("site.conf", kSite);
    Words command = environment;
    command.push_back(QELTEMPLATE_PROGRAM);
    for (const std::string& word : Rename({"--in-place", "--check=true", "site.conf"})) {
      command.push_back(word);
    }
    ExpectText(m_sandbox.Run(command), "");
    EXPECT_EQ(m_sandbox.Read("site.conf"), ServerNamed("b.example"));
  }
}

// --- Files without an end ---

TEST_F(Surroundings, ReadsNoDevices) {
  for (const char* device : {"/dev/zero", "/dev/urandom", "/dev/full"}) {
    SCOPED_TRACE(device);
    ExpectFailure(Run(Rename({device})), device + std::string(": is a device"));
    ExpectFailure(Run({"inspect", device}), device + std::string(": is a device"));
    ExpectFailure(Run({"lint", device}), device + std::string(": is a device"));
    ExpectFailure(Run(Rename({"--values", device, "site.conf"})),
                  device + std::string(": is a device"));
    ExpectFailure(RunInShell(std::string("exec \"$@\" < ") + device, kRename),
                  "(standard input): is a device");
    ExpectFailure(Run(Rename({"--in-place", device})),
                  device + std::string(": is not a regular file"));
  }
  const Outcome null = Apply({"--set", "name=b.example", "/dev/null"});
  EXPECT_EQ(null.out, "server {\n\tserver_name b.example;\n}\n");
}

TEST_F(Surroundings, RefusesFilesThatAreTooLargeBeforeItReadsThem) {
  const auto make = [this](const char* name, std::uintmax_t size) {
    m_sandbox.Write(name, "");
    std::filesystem::resize_file(m_sandbox.PathOf(name), size);  // takes no room on the disk
  };
  constexpr std::uintmax_t kMebibyte = 1U << 20U;
  make("large.conf", 1025 * kMebibyte);
  make("huge.conf", 5000 * kMebibyte);
  make("large.template", 17 * kMebibyte);
  make("large.json", 65 * kMebibyte);
  m_sandbox.Write("importing.template", "{% import large.template %}\n");
  ExpectFailure(Run(Rename({"large.conf"})), "large.conf: is larger than 1024 MiB");
  ExpectFailure(Run(Rename({"huge.conf"})), "huge.conf: is larger than 1024 MiB");
  ExpectFailure(Run({"inspect", "huge.conf"}), "huge.conf: is larger than 1024 MiB");
  ExpectFailure(Run(Rename({"--in-place", "huge.conf"})), "huge.conf: is larger than 1024 MiB");
  ExpectFailure(RunInShell("cat large.template | \"$@\"", {"lint", "-"}),
                "(standard input): is larger than 16 MiB");
  ExpectFailure(Run({"apply", "--dialect", "nginx", "--template", "large.template", "site.conf"}),
                "large.template: is larger than 16 MiB");
  ExpectFailure(Run({"lint", "large.template"}), "large.template: is larger than 16 MiB");
  ExpectFailure(Run(Rename({"--values", "large.json", "site.conf"})),
                "large.json: is larger than 64 MiB");
  ExpectRefusal(
      Run({"apply", "--dialect", "nginx", "--template", "importing.template", "site.conf"}),
      "site.conf: not edited",
      "importing.template:1:4: '" + m_sandbox.PathOf("large.template") +
          "' is larger than 16 MiB [import]");
}

// --- Byte order marks ---

constexpr char kMark[] = "\xEF\xBB\xBF";

TEST_F(Surroundings, AByteOrderMarkOfATemplateIsNoText) {
  m_sandbox.Write("marked.template", kMark + std::string("{% import named.template %}\n"));
  m_sandbox.Write("named.template", kMark + std::string(kTemplate));
  const Words options = {"--old", "name=a.example", "--set", "name=b.example"};
  for (const char* name : {"marked.template", "named.template"}) {
    SCOPED_TRACE(name);
    Words apply = {"apply", "--dialect", "nginx", "--template", name};
    apply.insert(apply.end(), options.begin(), options.end());
    apply.push_back("site.conf");
    ExpectText(Run(apply), ServerNamed("b.example"));
    ExpectText(
        Run({"prototype", "--dialect", "nginx", "--template", name, "--set", "name=b.example"}),
        "server {\nserver_name b.example;\n}\n");
    Words lint = {"lint", "--dialect", "nginx"};
    lint.insert(lint.end(), options.begin(), options.end());
    lint.push_back(name);
    ExpectText(Run(lint), "");
  }
}

TEST_F(Surroundings, AByteOrderMarkOfValuesIsNoText) {
  m_sandbox.Write("values.json",
                  kMark + std::string(R"({"name": {"old": "a.example", "new": "b.example"}})"));
  m_sandbox.Write("values.yaml", kMark + std::string("name: {old: a.example, new: b.example}\n"));
  for (const char* values : {"values.json", "values.yaml"}) {
    SCOPED_TRACE(values);
    ExpectText(Apply({"--values", values, "site.conf"}), ServerNamed("b.example"));
  }
}

// The servers take it for a part of the first word, which they do not know, as a rule.
TEST_F(Surroundings, AByteOrderMarkOfAConfigurationStays) {
  const std::string marked = kMark + std::string("user www-data;\n");
  m_sandbox.Write("site.conf", marked + kSite);
  ExpectText(Run(Rename({"site.conf"})), marked + ServerNamed("b.example"));
  m_sandbox.Write("site.conf", kMark + std::string(kSite));
  EXPECT_EQ(Run(Rename({"--in-place", "site.conf"})).exit_code, 4);
  EXPECT_EQ(m_sandbox.Read("site.conf"), kMark + std::string(kSite));
}

}  // namespace
