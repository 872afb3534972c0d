// SPDX-License-Identifier: Apache-2.0

// What the tests have in common that ask a real server about the golden cases.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

#include "golden/golden_case.h"
#include "server/server_folder.h"

// "" when the server accepts `text` in `context`, else what it says.
using Refusal = std::string (*)(const std::string& text, const std::string& context);

// The server has to accept the configuration before the edit, or the case is no real one, and after
// it.
class Accepted : public testing::Test {
 public:
  Accepted(GoldenCase golden, std::string context_file, Refusal refusal)
      : m_case(std::move(golden)), m_context_file(std::move(context_file)), m_refusal(refusal) {}

  void TestBody() override {
    const std::string context = m_case.ReadText(m_context_file);
    EXPECT_EQ(m_refusal(m_case.ReadText("config"), context), "") << "before the edit";
    EXPECT_EQ(m_refusal(m_case.ReadText("expected.config"), context), "") << "after the edit";
  }

 private:
  const GoldenCase m_case;
  const std::string m_context_file;
  const Refusal m_refusal;
};

// For main(): runs all tests and one more, of the suite `suite`, for each golden case that has the
// file `context_file`, which names the context. Throws when no case has it.
inline int RunServerTests(int argc, char** argv, const std::string& suite,
                          const std::string& context_file, Refusal refusal) {
  testing::InitGoogleTest(&argc, argv);
  bool found = false;
  for (const GoldenCase& golden : AllGoldenCases()) {
    if (!golden.Has(context_file)) continue;
    found = true;
    testing::RegisterTest(
        suite.c_str(), TestName(golden.Name()).c_str(), nullptr, nullptr, __FILE__, __LINE__,
        [=]() -> testing::Test* { return new Accepted(golden, context_file, refusal); });
  }
  if (!found) throw std::runtime_error("no golden case has a file " + context_file);
  return RUN_ALL_TESTS();
}
