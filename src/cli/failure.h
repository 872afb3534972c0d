// How the program ends, and its error type.
#pragma once

#include <stdexcept>
#include <string>

namespace cli {

enum ExitCode : int {
  kDone = 0,
  kFailed = 1,     // Failure, or any other exception but those of the command line
  kWrongUsage = 2  // CLI::ParseError
};

// A right command line that cannot be carried out. what() is the message behind the program's name,
// "FILE: what is wrong".
class Failure : public std::runtime_error {
 public:
  Failure(const std::string& file, const std::string& problem)
      : std::runtime_error(file + ": " + problem) {}
};

}  // namespace cli
