// SPDX-License-Identifier: Apache-2.0

#include "template/framework/tov_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/log_capture.h"
#include "template/config_view.h"
#include "template/nginx.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr tov_log::Module kLog("template", "core");

// Before anything in this program has touched the log.
const bool g_on_at_load = kLog.Check(0) || kLog.Check(tov_log::kTrace);

std::vector<std::string> Texts(const LogCapture& log) {
  std::vector<std::string> texts;
  for (const LogCapture::Record& record : log.Records()) texts.push_back(record.text);
  return texts;
}

// Waits until `done`, for at most half a minute; false: it never was.
template <class Done>
bool Eventually(Done done) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

class TovLog : public testing::Test {
 protected:
  void TearDown() override {
    tov_log::SetLevel(tov_log::kOff);
    tov_log::SetHandler(nullptr);
  }
};

// Level and handler

TEST_F(TovLog, LogOffByDefault) {
  EXPECT_FALSE(g_on_at_load);
  for (const tov_log::Level level : {0, 1, tov_log::kTrace, tov_log::kDebug, 1000}) {
    EXPECT_FALSE(kLog.Check(level)) << level;
  }
  kLog.Write(tov_log::kDebug, "%s", "to nobody");
}

TEST_F(TovLog, NeedsBothAHandlerAndALevel) {
  int records = 0;
  const auto count = [&](tov_log::Level, const std::string&, const std::string&,
                         const std::string&) { ++records; };

  tov_log::SetLevel(tov_log::kDebug);
  EXPECT_FALSE(kLog.Check(0)) << "a level alone";
  kLog.Write(0, "lost");

  tov_log::SetHandler(count);
  EXPECT_TRUE(kLog.Check(0)) << "the level set before counts";
  kLog.Write(0, "heard");
  EXPECT_EQ(records, 1);

  tov_log::SetLevel(tov_log::kOff);
  EXPECT_FALSE(kLog.Check(0)) << "a handler alone";
  kLog.Write(0, "lost");

  tov_log::SetLevel(0);
  tov_log::SetHandler(nullptr);
  EXPECT_FALSE(kLog.Check(0)) << "the handler removed";
  kLog.Write(0, "lost");
  EXPECT_EQ(records, 1);

  tov_log::SetHandler(count);
  tov_log::SetHandler(tov_log::Handler());
  EXPECT_FALSE(kLog.Check(0)) << "removed by an empty handler";
}

TEST_F(TovLog, ALevelLetsItsRecordsAndThoseBelowThrough) {
  struct Case {
    tov_log::Level set;
    std::vector<std::string> written;
  };
  const Case cases[] = {
      {-5, {}},
      {tov_log::kOff, {}},
      {0, {"0"}},
      {7, {"0", "7"}},
      {tov_log::kTrace, {"0", "7", "8"}},
      {tov_log::kDebug, {"0", "7", "8", "9"}},
      {100, {"0", "7", "8", "9", "10"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.set);
    const LogCapture log(c.set);
    std::vector<std::string> accepted;
    for (const tov_log::Level level : {0, 7, 8, 9, 10}) {
      if (kLog.Check(level)) accepted.push_back(std::to_string(level));
      kLog.Write(level, "%d", level);
    }
    EXPECT_EQ(accepted, c.written);
    EXPECT_EQ(Texts(log), c.written);
  }
}

TEST_F(TovLog, TheLevelsOfTheLibraryAreFixed) {
  EXPECT_EQ(tov_log::kTrace, 8);
  EXPECT_EQ(tov_log::kDebug, 9);
}

TEST_F(TovLog, ARecordHasLevelModuleChannelAndText) {
  const LogCapture log;
  kLog.Write(8, "%s", "first");
  tov_log::Module("other", "channel").Write(3, "%s:%d %c%%", "x.cpp", 12, 'y');
  ASSERT_EQ(log.Records().size(), 2U);
  EXPECT_EQ(log.Records()[0].level, 8);
  EXPECT_EQ(log.Records()[0].module, "template");
  EXPECT_EQ(log.Records()[0].channel, "core");
  EXPECT_EQ(log.Records()[0].text, "first");
  EXPECT_EQ(log.Records()[1].level, 3);
  EXPECT_EQ(log.Records()[1].module, "other");
  EXPECT_EQ(log.Records()[1].channel, "channel");
  EXPECT_EQ(log.Records()[1].text, "x.cpp:12 y%");
}

TEST_F(TovLog, TheHandlerSetLastIsUsed) {
  std::vector<std::string> calls;
  const auto handler = [&](const std::string& name) {
    return [&calls, name](tov_log::Level, const std::string&, const std::string&,
                          const std::string& text) { calls.push_back(name + ":" + text); };
  };
  tov_log::SetLevel(0);
  tov_log::SetHandler(handler("a"));
  kLog.Write(0, "1");
  tov_log::SetHandler(handler("b"));
  kLog.Write(0, "2");
  tov_log::SetHandler(nullptr);
  kLog.Write(0, "3");
  tov_log::SetHandler(handler("a"));
  kLog.Write(0, "4");
  EXPECT_THAT(calls, ElementsAre("a:1", "b:2", "a:4"));
}

// Texts

TEST_F(TovLog, LogNulEndsAValueAndOnlyThere) {
  const std::string value("a\0b", 3);
  const LogCapture log;
  kLog.Write(9, "%s|%s|%d", value.c_str(), "c", 1);
  kLog.Write(9, "%s|", "\0lost");
  EXPECT_THAT(Texts(log), ElementsAre("a|c|1", "|"));
}

TEST_F(TovLog, TextsOfAnyLengthAndOfAnyBytesAreKept) {
  std::string bytes;
  for (int i = 1; i < 256; ++i) bytes += static_cast<char>(i);
  std::vector<std::string> texts{"", "x", bytes};
  for (const std::size_t size : {63U, 64U, 255U, 256U, 1023U, 1024U, 4095U, 4096U, 1U << 20}) {
    texts.push_back(std::string(size - 1, 'a') + "z");
  }
  const LogCapture log;
  for (const std::string& text : texts) kLog.Write(9, "%s", text.c_str());
  EXPECT_TRUE(Texts(log) == texts);
}

// Handlers that do more than they should

TEST_F(TovLog, AHandlerThatThrowsDoesNotDisturb) {
  int calls = 0;
  tov_log::SetLevel(tov_log::kDebug);
  tov_log::SetHandler(
      [&](tov_log::Level, const std::string&, const std::string&, const std::string&) {
        if (++calls % 2 == 0) throw 42;
        throw std::runtime_error("full disk");
      });
  for (int i = 0; i < 4; ++i) EXPECT_NO_THROW(kLog.Write(9, "%d", i));
  EXPECT_EQ(calls, 4);
  EXPECT_TRUE(kLog.Check(9)) << "the handler stays";

  const auto config = std::make_shared<tov_template::Nginx>("server {\n}");
  tov_template::ConfigView view(config);
  EXPECT_NO_THROW(view.AppendParam("server {", "gzip on;", "gzip on;"));
  EXPECT_EQ(config->Str(), "server {\ngzip on;\n}");
  EXPECT_GT(calls, 4);
}

TEST_F(TovLog, AHandlerMayLog) {
  std::vector<std::string> texts;
  tov_log::SetLevel(tov_log::kDebug);
  tov_log::SetHandler(
      [&](tov_log::Level, const std::string&, const std::string&, const std::string& text) {
        texts.push_back(text);
        if (text.size() < 3) kLog.Write(9, "%s+", text.c_str());
      });
  kLog.Write(9, "x");
  EXPECT_THAT(texts, ElementsAre("x", "x+", "x++"));
}

TEST_F(TovLog, AHandlerMayRemoveItself) {
  const auto texts = std::make_shared<std::vector<std::string>>();
  tov_log::SetLevel(tov_log::kDebug);
  tov_log::SetHandler(
      [texts](tov_log::Level, const std::string&, const std::string&, const std::string& text) {
        tov_log::SetHandler(nullptr);
        tov_log::SetLevel(tov_log::kOff);
        texts->push_back(text);  // what the handler holds is still there
      });
  EXPECT_EQ(texts.use_count(), 2);
  kLog.Write(9, "first");
  kLog.Write(9, "second");
  EXPECT_THAT(*texts, ElementsAre("first"));
  EXPECT_EQ(texts.use_count(), 1) << "the handler is gone";
}

TEST_F(TovLog, AHandlersDestructorMayLogAndSetAHandler) {
  std::vector<std::string> texts;
  const auto collect = [&](tov_log::Level, const std::string&, const std::string&,
                           const std::string& text) { texts.push_back(text); };
  const auto at_end = [&](int*) {
    kLog.Write(9, "going");
    tov_log::SetHandler(nullptr);
  };
  tov_log::SetLevel(tov_log::kDebug);
  {
    const std::shared_ptr<int> held(nullptr, at_end);
    tov_log::SetHandler(
        [held](tov_log::Level, const std::string&, const std::string&, const std::string&) {});
  }
  tov_log::SetHandler(collect);
  EXPECT_THAT(texts, ElementsAre("going"));
  EXPECT_FALSE(kLog.Check(9));
}

// Threads

TEST_F(TovLog, EveryRecordReachesSomeHandlerWholeWhileHandlersAreReplaced) {
  constexpr int kThreads = 4;
  constexpr int kRecords = 5000;
  const auto text = [](int thread, int record) {
    return "thread " + std::to_string(thread) + " record " + std::to_string(record) + " " +
           std::string(static_cast<std::size_t>(record % 300), static_cast<char>('a' + thread));
  };

  std::mutex mutex;
  std::map<std::string, int> received[2];
  std::atomic<int> calls[2] = {};
  std::atomic<int> odd_records{0};
  const auto handler = [&](int which) {
    return [&, which](tov_log::Level level, const std::string& module, const std::string& channel,
                      const std::string& record) {
      if (level != 9 || module != "template" || channel != "core") ++odd_records;
      const std::lock_guard<std::mutex> lock(mutex);
      ++received[which][record];
      ++calls[which];
    };
  };

  tov_log::SetHandler(handler(0));
  tov_log::SetLevel(tov_log::kDebug);
  std::atomic<int> running{kThreads};
  std::atomic<bool> replaced{false};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int record = 0; record < kRecords; ++record) {
        // However the threads are scheduled, both handlers get their share.
        while (record == kRecords / 2 && !replaced) std::this_thread::yield();
        kLog.Write(9, "%s", text(thread, record).c_str());
      }
      --running;
    });
  }
  EXPECT_TRUE(Eventually([&] { return calls[0] > 0; }));
  tov_log::SetHandler(handler(1));
  replaced = true;
  EXPECT_TRUE(Eventually([&] { return calls[1] > 0; }));
  for (int i = 0; running > 0; ++i) {
    tov_log::SetHandler(handler(i % 2));
    tov_log::SetLevel(i % 3 == 0 ? 10 : tov_log::kDebug);
    std::this_thread::yield();
  }
  for (std::thread& thread : threads) thread.join();

  std::map<std::string, int> all = received[0];
  for (const auto& [record, count] : received[1]) all[record] += count;
  std::map<std::string, int> expected;
  for (int thread = 0; thread < kThreads; ++thread) {
    for (int record = 0; record < kRecords; ++record) expected[text(thread, record)] = 1;
  }
  EXPECT_TRUE(all == expected) << all.size() << " different records";
  EXPECT_EQ(odd_records, 0);
}

TEST_F(TovLog, HandlerAndLevelMayBeRemovedWhileOthersLog) {
  std::atomic<bool> stop{false};
  std::atomic<int> whole{0};
  std::atomic<int> torn{0};
  const std::string expected(500, 'x');
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      while (!stop) {
        kLog.Write(9, "%s", expected.c_str());
        std::this_thread::yield();  // else there may be no turn left for those who remove
      }
    });
  }
  int round = 0;
  const auto replace = [&] {
    // What a handler holds lives as long as a call of it.
    const auto held = std::make_shared<const std::string>(expected);
    tov_log::SetHandler([&, held](tov_log::Level, const std::string&, const std::string&,
                                  const std::string& text) { ++(text == *held ? whole : torn); });
    tov_log::SetLevel(tov_log::kDebug);
    if (++round % 2 == 0) {
      tov_log::SetLevel(tov_log::kOff);
    } else {
      tov_log::SetHandler(nullptr);
    }
    return round >= 2000 && whole > 0;
  };
  EXPECT_TRUE(Eventually(replace));
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(torn, 0);
}

// The engine's records

TEST_F(TovLog, LogPrefixIsTheSourceFileAndTheLine) {
  const LogCapture log;
  tov_template::ConfigView view(std::make_shared<tov_template::Nginx>("server {\nlisten 80;\n}"));
  view.AppendParam("server {", "gzip on;", "gzip on;");
  view.ChangeParam("server {", "gzip on;", "gzip off;", "gzip on;");
  view.RemoveParam("server {", "gzip off;", false);
  ASSERT_GE(log.Records().size(), 3U);
  for (const LogCapture::Record& record : log.Records()) {
    EXPECT_EQ(record.level, tov_log::kDebug);
    EXPECT_EQ(record.module, "template");
    EXPECT_EQ(record.channel, "core");
    EXPECT_THAT(record.text, testing::ContainsRegex("^template\\.cpp:[1-9][0-9]* [^ ]"));
  }
}

TEST_F(TovLog, NothingOfAnEditIsWrittenWhenDetailIsOff) {
  const LogCapture log(tov_log::kTrace);
  tov_template::ConfigView view(std::make_shared<tov_template::Nginx>("server {\nlisten 80;\n}"));
  view.AppendParam("server {", "gzip on;", "gzip on;");
  EXPECT_THAT(log.Records(), IsEmpty());
}

}  // namespace
