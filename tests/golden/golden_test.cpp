// SPDX-License-Identifier: Apache-2.0

// Runs each golden case through the library and compares what comes out, whole.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "golden/golden_case.h"
#include "support/log_capture.h"
#include "template/framework/str.h"
#include "template/qeltemplate.h"

namespace {

const std::map<std::string, std::string> kDialects = {{"nginx", "Nginx"}, {"apache", "Apache"}};

struct Outcome {
  std::string config;
  std::string prototype;
  std::string log;
};

Outcome OutcomeOf(const GoldenCase& golden) {
  // Imports are relative to the case's folder.
  std::filesystem::current_path(golden.folder);
  LogCapture log;
  tov_template::ParserTemplate parser(
      tov_template::GetConfigType(kDialects.at(golden.dialect), golden.Read("config")));
  for (const auto& [name, values] : golden.ReadValues()) {
    parser.SetValue(name, values.old_value, values.new_value);
  }
  parser.SetTemplate(golden.Read("template")).ApplyTemplate();
  Outcome outcome{parser.GetConfig(), parser.GetPrototype(), ""};
  const std::string folder = std::filesystem::canonical(golden.folder).string();
  for (const std::string& message : log.Messages()) {
    outcome.log += str::Replace(message, folder, "CASE") + "\n";
  }
  return outcome;
}

class Golden : public testing::Test {
 public:
  explicit Golden(GoldenCase golden) : m_case(std::move(golden)) {}

  void TestBody() override {
    const Outcome outcome = OutcomeOf(m_case);
    if (std::getenv("QELTEMPLATE_UPDATE_GOLDEN") != nullptr) {
      Write("expected.config", outcome.config + "\n");
      Write("expected.prototype", outcome.prototype + "\n");
      Write("expected.log", outcome.log);
    }
    EXPECT_EQ(outcome.config, m_case.ReadText("expected.config"));
    EXPECT_EQ(outcome.prototype, m_case.ReadText("expected.prototype"));
    EXPECT_EQ(outcome.log, m_case.Read("expected.log"));
  }

 private:
  void Write(const std::string& file, const std::string& text) const {
    std::ofstream(m_case.folder / file, std::ios::binary) << text;
  }

  const GoldenCase m_case;
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (const GoldenCase& golden : AllGoldenCases()) {
    testing::RegisterTest(("Golden_" + golden.dialect).c_str(), TestName(golden.Name()).c_str(),
                          nullptr, nullptr, __FILE__, __LINE__,
                          [golden]() -> testing::Test* { return new Golden(golden); });
  }
  return RUN_ALL_TESTS();
}
