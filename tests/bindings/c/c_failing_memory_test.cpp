// SPDX-License-Identifier: Apache-2.0

// Every allocation of a request through the C interface fails once.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <string>

#include "qeltemplate_c.h"
#include "support/failing_allocations.h"

namespace {

constexpr char kConfig[] = "server {\nlisten 80;\nserver_name a;\nroot /a;\n}\nevents {\n}";
constexpr char kTemplate[] =
    "server {\nlisten {% $port %};\nserver_name {% $name %};\nexpires 1d;\n}";
constexpr char kEdited[] = "server {\nserver_name b;\nroot /a;\n\tlisten 90;\nexpires 1d;\n}";

struct Request {
  qel_parser parser = 0;
  qel_error error = 0;
  char* text = nullptr;
  char* prototype = nullptr;

  ~Request() {
    qel_text_free(text);
    qel_text_free(prototype);
    qel_error_free(error);
    qel_parser_free(parser);
  }

  // As far as it goes. Returns the status of the last step.
  qel_status Run() {
    qel_status status = qel_log_set_handler(nullptr, nullptr, nullptr, &error);
    if (status == QEL_OK) {
      status = qel_parser_new("Nginx", QEL_NUL, kConfig, QEL_NUL, &parser, &error);
    }
    if (status == QEL_OK) status = Set("name", "a", "b");
    if (status == QEL_OK) status = Set("port", "80", "90");
    if (status == QEL_OK) status = qel_parser_merge_values(parser, parser, &error);
    if (status == QEL_OK) status = qel_parser_set_template(parser, kTemplate, QEL_NUL, &error);
    if (status == QEL_OK) status = qel_parser_apply(parser, &error);
    if (status == QEL_OK) status = qel_parser_prototype(parser, &prototype, nullptr, &error);
    if (status == QEL_OK) status = qel_parser_config(parser, &text, nullptr, &error);
    return status;
  }

 private:
  qel_status Set(const char* name, const char* old_value, const char* new_value) const {
    return qel_parser_set_value(parser, name, QEL_NUL, old_value, QEL_NUL, new_value, QEL_NUL,
                                nullptr);
  }
};

TEST(CFailingMemory, IsAStatusAndNoException) {
  long failing = 0;
  for (;; ++failing) {
    Request request;
    failing_allocations::left = failing;
    const qel_status status = request.Run();
    const bool failed = failing_allocations::left < 0;
    failing_allocations::left = failing_allocations::kNone;
    SCOPED_TRACE(failing);
    ASSERT_EQ(status, failed ? QEL_NO_MEMORY : QEL_OK);
    ASSERT_EQ(request.error, 0U);
    if (!failed) {
      EXPECT_STREQ(request.text, kEdited);
      break;
    }
    ASSERT_EQ(request.text, nullptr);
  }
  EXPECT_GT(failing, 100);
}

// A request of the careful edit, as far as it goes.
struct CarefulEdit {
  qel_request request = 0;
  qel_result result = 0;
  qel_error error = 0;

  ~CarefulEdit() {
    qel_error_free(error);
    qel_result_free(result);
    qel_request_free(request);
  }

  qel_status Run() {
    qel_status status = qel_request_new("nginx", QEL_NUL, kTemplate, QEL_NUL, "site.template",
                                        QEL_NUL, &request, &error);
    if (status == QEL_OK) {
      status = qel_request_set_value(request, "name", QEL_NUL, "a", QEL_NUL, "b", QEL_NUL, &error);
    }
    if (status == QEL_OK) status = qel_request_import_below(request, "", 0, &error);
    if (status == QEL_OK) status = qel_request_read_old(request, "name", QEL_NUL, &error);
    if (status == QEL_OK) status = qel_request_raw(request, "name", QEL_NUL, &error);
    if (status == QEL_OK) status = qel_request_must_use(request, "name", QEL_NUL, &error);
    if (status != QEL_OK) return status;
    return qel_edit(request, kConfig, QEL_NUL, "site.conf", QEL_NUL, &result, &error);
  }
};

TEST(CFailingMemory, OfACarefulEditIsAStatusToo) {
  CarefulEdit whole;
  const qel_status answer = whole.Run();
  ASSERT_NE(answer, QEL_NO_MEMORY);
  const std::string text = qel_result_text(whole.result, nullptr);
  long failing = 0;
  long out_of_memory = 0;
  for (;; ++failing) {
    CarefulEdit edit;
    failing_allocations::left = failing;
    const qel_status status = edit.Run();
    const bool failed = failing_allocations::left < 0;
    failing_allocations::left = failing_allocations::kNone;
    SCOPED_TRACE(failing);
    ASSERT_EQ(edit.error, 0U);
    if (status == QEL_NO_MEMORY) {
      ASSERT_TRUE(failed);
      ASSERT_EQ(edit.result, 0U);
      ++out_of_memory;
      continue;
    }
    // A sort does without memory where it can.
    ASSERT_EQ(status, answer);
    ASSERT_EQ(qel_result_text(edit.result, nullptr), text);
    if (!failed) break;
  }
  EXPECT_GT(out_of_memory, 300);
}

// An object of the interface that a test frees.
template <class Handle, qel_status (*free)(Handle)>
struct Held {
  Handle handle = 0;

  ~Held() { free(handle); }
};

using HeldRequest = Held<qel_request, qel_request_free>;
using HeldResult = Held<qel_result, qel_result_free>;
using HeldUpdate = Held<qel_update, qel_update_free>;

// With a value that is missing, a place that is not closed, and bytes that are no UTF-8: the JSON
// of what comes of it has texts of all kinds.
constexpr char kOddTemplate[] =
    "server {\nserver_name {% $name %};\n{% if $on == caf\xE9 %}\nroot \"{% $root %}\";\n{% endif "
    "%}\nindex {% $index %};\ngzip on;\n}\nserver {\nserver_name {% $name;\n}";

void MakeOddRequest(qel_request& request) {
  ASSERT_EQ(qel_request_new("nginx", QEL_NUL, kOddTemplate, QEL_NUL, "site.template", QEL_NUL,
                            &request, nullptr),
            QEL_OK);
  ASSERT_EQ(qel_request_set_value(request, "name", QEL_NUL, "a", QEL_NUL, "b; c", QEL_NUL, nullptr),
            QEL_OK);
}

// Asks for a JSON text and lets each allocation fail once, alone or with all that follow.
template <class Ask>
void ExpectStatusWithoutMemory(const Ask& ask, long least_allocations) {
  char* whole = nullptr;
  const qel_status answer = ask(&whole);
  ASSERT_NE(whole, nullptr);
  const std::string expected = whole;
  qel_text_free(whole);
  for (const bool fail_on : {false, true}) {
    long out_of_memory = 0;
    for (long failing = 0;; ++failing) {
      char* json = nullptr;
      failing_allocations::fail_on = fail_on;
      failing_allocations::left = failing;
      const qel_status status = ask(&json);
      const bool reached = failing_allocations::left <= 0;
      failing_allocations::left = failing_allocations::kNone;
      failing_allocations::fail_on = false;
      SCOPED_TRACE(failing);
      if (status != QEL_NO_MEMORY) {
        ASSERT_EQ(status, answer);
        ASSERT_EQ(json, expected);
        qel_text_free(json);
        // A sort does without memory where it can.
        if (!reached) break;
        continue;
      }
      ASSERT_EQ(json, nullptr);
      ++out_of_memory;
    }
    EXPECT_GE(out_of_memory, least_allocations);
  }
}

TEST(CFailingMemory, OfJsonIsAStatusToo) {
  HeldRequest request;
  MakeOddRequest(request.handle);
  HeldResult result;
  ASSERT_EQ(
      qel_edit(request.handle, kConfig, QEL_NUL, "site.conf", QEL_NUL, &result.handle, nullptr),
      QEL_REFUSED);
  HeldUpdate update;
  ASSERT_EQ(qel_update_new(&update.handle, nullptr), QEL_OK);
  const struct {
    const char* name;
    std::function<qel_status(char**)> ask;
    long least_allocations;
  } cases[] = {
      {"result",
       [&](char** json) { return qel_result_json(result.handle, json, nullptr, nullptr); }, 10},
      {"explain",
       [&](char** json) {
         return qel_explain(request.handle, kConfig, QEL_NUL, "site.conf", QEL_NUL, json, nullptr,
                            nullptr);
       },
       100},
      {"lint", [&](char** json) { return qel_lint(request.handle, 1, json, nullptr, nullptr); },
       50},
      {"inspect",
       [&](char** json) {
         return qel_inspect("nginx", QEL_NUL, kConfig, QEL_NUL, "site.conf", QEL_NUL, json, nullptr,
                            nullptr);
       },
       10},
      {"update",
       [&](char** json) { return qel_update_json(update.handle, json, nullptr, nullptr); }, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ExpectStatusWithoutMemory(c.ask, c.least_allocations);
  }
}

// The status is then what it would have been, or QEL_NO_MEMORY.
TEST(CFailingMemory, OfAnErrorLeavesTheStatus) {
  long failing = 0;
  long reported_without_error = 0;
  for (;; ++failing) {
    qel_parser parser = 0;
    qel_error error = 0;
    failing_allocations::left = failing;
    const qel_status status = qel_parser_new("a dialect that nobody knows of", QEL_NUL, kConfig,
                                             QEL_NUL, &parser, &error);
    const bool failed = failing_allocations::left < 0;
    failing_allocations::left = failing_allocations::kNone;
    SCOPED_TRACE(failing);
    ASSERT_EQ(parser, 0U);
    if (!failed) {
      EXPECT_EQ(status, QEL_UNKNOWN_DIALECT);
      EXPECT_NE(error, 0U);
      qel_error_free(error);
      break;
    }
    ASSERT_EQ(error, 0U);
    ASSERT_TRUE(status == QEL_NO_MEMORY || status == QEL_UNKNOWN_DIALECT) << status;
    if (status == QEL_UNKNOWN_DIALECT) ++reported_without_error;
  }
  EXPECT_GT(failing, 5);
  EXPECT_GT(reported_without_error, 1);
}

TEST(CFailingMemory, OfAHandlerReleasesItsContext) {
  static int released;
  released = 0;
  const auto handler = [](void*, int, const char*, const char*, const char*, std::size_t) {};
  const auto release = [](void*) { ++released; };
  int failing = 0;
  for (;; ++failing) {
    failing_allocations::left = failing;
    const qel_status status = qel_log_set_handler(handler, nullptr, release, nullptr);
    const bool failed = failing_allocations::left < 0;
    failing_allocations::left = failing_allocations::kNone;
    if (!failed) break;
    EXPECT_EQ(status, QEL_NO_MEMORY);
    EXPECT_EQ(released, failing + 1);
  }
  EXPECT_GT(failing, 1);
  EXPECT_EQ(released, failing);
  qel_log_set_handler(nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(released, failing + 1);
}

}  // namespace
