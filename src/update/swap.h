// SPDX-License-Identifier: Apache-2.0

// Replacements that are made together: all or none.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "update/replacement.h"
#include "update/shell_command.h"

namespace tov_update {

class Swap {
 public:
  // All are staged. The first `backups` of them are put in place before all others. Many are
  // handled by up to `jobs` threads at a time.
  Swap(std::vector<Replacement> replacements, std::size_t backups, unsigned jobs);

  // Takes back what is in place and not settled.
  ~Swap();
  Swap(const Swap&) = delete;
  Swap& operator=(const Swap&) = delete;

  // Throws Failure, and Overtaken as Replacement::PutInPlace; then all is as it was, or the message
  // says what is not.
  void PutInPlace();

  // Runs a command while all are in place. Throws the same when it cannot be run.
  CommandResult Run(const std::string& command, const CommandTerms& terms);

  // Throws Overtaken when one is not in its place any more; then the others are taken back.
  void ExpectInPlace();

  // In reverse order, each that can be. Throws when one cannot be taken back: with the message
  // `reason`, and a line for each that cannot; `data` and more tells a program of it. Overtaken
  // when another program is the reason for one of them, else Failure.
  void TakeBack(const std::string& reason, const FailureData& data = {});

  void Settle();

 private:
  void PutInPlace(std::size_t begin, std::size_t end);
  template <typename Step>
  void OrTakeBack(const Step& step);

  std::vector<Replacement> m_replacements;
  const std::size_t m_backups;
  const unsigned m_jobs;
  std::vector<std::string> m_directories;  // of all of them, each once
};

}  // namespace tov_update
