// SPDX-License-Identifier: Apache-2.0

// Servers of several files, for tests.
#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "cli/sandbox.h"
#include "server/server_files.h"

// Texts by the names of their files. In them "DIR" stands for the directory that they are put into.
using Files = std::map<std::string, std::string>;

class Tree {
 public:
  explicit Tree(const Files& files) {
    for (const auto& [name, text] : files) Write(name, text);
  }

  void Write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(PathOf(name)).parent_path());
    m_sandbox.Write(name, Filled(text));
  }

  // A symbolic link.
  void Link(const std::string& target, const std::string& name) const {
    std::filesystem::create_directories(std::filesystem::path(PathOf(name)).parent_path());
    std::filesystem::create_symlink(target, PathOf(name));
  }

  std::string Directory() const {
    const std::string path = m_sandbox.PathOf("");
    return path.substr(0, path.size() - 1);
  }

  std::string PathOf(const std::string& name) const { return m_sandbox.PathOf(name); }

  // `text` with the directory put in, and with "DIR" for it.
  std::string Filled(const std::string& text) const { return Replaced(text, "DIR", Directory()); }
  std::string Relative(const std::string& text) const {
    return Replaced(Replaced(text, Directory() + "/", ""), Directory(), "DIR");
  }

  tov_server::ReadingOptions Options(tov_server::Dialect dialect, const std::string& main) const {
    tov_server::ReadingOptions options;
    options.dialect = dialect;
    options.main = PathOf(main);
    return options;
  }

  const Sandbox& sandbox() const { return m_sandbox; }

 private:
  static std::string Replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
      text.replace(at, what.size(), by);
    }
    return text;
  }

  Sandbox m_sandbox;
};
