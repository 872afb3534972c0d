// SPDX-License-Identifier: Apache-2.0

// A directory of its own in which a test puts files and runs programs.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

// What a program has left behind.
struct Outcome {
  int exit_code = 0;  // -1: ended by a signal
  std::string out;
  std::string err;
};

class Sandbox {
 public:
  Sandbox() {
    std::string path = (std::filesystem::temp_directory_path() / "qeltemplate.XXXXXX").string();
    if (!mkdtemp(path.data())) throw std::system_error(errno, std::generic_category(), path);
    m_path = std::filesystem::canonical(path);
    std::filesystem::create_directory(m_path / "files");
  }
  ~Sandbox() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  // The full path of the file `name` of this directory.
  std::string PathOf(const std::string& name) const { return (m_path / "files" / name).string(); }

  void Write(const std::string& name, const std::string& content) const {
    WriteFile(PathOf(name), content);
  }

  std::string Read(const std::string& name) const { return ReadFile(PathOf(name)); }

  // Runs `command`, its program looked up in PATH, in this directory with `input` on its standard
  // input. When `output` is given, that is where its standard output goes.
  Outcome Run(const std::vector<std::string>& command, const std::string& input = "",
              const std::string& output = "") const {
    const std::string in = (m_path / "in").string();
    const std::string out = output.empty() ? (m_path / "out").string() : output;
    const std::string err = (m_path / "err").string();
    WriteFile(in, input);
    Outcome outcome;
    outcome.exit_code = Wait(Spawn(command, in, out, err));
    if (output.empty()) outcome.out = ReadFile(out);
    outcome.err = ReadFile(err);
    return outcome;
  }

  // The content of the file at `path`, wherever that is.
  static std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

 private:
  static void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
  }

  pid_t Spawn(const std::vector<std::string>& command, const std::string& in,
              const std::string& out, const std::string& err) const {
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    constexpr int kWrite = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, (m_path / "files").c_str());
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), kWrite, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), kWrite, 0600);
    pid_t child = 0;
    const int error =
        posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::system_error(error, std::generic_category(), command[0]);
    return child;
  }

  static int Wait(pid_t child) {
    int status = 0;
    if (waitpid(child, &status, 0) != child) throw std::runtime_error("waitpid");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::filesystem::path m_path;
};
