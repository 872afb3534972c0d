// SPDX-License-Identifier: Apache-2.0

// Many files at a time. Run under ThreadSanitizer by `make tsan`.

#include "update/side_by_side.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "update/failure.h"
#include "update/update.h"
#include "update/update_test.h"

namespace {

using std::chrono::milliseconds;
using testing::Each;
using testing::HasSubstr;
using tov_update::Failure;
using tov_update::FileUpdate;
using tov_update::ForEachSideBySide;
using tov_update::UpdateOptions;

constexpr unsigned kJobs = 4;
constexpr std::size_t kFiles = 100;

TEST(SideBySide, DoesEachNumberOnce) {
  for (const std::size_t count : {0U, 1U, 31U, 64U, 1000U}) {
    for (const unsigned jobs : {0U, 1U, 2U, 50U}) {
      SCOPED_TRACE(testing::Message() << count << " numbers, " << jobs << " jobs");
      std::vector<std::atomic<int>> done(count);
      ForEachSideBySide(count, jobs, [&](std::size_t number) { ++done[number]; });
      EXPECT_TRUE(std::all_of(done.begin(), done.end(), [](int times) { return times == 1; }));
    }
  }
}

// Would wait for ever with one thread.
TEST(SideBySide, WorksInSeveralThreadsWhereThereAreMany) {
  std::atomic<int> here = 0;
  ForEachSideBySide(96, 3, [&](std::size_t number) {
    if (number % 32 != 0) return;
    ++here;
    while (here < 3) std::this_thread::yield();
  });
  EXPECT_EQ(here, 3);
}

TEST(SideBySide, WorksInTheCallersThreadWhereThereAreFewOrThatIsAsked) {
  for (const auto& [count, jobs] : {std::pair(40U, 8U), std::pair(1000U, 1U)}) {
    std::set<std::thread::id> threads;
    ForEachSideBySide(count, jobs,
                      [&](std::size_t /*number*/) { threads.insert(std::this_thread::get_id()); });
    EXPECT_EQ(threads, std::set<std::thread::id>{std::this_thread::get_id()});
  }
}

TEST(SideBySide, BeginsNoMoreAndThrowsWhenOneFails) {
  for (const unsigned jobs : {1U, kJobs}) {
    std::atomic<std::size_t> begun = 0;
    try {
      ForEachSideBySide(100000, jobs, [&](std::size_t number) {
        ++begun;
        if (number % 50 == 40) throw std::runtime_error(std::to_string(number));
      });
      FAIL();
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(std::stoul(error.what()) % 50, 40U);
    }
    EXPECT_LT(begun, 100000U);
  }
}

class ManyFiles : public UpdateTest {
 protected:
  ManyFiles() {
    for (std::size_t i = 0; i < kFiles; ++i) {
      m_names.push_back("many" + std::to_string(i));
      m_sandbox.Write(m_names.back(), "old\n");
    }
  }

  std::vector<std::string> PathsOf(const std::vector<std::string>& names) const {
    std::vector<std::string> paths;
    for (const std::string& name : names) paths.push_back(PathOf(name));
    return paths;
  }

  FileUpdate Locked(const std::vector<std::string>& names, milliseconds wait) const {
    return FileUpdate::OfMany(PathsOf(names), kJobs, wait);
  }

  FileUpdate To(const std::string& text, const std::vector<std::string>& names) const {
    FileUpdate update = Locked(names, milliseconds(0));
    for (std::size_t i = 0; i < update.Size(); ++i) update.Replace(i, text);
    return update;
  }

  void Commit(const std::string& text, const std::vector<std::string>& names,
              const UpdateOptions& options) const {
    To(text, names).Commit(options);
  }

  bool IsLocked(const std::string& name) const {
    try {
      const FileUpdate other({PathOf(name)}, milliseconds(0));
      return false;
    } catch (const Failure&) {
      return true;
    }
  }

  static UpdateOptions AtATime(UpdateOptions options) {
    options.jobs = kJobs;
    return options;
  }

  std::vector<std::string> Texts(const std::string& suffix = "") const {
    std::vector<std::string> texts;
    for (const std::string& name : m_names) texts.push_back(m_sandbox.Read(name + suffix));
    return texts;
  }

  std::vector<std::string> m_names;
};

TEST_F(ManyFiles, AreAllReplacedWithTheirBackups) {
  m_sandbox.SetMode("many7", 0640);
  Commit("new\n", m_names, AtATime(WithBackup("~")));
  EXPECT_THAT(Texts(), Each("new\n"));
  EXPECT_THAT(Texts("~"), Each("old\n"));
  EXPECT_EQ(m_sandbox.Mode("many7"), 0640U);
  EXPECT_EQ(m_sandbox.Names().size(), 2 * kFiles + 1);
}

TEST_F(ManyFiles, AreTheOnesThatLinksLeadTo) {
  std::vector<std::string> links;
  for (const std::string& name : m_names) {
    links.push_back("link-" + name);
    std::filesystem::create_symlink(name, PathOf(links.back()));
  }
  links[40] = m_names[40];
  Commit("new\n", links, AtATime({}));
  EXPECT_THAT(Texts(), Each("new\n"));
  EXPECT_TRUE(std::filesystem::is_symlink(PathOf("link-many41")));
}

TEST_F(ManyFiles, CountOnceUnderSeveralNames) {
  std::vector<std::string> names = m_names;
  std::filesystem::create_symlink("many3", PathOf("link"));
  names.insert(names.begin() + 50, {"link", "many5", "./many6"});
  const FileUpdate update = Locked(names, milliseconds(0));
  EXPECT_EQ(update.Size(), kFiles);
  EXPECT_EQ(update.Name(3), PathOf("many3"));
}

TEST_F(ManyFiles, AreFreeAgainWhenTheUpdateIsGone) {
  {
    const FileUpdate update = Locked(m_names, milliseconds(0));
    for (const std::string& name : m_names) EXPECT_TRUE(IsLocked(name)) << name;
  }
  for (const std::string& name : m_names) EXPECT_FALSE(IsLocked(name)) << name;
}

// Those behind it in the order of names are free for others, who may hold it and wait for them.
TEST_F(ManyFiles, WaitWithTheLocksOfThoseBeforeOnly) {
  std::optional<FileUpdate> holder(FileUpdate({PathOf("many50")}));
  std::thread waiting([this] {
    FileUpdate update = Locked(m_names, std::chrono::seconds(60));
    for (std::size_t i = 0; i < update.Size(); ++i) update.Replace(i, "new\n");
    update.Commit(AtATime({}));
  });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  bool waits = false;
  while (!waits && std::chrono::steady_clock::now() < deadline) {
    waits = IsLocked("many0") && IsLocked("many49") && !IsLocked("many51") && !IsLocked("many99");
  }
  EXPECT_TRUE(waits);
  holder.reset();
  waiting.join();
  EXPECT_THAT(Texts(), Each("new\n"));
}

TEST_F(ManyFiles, LoseNoEditOfSeveralUpdates) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 3;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([this, thread] {
      std::vector<std::string> names = m_names;
      if (thread % 2 == 0) std::reverse(names.begin(), names.end());
      for (int round = 0; round < kRounds; ++round) {
        FileUpdate update = Locked(names, std::chrono::seconds(60));
        for (std::size_t i = 0; i < update.Size(); ++i) update.Replace(i, update.Read(i) + "new\n");
        update.Commit(AtATime({}));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::string all = "old\n";
  for (int i = 0; i < kThreads * kRounds; ++i) all += "new\n";
  EXPECT_THAT(Texts(), Each(all));
}

// What cannot be locked is told in the same words as of few files, and of the same file.
TEST_F(ManyFiles, AreRefusedAsFewAre) {
  const auto with = [this](const std::string& name) {
    std::vector<std::string> names = m_names;
    names.insert(names.begin() + 70, name);
    return names;
  };
  std::filesystem::create_directory(PathOf("many-folder"));
  std::filesystem::create_symlink("nothing", PathOf("many-dangling"));
  std::filesystem::create_hard_link(PathOf("a"), PathOf("b"));
  m_sandbox.Write("many-held", "old\n");
  const FileUpdate holder({PathOf("many-held")});
  const std::pair<const char*, const char*> cases[] = {
      {"many-nothing", "many-nothing: No such file or directory"},
      {"many-folder", "many-folder: Is a directory"},
      {"many-dangling", "many-dangling: No such file or directory"},
      {"none/many", "none/many: No such file or directory"},
      {"b", "b: has several hard links, which would no longer be one file"},
      {"many-held", "many-held: stays locked by another update; try again when that has ended"},
  };
  for (const auto& [name, message] : cases) {
    EXPECT_EQ(MessageOf<Failure>([&, name = name] { Locked(with(name), milliseconds(0)); }),
              message);
    EXPECT_FALSE(IsLocked("many0"));
  }
}

// "a" is there, and free.
TEST_F(ManyFiles, AreNotTakenForOthersWhoseNamesTheyBeginWith) {
  std::vector<std::string> paths = PathsOf(m_names);
  paths.push_back(PathOf("a") + std::string("\0b", 2));
  EXPECT_THROW(FileUpdate::OfMany(paths, kJobs), Failure);
}

TEST_F(ManyFiles, AreNotLockedWhenThatIsCancelled) {
  const tov_update::Cancellation cancellation;
  cancellation.Cancel();
  EXPECT_EQ(MessageOf<tov_update::Cancelled>([&] {
              FileUpdate::OfMany(PathsOf(m_names), kJobs, milliseconds(0), cancellation);
            }),
            "cancelled, nothing is changed");
}

TEST_F(ManyFiles, AreAllTheOldOnesWhenTheServerRefuses) {
  UpdateOptions options = AtATime(WithBackup("~"));
  options.check = "grep -qx new " + PathOf("many99") + "; test $? -ne 0";
  EXPECT_THROW(Commit("new\n", m_names, options), tov_update::ServerRefusal);
  EXPECT_THAT(Texts(), Each("old\n"));
  EXPECT_EQ(m_sandbox.Names().size(), kFiles + 1);
}

TEST_F(ManyFiles, AreAllTheOldOnesWhenAnotherProgramHasChangedOne) {
  for (const char* change : {"echo theirs > many70", "printf 'XXX\n' > many70"}) {
    SCOPED_TRACE(change);
    m_sandbox.Write("many70", "old\n");
    auto update = To("new\n", m_names);
    ASSERT_EQ(m_sandbox.Run({"sh", "-c", change}).exit_code, 0);
    const std::string theirs = m_sandbox.Read("many70");
    EXPECT_THAT(MessageOf<tov_update::Overtaken>([&] { update.Commit(AtATime({})); }),
                HasSubstr("many70: has been changed by another program meanwhile"));
    std::vector<std::string> texts = Texts();
    EXPECT_EQ(texts.at(70), theirs);
    texts.erase(texts.begin() + 70);
    EXPECT_THAT(texts, Each("old\n"));
  }
}

TEST_F(ManyFiles, AreAllTheOldOnesWhenOneCannotBeWritten) {
  std::filesystem::create_directories(PathOf("many80~/full"));
  EXPECT_THAT(MessageOf<Failure>([&] { Commit("new\n", m_names, AtATime(WithBackup("~"))); }),
              HasSubstr("many80~: "));
  EXPECT_THAT(Texts(), Each("old\n"));
  EXPECT_EQ(m_sandbox.Names().size(), kFiles + 2);
}

// The first thread that comes to its call of that number is killed, and all others with it. There
// are two, and two calls for each file: that of its backup, and later its own. How many of them
// each thread makes is up to the system, so that it is tried until the moment has been met.
TEST_F(ManyFiles, KilledAtAnyTimeEachIsOldOrNewAndWhatIsNewHasItsBackup) {
  constexpr int kTries = 20;
  std::set<std::string> seen;
  for (int i = 0; i < kTries && seen.count("some") == 0; ++i) {
    const int number = i == 0 ? 1 : i % 2 == 0 ? 125 : 75;
    SCOPED_TRACE(number);
    for (const std::string& name : m_names) {
      m_sandbox.Write(name, "old\n");
      std::filesystem::remove(PathOf(name + '~'));
    }
    std::vector<std::string> words = {"--jobs=2", "--backup=~", "new"};
    words.insert(words.end(), m_names.begin(), m_names.end());
    m_sandbox.Append(
        words, {"env", "ASAN_OPTIONS=detect_leaks=0", "strace", "-f", "-qq", "-o", "../trace", "-e",
                "inject=renameat2:signal=KILL:when=" + std::to_string(number)});
    std::size_t is_new = 0;
    for (const std::string& name : m_names) {
      const std::string text = m_sandbox.Read(name);
      if (text != "old\n") {
        ++is_new;
        ASSERT_EQ(text, "old\nnew\n");
        ASSERT_EQ(m_sandbox.Read(name + '~'), "old\n");
      }
    }
    seen.insert(is_new == 0 ? "none" : is_new < kFiles ? "some" : "all");
  }
  EXPECT_THAT(seen, testing::IsSupersetOf({"none", "some"}));
}

}  // namespace
