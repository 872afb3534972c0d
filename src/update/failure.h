// SPDX-License-Identifier: Apache-2.0

// What an update throws. what() is a message for people, "FILE: what is wrong".
#pragma once

#include <stdexcept>
#include <string>

namespace update {

// It could not be carried out.
class Failure : public std::runtime_error {
 public:
  Failure(const std::string& file, const std::string& problem) : Failure(file + ": " + problem) {}
  explicit Failure(const std::string& message) : std::runtime_error(message) {}
};

// The server does not take the new files.
class ServerRefusal : public Failure {
 public:
  using Failure::Failure;
};

// Another program has changed a file meanwhile, which stays as that program has left it.
class Overtaken : public Failure {
 public:
  using Failure::Failure;
};

}  // namespace update
