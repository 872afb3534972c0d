// Asks the real nginx about the golden cases that name a context: it has to accept the
// configuration before the edit, or the case is no real one, and after it.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "golden/golden_case.h"

namespace fs = std::filesystem;

namespace {

// A folder for nginx to run in, with a certificate in it. Removed with the object.
class ServerFolder {
 public:
  ServerFolder() {
    std::string path = (fs::temp_directory_path() / "qeltemplate-nginx-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_path = path;
    fs::create_directories(m_path / "logs");
    fs::create_directories(m_path / "certs");
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
    fs::remove_all(m_path, error);
  }
  ServerFolder(const ServerFolder&) = delete;
  ServerFolder& operator=(const ServerFolder&) = delete;

  // "" when nginx accepts `text` in `context`, else what it says.
  std::string Refusal(const std::string& text, const std::string& context) const {
    std::ofstream(m_path / "nginx.conf") << InContext(text, context);
    std::string output;
    const bool accepted = Run("PATH=$PATH:/usr/sbin nginx -t -p " + m_path.string() +
                                  " -e stderr -g 'pid nginx.pid;' -c nginx.conf",
                              output);
    return accepted ? "" : output + "\n" + text;
  }

 private:
  static std::string InContext(const std::string& text, const std::string& context) {
    if (context == "main") return text + "\n";
    const std::string events = "events {\n}\n";
    const std::string http = events + "http {\naccess_log off;\n" + text + "\n}\n";
    if (context == "http") return http;
    throw std::runtime_error("unknown context " + context);
  }

  bool Run(const std::string& command, std::string& output) const {
    const fs::path file = m_path / "output";
    const bool succeeded = std::system((command + " >" + file.string() + " 2>&1").c_str()) == 0;
    std::ifstream stream(file);
    output.assign(std::istreambuf_iterator<char>(stream), {});
    return succeeded;
  }

  fs::path m_path;
};

const ServerFolder& Server() {
  static const ServerFolder folder;
  return folder;
}

class Accepted : public testing::Test {
 public:
  explicit Accepted(GoldenCase golden) : m_case(std::move(golden)) {}

  void TestBody() override {
    const std::string context = m_case.ReadText("nginx-context");
    EXPECT_EQ(Server().Refusal(m_case.ReadText("config"), context), "") << "before the edit";
    EXPECT_EQ(Server().Refusal(m_case.ReadText("expected.config"), context), "")
        << "after the edit";
  }

 private:
  const GoldenCase m_case;
};

TEST(NginxServer, RefusesWhatIsWrong) {
  EXPECT_NE(Server().Refusal("server {\nlisten 127.0.0.1:8080;\n", "http"), "");
  EXPECT_NE(Server().Refusal("no_such_directive on;", "http"), "");
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (const GoldenCase& golden : AllGoldenCases()) {
    if (!golden.Has("nginx-context")) continue;
    testing::RegisterTest("NginxServer_accepts", TestName(golden.Name()).c_str(), nullptr, nullptr,
                          __FILE__, __LINE__,
                          [golden]() -> testing::Test* { return new Accepted(golden); });
  }
  return RUN_ALL_TESTS();
}
