// SPDX-License-Identifier: Apache-2.0

// Another program that changes a file while it is updated: from the lock on, during each command,
// and just before and after each exchange of names.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "update/update_test.h"

namespace {

using testing::ElementsAre;
using tov_update::FileUpdate;
using tov_update::Overtaken;
using tov_update::UpdateOptions;

// What happens before each exchange of names, by its number from 1.
std::function<void(int)> before_exchange;
int exchanges = 0;
std::function<void()> before_move;  // the next one to a name that is free
bool can_exchange = true;

}  // namespace

// In the place of the C library's.
extern "C" int renameat2(int from_folder, const char* from, int to_folder, const char* to,
                         unsigned flags) noexcept {
  if (flags == RENAME_EXCHANGE && before_exchange) before_exchange(++exchanges);
  if (flags == RENAME_NOREPLACE && before_move) std::exchange(before_move, nullptr)();
  if (flags != 0 && !can_exchange) {
    errno = EINVAL;
    return -1;
  }
  return static_cast<int>(syscall(SYS_renameat2, from_folder, from, to_folder, to, flags));
}

namespace {

class OvertakenUpdate : public UpdateTest {
 protected:
  OvertakenUpdate() {
    exchanges = 0;
    before_exchange = nullptr;
    before_move = nullptr;
    can_exchange = true;
  }
  ~OvertakenUpdate() override {
    before_exchange = nullptr;
    before_move = nullptr;
  }

  void StartAnew() {
    std::filesystem::remove_all(PathOf(""));
    std::filesystem::create_directory(PathOf(""));
    m_sandbox.Write("a", "old\n");
    m_sandbox.Write("b", "old\n");
    exchanges = 0;
  }

  void SaveByRename(const std::string& text) const {
    m_sandbox.Write("saved", text);
    std::filesystem::rename(PathOf("saved"), PathOf("a"));
  }

  std::string TextOf(const std::string& name) const {
    return m_sandbox.Exists(name) ? m_sandbox.Read(name) : "gone";
  }

  std::map<std::string, std::string> All() const {
    std::map<std::string, std::string> all;
    for (const std::string& name : m_sandbox.Names()) all[name] = m_sandbox.Read(name);
    return all;
  }

  std::string CommitOvertaken(const UpdateOptions& options) const {
    return MessageOf<Overtaken>([&] { Commit("new\n", {"a", "b"}, options); });
  }
};

using Files = std::map<std::string, std::string>;

const char kKeepsNew[] =
    "a: has been changed by another program meanwhile and stays so; the new text is in "
    ".a.qeltemplate-kept-new";
const char kKeepsBoth[] =
    "a: has been changed by another program meanwhile and stays so; the new text is in "
    ".a.qeltemplate-kept-new; the old one is in .a.qeltemplate-kept-old";

// What the other program does, as a command.
struct Change {
  const char* name;
  const char* command;
  const char* after;
  bool by_bytes_only = false;
};

const Change kChanges[] = {
    {"saved by rename", "echo theirs > a.tmp; mv a.tmp a", "theirs\n"},
    {"written in place", "echo theirs > a", "theirs\n"},
    {"written in place, of the same length", "printf 'XXX\\n' > a", "XXX\n"},
    {"written in place, of the same length and within one tick of the clock",
     "touch -r a ../time; printf 'XXX\\n' > a; touch -r ../time a", "XXX\n", true},
    {"removed", "rm a", "gone"},
    {"made a directory", "rm a; mkdir a", "directory"},
    {"made a link", "echo theirs > c; ln -sf c a", "theirs\n"},
};

class WithAndWithoutExchange : public OvertakenUpdate, public testing::WithParamInterface<bool> {
 protected:
  WithAndWithoutExchange() { can_exchange = GetParam(); }

  std::string InFiles(const std::string& command) const {
    return "cd " + PathOf("") + "; " + command;
  }

  void ExpectTheirs(const Change& change) const {
    if (std::string(change.after) == "directory") {
      EXPECT_TRUE(std::filesystem::is_directory(PathOf("a")));
    } else {
      EXPECT_EQ(TextOf("a"), change.after);
    }
    EXPECT_EQ(TextOf("b"), "old\n");
    EXPECT_FALSE(m_sandbox.Exists(".a.qeltemplate-new"));
    EXPECT_FALSE(m_sandbox.Exists(".a.qeltemplate-old"));
    EXPECT_FALSE(m_sandbox.Exists(".b.qeltemplate-new"));
    EXPECT_FALSE(m_sandbox.Exists(".b.qeltemplate-old"));
    EXPECT_EQ(TextOf(".a.qeltemplate-kept-new"), "new\n");
  }
};

std::string NameOf(const testing::TestParamInfo<bool>& file_system) {
  return file_system.param ? "ThatExchange" : "ThatDoNot";
}

INSTANTIATE_TEST_SUITE_P(FileSystems, WithAndWithoutExchange, testing::Bool(), NameOf);

TEST_P(WithAndWithoutExchange, WhatOthersChangeBeforeCommitStays) {
  for (const Change& change : kChanges) {
    SCOPED_TRACE(change.name);
    StartAnew();
    FileUpdate update = To("new\n", {"a", "b"});
    m_sandbox.Run({"sh", "-c", change.command});
    EXPECT_EQ(MessageOf<Overtaken>([&] { update.Commit({}); }), kKeepsNew);
    ExpectTheirs(change);
  }
}

TEST_P(WithAndWithoutExchange, NoFileIsPutInPlaceWhereOthersHaveChangedOneOfThem) {
  before_exchange = [](int /*number*/) {};
  for (const Change& change : kChanges) {
    SCOPED_TRACE(change.name);
    StartAnew();
    FileUpdate update = To("new\n", {"b", "a"});
    m_sandbox.Run({"sh", "-c", change.command});
    EXPECT_EQ(MessageOf<Overtaken>([&] { update.Commit({}); }), kKeepsNew);
    EXPECT_EQ(exchanges, change.by_bytes_only ? 2 : 0) << "bytes are read just before";
    ExpectTheirs(change);
  }
}

TEST_P(WithAndWithoutExchange, WhatOthersChangeDuringACheckOfTheStagedTextStays) {
  for (const Change& change : kChanges) {
    SCOPED_TRACE(change.name);
    StartAnew();
    EXPECT_EQ(CommitOvertaken(WithCheck(InFiles(change.command) + "; true {}")), kKeepsNew);
    ExpectTheirs(change);
  }
}

TEST_P(WithAndWithoutExchange, WhatOthersChangeDuringACheckOfTheOldFilesStays) {
  for (const Change& change : kChanges) {
    SCOPED_TRACE(change.name);
    StartAnew();
    EXPECT_EQ(CommitOvertaken(WithCheck(InFiles(change.command), tov_update::NewWarnings::kTold)),
              kKeepsNew);
    ExpectTheirs(change);
  }
}

TEST_P(WithAndWithoutExchange, WhatOthersChangeDuringACheckInPlaceStays) {
  const std::string refused = "refuses the new files (exit status 1)\n";
  for (const Change& change : kChanges) {
    for (const bool accepted : {true, false}) {
      SCOPED_TRACE(std::string(change.name) + (accepted ? ", accepted" : ", refused"));
      StartAnew();
      const std::string check = InFiles(change.command) + (accepted ? "; true" : "; false");
      const std::string message = CommitOvertaken(WithCheck(check));
      EXPECT_THAT(message, testing::EndsWith(accepted ? kKeepsBoth : refused + kKeepsBoth));
      ExpectTheirs(change);
      EXPECT_EQ(TextOf(".a.qeltemplate-kept-old"), "old\n");
    }
  }
}

TEST_P(WithAndWithoutExchange, WhatOthersChangeDuringAFailingReloadStays) {
  StartAnew();
  const std::string message =
      CommitOvertaken(WithReload(InFiles("echo theirs > c; mv c a; false")));
  EXPECT_THAT(message, testing::EndsWith(std::string("(exit status 1)\n") + kKeepsBoth));
  EXPECT_EQ(All(), (Files{{"a", "theirs\n"},
                          {"b", "old\n"},
                          {".a.qeltemplate-kept-new", "new\n"},
                          {".a.qeltemplate-kept-old", "old\n"}}));
}

TEST_P(WithAndWithoutExchange, AnEditorThatHasTheOldFileOpenDoesNotWriteIntoNothing) {
  StartAnew();
  FILE* const editor = std::fopen(PathOf("a").c_str(), "r+");
  FileUpdate update = To("new\n", {"a", "b"});
  // The file that was open is the old one by now, which is to go.
  const UpdateOptions options = WithCheck("echo theirs > /proc/" + std::to_string(getpid()) +
                                          "/fd/" + std::to_string(fileno(editor)));
  EXPECT_EQ(MessageOf<Overtaken>([&] { update.Commit(options); }), kKeepsNew);
  std::fclose(editor);
  EXPECT_EQ(All(),
            (Files{{"a", "theirs\n"}, {"b", "old\n"}, {".a.qeltemplate-kept-new", "new\n"}}));
}

TEST_P(WithAndWithoutExchange, WhatOthersHaveWrittenIsNotWhatWasRead) {
  StartAnew();
  FileUpdate update({PathOf("a")});
  EXPECT_EQ(update.Read(0), "old\n");
  m_sandbox.Write("a", "theirs\n");
  update.Replace(0, "theirs\n");
  EXPECT_EQ(MessageOf<Overtaken>([&] { update.Commit({}); }), kKeepsNew);
  EXPECT_EQ(All(),
            (Files{{"a", "theirs\n"}, {"b", "old\n"}, {".a.qeltemplate-kept-new", "theirs\n"}}));
}

TEST_P(WithAndWithoutExchange, AFileThatOthersMakeMeanwhileStays) {
  for (const bool accepted : {true, false}) {
    SCOPED_TRACE(accepted);
    StartAnew();
    FileUpdate update = FileUpdate::OfMissing(PathOf("d"));
    update.Replace(0, "new\n");
    const UpdateOptions options =
        WithCheck(InFiles("echo theirs > c; mv c d; ") + (accepted ? "true" : "false"));
    EXPECT_THAT(
        MessageOf<Overtaken>([&] { update.Commit(options); }),
        testing::EndsWith("d: has been changed by another program meanwhile and stays so; the new "
                          "text is in .d.qeltemplate-kept-new"));
    EXPECT_EQ(All(), (Files{{"a", "old\n"},
                            {"b", "old\n"},
                            {"d", "theirs\n"},
                            {".d.qeltemplate-kept-new", "new\n"}}));
  }
  StartAnew();
  FileUpdate update = FileUpdate::OfMissing(PathOf("d"));
  update.Replace(0, "new\n");
  m_sandbox.Write("d", "theirs\n");
  EXPECT_EQ(MessageOf<Overtaken>([&] { update.Commit({}); }),
            "d: has been changed by another program meanwhile and stays so; the new text is in "
            ".d.qeltemplate-kept-new");
  EXPECT_EQ(TextOf("d"), "theirs\n");
}

TEST_P(WithAndWithoutExchange, ABackupThatOthersHaveReplacedStays) {
  StartAnew();
  m_sandbox.Write("a~", "earlier\n");
  const std::string message =
      CommitOvertaken({"~", InFiles("echo theirs > c; mv c a~; false"), ""});
  EXPECT_THAT(message, testing::EndsWith("a~: has been changed by another program meanwhile and "
                                         "stays so; the old one is in .a~.qeltemplate-kept-old"));
  EXPECT_EQ(All(), (Files{{"a", "old\n"},
                          {"a~", "theirs\n"},
                          {"b", "old\n"},
                          {".a~.qeltemplate-kept-old", "earlier\n"}}));
}

TEST_P(WithAndWithoutExchange, ATextThatIsKeptDoesNotReplaceOneThatWasKeptBefore) {
  StartAnew();
  for (int run = 0; run < 2; ++run) {
    m_sandbox.Write("a", "old\n");
    CommitOvertaken(WithCheck(InFiles("echo theirs > c; mv c a; false")));
  }
  EXPECT_EQ(All(), (Files{{"a", "theirs\n"},
                          {"b", "old\n"},
                          {".a.qeltemplate-kept-new", "new\n"},
                          {".a.qeltemplate-kept-new-2", "new\n"},
                          {".a.qeltemplate-kept-old", "old\n"},
                          {".a.qeltemplate-kept-old-2", "old\n"}}));
  Commit("later\n", {"a", "b"});
  EXPECT_EQ(TextOf(".a.qeltemplate-kept-old-2"), "old\n");
}

// --- Between the last look and the exchange ---

// "a" is exchanged first, then "b"; back, the other way round.
TEST_P(WithAndWithoutExchange, WhatOthersSaveJustBeforeAnExchangeStays) {
  struct Case {
    const char* name;
    int exchange;
    std::function<void()> change;
    const char* message;
    Files after;
  };
  const auto rename = [this] { SaveByRename("theirs\n"); };
  const auto write = [this] { m_sandbox.Write("a", "theirs\n"); };
  const auto remove = [this] { std::filesystem::remove(PathOf("a")); };
  const Files kept_new = {{"a", "theirs\n"}, {"b", "old\n"}, {".a.qeltemplate-kept-new", "new\n"}};
  const Files kept_both = {{"a", "theirs\n"},
                           {"b", "old\n"},
                           {".a.qeltemplate-kept-new", "new\n"},
                           {".a.qeltemplate-kept-old", "old\n"}};
  const Files gone = {{"b", "old\n"}, {".a.qeltemplate-kept-new", "new\n"}};
  const Case cases[] = {
      {"saved by rename, into place", 1, rename, kKeepsNew, kept_new},
      {"written, into place", 1, write, kKeepsNew, kept_new},
      {"removed, into place", 1, remove, kKeepsNew, gone},
      {"saved by rename, while the other one is put in place", 2, rename, kKeepsBoth, kept_both},
      {"saved by rename, back", 4, rename, kKeepsBoth, kept_both},
      {"written, back", 4, write, kKeepsBoth, kept_both},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    StartAnew();
    before_exchange = [&c](int number) {
      if (number == c.exchange) c.change();
    };
    EXPECT_THAT(CommitOvertaken(WithCheck("false")), testing::EndsWith(c.message));
    EXPECT_EQ(All(), c.after);
  }
}

TEST_P(WithAndWithoutExchange, AFileThatOthersMakeJustBeforeAnotherIsMovedThereStays) {
  StartAnew();
  FileUpdate update = FileUpdate::OfMissing(PathOf("d"));
  update.Replace(0, "new\n");
  before_move = [this] { m_sandbox.Write("d", "theirs\n"); };
  EXPECT_EQ(MessageOf<Overtaken>([&] { update.Commit({}); }),
            "d: has been changed by another program meanwhile and stays so; the new text is in "
            ".d.qeltemplate-kept-new");
  EXPECT_EQ(All(), (Files{{"a", "old\n"},
                          {"b", "old\n"},
                          {"d", "theirs\n"},
                          {".d.qeltemplate-kept-new", "new\n"}}));
}

TEST_F(OvertakenUpdate, OfThreeProgramsNoneLosesItsText) {
  StartAnew();
  before_exchange = [this](int number) {
    if (number == 1) SaveByRename("theirs\n");
    if (number == 2) SaveByRename("a third one's\n");
  };
  CommitOvertaken({});
  EXPECT_EQ(All(), (Files{{"a", "theirs\n"},
                          {"b", "old\n"},
                          {".a.qeltemplate-kept-new", "new\n"},
                          {".a.qeltemplate-kept-other", "a third one's\n"}}));
}

TEST_F(OvertakenUpdate, OfThreeProgramsNoneLosesItsTextWhenAllIsTakenBack) {
  StartAnew();
  before_exchange = [this](int number) {
    if (number == 4) SaveByRename("theirs\n");
    if (number == 5) SaveByRename("a third one's\n");
  };
  CommitOvertaken(WithCheck("false"));
  EXPECT_EQ(All(), (Files{{"a", "theirs\n"},
                          {"b", "old\n"},
                          {".a.qeltemplate-kept-new", "new\n"},
                          {".a.qeltemplate-kept-old", "old\n"},
                          {".a.qeltemplate-kept-other", "a third one's\n"}}));
}

// Killed between the exchange and the look at what it has brought out.
TEST_F(OvertakenUpdate, TheNextUpdateKeepsWhatAKilledOneHasNotLookedAt) {
  StartAnew();
  m_sandbox.Write("a", "new\n");
  m_sandbox.Write(".a.qeltemplate-old", "old\n");
  m_sandbox.Write(".a.qeltemplate-new", "theirs\n");
  Commit("later\n", {"a", "b"});
  EXPECT_EQ(All(),
            (Files{{"a", "later\n"}, {"b", "later\n"}, {".a.qeltemplate-kept-other", "theirs\n"}}));
}

}  // namespace
