// SPDX-License-Identifier: Apache-2.0

// How the program ends, and its error types.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace cli {

// A script tells the ends of a run apart by these. 1 means that something was changed and nothing
// else, as with "git diff --exit-code".
enum ExitCode : int {
  kDone = 0,             // done; with --exit-code: done, and nothing changed
  kChanged = 1,          // with --exit-code: done, and something changed
  kWrongUsage = 2,       // CLI::ParseError
  kFailed = 3,           // Failure, or any other exception but these
  kRefused = 4,          // Refusal: an edit that would do harm
  kRefusedByServer = 5,  // tov_update::ServerRefusal: the server does not take the result
  kFindings = 6,         // lint and inspect: there is something to look at
  kOvertaken = 7,        // tov_update::Overtaken: another program has changed a file meanwhile
};

// A right command line that cannot be carried out. what() is the message behind the program's name,
// "FILE: what is wrong".
class Failure : public std::runtime_error {
 public:
  Failure(const std::string& file, const std::string& problem) : Failure(file, problem, kFailed) {}
  explicit Failure(const std::string& message)
      : std::runtime_error(message), m_exit_code(kFailed) {}

  // What the program exits with.
  ExitCode exit_code() const { return m_exit_code; }

 protected:
  Failure(const std::string& file, const std::string& problem, ExitCode exit_code)
      : std::runtime_error(file + ": " + problem), m_exit_code(exit_code) {}

 private:
  ExitCode m_exit_code;
};

// An edit that could be made but must not.
class Refusal : public Failure {
 public:
  Refusal(const std::string& file, const std::string& problem) : Failure(file, problem, kRefused) {}
};

// What the program exits with after `error`: kFailed for what it knows nothing of.
ExitCode ExitCodeOf(const std::exception& error);

}  // namespace cli
