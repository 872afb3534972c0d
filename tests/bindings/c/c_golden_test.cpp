// SPDX-License-Identifier: Apache-2.0

// The golden cases through the C interface.
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <utility>

#include "bindings/c/c_request.h"
#include "golden/golden_case.h"
#include "qeltemplate_c.h"
#include "template/framework/str.h"

namespace {

// A null value has null data.
struct Text {
  explicit Text(tov_template::Value& value)
      : data(value.IsNull() ? nullptr : value.Str().data()), size(value.Str().size()) {}

  const char* data;
  std::size_t size;
};

// The texts of the records, without the place in the source ("template.cpp:123 ").
void Collect(void* context, int level, const char* /*module*/, const char* /*channel*/,
             const char* text, std::size_t size) {
  std::string record(text, size);
  if (level == QEL_LOG_DEBUG) str::GetWord(record, ' ');
  *static_cast<std::string*>(context) += record + "\n";
}

class CGolden : public testing::Test {
 public:
  explicit CGolden(GoldenCase golden) : m_case(std::move(golden)) {}
  ~CGolden() override {
    qel_log_set_level(QEL_LOG_OFF);
    qel_log_set_handler(nullptr, nullptr, nullptr, nullptr);
  }

  void TestBody() override {
    std::filesystem::current_path(m_case.folder);
    std::string log;
    qel_log_set_handler(Collect, &log, nullptr, nullptr);
    qel_log_set_level(QEL_LOG_DEBUG);
    const CParser parser(m_case.dialect == "nginx" ? "Nginx" : "Apache", m_case.Read("config"));
    for (auto& [name, values] : m_case.ReadValues()) {
      GoldenCase::Values copy = values;
      const Text old_value(copy.old_value);
      const Text new_value(copy.new_value);
      EXPECT_EQ(qel_parser_set_value(parser.Handle(), name.data(), name.size(), old_value.data,
                                     old_value.size, new_value.data, new_value.size, nullptr),
                QEL_OK);
    }
    EXPECT_EQ(qel_parser_set_template_file(parser.Handle(), "template", QEL_NUL, nullptr), QEL_OK);
    EXPECT_EQ(parser.Apply(), QEL_OK);
    EXPECT_EQ(parser.Config(), m_case.ReadText("expected.config"));
    EXPECT_EQ(parser.Prototype(), m_case.ReadText("expected.prototype"));
    const std::string folder = std::filesystem::canonical(m_case.folder).string();
    EXPECT_EQ(str::Replace(log, folder, "CASE"), m_case.Read("expected.log"));
  }

 private:
  const GoldenCase m_case;
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (const GoldenCase& golden : AllGoldenCases()) {
    testing::RegisterTest(("CGolden_" + golden.dialect).c_str(), TestName(golden.Name()).c_str(),
                          nullptr, nullptr, __FILE__, __LINE__,
                          [golden]() -> testing::Test* { return new CGolden(golden); });
  }
  return RUN_ALL_TESTS();
}
