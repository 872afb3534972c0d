// SPDX-License-Identifier: Apache-2.0

// What an update throws. what() is a message for people, "FILE: what is wrong", which may have
// several lines; Data() tells a program the same.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "update/export.h"

namespace tov_update {

// What is not known, or does not apply, is empty.
struct FailureData {
  // The files that it is about, by the names that the caller has given them; a backup by its file's
  // name with the suffix. Also a directory that cannot be opened or flushed.
  std::vector<std::string> files;

  // Those of the files that could not be put back: they hold the new text, and the message says
  // where the old one is. When there are none, all files are the old ones, but for those that
  // another program has changed.
  std::vector<std::string> not_put_back;

  // The check or the reload that it is about, as the caller has given it.
  std::string command;

  // How that has ended: by itself, or by a signal. Neither when it could not be run.
  std::optional<int> exit_status;
  std::optional<int> signal;

  // Whether it was stopped since it took longer than it may.
  bool timed_out = false;

  // All that it has written to both its standard streams, but for line ends at the end.
  std::string output;
};

// It could not be carried out.
class QELTEMPLATE_UPDATE_EXPORT Failure : public std::runtime_error {
 public:
  Failure(const std::string& file, const std::string& problem);
  explicit Failure(const std::string& message);
  Failure(const std::string& message, FailureData data);
  ~Failure() override;

  const FailureData& Data() const noexcept { return *m_data; }

 private:
  std::shared_ptr<const FailureData> m_data;
};

// A command does not take the new files.
class QELTEMPLATE_UPDATE_EXPORT ServerRefusal : public Failure {
 public:
  using Failure::Failure;
  ~ServerRefusal() override;
};

// Another program has changed a file meanwhile, which stays as that program has left it.
class QELTEMPLATE_UPDATE_EXPORT Overtaken : public Failure {
 public:
  using Failure::Failure;
  ~Overtaken() override;
};

// The caller has cancelled it.
class QELTEMPLATE_UPDATE_EXPORT Cancelled : public Failure {
 public:
  using Failure::Failure;
  ~Cancelled() override;
};

}  // namespace tov_update
