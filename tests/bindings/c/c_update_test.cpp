// SPDX-License-Identifier: Apache-2.0

// Updates of files through the C interface.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "bindings/c/c_edit.h"
#include "qeltemplate_c.h"

namespace {

using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;
using testing::Pair;

class CUpdate : public testing::Test {
 protected:
  CUpdate() {
    std::filesystem::remove_all(m_folder);
    std::filesystem::create_directories(m_folder);
    Write("a", "old a\n");
    Write("b", "old b\n");
    EXPECT_EQ(qel_update_new(&m_update, nullptr), QEL_OK);
  }
  ~CUpdate() override {
    qel_update_free(m_update);
    std::filesystem::remove_all(m_folder);
  }

  std::string Path(const std::string& name) const { return m_folder / name; }
  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  void Add(const std::string& name) const {
    EXPECT_EQ(qel_update_add(m_update, Path(name).c_str(), QEL_NUL, nullptr), QEL_OK);
  }
  void SetText(int option, const char* text) const {
    EXPECT_EQ(qel_update_set_text(m_update, option, text, QEL_NUL, nullptr), QEL_OK);
  }
  void SetNumber(int option, std::uint64_t number) const {
    EXPECT_EQ(qel_update_set_number(m_update, option, number, nullptr), QEL_OK);
  }
  void Lock() const {
    CError error;
    EXPECT_EQ(qel_update_lock(m_update, error.Out()), QEL_OK) << error.Message();
  }
  void Replace(size_t file, const std::string& text) const {
    EXPECT_EQ(qel_update_replace(m_update, file, text.data(), text.size(), nullptr), QEL_OK);
  }
  json Result() const {
    CText text;
    EXPECT_EQ(qel_update_json(m_update, text.Out(), text.Size(), nullptr), QEL_OK);
    return json::parse(text.Str());
  }

  const std::filesystem::path m_folder =
      std::filesystem::path(testing::TempDir()) /
      (std::string("c_update_") + testing::UnitTest::GetInstance()->current_test_info()->name());
  qel_update m_update = 0;
};

TEST_F(CUpdate, ReplacesFiles) {
  Add("a");
  Add("b");
  SetText(QEL_UPDATE_BACKUP_SUFFIX, "~");
  SetText(QEL_UPDATE_CHECK, ("grep -q new " + Path("a")).c_str());
  SetText(QEL_UPDATE_RELOAD, ("echo reloaded >" + Path("log")).c_str());
  EXPECT_EQ(qel_update_count(m_update), 0U);
  Lock();
  ASSERT_EQ(qel_update_count(m_update), 2U);
  CText name;
  EXPECT_EQ(qel_update_name(m_update, 1, name.Out(), name.Size(), nullptr), QEL_OK);
  EXPECT_EQ(name.Str(), Path("b"));
  CText text;
  EXPECT_EQ(qel_update_read(m_update, 0, text.Out(), text.Size(), nullptr), QEL_OK);
  EXPECT_EQ(text.Str(), "old a\n");
  const std::string odd("new\0\xff", 5);
  Replace(0, odd);
  EXPECT_EQ(Read("a"), "old a\n") << "not before it is committed";
  EXPECT_EQ(qel_update_commit(m_update, nullptr), QEL_OK);
  EXPECT_EQ(Read("a"), odd);
  EXPECT_EQ(Read("a~"), "old a\n");
  EXPECT_EQ(Read("b"), "old b\n");
  EXPECT_EQ(Read("log"), "reloaded\n");
  EXPECT_EQ(Result(), json({{"changed", {Path("a")}},
                            {"backups", {Path("a~")}},
                            {"new_warnings", json::array()},
                            {"checked", true},
                            {"reloaded", true}}));
}

TEST_F(CUpdate, MakesAFileThatIsNotThere) {
  Add("new");
  EXPECT_EQ(qel_update_lock(m_update, nullptr), QEL_UPDATE_FAILED);
  SetNumber(QEL_UPDATE_MAY_CREATE, 1);
  Lock();
  CText text;
  EXPECT_EQ(qel_update_read(m_update, 0, text.Out(), text.Size(), nullptr), QEL_OK);
  EXPECT_EQ(text.Str(), "");
  Replace(0, "made\n");
  EXPECT_EQ(qel_update_commit(m_update, nullptr), QEL_OK);
  EXPECT_EQ(Read("new"), "made\n");
}

TEST_F(CUpdate, PutsBackWhatTheServerRefuses) {
  Add("a");
  Add("b");
  SetText(QEL_UPDATE_CHECK, "echo 'line 1 is wrong'; exit 3");
  Lock();
  Replace(0, "new a\n");
  Replace(1, "new b\n");
  CError error;
  EXPECT_EQ(qel_update_commit(m_update, error.Out()), QEL_SERVER_REFUSES);
  EXPECT_EQ(Read("a"), "old a\n");
  EXPECT_EQ(Read("b"), "old b\n");
  EXPECT_EQ(error.Type(), "server");
  EXPECT_THAT(error.Object(), HasSubstr("line 1 is wrong"));
  EXPECT_THAT(error.Params(), Contains(Pair("command", "echo 'line 1 is wrong'; exit 3")));
  EXPECT_THAT(error.Params(), Contains(Pair("exit_status", "3")));
  EXPECT_THAT(error.Params(), Contains(Pair("output", "line 1 is wrong")));
}

TEST_F(CUpdate, StopsACommandThatTakesTooLong) {
  Add("a");
  SetText(QEL_UPDATE_CHECK, "exec sleep 60");
  SetNumber(QEL_UPDATE_COMMAND_LIMIT, 50);
  Lock();
  Replace(0, "new a\n");
  CError error;
  EXPECT_EQ(qel_update_commit(m_update, error.Out()), QEL_SERVER_REFUSES);
  EXPECT_THAT(error.Params(), Contains(Pair("timed_out", "1")));
  EXPECT_EQ(Read("a"), "old a\n");
}

TEST_F(CUpdate, TellsOrRefusesNewWarnings) {
  const std::string check =
      "grep -q new " + Path("a") + " && echo 'nginx: [warn] odd in " + Path("a") + ":1'; true";
  SetText(QEL_UPDATE_CHECK, check.c_str());
  SetNumber(QEL_UPDATE_NEW_WARNINGS, 2);
  Add("a");
  Lock();
  Replace(0, "new a\n");
  EXPECT_EQ(qel_update_commit(m_update, nullptr), QEL_SERVER_REFUSES);
  EXPECT_EQ(Read("a"), "old a\n");
  qel_update_free(m_update);
  ASSERT_EQ(qel_update_new(&m_update, nullptr), QEL_OK);
  SetText(QEL_UPDATE_CHECK, check.c_str());
  SetNumber(QEL_UPDATE_NEW_WARNINGS, 1);
  SetNumber(QEL_UPDATE_HOLD_SIGNALS, 1);
  Add("a");
  Lock();
  Replace(0, "new a\n");
  EXPECT_EQ(qel_update_commit(m_update, nullptr), QEL_OK);
  EXPECT_EQ(Result()["new_warnings"].size(), 1U);
}

TEST_F(CUpdate, LeavesWhatAnotherProgramHasChanged) {
  Add("a");
  SetText(QEL_UPDATE_CHECK, ("echo theirs >" + Path("a")).c_str());
  Lock();
  Replace(0, "new a\n");
  CError error;
  EXPECT_EQ(qel_update_commit(m_update, error.Out()), QEL_OVERTAKEN);
  EXPECT_EQ(error.Type(), "overtaken");
  EXPECT_THAT(error.Params(), Contains(Pair("file", Path("a"))));
  EXPECT_EQ(Read("a"), "theirs\n");
}

TEST_F(CUpdate, IsCancelledByAnotherThread) {
  Add("a");
  SetText(QEL_UPDATE_CHECK, ("touch " + Path("begun") + "; exec sleep 60").c_str());
  Lock();
  Replace(0, "new a\n");
  std::thread canceller([&] {
    while (!std::filesystem::exists(Path("begun"))) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(qel_update_count(m_update), 0U) << "it is in a call";
    EXPECT_EQ(qel_update_add(m_update, "x", 1, nullptr), QEL_BUSY);
    EXPECT_EQ(qel_update_cancel(m_update), QEL_OK);
  });
  EXPECT_EQ(qel_update_commit(m_update, nullptr), QEL_CANCELLED);
  canceller.join();
  EXPECT_EQ(Read("a"), "old a\n");
}

TEST_F(CUpdate, WaitsForALockAsLongAsItIsTold) {
  Add("a");
  Lock();
  qel_update other = 0;
  ASSERT_EQ(qel_update_new(&other, nullptr), QEL_OK);
  qel_update_add(other, Path("a").c_str(), QEL_NUL, nullptr);
  qel_update_set_number(other, QEL_UPDATE_LOCK_WAIT, 10, nullptr);
  EXPECT_EQ(qel_update_lock(other, nullptr), QEL_UPDATE_FAILED);
  qel_update_set_number(other, QEL_UPDATE_LOCK_WAIT, UINT64_MAX, nullptr);
  std::thread locker([&] { EXPECT_EQ(qel_update_lock(other, nullptr), QEL_OK); });
  EXPECT_EQ(qel_update_free(m_update), QEL_OK);
  m_update = 0;
  locker.join();
  qel_update_free(other);
}

TEST_F(CUpdate, AnswersWhatStandsForNothing) {
  CText text;
  Add("a");
  struct Case {
    const char* message;
    std::function<qel_status(qel_error*)> call;
  };
  const Case cases[] = {
      {"null (name=update)", [](qel_error* e) { return qel_update_new(nullptr, e); }},
      {"null (name=name)", [&](qel_error* e) { return qel_update_add(m_update, nullptr, 0, e); }},
      {"unknown (name=option, value=4)",
       [&](qel_error* e) { return qel_update_set_text(m_update, 4, "", 0, e); }},
      {"unknown (name=option, value=6)",
       [&](qel_error* e) { return qel_update_set_number(m_update, 6, 0, e); }},
      {"unknown (name=number, value=2)",
       [&](qel_error* e) { return qel_update_set_number(m_update, QEL_UPDATE_MAY_CREATE, 2, e); }},
      {"unknown (name=number, value=3)",
       [&](qel_error* e) {
         return qel_update_set_number(m_update, QEL_UPDATE_NEW_WARNINGS, 3, e);
       }},
      {"unknown (name=file, value=0)",
       [&](qel_error* e) { return qel_update_read(m_update, 0, text.Out(), nullptr, e); }},
      {"unknown (name=file, value=0)",
       [&](qel_error* e) { return qel_update_replace(m_update, 0, "", 0, e); }},
      {"null (name=json)",
       [&](qel_error* e) { return qel_update_json(m_update, nullptr, nullptr, e); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    CError error;
    EXPECT_EQ(c.call(error.Out()), QEL_BAD_ARGUMENT);
    EXPECT_EQ(error.Message(), "argument: " + std::string(c.message));
  }
  Lock();
  EXPECT_EQ(qel_update_read(m_update, 1, text.Out(), nullptr, nullptr), QEL_BAD_ARGUMENT);
  EXPECT_EQ(qel_update_read(m_update, 0, nullptr, nullptr, nullptr), QEL_BAD_ARGUMENT);
  EXPECT_EQ(qel_update_name(m_update, 0, nullptr, nullptr, nullptr), QEL_BAD_ARGUMENT);
}

TEST_F(CUpdate, HasAnOrder) {
  EXPECT_EQ(qel_update_commit(m_update, nullptr), QEL_FAILED) << "not locked";
  Add("a");
  Lock();
  EXPECT_EQ(qel_update_lock(m_update, nullptr), QEL_FAILED) << "locked already";
  EXPECT_EQ(qel_update_commit(m_update, nullptr), QEL_OK);
  EXPECT_EQ(Result()["changed"], json::array());
  EXPECT_EQ(qel_update_commit(m_update, nullptr), QEL_FAILED) << "committed already";
}

TEST_F(CUpdate, AnswersBadHandles) {
  qel_update freed = 0;
  ASSERT_EQ(qel_update_new(&freed, nullptr), QEL_OK);
  ASSERT_EQ(qel_update_free(freed), QEL_OK);
  for (const qel_update handle : {qel_update{0}, freed}) {
    SCOPED_TRACE(handle);
    CText text;
    EXPECT_EQ(qel_update_add(handle, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_update_set_text(handle, 1, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_update_set_number(handle, 1, 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_update_lock(handle, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_update_count(handle), 0U);
    EXPECT_EQ(qel_update_name(handle, 0, text.Out(), nullptr, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_update_read(handle, 0, text.Out(), nullptr, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_update_replace(handle, 0, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_update_commit(handle, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_update_json(handle, text.Out(), nullptr, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_update_cancel(handle), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_update_free(handle), handle == 0 ? QEL_OK : QEL_BAD_HANDLE);
  }
}

}  // namespace
