// SPDX-License-Identifier: Apache-2.0

// Descriptors, what is read from them, and the system's words.

#include "update/descriptor.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "update/failure.h"
#include "update/locked_file.h"
#include "update/update_sandbox.h"

namespace {

using tov_update::AboveStandardStreams;
using tov_update::Descriptor;
using tov_update::Failure;

// What pread(2) does: no more than so many bytes at once, and first these errors.
std::size_t most_at_once = std::string::npos;
std::vector<int> errors_first;

}  // namespace

// In the place of the C library's.
extern "C" ssize_t pread(int descriptor, void* bytes, std::size_t size, off_t from) {
  if (!errors_first.empty()) {
    errno = errors_first.front();
    errors_first.erase(errors_first.begin());
    return -1;
  }
  return syscall(SYS_pread64, descriptor, bytes, std::min(size, most_at_once), from);
}

namespace {

bool IsOpen(int number) {
  return fcntl(number, F_GETFD) != -1;
}

class Descriptors : public testing::Test {
 protected:
  ~Descriptors() override {
    most_at_once = std::string::npos;
    errors_first.clear();
  }

  // Of a file with this text, read up to its end.
  Descriptor With(const std::string& text) const {
    m_sandbox.Write("a", text);
    Descriptor opened = tov_update::Open(m_sandbox.PathOf("a"), O_RDWR);
    EXPECT_EQ(lseek(opened.Number(), 0, SEEK_END), static_cast<off_t>(text.size()));
    return opened;
  }

  static std::string Text(std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i) text += static_cast<char>('a' + i % 23);
    return text;
  }

  static constexpr std::size_t kSizes[] = {0, 1, 2, 65535, 65536, 65537, 131072, 131073};

  UpdateSandbox m_sandbox;
};

// --- Reading ---

TEST_F(Descriptors, AreReadFromTheStartToTheEndWhateverSizeIsExpected) {
  for (const std::size_t size : kSizes) {
    const std::string text = Text(size);
    const Descriptor opened = With(text);
    for (const std::size_t expected : {std::size_t{0}, size, size + 1, std::size_t{65536}}) {
      SCOPED_TRACE(testing::Message() << size << " bytes, expected " << expected);
      EXPECT_EQ(tov_update::ReadFromStart(opened, expected, "a"), text);
    }
  }
}

TEST_F(Descriptors, AreReadToTheEndWhereTheSystemGivesLittleAtATime) {
  const std::string text = Text(10);
  const Descriptor opened = With(text);
  for (const std::size_t most : {std::size_t{1}, std::size_t{3}, std::size_t{10}}) {
    most_at_once = most;
    EXPECT_EQ(tov_update::ReadFromStart(opened, text.size(), "a"), text) << most;
    EXPECT_TRUE(tov_update::MayHold(opened, text)) << most;
    EXPECT_FALSE(tov_update::MayHold(opened, Text(9) + "-")) << most;
    EXPECT_FALSE(tov_update::MayHold(opened, Text(11))) << most;
  }
}

TEST_F(Descriptors, AreReadAgainAfterASignalAndNotAfterAnythingElse) {
  const Descriptor opened = With("text");
  errors_first = {EINTR, EINTR};
  EXPECT_EQ(tov_update::ReadFromStart(opened, 4, "a"), "text");
  errors_first = {EINTR, EIO, EIO};
  try {
    tov_update::ReadFromStart(opened, 4, "a");
    ADD_FAILURE();
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(), "a: Input/output error");
  }
  EXPECT_THAT(errors_first, testing::ElementsAre(EIO));
}

TEST_F(Descriptors, MayHoldATextOnlyWhereEachByteIsTheSame) {
  for (const std::size_t size : kSizes) {
    SCOPED_TRACE(size);
    const std::string text = Text(size);
    const Descriptor opened = With(text);
    EXPECT_TRUE(tov_update::MayHold(opened, text));
    EXPECT_FALSE(tov_update::MayHold(opened, text + "a"));
    if (size == 0) continue;
    EXPECT_FALSE(tov_update::MayHold(opened, text.substr(1)));
    EXPECT_FALSE(tov_update::MayHold(opened, text.substr(0, size - 1)));
    EXPECT_FALSE(tov_update::MayHold(opened, text.substr(0, size - 1) + "-"));
    EXPECT_FALSE(tov_update::MayHold(opened, "-" + text.substr(1)));
  }
}

TEST_F(Descriptors, MayHoldAnyTextWhereTheyCannotBeRead) {
  const Descriptor opened = With("text");
  errors_first = {EIO};
  EXPECT_TRUE(tov_update::MayHold(opened, "another"));
}

TEST_F(Descriptors, AreNoGlanceWhereTheSystemGivesLessThanTheFileHolds) {
  m_sandbox.Write("a", "text");
  const std::string path = m_sandbox.PathOf("a");
  const tov_update::Glances glances(path);
  std::string buffer;
  EXPECT_TRUE(glances.At(path, buffer));
  most_at_once = 3;
  EXPECT_FALSE(glances.At(path, buffer));
  most_at_once = 4;
  errors_first = {EIO};
  EXPECT_FALSE(glances.At(path, buffer));
  EXPECT_EQ(glances.At(path, buffer)->text, "text");
}

// --- Numbers ---

TEST_F(Descriptors, NeverGetTheNumberOfAStandardStream) {
  m_sandbox.Write("a", "");
  const std::vector<std::vector<int>> cases = {{0}, {1}, {2}, {0, 1}, {0, 2}, {1, 2}, {0, 1, 2}};
  for (const std::vector<int>& closed : cases) {
    std::vector<int> kept;
    for (const int number : closed) {
      kept.push_back(fcntl(number, F_DUPFD_CLOEXEC, 10));
      close(number);
    }
    Descriptor opened = tov_update::Open(m_sandbox.PathOf("a"), O_RDONLY);
    const int number = opened.Number();
    const int flags = fcntl(number, F_GETFD);
    const bool are_free = std::none_of(closed.begin(), closed.end(), IsOpen);
    opened = Descriptor();
    for (std::size_t i = 0; i < closed.size(); ++i) {
      dup2(kept.at(i), closed.at(i));
      close(kept.at(i));
    }
    SCOPED_TRACE(testing::PrintToString(closed));
    EXPECT_GT(number, STDERR_FILENO);
    EXPECT_EQ(flags, FD_CLOEXEC);
    EXPECT_TRUE(are_free);
  }
}

TEST_F(Descriptors, KeepTheirNumberWhereItIsNoneOfThose) {
  Descriptor opened = With("");
  const int number = opened.Number();
  EXPECT_EQ(fcntl(number, F_GETFD), FD_CLOEXEC);
  opened = AboveStandardStreams(std::move(opened));
  EXPECT_EQ(opened.Number(), number);
  EXPECT_FALSE(AboveStandardStreams(Descriptor()));
  EXPECT_FALSE(tov_update::Open(m_sandbox.PathOf("missing"), O_RDONLY));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(Descriptors, AreClosedOnceByTheirLastOwner) {
  int number = -1;
  {
    Descriptor first = With("");
    number = first.Number();
    Descriptor second = std::move(first);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): it has none
    EXPECT_EQ(second.Number(), number);
    first = Descriptor();
    EXPECT_TRUE(IsOpen(number));
    first = std::move(second);
    EXPECT_EQ(first.Number(), number);
    EXPECT_TRUE(IsOpen(number));
  }
  EXPECT_FALSE(IsOpen(number));
  EXPECT_TRUE(IsOpen(STDIN_FILENO));
  { const Descriptor standard(dup2(STDIN_FILENO, number)); }
  EXPECT_FALSE(IsOpen(number));
}

// --- Words ---

TEST(SystemMessages, AreThoseOfTheSystemInEnglish) {
  EXPECT_EQ(tov_update::SystemMessage(ENOENT), "No such file or directory");
  EXPECT_EQ(tov_update::SystemMessage(4095), "error 4095");
  struct Case {
    const char* problem;
    const char* message;
  };
  const Case cases[] = {{"", "a: Permission denied"},
                        {"cannot be locked", "a: cannot be locked: Permission denied"}};
  for (const Case& c : cases) {
    try {
      errno = EACCES;
      tov_update::FailBySystem("a", c.problem);
    } catch (const Failure& failure) {
      EXPECT_STREQ(failure.what(), c.message);
      EXPECT_THAT(failure.Data().files, testing::ElementsAre("a"));
    }
  }
}

}  // namespace
