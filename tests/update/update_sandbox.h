// SPDX-License-Identifier: Apache-2.0

// What the tests of file updates share.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/sandbox.h"

class UpdateSandbox : public Sandbox {
 public:
  // The names in the directory `name`, sorted: also those that begin with a dot.
  std::vector<std::string> Names(const std::string& name = ".") const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(PathOf(name))) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  bool Exists(const std::string& name) const {
    return std::filesystem::exists(std::filesystem::symlink_status(PathOf(name)));
  }

  struct stat Status(const std::string& name) const {
    struct stat status = {};
    EXPECT_EQ(lstat(PathOf(name).c_str(), &status), 0) << name;
    return status;
  }

  mode_t Mode(const std::string& name) const { return Status(name).st_mode & 07777U; }

  void SetMode(const std::string& name, mode_t mode) const {
    EXPECT_EQ(chmod(PathOf(name).c_str(), mode), 0) << name;
  }

  // Runs append_line with `arguments`, behind the words of `prefix` if any.
  Outcome Append(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& prefix = {}) const {
    std::vector<std::string> command = prefix;
    command.push_back(APPEND_LINE);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return Run(command);
  }
};
