// SPDX-License-Identifier: Apache-2.0

// The limit of open files: what it has to be, and how it is raised.

#include "update/open_files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "update/failure.h"
#include "update/update_test.h"

namespace {

using tov_update::Failure;
using Words = std::vector<std::string>;

class OpenFiles : public UpdateTest {
 protected:
  OpenFiles() { getrlimit(RLIMIT_NOFILE, &m_before); }
  ~OpenFiles() override { setrlimit(RLIMIT_NOFILE, &m_before); }

  void LimitTo(rlim_t count) const {
    const struct rlimit limit = {count, m_before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  }

  // Those that the commands of an update of one file get that is begun with these, as ulimit(1)
  // tells them: the one in force, and the one up to which it may be raised.
  std::string LimitsOfCommands(const std::string& soft, const std::string& hard,
                               const Words& user) const {
    m_sandbox.Write("a", "old\n");
    m_sandbox.SetMode("a", 0666);
    Words prefix = {"sh", "-c", "ulimit -S -n " + soft + "; ulimit -H -n " + hard + "; exec \"$@\"",
                    "sh"};
    prefix.insert(prefix.end(), user.begin(), user.end());
    const Outcome outcome = m_sandbox.Append(
        {"--check=echo $(ulimit -S -n) $(ulimit -H -n) {}; false", "new", "a"}, prefix);
    const std::size_t said = outcome.err.rfind(":\n");
    return said == std::string::npos ? outcome.err : outcome.err.substr(said + 2);
  }

 private:
  struct rlimit m_before = {};
};

TEST_F(OpenFiles, HaveToBeAllowedWithAFewMore) {
  LimitTo(36);
  EXPECT_NO_THROW(tov_update::ExpectOpenFiles(20));
  EXPECT_EQ(MessageOf<Failure>([] { tov_update::ExpectOpenFiles(21); }),
            "these files at once need 37 open files, and the limit is 36 (ulimit -n); name fewer "
            "at a time");
}

// As the system tells the size of the table.
TEST_F(OpenFiles, HaveRoomMadeAsFarAsTheLimitAllows) {
  const auto size = [] {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
      if (line.rfind("FDSize:", 0) == 0) return std::stoul(line.substr(line.find('\t')));
    }
    return 0UL;
  };
  const auto open = [] {
    const std::filesystem::directory_iterator begin("/proc/self/fd");
    return std::distance(begin, std::filesystem::directory_iterator());
  };
  const std::size_t before = size();
  const auto open_before = open();
  LimitTo(4 * before);
  tov_update::MakeRoomFor(0);
  EXPECT_EQ(size(), before);
  tov_update::MakeRoomFor(2 * before);
  EXPECT_EQ(size(), 2 * before);
  tov_update::MakeRoomFor(1000 * before);
  EXPECT_EQ(size(), 4 * before);
  EXPECT_EQ(open(), open_before);
}

// Each file that is changed takes one more, and one for its backup.
TEST_F(OpenFiles, HaveToBeAllowedBeforeAnyFileIsTouched) {
  Words names;
  for (int i = 0; i < 10; ++i) {
    names.push_back("site" + std::to_string(i));
    m_sandbox.Write(names.back(), "old\n");
  }
  const auto message = [&](const tov_update::UpdateOptions& options) {
    return MessageOf<Failure>([&] { Commit("new\n", names, options); });
  };
  const auto needed = [](int count, int limit) {
    return "these files at once need " + std::to_string(count) + " open files, and the limit is " +
           std::to_string(limit) + " (ulimit -n); name fewer at a time";
  };
  LimitTo(25);
  EXPECT_EQ(message({}), needed(26, 25));
  LimitTo(35);
  EXPECT_EQ(message({}), needed(36, 35));
  LimitTo(45);
  EXPECT_EQ(message(WithBackup("~")), needed(46, 45));
  for (const std::string& name : names) EXPECT_EQ(m_sandbox.Read(name), "old\n");
  EXPECT_EQ(m_sandbox.Names().size(), names.size() + 1);
  LimitTo(36);
  EXPECT_EQ(message({}), "nothing was thrown");
  for (const std::string& name : names) EXPECT_EQ(m_sandbox.Read(name), "new\n");
}

// Three for the file and 256 for the program.
TEST_F(OpenFiles, AreAllowedAsFarAsTheProgramMay) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can take on another user's rights";
  ASSERT_EQ(chown(PathOf("").c_str(), 65534, 65534), 0);
  ASSERT_EQ(chown(PathOf("a").c_str(), 65534, 65534), 0);
  std::filesystem::permissions(PathOf(".."), std::filesystem::perms(0755));
  const Words as_root = {};
  const bool may_raise =
      m_sandbox.Run({"sh", "-c", "ulimit -n 200; ulimit -H -n 201"}).exit_code == 0;
  const Words as_nobody = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
  struct Case {
    const char* name;
    const char* soft;
    const char* hard;
    Words user;
    const char* after;
  };
  const Case cases[] = {
      {"enough", "400", "500", as_nobody, "400 500"},
      {"just enough", "259", "500", as_nobody, "259 500"},
      {"one too few", "258", "500", as_nobody, "259 500"},
      {"up to the limit", "100", "259", as_nobody, "259 259"},
      {"not beyond the limit", "100", "200", as_nobody, "200 200"},
      {"beyond the limit", "100", "200", as_root, may_raise ? "259 259" : "200 200"},
      {"of root, as far as is needed", "100", "500", as_root, "259 500"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(LimitsOfCommands(c.soft, c.hard, c.user).substr(0, 7), c.after) << c.name;
  }
}

}  // namespace
