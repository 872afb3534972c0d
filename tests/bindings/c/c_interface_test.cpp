// SPDX-License-Identifier: Apache-2.0

// The C interface as it promises to be: results, errors, handles, the log, threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bindings/c/c_request.h"
#include "qeltemplate_c.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;

constexpr char kConfig[] = "server {\nserver_name a;\nroot /a;\n}";
constexpr char kTemplate[] = "server {\nserver_name {% $name %};\n}";

std::string WithName(const std::string& name) {
  return "server {\nserver_name " + name + ";\nroot /a;\n}";
}

// A parser over kConfig.
class CInterface : public testing::Test {
 protected:
  ~CInterface() override {
    qel_log_set_level(QEL_LOG_OFF);
    qel_log_set_handler(nullptr, nullptr, nullptr, nullptr);
  }

  qel_status SetName(const char* old_name, const char* new_name) const {
    return qel_parser_set_value(m_parser.Handle(), "name", QEL_NUL, old_name, QEL_NUL, new_name,
                                QEL_NUL, nullptr);
  }
  qel_status SetTemplate() const {
    return qel_parser_set_template(m_parser.Handle(), kTemplate, QEL_NUL, nullptr);
  }

  const CParser m_parser{"Nginx", kConfig};
};

// --- Calls ---

TEST_F(CInterface, EditsAConfiguration) {
  EXPECT_EQ(m_parser.Config(), "");
  EXPECT_EQ(SetName("a", "b"), QEL_OK);
  EXPECT_EQ(SetTemplate(), QEL_OK);
  EXPECT_EQ(m_parser.Apply(), QEL_OK);
  EXPECT_EQ(m_parser.Config(), WithName("b"));
  EXPECT_EQ(m_parser.Prototype(), "server {\nserver_name b;\n}");
}

TEST_F(CInterface, TakesSizesOrTheEndingNul) {
  EXPECT_EQ(qel_parser_set_value(m_parser.Handle(), "name-", 4, "ab", 1, "bc", 1, nullptr), QEL_OK);
  EXPECT_EQ(qel_parser_set_template(m_parser.Handle(), kTemplate, sizeof(kTemplate) - 1, nullptr),
            QEL_OK);
  EXPECT_EQ(m_parser.Apply(), QEL_OK);
  EXPECT_EQ(m_parser.Config(), WithName("b"));
}

TEST_F(CInterface, KeepsNulBytesAndWhatIsNotUtf8) {
  const std::string odd("o\0\xff\xc3", 4);
  EXPECT_EQ(
      qel_parser_set_value(m_parser.Handle(), "name", 4, "a", 1, odd.data(), odd.size(), nullptr),
      QEL_OK);
  EXPECT_EQ(SetTemplate(), QEL_OK);
  EXPECT_EQ(m_parser.Apply(), QEL_OK);
  EXPECT_EQ(m_parser.Config(), WithName(odd));
}

TEST_F(CInterface, TextsEndWithANulThatIsNotCounted) {
  ASSERT_EQ(m_parser.Apply(), QEL_OK);
  char* text = nullptr;
  std::size_t size = 0;
  ASSERT_EQ(qel_parser_config(m_parser.Handle(), &text, &size, nullptr), QEL_OK);
  EXPECT_EQ(size, std::string(kConfig).size());
  EXPECT_EQ(text[size], '\0');
  EXPECT_STREQ(text, kConfig);
  qel_text_free(text);
}

TEST_F(CInterface, SizesNeedNotBeAskedFor) {
  ASSERT_EQ(m_parser.Apply(), QEL_OK);
  char* text = nullptr;
  ASSERT_EQ(qel_parser_config(m_parser.Handle(), &text, nullptr, nullptr), QEL_OK);
  EXPECT_STREQ(text, kConfig);
  qel_text_free(text);
}

TEST_F(CInterface, TellsNoValueFromAnEmptyOne) {
  struct Case {
    const char* name;
    const char* new_value;
    std::size_t size;
    const char* prototype;
  };
  const Case cases[] = {
      {"no value: the line goes", nullptr, 0, "server {\n}"},
      {"no value, whatever its size", nullptr, 7, "server {\n}"},
      {"empty: the line stays", "", 0, "server {\nserver_name ;\n}"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const CParser parser("Nginx", kConfig);
    EXPECT_EQ(qel_parser_set_value(parser.Handle(), "name", QEL_NUL, "a", 1, c.new_value, c.size,
                                   nullptr),
              QEL_OK);
    EXPECT_EQ(qel_parser_set_template(parser.Handle(), kTemplate, QEL_NUL, nullptr), QEL_OK);
    EXPECT_EQ(parser.Prototype(), c.prototype);
  }
}

TEST_F(CInterface, MergesValues) {
  const CParser other("Nginx", "");
  ASSERT_EQ(qel_parser_set_value(other.Handle(), "name", QEL_NUL, "a", 1, "b", 1, nullptr), QEL_OK);
  EXPECT_EQ(qel_parser_merge_values(m_parser.Handle(), other.Handle(), nullptr), QEL_OK);
  EXPECT_EQ(qel_parser_merge_values(m_parser.Handle(), m_parser.Handle(), nullptr), QEL_OK);
  EXPECT_EQ(SetTemplate(), QEL_OK);
  EXPECT_EQ(m_parser.Apply(), QEL_OK);
  EXPECT_EQ(m_parser.Config(), WithName("b"));
}

TEST_F(CInterface, ClearsValuesAndTemplate) {
  SetName("a", "b");
  SetTemplate();
  EXPECT_EQ(qel_parser_clear_values(m_parser.Handle(), nullptr), QEL_OK);
  EXPECT_EQ(m_parser.Apply(), QEL_OK);
  EXPECT_EQ(m_parser.Config(), kConfig);
  SetTemplate();
  EXPECT_EQ(m_parser.Prototype(), "server {\n}");
}

class CInterfaceFiles : public CInterface {
 protected:
  CInterfaceFiles() { std::filesystem::create_directory(m_folder); }
  ~CInterfaceFiles() override { std::filesystem::remove_all(m_folder); }

  std::string Write(const std::string& name, const std::string& content) const {
    const std::string path = m_folder / name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  const std::filesystem::path m_folder =
      std::filesystem::path(testing::TempDir()) /
      (std::string("c_interface_") + testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(CInterfaceFiles, ReadsTheTemplateFromAFile) {
  const std::string path = Write("site.template", kTemplate);
  SetName("a", "b");
  EXPECT_EQ(qel_parser_set_template_file(m_parser.Handle(), path.data(), path.size(), nullptr),
            QEL_OK);
  EXPECT_EQ(m_parser.Apply(), QEL_OK);
  EXPECT_EQ(m_parser.Config(), WithName("b"));
}

// --- Errors ---

TEST_F(CInterfaceFiles, AFileThatCannotBeReadLeavesTheTemplate) {
  SetName("a", "b");
  SetTemplate();
  const std::string path = m_folder / "none";
  CError error;
  EXPECT_EQ(qel_parser_set_template_file(m_parser.Handle(), path.c_str(), QEL_NUL, error.Out()),
            QEL_FILE_ERROR);
  EXPECT_EQ(error.Message(), "file: read (filename=" + path + ")");
  EXPECT_EQ(error.Type(), "file");
  EXPECT_EQ(error.Object(), "read");
  EXPECT_THAT(error.Params(), ElementsAre(std::pair<std::string, std::string>("filename", path)));
  EXPECT_EQ(m_parser.Apply(), QEL_OK);
  EXPECT_EQ(m_parser.Config(), WithName("b"));
}

TEST_F(CInterfaceFiles, APathIsNotCutAtANul) {
  Write("site.template", kTemplate);
  const std::string path = (m_folder / "site.template").string() + std::string("\0x", 2);
  EXPECT_EQ(qel_parser_set_template_file(m_parser.Handle(), path.data(), path.size(), nullptr),
            QEL_FILE_ERROR);
}

TEST_F(CInterfaceFiles, AFileImportedTwiceIsATemplateError) {
  const std::string path = Write("part", "x;");
  const std::string import = "{% import " + path + " %}\n";
  CError error;
  EXPECT_EQ(
      qel_parser_set_template(m_parser.Handle(), (import + import).c_str(), QEL_NUL, error.Out()),
      QEL_TEMPLATE_ERROR);
  EXPECT_EQ(error.Message(), "template: circular_import (filename=" + path + ")");
}

TEST(CInterfaceErrors, AnUnknownDialectMakesNoParser) {
  for (const char* dialect : {"", "Nginx ", "Apache2"}) {
    SCOPED_TRACE(dialect);
    CError error;
    qel_parser parser = 7;
    EXPECT_EQ(qel_parser_new(dialect, QEL_NUL, "", 0, &parser, error.Out()), QEL_UNKNOWN_DIALECT);
    EXPECT_EQ(parser, 0U);
    EXPECT_EQ(error.Message(),
              "dialect: unknown (name=" + std::string(dialect) + ", known=apache, nginx)");
  }
}

TEST_F(CInterface, AnswersNullPointers) {
  const qel_parser parser = m_parser.Handle();
  qel_parser made = 7;
  struct Case {
    const char* argument;
    std::function<qel_status(qel_error*)> call;
  };
  const Case cases[] = {
      {"dialect",
       [&](qel_error* error) { return qel_parser_new(nullptr, 0, "", 0, &made, error); }},
      {"config",
       [&](qel_error* error) { return qel_parser_new("Nginx", 5, nullptr, 0, &made, error); }},
      {"parser",
       [](qel_error* error) { return qel_parser_new("Nginx", 5, "", 0, nullptr, error); }},
      {"name",
       [&](qel_error* error) {
         return qel_parser_set_value(parser, nullptr, QEL_NUL, "", 0, "", 0, error);
       }},
      {"text",
       [&](qel_error* error) { return qel_parser_set_template(parser, nullptr, 0, error); }},
      {"path",
       [&](qel_error* error) { return qel_parser_set_template_file(parser, nullptr, 0, error); }},
      {"text",
       [&](qel_error* error) { return qel_parser_config(parser, nullptr, nullptr, error); }},
      {"text",
       [&](qel_error* error) { return qel_parser_prototype(parser, nullptr, nullptr, error); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.argument);
    CError error;
    EXPECT_EQ(c.call(error.Out()), QEL_BAD_ARGUMENT);
    EXPECT_EQ(error.Message(), "argument: null (name=" + std::string(c.argument) + ")");
    EXPECT_EQ(c.call(nullptr), QEL_BAD_ARGUMENT);
  }
  EXPECT_EQ(made, 0U);
  qel_text_free(nullptr);
}

TEST_F(CInterface, AnswersBadHandles) {
  qel_parser freed = 0;
  ASSERT_EQ(qel_parser_new("Nginx", 5, "", 0, &freed, nullptr), QEL_OK);
  ASSERT_EQ(qel_parser_free(freed), QEL_OK);
  CError an_error;
  qel_parser_new("", 0, "", 0, &freed, an_error.Out());
  const std::pair<const char*, std::uint64_t> handles[] = {
      {"none", 0}, {"freed", freed}, {"never one", 1ULL << 60}, {"an error", an_error.Handle()}};
  for (const auto& [name, handle] : handles) {
    SCOPED_TRACE(name);
    EXPECT_EQ(qel_parser_set_value(handle, "", 0, "", 0, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_parser_merge_values(handle, m_parser.Handle(), nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_parser_merge_values(m_parser.Handle(), handle, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_parser_clear_values(handle, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_parser_set_template(handle, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_parser_set_template_file(handle, "", 0, nullptr), QEL_BAD_HANDLE);
    EXPECT_EQ(qel_parser_apply(handle, nullptr), QEL_BAD_HANDLE);
    for (const auto get : {qel_parser_config, qel_parser_prototype}) {
      char before = 'x';
      char* text = &before;
      std::size_t size = 7;
      EXPECT_EQ(get(handle, &text, &size, nullptr), QEL_BAD_HANDLE);
      EXPECT_EQ(text, nullptr);
      EXPECT_EQ(size, 0U);
    }
    CError error;
    EXPECT_EQ(qel_parser_apply(handle, error.Out()), QEL_BAD_HANDLE);
    EXPECT_EQ(error.Message(), "handle: unknown (name=parser)");
    EXPECT_EQ(qel_parser_free(handle), handle == 0 ? QEL_OK : QEL_BAD_HANDLE);
  }
}

TEST_F(CInterface, ErrorsThatAreNoneAreEmpty) {
  qel_error freed = 0;
  ASSERT_EQ(qel_parser_apply(0, &freed), QEL_BAD_HANDLE);
  ASSERT_EQ(qel_error_free(freed), QEL_OK);
  for (const qel_error error : {qel_error{0}, freed, qel_error{m_parser.Handle()}}) {
    SCOPED_TRACE(error);
    const char* const texts[] = {qel_error_message(error, nullptr), qel_error_type(error, nullptr),
                                 qel_error_object(error, nullptr),
                                 qel_error_param_name(error, 0, nullptr),
                                 qel_error_param_value(error, 0, nullptr)};
    for (const char* text : texts) EXPECT_STREQ(text, "");
    std::size_t size = 7;
    qel_error_message(error, &size);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(qel_error_param_count(error), 0U);
    EXPECT_EQ(qel_error_free(error), error == 0 ? QEL_OK : QEL_BAD_HANDLE);
  }
}

TEST_F(CInterface, ParametersEndWhereTheyEnd) {
  CError error;
  qel_parser_apply(0, error.Out());
  EXPECT_EQ(qel_error_param_count(error.Handle()), 1U);
  EXPECT_STREQ(qel_error_param_name(error.Handle(), 0, nullptr), "name");
  std::size_t size = 0;
  EXPECT_STREQ(qel_error_param_value(error.Handle(), 0, &size), "parser");
  EXPECT_EQ(size, 6U);
  for (const std::size_t index : {std::size_t{1}, std::size_t{2}, SIZE_MAX}) {
    EXPECT_STREQ(qel_error_param_name(error.Handle(), index, nullptr), "");
    EXPECT_STREQ(qel_error_param_value(error.Handle(), index, &size), "");
    EXPECT_EQ(size, 0U);
  }
}

TEST_F(CInterface, SuccessLeavesNoError) {
  qel_error error = 7;
  EXPECT_EQ(qel_parser_apply(m_parser.Handle(), &error), QEL_OK);
  EXPECT_EQ(error, 0U);
}

TEST_F(CInterface, ATextOfImpossibleSizeFails) {
  CError error;
  EXPECT_EQ(qel_parser_set_template(m_parser.Handle(), "x", QEL_NUL - 1, error.Out()), QEL_FAILED);
  EXPECT_EQ(error.Type(), "failure");
  EXPECT_NE(error.Object(), "");
}

TEST(CInterfaceErrors, EachStatusHasAText) {
  const char* const texts[] = {"ok",
                               "no such handle",
                               "an argument that stands for nothing",
                               "the object is busy",
                               "unknown dialect",
                               "wrong template",
                               "a file that cannot be read",
                               "out of memory",
                               "failed",
                               "the edit is refused",
                               "the files cannot be updated",
                               "the server refuses the files",
                               "another program has changed a file",
                               "cancelled"};
  qel_status status = QEL_OK;
  for (const char* text : texts) EXPECT_STREQ(qel_status_text(status++), text);
  EXPECT_STREQ(qel_status_text(status), "unknown status");
  EXPECT_STREQ(qel_status_text(-1), "unknown status");
}

// --- The log ---

using Records = std::vector<std::string>;

void Collect(void* context, int level, const char* module, const char* channel, const char* text,
             std::size_t size) {
  static_cast<Records*>(context)->push_back(std::to_string(level) + " " + module + "/" + channel +
                                            " " + std::string(text, size));
}

TEST_F(CInterface, LogsUpToTheLevelThatIsSet) {
  struct Case {
    int level;
    Records expected;
  };
  const Records applied = {
      "8 template/core tov_template::ParserTemplate& "
      "tov_template::ParserTemplate::ApplyTemplate()"};
  const Case cases[] = {{QEL_LOG_OFF, {}}, {7, {}}, {QEL_LOG_TRACE, applied}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.level);
    Records records;
    EXPECT_EQ(qel_log_set_handler(Collect, &records, nullptr, nullptr), QEL_OK);
    EXPECT_EQ(qel_log_set_level(c.level), QEL_OK);
    EXPECT_EQ(m_parser.Apply(), QEL_OK);
    EXPECT_EQ(records, c.expected);
  }
  Records records;
  qel_log_set_handler(Collect, &records, nullptr, nullptr);
  qel_log_set_level(QEL_LOG_DEBUG);
  SetName("a", "b");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_THAT(records[0], EndsWith("Template param 'name': old value 'a', new value 'b'"));
}

TEST_F(CInterface, ReleasesTheContextOnce) {
  static int released;
  released = 0;
  const auto release = [](void* context) {
    EXPECT_EQ(context, &released);
    ++released;
  };
  qel_log_set_handler(Collect, &released, release, nullptr);
  EXPECT_EQ(released, 0);
  qel_log_set_handler(Collect, nullptr, nullptr, nullptr);
  EXPECT_EQ(released, 1);
  qel_log_set_handler(nullptr, &released, release, nullptr);
  EXPECT_EQ(released, 2);
}

TEST_F(CInterface, WhatTheHandlerThrowsDisturbsNothing) {
  static int calls;
  calls = 0;
  qel_log_set_handler(
      [](void*, int, const char*, const char*, const char*, std::size_t) {
        ++calls;
        throw std::runtime_error("the log is full");
      },
      nullptr, nullptr, nullptr);
  qel_log_set_level(QEL_LOG_DEBUG);
  SetName("a", "b");
  SetTemplate();
  EXPECT_EQ(m_parser.Apply(), QEL_OK);
  EXPECT_EQ(m_parser.Config(), WithName("b"));
  EXPECT_GT(calls, 3);
}

// --- One call at a time ---

struct Reentry {
  qel_parser parser;
  qel_parser other;
  std::vector<qel_status> answers;
};

TEST_F(CInterface, IsBusyDuringACall) {
  const CParser other("Nginx", "");
  Reentry reentry = {m_parser.Handle(), other.Handle(), {}};
  qel_log_set_handler(
      [](void* context, int, const char*, const char*, const char*, std::size_t) {
        auto& [parser, free_parser, answers] = *static_cast<Reentry*>(context);
        if (!answers.empty()) return;
        char* text = nullptr;
        answers = {qel_parser_set_value(parser, "", 0, "", 0, "", 0, nullptr),
                   qel_parser_merge_values(parser, free_parser, nullptr),
                   qel_parser_merge_values(free_parser, parser, nullptr),
                   qel_parser_clear_values(parser, nullptr),
                   qel_parser_set_template(parser, "", 0, nullptr),
                   qel_parser_apply(parser, nullptr),
                   qel_parser_config(parser, &text, nullptr, nullptr),
                   qel_parser_prototype(parser, &text, nullptr, nullptr)};
        // The claim on a parser that was merged into is given back.
        answers.push_back(qel_parser_clear_values(free_parser, nullptr));
      },
      &reentry, nullptr, nullptr);
  qel_log_set_level(QEL_LOG_DEBUG);
  SetName("a", "b");
  std::vector<qel_status> expected(8, QEL_BUSY);
  expected.push_back(QEL_OK);
  EXPECT_EQ(reentry.answers, expected);
  SetTemplate();
  EXPECT_EQ(m_parser.Apply(), QEL_OK);
  EXPECT_EQ(m_parser.Config(), WithName("b"));
}

TEST(CInterfaceThreads, AParserFreedDuringACallLivesUntilItsEnd) {
  qel_parser parser = 0;
  ASSERT_EQ(qel_parser_new("Nginx", QEL_NUL, kConfig, QEL_NUL, &parser, nullptr), QEL_OK);
  qel_log_set_handler([](void* context, int, const char*, const char*, const char*,
                         std::size_t) { qel_parser_free(*static_cast<qel_parser*>(context)); },
                      &parser, nullptr, nullptr);
  qel_log_set_level(QEL_LOG_DEBUG);
  EXPECT_EQ(qel_parser_set_template(parser, kTemplate, QEL_NUL, nullptr), QEL_OK);
  qel_log_set_level(QEL_LOG_OFF);
  qel_log_set_handler(nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(qel_parser_apply(parser, nullptr), QEL_BAD_HANDLE);
}

TEST_F(CInterface, OneParserInManyThreadsIsEitherBusyOrRight) {
  SetName("a", "b");
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  std::atomic<int> done{0};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        const qel_status status = SetTemplate();
        if (status == QEL_OK) ++done;
        if (status != QEL_OK && status != QEL_BUSY) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(done, 0);
  EXPECT_EQ(m_parser.Apply(), QEL_OK);
  EXPECT_EQ(m_parser.Config(), WithName("b"));
}

TEST(CInterfaceThreads, ParsersDoNotDisturbOneAnother) {
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&right, name = "b" + std::to_string(i)] {
      for (int round = 0; round < 200; ++round) {
        const CParser parser("Nginx", kConfig);
        qel_parser_set_value(parser.Handle(), "name", QEL_NUL, "a", 1, name.data(), name.size(),
                             nullptr);
        qel_parser_set_template(parser.Handle(), kTemplate, QEL_NUL, nullptr);
        parser.Apply();
        if (parser.Config() == WithName(name)) ++right;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 800);
}

}  // namespace
