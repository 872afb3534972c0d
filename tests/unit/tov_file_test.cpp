// SPDX-License-Identifier: Apache-2.0

#include "template/framework/tov_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "template/framework/tov_err.h"

namespace fs = std::filesystem;

namespace {

using namespace std::string_literals;

// A directory of its own for each test, which is the current directory meanwhile.
class TovFile : public testing::Test {
 protected:
  void SetUp() override {
    m_before = fs::current_path();
    std::string name = (fs::temp_directory_path() / "tov_file_test.XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    m_root = fs::canonical(name);
    fs::current_path(m_root);
  }

  void TearDown() override {
    fs::current_path(m_before);
    std::error_code ignored;
    fs::permissions(At("closed"), fs::perms::owner_all, ignored);
    if (!m_root.empty()) fs::remove_all(m_root);
  }

  std::string At(const std::string& name) const { return m_root.string() + "/" + name; }

  void Write(const std::string& name, const std::string& content) const {
    std::ofstream file(At(name), std::ios::binary);
    file << content;
    file.close();
    ASSERT_TRUE(file.good());
  }

  void MakeFifo(const std::string& name) const { ASSERT_EQ(mkfifo(At(name).c_str(), 0600), 0); }

  void MakeLoop() const {
    fs::create_symlink("b", At("a"));
    fs::create_symlink("a", At("b"));
  }

  // "" when reading `path` fails as it should, else what went wrong.
  static std::string HowRefused(const std::string& path) {
    try {
      return "read: " + tov_file::ReadE(path);
    } catch (const tov_err::Error& error) {
      if (error.type() != "file" || error.object() != "read") return error.what();
      if (error.params().size() != 1) return "number of parameters";
      const tov_err::Error::Param& param = error.params().front();
      if (param.name != "filename" || param.value != path) return error.what();
      return param.mask == 0xE0000000 ? "" : "mask";
    } catch (const std::exception& error) {
      return "other exception: "s + error.what();
    }
  }

  fs::path m_root;

 private:
  fs::path m_before;
};

// RealPath

TEST_F(TovFile, RealPathResolvesWhatExistsAndNormalisesTheRest) {
  fs::create_directories(At("etc/conf"));
  fs::create_directory(At("other"));
  Write("etc/a.conf", "");
  fs::create_symlink("etc/a.conf", At("file_link"));
  fs::create_symlink("file_link", At("second_link"));
  fs::create_symlink(At("etc/conf"), At("dir_link"));
  fs::create_symlink("nowhere", At("dangling"));

  struct Case {
    const char* name;
    std::string path;
    std::string real;
  };
  const Case cases[] = {
      {"file", At("etc/a.conf"), At("etc/a.conf")},
      {"directory", At("etc"), At("etc")},
      {"directory with a slash", At("etc/"), At("etc")},
      {"root", "/", "/"},
      {"relative", "etc/a.conf", At("etc/a.conf")},
      {"relative with dots", "./etc/../etc/./a.conf", At("etc/a.conf")},
      {"the current directory", ".", m_root.string()},
      {"several slashes", At("etc//a.conf"), At("etc/a.conf")},
      {"link to a file", At("file_link"), At("etc/a.conf")},
      {"link to a link", "second_link", At("etc/a.conf")},
      {"link to a directory", At("dir_link"), At("etc/conf")},
      {"up from a link's target", At("dir_link/../a.conf"), At("etc/a.conf")},
      {"missing file", At("etc/b.conf"), At("etc/b.conf")},
      {"missing, relative", "b.conf", At("b.conf")},
      {"missing directory", At("x/y/z.conf"), At("x/y/z.conf")},
      {"missing with dots", At("x/./y/../z.conf"), At("x/z.conf")},
      {"missing, up above the missing part", At("x/../../y"),
       (m_root.parent_path() / "y").string()},
      {"missing behind a link", At("dir_link/b.conf"), At("etc/conf/b.conf")},
      {"missing beside a link's target", At("dir_link/../b.conf"), At("etc/b.conf")},
      {"dangling link", At("dangling"), At("dangling")},
      {"below a dangling link", At("dangling/x"), At("dangling/x")},
      {"below a file", At("etc/a.conf/x"), At("etc/a.conf/x")},
      {"blank name", At(" "), At(" ")},
      {"bytes that are no text", At("\xff\xfe"), At("\xff\xfe")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(tov_file::RealPath(c.path), c.real);
  }
}

TEST_F(TovFile, RealPathIsTheSameForAllNamesOfAFile) {
  fs::create_directory(At("etc"));
  Write("etc/a.conf", "");
  fs::create_directory_symlink("etc", At("link"));
  for (const std::string path :
       {"etc/a.conf", "./etc/a.conf", "link/a.conf", "etc/../link/a.conf"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(tov_file::RealPath(path), At("etc/a.conf"));
    EXPECT_EQ(tov_file::RealPath(tov_file::RealPath(path)), At("etc/a.conf"));
  }
}

TEST_F(TovFile, RealPathOfAnUnusablePathIsEmpty) {
  MakeLoop();
  fs::create_symlink("self", At("self"));
  Write("x", "");
  const std::string paths[] = {
      "", At("a"), At("a/below"), At("self"), "x\0"s, At("x") + '\0' + "y", "\0"s, At("a/../x"),
  };
  for (const std::string& path : paths) {
    SCOPED_TRACE(testing::PrintToString(path));
    EXPECT_EQ(tov_file::RealPath(path), "");
  }
}

TEST_F(TovFile, RealPathOfATooLongPathIsEmpty) {
  EXPECT_EQ(tov_file::RealPath(At(std::string(5000, 'a'))), "");
  std::string deep = m_root.string();
  for (int i = 0; i < 3000; ++i) deep += "/..";
  EXPECT_EQ(tov_file::RealPath(deep + "/x"), "");
}

TEST_F(TovFile, RealPathDoesNotThrowInARemovedDirectory) {
  fs::create_directory(At("gone"));
  fs::current_path(At("gone"));
  fs::remove(At("gone"));
  EXPECT_EQ(tov_file::RealPath("x"), "");
  EXPECT_EQ(tov_file::RealPath("/"), "/");
  fs::current_path(m_root);
}

// Exists

TEST_F(TovFile, ExistsForAnythingThatIsThere) {
  fs::create_directory(At("dir"));
  Write("dir/file", "x");
  Write("empty", "");
  MakeFifo("fifo");
  MakeLoop();
  fs::create_symlink("dir", At("link"));
  fs::create_symlink("nowhere", At("dangling"));

  struct Case {
    const char* name;
    std::string path;
    bool exists;
  };
  const Case cases[] = {
      {"file", At("dir/file"), true},
      {"empty file", At("empty"), true},
      {"relative", "dir/file", true},
      {"directory", At("dir"), true},
      {"directory with a slash", At("dir/"), true},
      {"link", At("link"), true},
      {"through a link", At("link/file"), true},
      {"FIFO", At("fifo"), true},
      {"device", "/dev/null", true},
      {"missing", At("nowhere"), false},
      {"in a missing directory", At("nowhere/file"), false},
      {"below a file", At("empty/file"), false},
      {"dangling link", At("dangling"), false},
      {"loop of links", At("a"), false},
      {"empty path", "", false},
      {"NUL behind a file's name", At("empty") + '\0', false},
      {"NUL in front", '\0' + At("empty"), false},
      {"too long", At(std::string(5000, 'a')), false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(tov_file::Exists(c.path), c.exists);
  }
}

// ReadE

TEST_F(TovFile, ReadsTheWholeContent) {
  std::string all_bytes;
  for (int i = 0; i < 256; ++i) all_bytes += static_cast<char>(i);
  std::string long_text;
  while (long_text.size() < 300000) long_text += all_bytes + "line\n";

  struct Case {
    const char* name;
    std::string content;
  };
  const Case cases[] = {
      {"empty", ""},
      {"one byte", "x"},
      {"without a line end", "server {\n}"},
      {"line ends are kept", "\r\n\n\ra\r\n"},
      {"NUL bytes", "a\0b\0"s},
      {"every byte", all_bytes},
      {"one byte short of a power of two", std::string(65535, 'a')},
      {"a power of two", std::string(65536, 'a')},
      {"one byte more", std::string(65537, 'a')},
      {"twice a power of two", std::string(131072, 'a')},
      {"long", long_text},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Write("file", c.content);
    EXPECT_TRUE(tov_file::ReadE(At("file")) == c.content);
  }
}

TEST_F(TovFile, ReadsThroughLinksAndRelativePaths) {
  fs::create_directory(At("dir"));
  Write("dir/file", "text");
  fs::create_symlink("dir/file", At("link"));
  fs::create_symlink(At("link"), At("second"));
  for (const std::string path : {"dir/file", "./dir/../dir/file", "link", "second"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(tov_file::ReadE(path), "text");
    EXPECT_EQ(tov_file::ReadE(At(path)), "text");
  }
}

// The kernel's files have no size but a content.
TEST_F(TovFile, ReadsFilesWhoseSizeIsUnknown) {
  ASSERT_EQ(fs::file_size("/proc/self/status"), 0U);
  EXPECT_EQ(tov_file::ReadE("/proc/self/status").substr(0, 5), "Name:");
}

TEST_F(TovFile, RefusesToReadAnythingElse) {
  fs::create_directory(At("dir"));
  Write("file", "x");
  MakeFifo("fifo");
  MakeLoop();
  fs::create_symlink("dir", At("dir_link"));
  fs::create_symlink("fifo", At("fifo_link"));
  fs::create_symlink("nowhere", At("dangling"));

  struct Case {
    const char* name;
    std::string path;
  };
  const Case cases[] = {
      {"missing", At("nowhere")},
      {"relative, missing", "nowhere"},
      {"in a missing directory", At("nowhere/file")},
      {"directory", At("dir")},
      {"link to a directory", At("dir_link")},
      {"FIFO", At("fifo")},
      {"link to a FIFO", At("fifo_link")},
      {"device", "/dev/null"},
      {"endless device", "/dev/zero"},
      {"dangling link", At("dangling")},
      {"loop of links", At("a")},
      {"below a file", At("file/x")},
      {"file with a slash", At("file/")},
      {"empty path", ""},
      {"NUL behind a file's name", At("file") + '\0'},
      {"NUL in front", '\0' + At("file")},
      {"too long", At(std::string(5000, 'a'))},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(HowRefused(c.path), "");
  }
}

TEST_F(TovFile, DoesNotTakeAnythingFromAFifo) {
  MakeFifo("fifo");
  const int fifo = open(At("fifo").c_str(), O_RDWR | O_NONBLOCK);
  ASSERT_GE(fifo, 0);
  ASSERT_EQ(write(fifo, "x", 1), 1);
  EXPECT_EQ(HowRefused(At("fifo")), "");
  char byte = 0;
  EXPECT_EQ(read(fifo, &byte, 1), 1);
  close(fifo);
}

// A regular file whose first byte cannot be read.
TEST_F(TovFile, AReadErrorIsAnErrorAndNotAnEmptyFile) {
  ASSERT_TRUE(fs::is_regular_file("/proc/self/mem"));
  EXPECT_EQ(HowRefused("/proc/self/mem"), "");
}

TEST_F(TovFile, ErrorsNameThePathAsItWasGiven) {
  try {
    tov_file::ReadE("./nowhere");
    ADD_FAILURE() << "read a missing file";
  } catch (const tov_err::Error& error) {
    EXPECT_STREQ(error.what(), "file: read (filename=./nowhere)");
  }
}

// While it lives, file permissions count for root, too. `folder` is opened for everyone.
class WithoutRootRights {
 public:
  explicit WithoutRootRights(const std::string& folder) : m_user(geteuid()) {
    constexpr uid_t kNobody = 65534;
    fs::permissions(folder, fs::perms(0755));
    if (m_user == 0 && seteuid(kNobody) != 0) throw std::runtime_error("seteuid");
  }
  ~WithoutRootRights() {
    if (m_user == 0 && seteuid(m_user) != 0) std::abort();
  }
  WithoutRootRights(const WithoutRootRights&) = delete;
  WithoutRootRights& operator=(const WithoutRootRights&) = delete;

 private:
  const uid_t m_user;
};

TEST_F(TovFile, WhatMayNotBeReadIsThereButIsRefused) {
  Write("secret", "x");
  fs::permissions(At("secret"), fs::perms::none);
  const WithoutRootRights without_root_rights(At("."));
  EXPECT_TRUE(tov_file::Exists(At("secret")));
  EXPECT_EQ(tov_file::RealPath(At("secret")), At("secret"));
  EXPECT_EQ(HowRefused(At("secret")), "");
}

TEST_F(TovFile, NothingIsSeenInADirectoryThatMayNotBeSearched) {
  fs::create_directory(At("closed"));
  Write("closed/file", "x");
  fs::permissions(At("closed"), fs::perms::none);
  const WithoutRootRights without_root_rights(At("."));
  EXPECT_TRUE(tov_file::Exists(At("closed")));
  EXPECT_FALSE(tov_file::Exists(At("closed/file")));
  EXPECT_EQ(HowRefused(At("closed/file")), "");
  EXPECT_NO_THROW(tov_file::RealPath(At("closed/file")));
}

// Names

TEST(TovFileNames, PathsAreSplitAtTheLastSlash) {
  struct Case {
    const char* path;
    const char* directory;
    const char* name;
  };
  const Case cases[] = {
      {"/etc/nginx/nginx.conf", "/etc/nginx", "nginx.conf"},
      {"src/template/template.cpp", "src/template", "template.cpp"},
      {"./template.cpp", ".", "template.cpp"},
      {"template.cpp", "", "template.cpp"},
      {"/template.cpp", "/", "template.cpp"},
      {"", "", ""},
      {"a b/.hidden", "a b", ".hidden"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    const std::pair<std::string, std::string> parts = tov_file::SplitPath(c.path);
    EXPECT_EQ(parts.first, c.directory);
    EXPECT_EQ(parts.second, c.name);
    EXPECT_EQ(tov_file::Name(c.path), c.name);
  }
}

}  // namespace
