// SPDX-License-Identifier: Apache-2.0

// The fixture of the tests that update files in their own process.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "update/update.h"
#include "update/update_sandbox.h"

// There is a file "a", which holds the line "old".
class UpdateTest : public testing::Test {
 protected:
  UpdateTest() { m_sandbox.Write("a", "old\n"); }

  std::string PathOf(const std::string& name) const { return m_sandbox.PathOf(name); }

  // The update of these files, each of which is to hold `text`.
  tov_update::FileUpdate To(const std::string& text, const std::vector<std::string>& names) const {
    std::vector<std::string> paths;
    for (const std::string& name : names) paths.push_back(PathOf(name));
    tov_update::FileUpdate update(paths, std::chrono::milliseconds(0));
    for (std::size_t i = 0; i < update.Size(); ++i) update.Replace(i, text);
    return update;
  }

  std::vector<std::string> Commit(const std::string& text, const std::vector<std::string>& names,
                                  const tov_update::UpdateOptions& options = {}) const {
    return To(text, names).Commit(options).new_warnings;
  }

  // The message without the sandbox's directory.
  template <typename Exception>
  std::string MessageOf(const std::function<void()>& step) const {
    try {
      step();
    } catch (const Exception& exception) {
      return WithoutDirectory(exception.what());
    }
    return "nothing was thrown";
  }

  std::string WithoutDirectory(std::string text) const {
    const std::string directory = PathOf("");
    for (std::size_t at = text.find(directory); at != std::string::npos;
         at = text.find(directory)) {
      text.erase(at, directory.size());
    }
    return text;
  }

  UpdateSandbox m_sandbox;
};

inline tov_update::UpdateOptions WithBackup(const std::string& suffix) {
  return {suffix, "", ""};
}

inline tov_update::UpdateOptions WithCheck(const std::string& check) {
  return {std::nullopt, check, ""};
}

inline tov_update::UpdateOptions WithCheck(const std::string& check,
                                           tov_update::NewWarnings warnings) {
  return {std::nullopt, check, "", warnings};
}

inline tov_update::UpdateOptions WithReload(const std::string& reload) {
  return {std::nullopt, "", reload};
}
