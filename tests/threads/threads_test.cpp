// SPDX-License-Identifier: Apache-2.0

// Parsers in several threads at once: each gives what it gives alone. Run under ThreadSanitizer by
// `make tsan`.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "golden/golden_case.h"
#include "support/template_probe.h"
#include "template/framework/tov_err.h"
#include "template/framework/tov_log.h"
#include "template/qeltemplate.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tov_template::GetConfigType;
using tov_template::NullValue;
using tov_template::ParserTemplate;

constexpr std::size_t kThreads = 4;
constexpr std::size_t kRounds = 8;

struct Request {
  std::string name;
  std::string dialect;
  std::string config;
  std::string template_text;
  std::map<std::string, GoldenCase::Values> values;
};

// The requests of the golden cases. Those that import are left out: they need the current
// directory, which all threads share.
std::vector<Request> GoldenRequests() {
  std::vector<Request> requests;
  for (const GoldenCase& golden : AllGoldenCases()) {
    if (golden.Has("files")) continue;
    requests.push_back({golden.dialect + "/" + golden.Name(),
                        golden.dialect == "nginx" ? "Nginx" : "Apache", golden.Read("config"),
                        golden.Read("template"), golden.ReadValues()});
  }
  return requests;
}

// A site's move to another name, address and folder, with the managed lines in an imported file.
std::vector<Request> ImportingRequests(const TemplateFiles& files) {
  const std::map<std::string, GoldenCase::Values> values = {
      {"name", {"a.example", "b.example"}},
      {"ip", {"127.0.0.1", "127.0.0.2"}},
      {"root", {NullValue(), "/srv/b"}},
      {"cache", {"30d", NullValue()}},
  };
  const std::string location = files.Import(
      "location", "{% if $cache %}\nlocation /static/ {\nexpires {% $cache %};\n}\n{% endif %}");
  const std::string alias = files.Import("alias", "ServerAlias www.{% $name %}");
  return {
      {"nginx with an import", "Nginx",
       "server {\n\tlisten 127.0.0.1:80;\n\tserver_name a.example;\n\troot /srv/a;\n"
       "\tlocation /static/ {\n\t\texpires 30d;\n\t}\n}\nserver {\n\tserver_name other;\n}",
       "server {\n\tlisten {% $ip %}:80;\n\tserver_name {% $name %};\n\troot [% $root %];\n" +
           location + "\n}",
       values},
      {"apache with an import", "Apache",
       "<VirtualHost 127.0.0.1:80>\n\tServerName a.example\n\tServerAlias www.a.example\n"
       "\tOptions -Indexes\n\tOptions +ExecCGI\n</VirtualHost>",
       "<VirtualHost {% $ip %}:80>\n\tServerName {% $name %}\n" + alias +
           "\n\tOptions +FollowSymLinks\n\tDocumentRoot [% $root %]\n</VirtualHost>",
       values},
  };
}

std::vector<Request> AllRequests(const TemplateFiles& files) {
  std::vector<Request> requests = GoldenRequests();
  for (Request& request : ImportingRequests(files)) requests.push_back(std::move(request));
  return requests;
}

// The edited text and the prototype.
std::string ResultOf(const Request& request) {
  ParserTemplate parser(GetConfigType(request.dialect, request.config));
  for (const auto& [name, values] : request.values) {
    parser.SetValue(name, values.old_value, values.new_value);
  }
  parser.SetTemplate(request.template_text).ApplyTemplate();
  return parser.GetConfig() + "\n--\n" + parser.GetPrototype();
}

std::vector<std::string> ResultsOf(const std::vector<Request>& requests) {
  std::vector<std::string> results;
  for (const Request& request : requests) results.push_back(ResultOf(request));
  return results;
}

// Runs `work` with the numbers from 0 in kThreads threads that begin together. Returns what went
// wrong in them: the texts of exceptions and whatever `work` returns that is not empty.
template <class Work>
std::vector<std::string> InThreads(Work work) {
  std::atomic<std::size_t> ready{0};
  std::vector<std::string> outcomes(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      ++ready;
      while (ready < kThreads) std::this_thread::yield();
      try {
        outcomes[thread] = work(thread);
      } catch (const std::exception& error) {
        outcomes[thread] = std::string("thrown: ") + error.what();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  outcomes.erase(std::remove(outcomes.begin(), outcomes.end(), ""), outcomes.end());
  return outcomes;
}

// Runs all requests kRounds times, beginning with another one in each thread, and returns the name
// of the first whose result is not the expected one.
std::string FirstWrong(std::size_t thread, const std::vector<Request>& requests,
                       const std::vector<std::string>& expected) {
  for (std::size_t i = 0; i < kRounds * requests.size(); ++i) {
    const std::size_t at = (i + thread * requests.size() / kThreads) % requests.size();
    if (ResultOf(requests[at]) != expected[at]) return requests[at].name;
  }
  return "";
}

class Threads : public testing::Test {
 protected:
  ~Threads() override {
    tov_log::SetLevel(tov_log::kOff);
    tov_log::SetHandler(nullptr);
  }
};

TEST_F(Threads, EachParserGivesWhatItGivesAlone) {
  const TemplateFiles files;
  const std::vector<Request> requests = AllRequests(files);
  const std::vector<std::string> expected = ResultsOf(requests);
  EXPECT_THAT(InThreads([&](std::size_t thread) { return FirstWrong(thread, requests, expected); }),
              IsEmpty());
}

TEST_F(Threads, TheLogMayChangeMeanwhile) {
  const TemplateFiles files;
  const std::vector<Request> requests = AllRequests(files);
  const std::vector<std::string> expected = ResultsOf(requests);

  std::atomic<bool> done{false};
  std::atomic<std::size_t> records{0};
  std::atomic<std::size_t> thrown{0};
  std::thread changer([&] {
    for (int round = 0; !done; ++round) {
      // What a handler holds lives as long as a call of it.
      const auto text_size = std::make_shared<std::atomic<std::size_t>>(0);
      tov_log::SetHandler([&, text_size](tov_log::Level, const std::string&, const std::string&,
                                         const std::string& text) {
        *text_size += text.size();
        if (++records % 5 != 0) return;
        ++thrown;
        throw std::runtime_error("the log is full");
      });
      tov_log::SetLevel(round % 4 == 0 ? tov_log::kTrace : tov_log::kDebug);
      std::this_thread::yield();
      if (round % 3 == 0) tov_log::SetLevel(tov_log::kOff);
      if (round % 7 == 0) tov_log::SetHandler(nullptr);
    }
  });
  const std::vector<std::string> wrong =
      InThreads([&](std::size_t thread) { return FirstWrong(thread, requests, expected); });
  done = true;
  changer.join();
  EXPECT_THAT(wrong, IsEmpty());
  EXPECT_GT(records, kRounds);
  EXPECT_GT(thrown, 0U);
}

thread_local std::vector<std::string> t_records;

TEST_F(Threads, TheHandlerIsCalledInTheThreadThatLogs) {
  tov_log::SetHandler([](tov_log::Level, const std::string&, const std::string&,
                         const std::string& text) { t_records.push_back(text); });
  tov_log::SetLevel(tov_log::kDebug);
  const auto records_of = [](const Request& request) {
    t_records.clear();
    ResultOf(request);
    return t_records;
  };

  const TemplateFiles files;
  const std::vector<Request> requests = ImportingRequests(files);
  const std::vector<std::string> expected[] = {records_of(requests[0]), records_of(requests[1])};
  EXPECT_GT(expected[0].size(), 10U);
  EXPECT_NE(expected[0], expected[1]);
  EXPECT_THAT(InThreads([&](std::size_t thread) -> std::string {
                const std::size_t which = thread % 2;
                for (std::size_t round = 0; round < kRounds * 10; ++round) {
                  if (records_of(requests[which]) != expected[which]) return requests[which].name;
                }
                return "";
              }),
              IsEmpty());
}

TEST_F(Threads, CopiesAreHandlesOnOneParserInEachThread) {
  EXPECT_THAT(InThreads([](std::size_t thread) -> std::string {
                const std::string number = std::to_string(thread);
                for (std::size_t round = 0; round < kRounds * 10; ++round) {
                  ParserTemplate parser(GetConfigType("Nginx", "a {\nx 0;\n}"));
                  ParserTemplate copy = parser;
                  copy.SetValue("n", "0", number);
                  parser.SetTemplate("a {\nx {% $n %};\n}");
                  const ParserTemplate another = copy;
                  copy.ApplyTemplate();
                  if (another.GetConfig() != "a {\nx " + number + ";\n}") {
                    return another.GetConfig();
                  }
                }
                return "";
              }),
              IsEmpty());
}

TEST_F(Threads, AParserMayGoOnInAnotherThread) {
  ParserTemplate parser(GetConfigType("Apache", "<a>\nOptions -x\nServerName 1\n</a>"));
  parser.SetValue("n", "1", "2");
  std::thread([&] { parser.SetTemplate("<a>\nServerName {% $n %}\n</a>"); }).join();
  std::thread([&] { parser.ApplyTemplate(); }).join();
  EXPECT_EQ(parser.GetConfig(), "<a>\n\tOptions -x\nServerName 2\n</a>");
}

TEST_F(Threads, AnErrorIsThatOfItsOwnThread) {
  const TemplateFiles files;
  EXPECT_THAT(InThreads([&](std::size_t thread) -> std::string {
                const std::string name = "file" + std::to_string(thread);
                const std::string import = files.Import(name, "x;");
                for (std::size_t round = 0; round < kRounds * 10; ++round) {
                  ParserTemplate parser(GetConfigType("Nginx", ""));
                  try {
                    parser.SetTemplate(import + "\n" + import);
                    return "nothing thrown";
                  } catch (const tov_err::Error& error) {
                    const std::string expected =
                        "template: circular_import (filename=" + files.Path(name) + ")";
                    if (error.what() != expected) return error.what();
                  }
                }
                return "";
              }),
              IsEmpty());
}

TEST_F(Threads, WhatGoesWrongInAThreadIsReported) {
  EXPECT_THAT(InThreads([](std::size_t thread) -> std::string {
                if (thread == 1) throw std::runtime_error("bad");
                return thread == 2 ? "wrong" : "";
              }),
              ElementsAre("thrown: bad", "wrong"));
}

}  // namespace
