// What the tests have in common that ask a real server about the golden cases.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

#include "golden/golden_case.h"

// A folder for a server to run in, with logs/ for its logs and a certificate in certs/site.pem and
// certs/site.key. Removed with the object.
class ServerFolder {
 public:
  explicit ServerFolder(const std::string& server) {
    std::string path =
        (std::filesystem::temp_directory_path() / ("qeltemplate-" + server + "-XXXXXX")).string();
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_path = path;
    std::filesystem::create_directories(m_path / "logs");
    std::filesystem::create_directories(m_path / "certs");
    std::string output;
    if (!Run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
             "-subj /CN=test.example -keyout " +
                 (m_path / "certs/site.key").string() + " -out " +
                 (m_path / "certs/site.pem").string(),
             output)) {
      throw std::runtime_error("no certificate: " + output);
    }
  }
  ~ServerFolder() {
    std::error_code error;
    std::filesystem::remove_all(m_path, error);
  }
  ServerFolder(const ServerFolder&) = delete;
  ServerFolder& operator=(const ServerFolder&) = delete;

  std::string Path() const { return m_path.string(); }

  void Write(const std::string& file, const std::string& text) const {
    std::ofstream(m_path / file, std::ios::binary) << text;
  }

  // Whether `command`, a line for the shell that finds the servers, succeeds. `output` becomes what
  // it says.
  bool Run(const std::string& command, std::string& output) const {
    const std::filesystem::path file = m_path / "output";
    const bool succeeded =
        std::system(("PATH=$PATH:/usr/sbin " + command + " >" + file.string() + " 2>&1").c_str()) ==
        0;
    std::ifstream stream(file);
    output.assign(std::istreambuf_iterator<char>(stream), {});
    return succeeded;
  }

 private:
  std::filesystem::path m_path;
};

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
