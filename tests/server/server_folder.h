// SPDX-License-Identifier: Apache-2.0

// A folder in which a real server is asked about configurations.
#pragma once

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// A folder for a server to run in, with logs/ for its logs and two certificates in certs/: site.pem
// and renewed.pem, with site.key and renewed.key. Removed with the object.
class ServerFolder {
 public:
  explicit ServerFolder(const std::string& server) {
    std::string path =
        (std::filesystem::temp_directory_path() / ("qeltemplate-" + server + "-XXXXXX")).string();
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_path = path;
    std::filesystem::create_directories(m_path / "logs");
    std::filesystem::create_directories(m_path / "certs");
    MakeCertificate("site", "-subj /CN=test.example");
    MakeCertificate("renewed", "-subj /CN=test.example");
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

  // Makes certs/NAME.pem and certs/NAME.key. `subject` are the arguments that say for whom.
  void MakeCertificate(const std::string& name, const std::string& subject) const {
    const std::string file = (m_path / "certs" / name).string();
    std::string output;
    if (!Run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 " +
                 subject + " -keyout " + file + ".key -out " + file + ".pem",
             output)) {
      throw std::runtime_error("no certificate: " + output);
    }
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
